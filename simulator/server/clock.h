#pragma once

#include <mutex>
#include <optional>

#include <bucketry/simulator.h>

namespace bucketry::simulator
{

/// The system's time until it is set; then it stands still. Any number of threads.
class CClock
{
public:
    time_point_t Now() const
    {
        std::lock_guard const lock(m_mutex);
        return m_fixed ? *m_fixed : std::chrono::system_clock::now() + m_offset;
    }
    void Set(time_point_t now)
    {
        std::lock_guard const lock(m_mutex);
        m_fixed = now;
    }
    void Advance(std::chrono::milliseconds by)
    {
        std::lock_guard const lock(m_mutex);
        if (m_fixed)
            *m_fixed += by;
        else
            m_offset += by;
    }

private:
    mutable std::mutex m_mutex;
    std::optional<time_point_t> m_fixed;   // guarded by m_mutex
    std::chrono::milliseconds m_offset{0}; // guarded by m_mutex
};

} // namespace bucketry::simulator
