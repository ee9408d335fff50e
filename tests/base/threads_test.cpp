// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/io.h"
#include "bucketry/base/perf.h"
#include "bucketry/base/sync.h"

#include "support/log_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <new>

using namespace bucketry;

namespace
{

void Throw404(void*)
{
    throw exc::CNotImplExc("work");
}

struct SWorker
{
    posix::posix_manual_reset_event_t m_go{false};
    std::string m_name;

    void Work()
    {
        std::getline(std::ifstream("/proc/thread-self/comm"), m_name);
        m_go.Wait(-1);
        throw std::bad_alloc();
    }
};

} // namespace

TEST(Threads, HaveAVisibleNameAndGiveTheirFailureOnce)
{
    SWorker worker;
    synch::thread_adapter_t thread(worker, &SWorker::Work, "Cloud exclusive lock a/b");
    EXPECT_THROW(thread.WaitForFinishExc(1), exc::CRuntimeExc);
    worker.m_go.SetEvent();
    EXPECT_THROW(thread.WaitForFinishExc(60000), std::bad_alloc);
    EXPECT_NO_THROW(thread.WaitForFinishExc(0));
    EXPECT_EQ(worker.m_name, "Cloud exclusive");

    synch::thread_t failing(Throw404, nullptr, "");
    EXPECT_THROW(failing.WaitForFinishExc(60000), exc::CNotImplExc);
}

TEST(Threads, LogAFailureThatNobodyAskedFor)
{
    bucketry::testing::CLogCapture const log;
    synch::thread_t(Throw404, nullptr, "lonely");
    EXPECT_EQ(log.Count(logging::ELevel::Error, "lonely\nwork"), 1U);
}

TEST(CompletionPort, KeepsTheFirstErrorWithItsClass)
{
    synch::completion_port_t port;
    EXPECT_NO_THROW(port.CheckForErrorsExc());
    port.PostError(exc::CNotImplExc("first"));
    port.PostError(std::runtime_error("second"));
    for (int check = 0; check < 2; ++check)
    {
        EXPECT_THROW(port.CheckForErrorsExc(), exc::CNotImplExc);
    }
}

TEST(Event, StaysSetUntilItIsReset)
{
    posix::posix_manual_reset_event_t event(true);
    EXPECT_TRUE(event.Wait(0) && event.Wait(0));
    event.ResetEvent();
    lin::lin_monotonic_timer const timer;
    EXPECT_FALSE(event.Wait(20));
    EXPECT_GE(timer.GetElapsedMsec(), 20U);
    std::thread setter([&event] { event.SetEvent(); });
    EXPECT_TRUE(event.Wait(60000));
    setter.join();
}

TEST(Throttling, PausesSumUpToTheRateAndANewLimitStartsAfresh)
{
    using namespace std::chrono_literals;
    io::CNetworkTrottlingCtx throttle;
    EXPECT_EQ(throttle.Acquire(1UL << 40U), 0ns);
    throttle.SetLimitBytesPerSec(1000);
    EXPECT_EQ(throttle.Acquire(100000), 0ns) << "the first bytes need not wait";
    auto const pause = throttle.Acquire(std::numeric_limits<unsigned long>::max());
    EXPECT_LE(pause, 100s);
    EXPECT_GE(pause, 90s) << "a burst is a tenth of a second at most";
    EXPECT_GT(throttle.Acquire(1), 24h) << "and no overflow";
    throttle.SetLimitBytesPerSec(1000000);
    EXPECT_EQ(throttle.Acquire(1), 0ns);
}

TEST(PerfEvents, ReachTheSinkWithTheirArguments)
{
    std::vector<std::string> seen;
    perf::SetSink(
        [&seen](int id, std::vector<perf::CPerfEventArg> const& arguments)
        {
            seen.push_back(std::to_string(id) + ":" + std::to_string(arguments.size()));
            if (arguments.size() == 3)
            {
                EXPECT_EQ(std::get<std::string>(arguments[0].Value()), "path");
                EXPECT_EQ(std::get<unsigned long>(arguments[1].Value()), 5U);
                EXPECT_EQ(std::get<int>(arguments[2].Value()), -1);
            }
            throw std::runtime_error("dropped");
        });
    perf::OnEvent(1);
    perf::OnEventEx(2, std::string("path"), 5UL, -1);
    perf::SetSink({});
    perf::OnEvent(3);
    EXPECT_THAT(seen, ::testing::ElementsAre("1:0", "2:3"));
}
