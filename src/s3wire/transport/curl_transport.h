// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/transport/connection_pool.h"
#include "s3wire/transport/http.h"

#include <memory>

namespace bucketry::s3wire::transport
{

/// HTTP/1.1 over libcurl, on the connections of a shared pool.
class CCurlTransport final : public IHttpTransport
{
public:
    /// `throttling` may be null.
    CCurlTransport(STransportSettings settings, std::shared_ptr<CConnectionPool> pool,
                   std::shared_ptr<io::CNetworkTrottlingCtx> throttling);

    SHttpResponse Exchange(SHttpRequest const& request) override;

private:
    std::shared_ptr<STransportSettings const> const m_settings;
    std::shared_ptr<CConnectionPool> const m_pool;
    std::shared_ptr<io::CNetworkTrottlingCtx> const m_throttling;
};

} // namespace bucketry::s3wire::transport
