// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bucketry::simulator::tests
{

using testing::HasSubstr;

namespace
{

class SimulatedFaults : public testing::Test
{
protected:
    SimulatedFaults()
    {
        m_simulator.CreateBucket("b");
        m_client.Put("/b/a", "hello");
        m_simulator.ClearLog();
    }
    SAnswer GetWith(std::string const& action)
    {
        m_simulator.ClearFaults();
        m_simulator.LoadFaults("on GetObject do " + action);
        return m_client.Get("/b/a");
    }

    CSimulator m_simulator;
    CClient m_client{m_simulator};
};

} // namespace

TEST_F(SimulatedFaults, StandInThePlaceOfTheAnswer)
{
    auto const slow = GetWith("status 503 SlowDown retry-after=1 message=\"Please reduce\"");
    EXPECT_EQ(slow.m_status, 503);
    EXPECT_EQ(slow.Element("Code"), "SlowDown");
    EXPECT_EQ(slow.Element("Message"), "Please reduce");
    EXPECT_EQ(slow.Header("retry-after"), "1");
    EXPECT_EQ(GetWith("status 500").m_body, "");
    auto const lie = GetWith("error-in-200 InternalError");
    EXPECT_EQ(lie.m_status, 200);
    EXPECT_EQ(lie.Element("Code"), "InternalError");
    auto const empty = GetWith("empty-200");
    EXPECT_EQ(empty.m_status, 200);
    EXPECT_EQ(empty.m_body, "");
    auto const redirect = GetWith("redirect 307 other:1 region=eu-west-1");
    EXPECT_EQ(redirect.m_status, 307);
    EXPECT_EQ(redirect.Header("location"), "http://other:1/b/a");
    EXPECT_EQ(redirect.Header("x-amz-bucket-region"), "eu-west-1");
    EXPECT_EQ(GetWith("redirect 301 other").Element("Endpoint"), "other");
    EXPECT_EQ(GetWith("wrong-region eu-west-1").Element("Region"), "eu-west-1");
    EXPECT_EQ(GetWith("expired-token").Element("Code"), "ExpiredToken");
    EXPECT_EQ(GetWith("clock-skew 1000").Element("Code"), "RequestTimeTooSkewed");
    EXPECT_EQ(GetWith("clock-skew -100").m_body, "hello");
    EXPECT_EQ(m_simulator.FaultsFired(), 10u);
    EXPECT_EQ(m_simulator.Log().front().m_fault, "status");
}

TEST_F(SimulatedFaults, BreakTheConnection)
{
    for (std::string const action : {"cut before-body", "cut in-body", "cut after-body", "lost-answer"})
    {
        EXPECT_EQ(GetWith(action).m_curlCode, CURLE_GOT_NOTHING) << action;
    }
    EXPECT_EQ(m_simulator.Log().back().m_status, 0u);
    EXPECT_EQ(m_simulator.Log().back().m_fault, "lost-answer");
    auto const truncated = GetWith("truncate 2");
    EXPECT_EQ(truncated.m_curlCode, CURLE_PARTIAL_FILE);
    EXPECT_EQ(truncated.m_body, "he");
    EXPECT_EQ(GetWith("wrong-length 1").m_curlCode, CURLE_PARTIAL_FILE);
    EXPECT_EQ(GetWith("wrong-length -2").m_body, "hel");
    EXPECT_EQ(GetWith("close").m_body, "hello");
    std::string const big(1000000, 'x');
    m_simulator.LoadFaults("on PutObject nth=1 do cut in-body\non PutObject nth=1 do lost-answer");
    EXPECT_NE(m_client.Put("/b/cut", big).m_curlCode, CURLE_OK);
    EXPECT_FALSE(m_simulator.ObjectContent("b", "cut"));
    EXPECT_NE(m_client.Put("/b/lost", big).m_curlCode, CURLE_OK);
    EXPECT_TRUE(m_simulator.ObjectContent("b", "lost"));
}

TEST_F(SimulatedFaults, DeliverTwiceAndWaitNoLongerThanTheStoreLives)
{
    m_simulator.CreateBucket("versioned", {.m_versioning = true});
    m_simulator.LoadFaults("on PutObject do duplicate");
    EXPECT_EQ(m_client.Put("/versioned/a", "1").m_status, 200);
    EXPECT_EQ(m_simulator.VersionCount("versioned"), 2u);
    EXPECT_EQ(m_simulator.ObjectContent("versioned", "a"), "1");

    auto ending = std::make_unique<CSimulator>();
    ending->LoadFaults("on ListBuckets nth=1 do stall 10\non * do delay 3600000");
    CClient const client(*ending);
    SAnswer stalled, delayed;
    std::thread first([&] { stalled = client.Get("/"); });
    while (ending->FaultsFired() < 1)
    {
        std::this_thread::yield();
    }
    std::thread second([&] { delayed = client.Get("/"); });
    while (ending->FaultsFired() < 2)
    {
        std::this_thread::yield();
    }
    ending.reset();
    first.join();
    second.join();
    EXPECT_NE(stalled.m_curlCode, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(stalled.m_body.size(), 10u);
    EXPECT_NE(delayed.m_curlCode, CURLE_OPERATION_TIMEDOUT);
}

TEST_F(SimulatedFaults, HitWhatTheirRuleSelects)
{
    auto const statuses = [&](std::string const& rule, std::vector<std::string> const& targets)
    {
        m_simulator.ClearFaults();
        m_simulator.LoadFaults(rule);
        std::vector<long> seen;
        for (auto const& target : targets)
        {
            seen.push_back(m_client.Get(target).m_status);
        }
        return seen;
    };
    using statuses_t = std::vector<long>;
    std::vector<std::string> const four(4, "/b/a");
    EXPECT_EQ(statuses("on GetObject nth=2 do status 500", four), (statuses_t{200, 500, 200, 200}));
    EXPECT_EQ(statuses("on Get* every=2 do status 500", four), (statuses_t{200, 500, 200, 500}));
    EXPECT_EQ(statuses("on * times=1 do status 500", four), (statuses_t{500, 200, 200, 200}));
    EXPECT_EQ(statuses("on * key=a bucket=? do status 500", {"/b/a", "/b/ab"}), (statuses_t{500, 404}));
    EXPECT_EQ(statuses("on * key=*/b* do status 500", {"/b/x/y/bc", "/b/b"}), (statuses_t{500, 404}));
    EXPECT_EQ(statuses("on * key=\"a b\" do status 500 # why", {"/b/a%20b", "/b/a"}), (statuses_t{500, 200}));
    EXPECT_EQ(statuses("on PutObject do status 500", four), (statuses_t{200, 200, 200, 200}));
    EXPECT_EQ(statuses("# nothing\n\non * nth=1 do status 500\non * nth=1 do status 503", four),
              (statuses_t{500, 503, 200, 200}));

    std::vector<std::string> const many(100, "/b/a");
    auto const drawn = statuses("on * chance=0.3 seed=7 do status 500", many);
    EXPECT_EQ(drawn, statuses("on * chance=0.3 seed=7 do status 500", many));
    auto const hits = std::count(drawn.begin(), drawn.end(), 500);
    EXPECT_GT(hits, 10);
    EXPECT_LT(hits, 50);
}

TEST_F(SimulatedFaults, HoldRequestsToARateByTheStoresClock)
{
    m_simulator.SetClock(std::chrono::system_clock::now());
    struct SStep
    {
        unsigned m_milliseconds; ///< since the step before
        std::string m_target;
        bool m_isRefused;
    };
    auto const check = [&](std::string const& rule, std::vector<SStep> const& steps)
    {
        m_simulator.ClearFaults();
        m_simulator.LoadFaults(rule + " do status 429 SlowDown retry-after=1");
        for (std::size_t i = 0; i < steps.size(); ++i)
        {
            m_simulator.AdvanceClock(std::chrono::milliseconds(steps[i].m_milliseconds));
            auto const answer = m_client.Put(steps[i].m_target, "1");
            EXPECT_EQ(answer.m_status, steps[i].m_isRefused ? 429 : 200) << rule << ", step " << i;
            EXPECT_EQ(answer.Header("retry-after"), steps[i].m_isRefused ? "1" : "");
        }
    };
    check("on PutObject|DeleteObject rate=1/s per=key",
          {{0, "/b/x", false}, {0, "/b/y", false}, {999, "/b/x", true}, {1, "/b/x", false}, {0, "/b/x", true}});
    check("on * key=x/* rate=2/s burst=2 per=prefix",
          {{0, "/b/x/1", false},
           {0, "/b/x/2", false},
           {0, "/b/x/3", true},
           {0, "/b/x/y/3", false},
           {0, "/b/z", false},
           {500, "/b/x/4", false},
           {9999, "/b/x/5", false},
           {0, "/b/x/6", false},
           {0, "/b/x/7", true}});
    check("on Put* rate=0.5/s times=1",
          {{0, "/b/x", false}, {1999, "/b/y", true}, {0, "/b/z", false}, {1, "/b/z", false}});
    EXPECT_EQ(m_client.Get("/b/a").m_status, 200);
}

TEST_F(SimulatedFaults, AreRefusedWithLineAndReason)
{
    struct SCase
    {
        std::string m_script;
        unsigned m_line;
        std::string m_reason;
    };
    SCase const cases[] = {
        {"with * do close", 1, "a rule begins with \"on\", not with \"with\""},
        {"\non", 2, "the operation is missing"},
        {"on *", 1, "\"do\" is missing"},
        {"on * nth=0 do close", 1, "nth has to be a number from 1 to 2147483647, not \"0\""},
        {"on * times=x do close", 1, "times has to be a number"},
        {"on * chance=1.5 do close", 1, "chance has to be a number from 0 to 1"},
        {"on * rate=1 do close", 1, "a rate has the form N/s, not \"1\""},
        {"on * rate=0/s do close", 1, "rate has to be a number"},
        {"on * rate=1/s per=day do close", 1, "a rate is per=key or per=prefix, not \"day\""},
        {"on * burst=2 do close", 1, "burst and per belong to a rate"},
        {"on * color=red do close", 1, "\"color=red\" doesn't tell which requests are meant"},
        {"on * do", 1, "the action is missing"},
        {"on * do explode", 1, "there is no action \"explode\""},
        {"on * do cut", 1, "where to cut is missing"},
        {"on * do cut off", 1, "there is no action \"cut off\""},
        {"on * do status", 1, "the status is missing"},
        {"on * do status 99", 1, "the status has to be a number from 200 to 599"},
        {"on * do redirect 302 h", 1, "a redirect has the status 301 or 307"},
        {"on * do close\non * do close now", 2, "\"now\" is too much"},
        {"on * key=\"a do close", 1, "a quote is not closed"},
    };
    for (auto const& wrong : cases)
    {
        try
        {
            m_simulator.LoadFaults(wrong.m_script);
            ADD_FAILURE() << wrong.m_script;
        }
        catch (CFaultScriptError const& error)
        {
            EXPECT_EQ(error.Line(), wrong.m_line) << wrong.m_script;
            EXPECT_THAT(error.what(), HasSubstr("line " + std::to_string(wrong.m_line) + ": " + wrong.m_reason));
        }
    }
    EXPECT_EQ(m_client.Get("/b/a").m_status, 200); // no rule of a wrong script is kept
}

} // namespace bucketry::simulator::tests
