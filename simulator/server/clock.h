// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/simulator.h"

#include <mutex>
#include <optional>

namespace bucketry::simulator
{

/// The system's time until it is set; then it stands still. Any number of threads.
class CClock
{
public:
    /// The store's time.
    time_point_t Now() const
    {
        std::lock_guard const lock(m_mutex);
        return m_fixed ? *m_fixed : std::chrono::system_clock::now() + m_offset;
    }
    /// Stops the clock at that time.
    void Set(time_point_t now)
    {
        std::lock_guard const lock(m_mutex);
        m_fixed = now;
    }
    /// Moves the clock, stopped or not.
    void Advance(std::chrono::milliseconds by)
    {
        std::lock_guard const lock(m_mutex);
        if (m_fixed)
        {
            *m_fixed += by;
        }
        else
        {
            m_offset += by;
        }
    }

private:
    mutable std::mutex m_mutex;
    std::optional<time_point_t> m_fixed;   // guarded by m_mutex
    std::chrono::milliseconds m_offset{0}; // guarded by m_mutex
};

} // namespace bucketry::simulator
