// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "locks/timing.h"
#include "support/expect_failure.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/memory_client.h"

#include <atomic>
#include <mutex>
#include <vector>

namespace bucketry::testing
{

using locks::CCloudOptimisticLock;
using locks::SLockInfo;
using locks::details::SLockTiming;

/// A store of either kind and a clock that goes on only while somebody sleeps. The keep-alive thread of the one
/// lock that is held passes when it is told to.
class CLockFixture
{
public:
    explicit CLockFixture(bool versioned) : m_store(std::make_shared<CMemoryStore>(versioned)), m_client(m_store)
    {
        m_params.m_reason = "mine";
        m_params.m_keepAliveMsec = 10000;
        m_timing.m_sleep = [this](int msec) { Sleep(msec); };
        m_timing.m_random = [] { return 2345; };
        m_timing.m_elapsedMsec = [this] { return m_elapsedMsec.load(); };
        m_timing.m_waitForStop = [this](posix::posix_manual_reset_event_t& event, int msec)
        { return WaitForPass(event, msec); };
    }
    CLockFixture(CLockFixture const&) = delete;
    CLockFixture& operator=(CLockFixture const&) = delete;
    ~CLockFixture() { locks::details::OverrideTiming(nullptr); }

    CCloudOptimisticLock MakeLock()
    {
        locks::details::OverrideTiming(std::make_shared<SLockTiming>(m_timing));
        return {m_client, "f", m_params, m_client.GetServerTime()};
    }
    /// A record of another contender.
    std::string Other(long validSec) const
    {
        SLockInfo info = SLockInfo::Create("other", "theirs", "agent");
        info.ValidTillUtc = datetime::CDateTime::fromUnixTime(m_clock.Now().toUnixTime() + validSec, true);
        return info.ToStr();
    }
    /// Returns when the pass is over.
    void LetKeepAlivePass()
    {
        int const enough = ++m_passes + 1;
        for (int waits = m_waits; waits < enough; waits = m_waits)
        {
            m_waits.wait(waits);
        }
    }
    /// Whether a new contender gets in once every record has run out.
    bool AnotherGetsInLater()
    {
        m_clock.Advance(m_params.m_keepAliveMsec / 1000 + 1);
        return MakeLock().TryLock(1, m_port);
    }
    std::vector<int> Sleeps() const
    {
        std::lock_guard const lock(m_mutex);
        return m_sleeps;
    }

    CFakeClock m_clock;
    CLogCapture m_log;
    std::shared_ptr<CMemoryStore> m_store;
    CMemoryClient m_client;
    SCloudLockParams m_params;
    SLockTiming m_timing;
    synch::completion_port_t m_port;
    std::function<void(std::size_t count)> m_onSleep; ///< called before each sleep
    std::atomic<unsigned long> m_elapsedMsec = 0;
    std::atomic<int> m_lastWaitMsec = 0;

private:
    void Sleep(int msec)
    {
        {
            std::lock_guard const lock(m_mutex);
            m_sleeps.push_back(msec);
        }
        if (m_onSleep)
        {
            m_onSleep(m_sleeps.size());
        }
        unsigned long const before = m_elapsedMsec;
        m_elapsedMsec += static_cast<unsigned long>(msec);
        m_clock.Advance(static_cast<long>(m_elapsedMsec / 1000 - before / 1000));
    }
    bool WaitForPass(posix::posix_manual_reset_event_t& event, int msec)
    {
        m_lastWaitMsec = msec;
        int const pass = ++m_waits;
        m_waits.notify_all();
        while (m_passes < pass)
        {
            if (event.Wait(1))
            {
                return true;
            }
        }
        return false;
    }

    mutable std::mutex m_mutex;
    std::vector<int> m_sleeps;     ///< guarded by m_mutex
    std::atomic<int> m_waits = 0;  ///< begun so far by the keep-alive thread
    std::atomic<int> m_passes = 0; ///< allowed so far
};

} // namespace bucketry::testing
