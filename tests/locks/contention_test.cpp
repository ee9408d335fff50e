// SPDX-License-Identifier: Apache-2.0
#include "lock_fixture.h"
#include "support/temp_dir.h"

#include <condition_variable>
#include <fstream>
#include <random>
#include <thread>

#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace bucketry::testing
{

namespace
{

using namespace ::testing;

/// Lets threads go on one at a time, each at its own moment of a time that nobody waits for: the order depends on the
/// requested delays only.
class CVirtualTime
{
public:
    explicit CVirtualTime(int threads) : m_running(threads) {}

    void Sleep(long msec)
    {
        std::unique_lock lock(m_mutex);
        auto const mine = m_wakeUps.emplace(m_nowMsec + msec, false);
        --m_running;
        WakeNext();
        m_changed.wait(lock, [&] { return mine->second; });
        m_wakeUps.erase(mine);
    }
    void Leave()
    {
        std::lock_guard const lock(m_mutex);
        --m_running;
        WakeNext();
    }

private:
    void WakeNext()
    {
        if (m_running > 0 || m_wakeUps.empty())
        {
            return;
        }
        auto const next = m_wakeUps.begin();
        m_clock.Advance(next->first / 1000 - m_nowMsec / 1000);
        m_nowMsec = next->first;
        next->second = true;
        ++m_running;
        m_changed.notify_all();
    }

    CFakeClock m_clock;
    std::mutex m_mutex; ///< guards all below
    std::condition_variable m_changed;
    std::multimap<long, bool> m_wakeUps;
    long m_nowMsec = 0;
    int m_running;
};

/// Contenders on threads of their own, each of which takes the lock `rounds` times and calls `hold` while it holds it.
void Contend(int contenders, int rounds, CMemoryClient& client, SLockTiming const& timing,
             std::function<void(int contender)> const& begin, std::function<void()> const& hold,
             std::function<void()> const& leave)
{
    locks::details::OverrideTiming(std::make_shared<SLockTiming>(timing));
    std::atomic<int> holders = 0;
    std::vector<std::thread> threads;
    for (int n = 0; n < contenders; ++n)
    {
        threads.emplace_back(
            [&, n]
            {
                begin(n);
                synch::completion_port_t port;
                CCloudOptimisticLock lock(client, "f", {}, client.GetServerTime());
                for (int round = 0; round < rounds; ++round)
                {
                    lock.Lock(0, port);
                    EXPECT_EQ(++holders, 1);
                    hold();
                    --holders;
                    lock.Unlock();
                }
                leave();
            });
    }
    std::ranges::for_each(threads, &std::thread::join);
    locks::details::OverrideTiming(nullptr);
}

/// Every storage call takes up to 90 ms, the lock is held for 300 ms.
void ContendInVirtualTime(bool versioned, int contenders, unsigned seed)
{
    SCOPED_TRACE(util::str_format("%1 contenders, versions %2, seed %3", contenders, int(versioned), seed));
    std::mt19937 random(seed);
    CVirtualTime time(contenders);
    auto const store = std::make_shared<CMemoryStore>(versioned);
    store->SetHooks({[&](std::string const&) { time.Sleep(static_cast<long>(random() % 90)); }, {}});
    CMemoryClient client(store);
    SLockTiming timing;
    timing.m_sleep = [&](int msec) { time.Sleep(msec); };
    timing.m_random = [&] { return static_cast<int>(random() % 2000); };
    timing.m_waitForStop = [](posix::posix_manual_reset_event_t& event, int) { return event.Wait(-1); };
    Contend(
        contenders, 2, client, timing, [&](int n) { time.Sleep(n); }, [&] { time.Sleep(300); }, [&] { time.Leave(); });
}

TEST(Contention, OneHolderAtATimeInEveryOrder)
{
    CLogCapture quiet;
    for (unsigned seed = 1; seed <= 25; ++seed)
    {
        for (int contenders = 2; contenders <= 4; ++contenders)
        {
            ContendInVirtualTime(false, contenders, seed);
            ContendInVirtualTime(true, contenders, seed);
        }
    }
}

/// Threads as they come, with renewals all the time; on a store with versions calls may be as slow as they like.
TEST(Contention, OneHolderAtATimeAmongFreeThreads)
{
    CLogCapture quiet;
    CFakeClock clock;
    CMemoryClient client(std::make_shared<CMemoryStore>(true));
    SLockTiming timing;
    timing.m_sleep = [](int) { std::this_thread::yield(); };
    timing.m_waitForStop = [](posix::posix_manual_reset_event_t& event, int) { return event.Wait(1); };
    Contend(
        3, 10, client, timing, [](int) {}, &std::this_thread::yield, [] {});
}

constexpr auto RootVariable = "BUCKETRY_TEST_LOCKED_ROOT";
constexpr int Rounds = 3;

int ReadCount(std::string const& path)
{
    int count = 0;
    std::ifstream(path) >> count;
    return count;
}

/// What each process of the test below does. Pauses are short, but the one that the lock relies on. A local root is no
/// store: a reader may see a half-written file, and a missing file cannot be deleted, so an acquisition may fail; the
/// same lock object then goes on.
TEST(LocalProcess, DISABLED_CountsUp)
{
    CLogCapture quiet;
    std::string const root = getenv(RootVariable);
    CLocalFsCloudClient client(root + "/");
    auto const timing = std::make_shared<SLockTiming>();
    timing->m_sleep = [](int msec) { util::sleep(msec == 200 ? msec : msec / 20); };
    timing->m_random = [random = std::make_shared<std::mt19937>(util::GetPID())]
    { return static_cast<int>((*random)() % 2000); };
    locks::details::OverrideTiming(timing);
    synch::completion_port_t port;
    CCloudOptimisticLock lock(client, "f", {}, client.GetServerTime());
    for (int round = 0, attempts = 0; round < Rounds && attempts < 100; ++attempts)
    {
        try
        {
            lock.Lock(60000, port);
        }
        catch (std::exception const&)
        {
            continue;
        }
        int const count = ReadCount(root + "/count");
        util::sleep(10);
        std::ofstream(root + "/count") << count + 1;
        lock.Unlock();
        ++round;
    }
}

TEST(Contention, ProcessesOnOneLocalRootLoseNoCount)
{
    CTempDir const root;
    setenv(RootVariable, root.Path().c_str(), 1);
    std::vector<pid_t> processes(3);
    for (pid_t& process : processes)
    {
        char const* const arguments[] = {"self", "--gtest_filter=LocalProcess.*", "--gtest_also_run_disabled_tests",
                                         "--gtest_brief=1", nullptr};
        ASSERT_EQ(posix_spawn(&process, "/proc/self/exe", nullptr, nullptr, const_cast<char**>(arguments), environ), 0);
    }
    for (pid_t const process : processes)
    {
        int status = -1;
        ASSERT_EQ(waitpid(process, &status, 0), process);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(ReadCount(root.Path() / "count"), static_cast<int>(processes.size()) * Rounds);
}

} // namespace

} // namespace bucketry::testing
