// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/base/logging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <thread>

using namespace bucketry;
using testing::ElementsAre;

namespace
{

// A failure with a status, as a host or a higher layer derives it.
class CStatusExc : public exc::exc_base_t
{
public:
    CStatusExc(std::string const& message, int status) : exc_base_t(message), m_status(status) {}
    std::shared_ptr<exc_base_t> Clone() const override { return std::make_shared<CStatusExc>(*this); }
    [[noreturn]] void Generate() const override { throw CStatusExc(*this); }

    int m_status;
};

std::vector<std::string> LinesOf(exc::exc_base_t error)
{
    std::vector<std::string> lines;
    error.FilterMessages([&](std::string const& line) { return lines.push_back(line), true; });
    return lines;
}

template <class TExpected, class TCall>
std::string TextOf(TCall const& call)
{
    try
    {
        call();
    }
    catch (TExpected const& error)
    {
        EXPECT_EQ(typeid(error), typeid(TExpected));
        return error.what();
    }
    return "nothing was thrown";
}

} // namespace

TEST(Format, FillsPlaceholdersInOnePass)
{
    EXPECT_EQ(util::str_format("%2 before %1, %2 again", "a", 7), "7 before a, 7 again");
    EXPECT_EQ(util::str_format("%1", "%2", "no"), "%2");
    EXPECT_EQ(util::str_format("%12%1", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, "twelfth"), "twelfth1");
    EXPECT_EQ(util::str_format("%12 %1", "a"), "%12 a");
    EXPECT_EQ(util::str_format("100% %0 %01 %x %% %", "a"), "100% %0 %01 %x %% %");
    EXPECT_EQ(util::str_format("%99999999999999999999999 %1", -1L), "%99999999999999999999999 -1");
    EXPECT_EQ(util::str_replace("aaaa", "aa", "a"), "aa");
    EXPECT_EQ(util::str_replace("a\\b", "", "x"), "a\\b");
}

TEST(Format, ReadsWholeNumbersInRangeOnly)
{
    int number = 5;
    for (char const* const rubbish : {"", " 1", "1 ", "+1", "0x1", "1.0", "2147483648", "--1"})
    {
        EXPECT_THAT(TextOf<exc::CRuntimeExc>([&] { util::fromStr(rubbish, number); }), testing::HasSubstr(rubbish));
    }
    EXPECT_EQ(number, 5);
    util::fromStr("-2147483648", number);
    EXPECT_EQ(number, std::numeric_limits<int>::min());
    unsigned long large = 0;
    EXPECT_THROW(util::fromStr("-1", large), exc::CRuntimeExc);
    util::fromStr("18446744073709551615", large);
    EXPECT_EQ(large, std::numeric_limits<unsigned long>::max());
}

TEST(Format, ComparesKeysWithoutCase)
{
    util::str_case_insensitive_less_operator const less;
    EXPECT_FALSE(less("ETag", "etag") || less("etag", "ETag"));
    EXPECT_TRUE(less("a", "B") && less("A", "b") && less("a", "aa"));
    EXPECT_TRUE(less("z", "\xC3\xA4")) << "bytes count as unsigned";
}

TEST(Failures, KeepClassStatusAndLinesOnTheWayUp)
{
    try
    {
        try
        {
            throw CStatusExc("no such key", 404);
        }
        catch (std::exception const& error)
        {
            exc::RegenExc("Failed to read [%1] in %2", "a/b", 3, error);
        }
    }
    catch (CStatusExc const& error)
    {
        EXPECT_EQ(error.m_status, 404);
        EXPECT_THAT(LinesOf(error), ElementsAre("Failed to read [a/b] in 3", "no such key"));
        EXPECT_STREQ(error.what(), "Failed to read [a/b] in 3\nno such key");
        EXPECT_EQ(TextOf<CStatusExc>([&] { exc::CloneExc(error)->Generate(); }), error.what());
    }
    std::runtime_error const foreign("100%1");
    EXPECT_EQ(TextOf<exc::CRuntimeExc>([&] { exc::RegenTraceExc("step", foreign); }), "step\n100%1");
    exc::CNotImplExc const missing("CClient", "Copy");
    EXPECT_EQ(TextOf<exc::CNotImplExc>([&] { exc::RegenExc("top", missing); }), "top\nCClient::Copy");
    EXPECT_EQ(TextOf<web::http::http_exception>([] { web::http::http_exception("cut").Generate(); }), "cut");
    EXPECT_STREQ(missing.what(), "CClient::Copy") << "the original is never edited";
}

TEST(Failures, TextFormHoldsTheLinesAndNothingElseIsTaken)
{
    exc::exc_base_t error("first\\n\nwith a break");
    error.AddMessage("");
    error.AddMessage("newest");
    exc::exc_base_t copy("replaced");
    copy.Unserialize(error.Serialize());
    EXPECT_EQ(LinesOf(copy), LinesOf(error));
    EXPECT_STREQ(copy.what(), error.what());
    copy.FilterMessages([](std::string const& line) { return line != "newest"; });
    EXPECT_STREQ(copy.what(), "\nfirst\\n\nwith a break");

    std::string const whole = error.Serialize();
    for (std::string const& rubbish : {std::string(), std::string("text"), whole.substr(0, whole.size() - 1),
                                       whole + "\\x\n", whole + "open\\", " " + whole})
    {
        EXPECT_THROW(copy.Unserialize(rubbish), exc::CRuntimeExc) << rubbish;
    }
    EXPECT_STREQ(copy.what(), "\nfirst\\n\nwith a break");
}

TEST(Log, SinkGetsLevelSectionAndTheLinesOfFailures)
{
    testing::MockFunction<void(logging::ELevel, std::string const&, std::string const&)> sink;
    logging::SetSink(sink.AsStdFunction());
    testing::InSequence const inOrder;
    using enum logging::ELevel;
    EXPECT_CALL(sink, Call(Warning, "stg_log", "slow: 3 %2")).WillOnce([](auto&&...) { throw std::bad_alloc(); });
    EXPECT_CALL(sink, Call(Error, "common_log", "At end\nnewest\noldest"));
    EXPECT_CALL(sink, Call(Info, "cli_log", "Unlock a: started."));
    EXPECT_CALL(sink, Call(Info, "cli_log", "Unlock a: ok."));
    EXPECT_CALL(sink, Call(Info, "cli_log", "Unlock b: started."));
    EXPECT_CALL(sink, Call(Warning, "cli_log", "Unlock b: failed."));
    EXPECT_CALL(sink, Call(Warning, "cli_log", "Check d: failed."));

    stg_log.warn("slow: %1 %2", 3);
    exc::CRuntimeExc error("oldest");
    error.AddMessage("newest");
    logging::LogExc("At end", error);
    logging::trace_t(cli_log, "Unlock %1", "a").ok();
    logging::trace_t(cli_log, "Unlock %1", "b");
    logging::trace_fail_t(cli_log, "Check %1", "c").ok("done");
    logging::trace_fail_t(cli_log, "Check %1", "d");
    logging::SetSink({});
}

TEST(Log, DefaultSinkWritesWarningsAndErrorsToStandardError)
{
    logging::SetSink({});
    testing::internal::CaptureStderr();
    common_log.info("quiet");
    common_log.err("loud {} %s");
    std::string const text = testing::internal::GetCapturedStderr();
    EXPECT_THAT(text, testing::EndsWith(" error [common_log] loud {} %s\n"));
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("quiet")));
}

TEST(Log, CallsTheSinkOneAtATimeAndNeverAfterItsEnd)
{
    int lines = 0; // no lock: the sink is called for one line at a time
    logging::SetSink([&lines](auto&&...) { ++lines; });
    auto const writeLines = []
    {
        for (int i = 0; i < 500; ++i)
        {
            common_log.info("line");
        }
    };
    std::thread first(writeLines);
    std::thread second(writeLines);
    first.join();
    logging::SetSink([](auto&&...) {});
    int const seen = lines; // the former sink is not running any more
    second.join();
    EXPECT_GE(seen, 500);
    EXPECT_EQ(lines, seen);
    logging::SetSink({});
}
