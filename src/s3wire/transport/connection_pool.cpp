// SPDX-License-Identifier: Apache-2.0
#include "s3wire/transport/connection_pool.h"

#include <algorithm>
#include <iterator>

namespace bucketry::s3wire::transport
{

CConnectionPool::CConnectionPool(std::size_t maxIdle, clock_t now) : m_maxIdle(maxIdle), m_now(std::move(now))
{
    InitHttpLibrary();
}

std::vector<CConnectionPool::SIdle> CConnectionPool::RemoveOld(std::chrono::steady_clock::time_point now)
{
    auto const fresh = [&](SIdle const& idle) { return now - idle.m_since <= idle.m_handle->Settings().m_idle; };
    auto const firstFresh = std::find_if(m_idle.begin(), m_idle.end(), fresh);
    if (firstFresh == m_idle.begin())
    {
        return {};
    }
    std::vector<SIdle> old(std::make_move_iterator(m_idle.begin()), std::make_move_iterator(firstFresh));
    m_idle.erase(m_idle.begin(), firstFresh);
    return old;
}

std::unique_ptr<CCurlHandle> CConnectionPool::Take(std::shared_ptr<STransportSettings const> const& settings)
{
    auto const now = m_now();
    std::vector<SIdle> old; // closed after the lock is gone
    {
        std::lock_guard const lock(m_mutex);
        old = RemoveOld(now);
        for (auto idle = m_idle.rbegin(); idle != m_idle.rend(); ++idle)
        {
            STransportSettings const& kept = idle->m_handle->Settings();
            if (&kept == settings.get() || kept == *settings)
            {
                auto handle = std::move(idle->m_handle);
                m_idle.erase(std::next(idle).base());
                return handle;
            }
        }
    }
    return std::make_unique<CCurlHandle>(settings);
}

void CConnectionPool::Put(std::unique_ptr<CCurlHandle> handle)
{
    auto const now = m_now();
    std::vector<SIdle> old;
    std::lock_guard const lock(m_mutex);
    old = RemoveOld(now);
    if (m_idle.size() >= m_maxIdle && !m_idle.empty())
    {
        old.push_back(std::move(m_idle.front()));
        m_idle.erase(m_idle.begin());
    }
    if (m_maxIdle != 0)
    {
        m_idle.push_back({std::move(handle), now});
    }
}

std::size_t CConnectionPool::IdleCount() const
{
    std::lock_guard const lock(m_mutex);
    return m_idle.size();
}

} // namespace bucketry::s3wire::transport
