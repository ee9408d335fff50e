// SPDX-License-Identifier: Apache-2.0
#include "s3/detail/adapt.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/base/logging.h"
#include "bucketry/s3.h"

#include <gmock/gmock.h>

namespace bucketry::s3::detail
{
namespace
{

using s3wire::CS3WireException;
using testing::ElementsAre;
using testing::HasSubstr;

class Adapt : public testing::Test
{
protected:
    void SetUp() override
    {
        logging::SetSink([this](logging::ELevel level, std::string const& section, std::string const& text)
                         { m_lines.push_back(std::to_string(static_cast<int>(level)) + " " + section + " " + text); });
    }
    void TearDown() override { logging::SetSink({}); }

    template <class TError>
    static std::shared_ptr<task::IAsyncTask> Failing(TError const& error)
    {
        return AdaptPplxTaskS3(web::Task<void>([error] { throw error; }), "Failed, path [%1], tier [%2].",
                               std::string("p%2"), 3);
    }

    std::vector<std::string> m_lines;
};

TEST_F(Adapt, TurnsARefusalIntoAStorageFailureAndLogsTheText)
{
    AdaptPplxTaskS3(web::Task<void>([] {}), "never logged")->Wait();
    EXPECT_TRUE(m_lines.empty());
    auto const task = Failing(CS3WireException("the store's [%1] message", 403, "AccessDenied"));
    try
    {
        task->Wait();
        FAIL();
    }
    catch (CObjectStorageException const& failure)
    {
        EXPECT_EQ(failure.m_statusCode, 403);
        EXPECT_THAT(failure.what(), HasSubstr("the store's [%1] message"));
    }
    EXPECT_THAT(m_lines, ElementsAre("0 stg_log Failed, path [p%2], tier [3]."));
}

TEST_F(Adapt, LogsNothingFor404)
{
    EXPECT_THROW(Failing(CS3WireException("m", 404, "NoSuchKey"))->Wait(), CObjectStorageException);
    EXPECT_TRUE(m_lines.empty());
}

TEST_F(Adapt, LeavesOtherFailuresWhatTheyAre)
{
    EXPECT_THROW(Failing(web::http::http_exception("m"))->Wait(), web::http::http_exception);
    EXPECT_THROW(Failing(exc::CRuntimeExc("m"))->Wait(), exc::CRuntimeExc);
    EXPECT_EQ(m_lines.size(), 2u);
}

TEST(RetryStrategy, JudgesFailuresInOrder)
{
    CS3DefaultRetryStrategy const strategy;
    struct SRow
    {
        std::uint16_t m_status;
        char const* m_code;
        bool m_retryable;
    };
    for (SRow const& row : {SRow{404, "", true},
                            {404, "NoSuchKey", false},
                            {500, "NoSuchKey", true},
                            {429, "x", true},
                            {503, "Busy", false},
                            {503, "SlowDownPlease", true},
                            {403, "RequestTimeTooSkewed", true},
                            {400, "aSlowDown", false}})
    {
        CS3WireException error("m", row.m_status, row.m_code);
        EXPECT_EQ(strategy.IsExceptionRetryable(error), row.m_retryable) << row.m_status << row.m_code;
    }
    exc::CRuntimeExc runtime("m");
    web::http::http_exception connection("m");
    EXPECT_FALSE(strategy.IsExceptionRetryable(runtime));
    EXPECT_TRUE(strategy.IsExceptionRetryable(connection));
}

TEST(RetryStrategy, WaitsLongerAfterEachAttemptUpToItsLimit)
{
    using clock = boost::chrono::steady_clock;
    web::http::http_exception error("m");
    exc::CRuntimeExc final("m");
    clock::time_point const untouched;
    clock::time_point retryAt = untouched;
    EXPECT_FALSE(CS3DefaultRetryStrategy().ShouldRetry(error, 0, retryAt));
    CS3DefaultRetryStrategy strategy(3);
    EXPECT_FALSE(strategy.ShouldRetry(error, 3, retryAt));
    EXPECT_FALSE(strategy.ShouldRetry(final, 0, retryAt));
    EXPECT_EQ(retryAt, untouched);
    for (unsigned attempt = 0; attempt < 3; ++attempt)
    {
        clock::time_point const before = clock::now();
        EXPECT_TRUE(strategy.ShouldRetry(error, attempt, retryAt));
        auto const wait = boost::chrono::seconds(10 * attempt + 5);
        EXPECT_GE(retryAt, before + wait);
        EXPECT_LE(retryAt, clock::now() + wait);
    }
}

} // namespace
} // namespace bucketry::s3::detail
