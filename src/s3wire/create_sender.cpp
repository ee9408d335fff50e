#include "s3wire/context.h"
#include "s3wire/sender.h"
#include "s3wire/transport/curl_transport.h"

namespace bucketry::s3wire
{

namespace
{

transport::STransportSettings MakeTransportSettings(SSenderSettings const& settings)
{
    transport::STransportSettings result;
    result.m_origin = settings.m_endpoint.empty() ? "the access point" : ParseEndpoint(settings.m_endpoint).Origin();
    result.m_proxyUrl = settings.m_proxy.m_endpoint;
    result.m_proxyUser = settings.m_proxy.m_userName;
    result.m_proxyPassword = settings.m_proxy.m_password;
    if (settings.m_trustList)
    {
        result.m_trustedPem.emplace();
        for (auto const& certificate : *settings.m_trustList)
        {
            *result.m_trustedPem += certificate.ToPemString();
        }
    }
    return result;
}

} // namespace

std::shared_ptr<wire::IWireSender> CreateWireSender(SSenderSettings settings)
{
    auto const& context = s3::CS3WireContext::Instance();
    auto transport = std::make_shared<transport::CCurlTransport>(MakeTransportSettings(settings),
                                                                 context.GetConnectionPool(), settings.m_throttling);
    return std::make_shared<CWireSender>(settings, std::move(transport), context.GetRetryBudget(), SRetryPolicy(),
                                         SSurroundings::Real());
}

} // namespace bucketry::s3wire
