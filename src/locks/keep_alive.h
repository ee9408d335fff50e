// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "timing.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace bucketry::locks::details
{

enum class EPass
{
    Renewed,
    Failed ///< to be repeated soon
};

/// The thread of a held lock that renews what the lock has stored, every half of the time for which a record counts.
/// What a pass does, and what it says when it fails, is the lock's own.
///
/// Threads: Start and Stop from one thread at a time.
class CKeepAlive
{
public:
    /// A pass that throws ends the thread; the log says so.
    using pass_t = std::function<EPass()>;

    /// \param keepAliveMsec  for how long a record counts
    /// \param joinLimitMsec  how long Stop waits, unless the timing says otherwise
    CKeepAlive(std::shared_ptr<SLockTiming const> timing, int keepAliveMsec, int joinLimitMsec);
    CKeepAlive(CKeepAlive const&) = delete;
    CKeepAlive& operator=(CKeepAlive const&) = delete;
    /// Stops, and waits without limit.
    ~CKeepAlive();

    /// The first pass comes after half the time for which a record counts. Not to be called while the thread runs.
    void Start(pass_t pass, std::string const& threadName);
    /// Waits for a pass under way and the end of the thread; does nothing without one. Throws exc::CRuntimeExc if that
    /// takes too long: the thread, which may still be in its pass, is then kept.
    void Stop();

private:
    void Run();

    std::shared_ptr<SLockTiming const> const m_timing;
    int const m_keepAliveMsec;
    int const m_joinLimitMsec;
    pass_t m_pass; ///< the thread's while it runs
    posix::posix_manual_reset_event_t m_stopEvent{false};
    std::optional<synch::thread_adapter_t> m_thread; ///< the last member: joined before the others go
};

} // namespace bucketry::locks::details
