// SPDX-License-Identifier: Apache-2.0
#include "s3wire/connection.h"

#include "bucketry/base/options.h"
#include "s3wire/context.h"
#include "s3wire/operations/operations.h"
#include "s3wire/sending/sender.h"
#include "s3wire/transport/curl_transport.h"

namespace bucketry::s3wire
{

namespace
{

transport::STransportSettings MakeTransportSettings(SConnectionSettings const& settings)
{
    options_t const& options = options_t::GetInst();
    transport::STransportSettings result;
    result.m_limits = {std::chrono::milliseconds(options.GetS3ConnectTimeoutMsec()),
                       std::chrono::seconds(options.GetS3StallTimeoutSec()),
                       std::chrono::seconds(options.GetS3TotalTimeoutSec())};
    result.m_origin = settings.m_endpoint.empty() ? "the access point" : ParseEndpoint(settings.m_endpoint).Origin();
    result.m_proxyUrl = settings.m_proxy.m_endpoint;
    result.m_proxyUser = settings.m_proxy.m_userName;
    result.m_proxyPassword = CSecret(settings.m_proxy.m_password);
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

SRetryPolicy MakeRetryPolicy()
{
    SRetryPolicy policy;
    if (std::uint32_t const seconds = options_t::GetInst().GetS3TotalTimeoutSec(); seconds != 0)
    {
        policy.m_totalTime = std::chrono::seconds(seconds);
    }
    return policy;
}

} // namespace

std::shared_ptr<COperations> Connect(SConnectionSettings settings)
{
    CWipeAtEnd const wiped(settings.m_proxy.m_password);
    SStoreAddress address{std::nullopt, settings.m_region, settings.m_virtualHosted};
    if (!settings.m_endpoint.empty())
    {
        address.m_endpoint = ParseEndpoint(settings.m_endpoint);
    }
    if (address.m_region.empty())
    {
        address.m_region = settings.m_auth->Region();
    }
    auto const store = std::make_shared<CStoreRecord>(std::move(address), TraitsOf(settings.m_endpoint));
    auto const& context = s3::CS3WireContext::Instance();
    auto transport = std::make_shared<transport::CCurlTransport>(MakeTransportSettings(settings),
                                                                 context.GetConnectionPool(), settings.m_throttling);
    auto sender = std::make_shared<CWireSender>(store, settings.m_auth, std::move(transport), context.GetRetryBudget(),
                                                MakeRetryPolicy(), SSurroundings::Real());
    return std::make_shared<COperations>(std::move(sender), store);
}

} // namespace bucketry::s3wire
