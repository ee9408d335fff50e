// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/transport/curl_handle.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace bucketry::s3wire::transport
{

/// Idle handles with their open connections, shared by all threads and clients: task threads are new each time, so
/// connections can't belong to them. The handle used last is given out first, so that no more are kept alive than
/// threads are at work. What has been idle for too long is closed by whoever comes next.
class CConnectionPool
{
public:
    using clock_t = std::function<std::chrono::steady_clock::time_point()>;

    explicit CConnectionPool(std::size_t maxIdle = 64, clock_t now = &std::chrono::steady_clock::now);

    /// An idle handle for a store with these settings, or a new one.
    std::unique_ptr<CCurlHandle> Take(std::shared_ptr<STransportSettings const> const& settings);
    /// Takes a handle back; if there are too many already, the oldest is closed.
    void Put(std::unique_ptr<CCurlHandle> handle);

    std::size_t IdleCount() const;

private:
    struct SIdle
    {
        std::unique_ptr<CCurlHandle> m_handle;
        std::chrono::steady_clock::time_point m_since;
    };
    std::vector<SIdle> RemoveOld(std::chrono::steady_clock::time_point now);

    std::size_t const m_maxIdle;
    clock_t const m_now;
    mutable std::mutex m_mutex;
    std::vector<SIdle> m_idle; ///< guarded by m_mutex; the oldest first
};

} // namespace bucketry::s3wire::transport
