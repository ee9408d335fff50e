// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/sync.h"
#include "bucketry/base/text.h"

#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>

namespace bucketry::locks::details
{

/// How locks let time pass. The defaults are what hosts get. All functions may be called from any thread.
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
    /// How long a release waits for a thread, in place of what the lock itself says.
    std::optional<int> m_joinLimitMsec{};
};

/// For this process and every lock that is made from now on; others keep what they were made with. Null stands for the
/// defaults. Any thread.
void OverrideTiming(std::shared_ptr<SLockTiming const> timing);

/// What a lock that is made now goes by. Never null. Any thread.
std::shared_ptr<SLockTiming const> CurrentTiming();

} // namespace bucketry::locks::details
