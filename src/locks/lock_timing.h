#pragma once

#include "bucketry/base/sync.h"
#include "bucketry/base/text.h"

#include <cstdlib>
#include <functional>

namespace bucketry::locks
{

/// How an exclusive lock lets time pass. The defaults are what hosts get. All functions may be called from any thread.
struct SLockTiming
{
    std::function<void(int msec)> m_sleep = &util::sleep;
    /// At least 0. The default is not seeded.
    std::function<int()> m_random = [] { return std::rand(); };
    /// Milliseconds since any fixed moment.
    std::function<unsigned long()> m_elapsedMsec = [timer = lin::lin_monotonic_timer()]
    { return timer.GetElapsedMsec(); };
    /// Waits up to `msec` for the event; true if it is signalled.
    std::function<bool(posix::posix_manual_reset_event_t& event, int msec)> m_waitForStop =
        [](posix::posix_manual_reset_event_t& event, int msec) { return event.Wait(msec); };
    /// How long a release waits for the keep-alive thread.
    int m_joinLimitMsec = 60000;
};

} // namespace bucketry::locks
