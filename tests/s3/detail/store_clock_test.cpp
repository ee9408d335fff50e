// SPDX-License-Identifier: Apache-2.0
#include "s3/detail/store_clock.h"

#include "support/fake_clock.h"

#include <gtest/gtest.h>

namespace bucketry::s3::detail
{
namespace
{

TEST(StoreClock, AsksOnceAndTakesAMissingDateAsItIsTold)
{
    testing::CFakeClock const clock;
    std::string const minuteAgo =
        datetime::CDateTime::fromUnixTime(clock.Now().toUnixTime() - 60, true).toStdString(dateFormatRfc2822Gmt);
    struct
    {
        std::string m_date;
        ENoDate m_noDate;
        bool m_fails;
        bool m_hasDifference;
    } const rows[] = {{minuteAgo, ENoDate::NoDifference, false, true}, {minuteAgo, ENoDate::Failure, false, true},
                      {"", ENoDate::NoDifference, false, false},       {"", ENoDate::Failure, true, false},
                      {"today", ENoDate::NoDifference, true, false},   {"lost", ENoDate::Failure, true, false}};
    for (auto const& row : rows)
    {
        int questions = 0;
        auto const ask = [&]
        {
            ++questions;
            return row.m_date == "lost" ? throw exc::CRuntimeExc("lost") : row.m_date;
        };
        CStoreClock store(ask, row.m_noDate);
        if (row.m_fails)
        {
            EXPECT_THROW(store.GetServerTime(), exc::CRuntimeExc) << row.m_date;
        }
        auto const time = store.GetServerTime();
        EXPECT_EQ(time->IsInitialized(), row.m_hasDifference) << row.m_date;
        EXPECT_EQ(clock.Now().toUnixTime() - time->GetServerUtcNow().toUnixTime(), row.m_hasDifference ? 60 : 0);
        EXPECT_EQ(store.GetServerTime(), time);
        EXPECT_EQ(questions, 1);
    }
}

} // namespace
} // namespace bucketry::s3::detail
