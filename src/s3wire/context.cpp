// SPDX-License-Identifier: Apache-2.0
#include "s3wire/context.h"

#include "bucketry/base/options.h"
#include "bucketry/s3wire/client.h"
#include "s3wire/auth/auth.h"
#include "s3wire/auth/temp_key_store.h"
#include "s3wire/codec/arn.h"
#include "s3wire/transport/curl_transport.h"

namespace bucketry::s3wire::s3
{

namespace
{

/// The metadata service is on the machine itself or is not there: it is never waited for longer, and never through a
///                                                                proxy.
CTempKeyStore::transport_factory_t MetadataTransports(std::shared_ptr<transport::CConnectionPool> pool)
{
    return [pool = std::move(pool)](std::string const& url)
    {
        transport::STransportSettings settings;
        settings.m_origin = url;
        settings.m_limits = {std::chrono::milliseconds(1000), std::chrono::seconds(0), std::chrono::milliseconds(2000)};
        return std::make_shared<transport::CCurlTransport>(std::move(settings), pool, nullptr);
    };
}

} // namespace

CS3WireContext::CS3WireContext()
    : m_connections(std::make_shared<transport::CConnectionPool>()),
      m_retryBudget(std::make_shared<CRetryBudget>()),
      m_tempKeys(std::make_shared<CTempKeyStore>(MetadataTransports(m_connections), SSurroundings::Real()))
{
}

CS3WireContext::~CS3WireContext() = default;

CS3WireContext& CS3WireContext::Instance()
{
    static CS3WireContext instance;
    return instance;
}

CS3WireClient CS3WireContext::CreateClient(guid::guid_t const& clientId,
                                           std::shared_ptr<io::CNetworkTrottlingCtx> throttling) const
{
    std::string endpoint, region, arnText, accessKeyId, secret, token, role, metadataHost;
    SProxyConfig proxy;
    CWipeAtEnd const wiped[] = {CWipeAtEnd(secret), CWipeAtEnd(token), CWipeAtEnd(proxy.m_password)};
    EAccessStyle style{};
    long creationTime = 0;
    RetrieveCredentials(clientId, endpoint, region, arnText, accessKeyId, secret, token, role, metadataHost, proxy,
                        style, creationTime);
    CS3Arn const arn(arnText);
    CS3WireAuthFactory const factory(m_tempKeys);
    auto const auth = arn.IsOutpostArn()
        ? factory.CreateForS3Outposts(accessKeyId, secret, token, endpoint, region, role, metadataHost)
        : factory.CreateForS3(accessKeyId, secret, token, endpoint, region, role, metadataHost, creationTime);
    if (endpoint.empty())
    {
        arn.CheckIsValidS3ArnExc();
        return CS3WireClient(arn, proxy, auth, FindS3Certificate(), std::move(throttling));
    }
    bool const virtualHosted = GetEffectiveAccessStyle(style) == EAccessStyle::VirtualHosted;
    return CS3WireClient(endpoint, region, proxy, auth, FindS3Certificate(), std::move(throttling), virtualHosted);
}

void CS3WireContext::RetrieveCredentials(guid::guid_t const& clientId, std::string& endpoint, std::string& region,
                                         std::string& arn, std::string& accessKeyId, std::string& secretAccessKey,
                                         std::string& sessionToken, std::string& roleName, std::string& metadataHost,
                                         SProxyConfig& proxy, EAccessStyle& style, long& creationTime) const
{
    SStoredClient client = m_credentials.Retrieve(clientId);
    endpoint = std::move(client.m_endpoint);
    region = std::move(client.m_region);
    arn = std::move(client.m_arn);
    accessKeyId = std::move(client.m_accessKeyId);
    secretAccessKey = client.m_secretAccessKey.View();
    sessionToken = client.m_sessionToken.View();
    roleName = std::move(client.m_roleName);
    metadataHost = std::move(client.m_metadataHost);
    proxy = {std::move(client.m_proxyEndpoint), std::move(client.m_proxyUserName),
             std::string(client.m_proxyPassword.View())};
    style = client.m_style;
    creationTime = client.m_creationTime;
}

void CS3WireContext::StoreCredentials(guid::guid_t const& clientId, std::string const& endpoint,
                                      std::string const& region, std::string const& arn, std::string const& accessKeyId,
                                      std::string const& secretAccessKey, std::string const& sessionToken,
                                      std::string const& roleName, std::string const& metadataHost,
                                      SProxyConfig const& proxy, EAccessStyle style, long creationTime)
{
    m_credentials.Store(clientId,
                        {endpoint, region, arn, accessKeyId, CSecret(secretAccessKey), CSecret(sessionToken), roleName,
                         metadataHost, proxy.m_endpoint, proxy.m_userName, CSecret(proxy.m_password), style,
                         creationTime});
}

void CS3WireContext::RemoveCredentials(guid::guid_t const& clientId)
{
    m_credentials.Remove(clientId);
}

EAccessStyle CS3WireContext::GetEffectiveAccessStyle(EAccessStyle style)
{
    if (style == EAccessStyle::Path || style == EAccessStyle::VirtualHosted)
    {
        return style;
    }
    return options_t::GetInst().IsS3VirtualHostedStyleEnabled() ? EAccessStyle::VirtualHosted : EAccessStyle::Path;
}

std::optional<std::vector<sockets::ssl::CX509CertBlob>> CS3WireContext::FindS3Certificate() const
{
    std::lock_guard const lock(m_mutex);
    return m_certificates;
}

void CS3WireContext::SetS3Certificates(std::optional<std::vector<sockets::ssl::CX509CertBlob>> certificates)
{
    std::lock_guard const lock(m_mutex);
    m_certificates = std::move(certificates);
}

} // namespace bucketry::s3wire::s3
