// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/simulator.h"

#include <deque>
#include <mutex>

namespace bucketry::simulator
{

/// The last requests. Any number of threads.
class CRequestLog
{
public:
    explicit CRequestLog(std::size_t limit) : m_limit(limit) {}
    /// Adds a request, and forgets the oldest one beyond the limit.
    void Add(SLoggedRequest request)
    {
        std::lock_guard const lock(m_mutex);
        m_requests.push_back(std::move(request));
        if (m_requests.size() > m_limit)
        {
            m_requests.pop_front();
        }
    }
    /// Forgets all.
    void Clear()
    {
        std::lock_guard const lock(m_mutex);
        m_requests.clear();
    }
    /// What is known now, oldest first.
    std::vector<SLoggedRequest> Copy() const
    {
        std::lock_guard const lock(m_mutex);
        return {m_requests.begin(), m_requests.end()};
    }

private:
    std::size_t const m_limit;
    mutable std::mutex m_mutex;
    std::deque<SLoggedRequest> m_requests; // guarded by m_mutex
};

} // namespace bucketry::simulator
