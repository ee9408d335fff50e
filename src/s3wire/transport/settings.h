// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/codec/secret.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace bucketry::s3wire::transport
{

/// Times after which an exchange is given up; 0 is no limit, and five minutes for a connection.
struct STimeLimits
{
    std::chrono::milliseconds m_connect{10'000}; ///< name, TCP, proxy and TLS together
    std::chrono::seconds m_stall{120};           ///< no byte has moved for so long
    std::chrono::milliseconds m_total{0}; ///< the whole exchange; none by default, since it would cut large transfers

    bool operator==(STimeLimits const&) const = default;
};

/// All that is the same for each exchange with one store.
struct STransportSettings
{
    /// Keeps the connections of different stores apart: scheme, host and port.
    std::string m_origin;
    STimeLimits m_limits;
    std::string m_proxyUrl; ///< empty for none; the environment's proxies are never used
    std::string m_proxyUser;
    CSecret m_proxyPassword;
    std::optional<std::string> m_trustedPem; ///< certificates that are trusted in place of the system's
    std::chrono::seconds m_idle{20};         ///< connections that were idle for longer are not used again
    /// From this body size on the store is asked first whether it takes the body, and the answer is waited for so long.
    std::uint64_t m_expectFromBytes = 2u << 20;
    std::chrono::milliseconds m_expectWait{1000};

    bool operator==(STransportSettings const&) const = default;
};

} // namespace bucketry::s3wire::transport
