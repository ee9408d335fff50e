// SPDX-License-Identifier: Apache-2.0
#include "support/expect_failure.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"

namespace bucketry
{

namespace
{

using logging::ELevel;

datetime::CDateTime Earlier(testing::CFakeClock const& clock, long seconds)
{
    return datetime::CDateTime::fromUnixTime(clock.Now().toUnixTime() - seconds, true);
}

} // namespace

TEST(ServerTime, GivesTheLocalTimeAndSaysSoOnceUntilItIsMeasured)
{
    testing::CFakeClock clock;
    testing::CLogCapture log;
    CServerTime time;
    EXPECT_FALSE(time.IsInitialized());
    EXPECT_EQ(time.GetServerUtcNow(), clock.Now());
    EXPECT_EQ(time.GetServerUtcNow(), clock.Now());
    EXPECT_EQ(log.Count(ELevel::Warning, "Cloud Server time is not available, using local UTC time."), 1U);

    time.UpdateServerDiff(Earlier(clock, 10));
    clock.Advance(100);
    EXPECT_TRUE(time.IsInitialized());
    EXPECT_EQ(time.GetServerUtcNow(), Earlier(clock, 10));
}

TEST(ServerTime, RefusesClocksMoreThanFifteenMinutesApart)
{
    testing::CFakeClock clock(1'700'000'000);
    testing::CLogCapture log;
    CServerTime time;
    for (long const sign : {1L, -1L})
    {
        time.UpdateServerDiff(Earlier(clock, 900 * sign));
        testing::ExpectFailure<exc::CRuntimeExc>("The difference between local and cloud clocks is too high. "
                                                 "Cloud server UTC time: [" +
                                                     Earlier(clock, 901 * sign).toStdString() + "].",
                                                 [&] { time.UpdateServerDiff(Earlier(clock, 901 * sign)); });
        EXPECT_EQ(time.GetServerUtcNow(), Earlier(clock, 900 * sign));
    }
}

TEST(ServerTime, LogsADriftOfHalfAMinute)
{
    testing::CFakeClock clock;
    testing::CLogCapture log;
    CServerTime time;
    std::size_t lines = 0;
    for (auto const& [diff, logged] : {std::pair(0L, true), {29L, false}, {30L, true}, {1L, false}, {0L, true}})
    {
        lines += logged ? 1 : 0;
        time.UpdateServerDiff(Earlier(clock, diff));
        EXPECT_EQ(log.Count(ELevel::Info, "Cloud Server UTC time: ["), lines) << diff;
    }
}

} // namespace bucketry
