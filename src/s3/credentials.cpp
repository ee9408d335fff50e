// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/logging.h"
#include "bucketry/s3/cloud_client.h"
#include "s3wire/context.h"

namespace bucketry::s3
{

namespace
{

using s3wire::s3::CS3WireContext;
using s3wire::s3::EAccessStyle;
using s3wire::s3::SProxyConfig;

/// What the store holds for a client id beside its address.
struct SStored
{
    SS3CredentialsKeys m_keys{};
    SS3RoleAuth m_role{};
    SProxyConfig m_proxy{};
    EAccessStyle m_style{};
    long m_creationTime = 0;
};

/// Fills endpoint, region and ARN of `address`. Throws exc::CRuntimeExc if the id is unknown.
SStored Retrieve(guid::guid_t const& id, SS3BucketAddr& address)
{
    SStored stored;
    CS3WireContext::Instance().RetrieveCredentials(
        id, address.ApiEndpoint, address.Region, address.ARN, stored.m_keys.AccessKeyId, stored.m_keys.SecretAccessKey,
        stored.m_keys.SessionToken, stored.m_role.RoleName, stored.m_role.MetadataHost, stored.m_proxy, stored.m_style,
        stored.m_creationTime);
    if (!stored.m_proxy.m_endpoint.empty())
    {
        address.Proxy = SS3ProxyConfig{stored.m_proxy.m_endpoint, stored.m_proxy.m_userName, stored.m_proxy.m_password};
    }
    return stored;
}

bool IsVirtualHosted(EAccessStyle style)
{
    return CS3WireContext::GetEffectiveAccessStyle(style) == EAccessStyle::VirtualHosted;
}

} // namespace

void SS3ClientConnSpec::RetrieveCredentialsByClientId(guid::guid_t id, SS3ClientConnSpec& spec)
{
    spec.Credentials.ClientId = id;
    SStored const stored = Retrieve(id, spec.BucketAddr);
    spec.Options.UseVirtualHostedStyle = IsVirtualHosted(stored.m_style);
    if (!stored.m_keys.AccessKeyId.empty())
    {
        spec.Credentials.Keys = stored.m_keys;
    }
    if (!stored.m_role.RoleName.empty())
    {
        spec.Credentials.RoleAuth = stored.m_role;
    }
    spec.Credentials.CreationTimeUtc = static_cast<std::uint64_t>(stored.m_creationTime);
}

SS3Credentials CS3CloudClient::StoreCredentials(guid::guid_t const& id, SS3BucketAddr const& address,
                                                SS3Credentials const& credentials, bool isVirtualHostedStyle)
{
    SS3CredentialsKeys const& keys = credentials.Keys.value();
    SS3ProxyConfig const proxy = address.Proxy.value_or(SS3ProxyConfig());
    CS3WireContext::Instance().StoreCredentials(id, address.ApiEndpoint, address.Region, address.ARN, keys.AccessKeyId,
                                                keys.SecretAccessKey, keys.SessionToken, "", "",
                                                {proxy.Endpoint, proxy.UserName, proxy.Password},
                                                isVirtualHostedStyle ? EAccessStyle::VirtualHosted : EAccessStyle::Path,
                                                static_cast<long>(credentials.CreationTimeUtc.value_or(0)));
    SS3Credentials stored;
    stored.ClientId = id;
    return stored;
}

bool CS3CloudClient::RetrieveCredentials(guid::guid_t const& id, SS3BucketAddr& address, SS3Credentials& credentials,
                                         bool& isVirtualHostedStyle)
{
    try
    {
        SStored const stored = Retrieve(id, address);
        credentials.ClientId = id;
        credentials.Keys = stored.m_keys;
        isVirtualHostedStyle = IsVirtualHosted(stored.m_style);
        credentials.CreationTimeUtc = static_cast<std::uint64_t>(stored.m_creationTime);
        return true;
    }
    catch (exc::CRuntimeExc const& error)
    {
        stg_log.err(util::str_format("Cannot find Amazon S3 credentials for clientId [%1]", id.ToAStr()), error);
        return false;
    }
}

} // namespace bucketry::s3
