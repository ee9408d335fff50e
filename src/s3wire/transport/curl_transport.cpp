// SPDX-License-Identifier: Apache-2.0
#include "s3wire/transport/curl_transport.h"

#include "bucketry/base/io.h"

namespace bucketry::s3wire::transport
{

CCurlTransport::CCurlTransport(STransportSettings settings, std::shared_ptr<CConnectionPool> pool,
                               std::shared_ptr<io::CNetworkTrottlingCtx> throttling)
    : m_settings(std::make_shared<STransportSettings const>(std::move(settings))),
      m_pool(std::move(pool)),
      m_throttling(std::move(throttling))
{
}

SHttpResponse CCurlTransport::Exchange(SHttpRequest const& request)
{
    auto handle = m_pool->Take(m_settings);
    SHttpResponse response = handle->Perform(request, m_throttling.get());
    m_pool->Put(std::move(handle)); // a handle whose exchange failed goes, with its connections
    return response;
}

} // namespace bucketry::s3wire::transport
