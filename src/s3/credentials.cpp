#include "bucketry/base/logging.h"
#include "bucketry/base/options.h"
#include "bucketry/s3/cloud_client.h"
#include "s3wire/context.h"

namespace bucketry::s3
{

using s3wire::s3::CS3WireContext;
using s3wire::s3::EAccessStyle;

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
        SS3CredentialsKeys keys;
        std::string roleName;
        std::string metadataHost;
        s3wire::s3::SProxyConfig proxy;
        EAccessStyle style = EAccessStyle::Default;
        long creationTime = 0;
        CS3WireContext::Instance().RetrieveCredentials(id, address.ApiEndpoint, address.Region, address.ARN,
                                                       keys.AccessKeyId, keys.SecretAccessKey, keys.SessionToken,
                                                       roleName, metadataHost, proxy, style, creationTime);
        credentials.ClientId = id;
        credentials.Keys = std::move(keys);
        if (!proxy.m_endpoint.empty())
        {
            address.Proxy = SS3ProxyConfig{proxy.m_endpoint, proxy.m_userName, proxy.m_password};
        }
        isVirtualHostedStyle = CS3WireContext::GetEffectiveAccessStyle(style) == EAccessStyle::VirtualHosted;
        credentials.CreationTimeUtc = static_cast<std::uint64_t>(creationTime);
        return true;
    }
    catch (exc::CRuntimeExc const& error)
    {
        stg_log.err(util::str_format("Cannot find Amazon S3 credentials for clientId [%1]", id.ToAStr()), error);
        return false;
    }
}

} // namespace bucketry::s3
