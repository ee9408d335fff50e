// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"
#include "bucketry/s3wire/client.h"
#include "bucketry/s3wire/exception.h"
#include "bucketry/s3wire/statistics.h"
#include "s3wire/sending/sender.h"
#include "s3wire/transport/failure.h"
#include "support/fake_sender.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <sstream>

namespace bucketry::s3wire
{
namespace
{

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using transport::CTransportFailure;
using transport::EFailure;
using transport::EHttpMethod;
using transport::SHttpRequest;
using transport::SHttpResponse;
using wire::EService;
using wire::SWireRequest;

std::string ErrorBody(std::string const& code, std::string const& more = "")
{
    return "<?xml version=\"1.0\"?>\n<Error><Code>" + code + "</Code><Message>told</Message>" + more + "</Error>";
}

/// Answers by a script; with none left, with 200. Keeps what it was asked.
class CScriptedTransport : public transport::IHttpTransport
{
public:
    SHttpResponse Exchange(SHttpRequest const& request) override
    {
        m_seen.push_back(request);
        if (m_steps.empty())
        {
            return tests::Answer(200);
        }
        auto const step = std::move(m_steps.front());
        m_steps.pop_front();
        return step(request);
    }

    void Script(SHttpResponse const& answer)
    {
        m_steps.push_back([answer](SHttpRequest const&) { return answer; });
    }
    /// Each step is "lost", "unsent" or "settings", or a status, perhaps with an error code and more of the error's XML
    /// after it, and a line for each header.
    void Play(std::vector<std::string> const& steps)
    {
        m_seen.clear();
        m_steps.clear();
        std::for_each(steps.begin(), steps.end(), [this](std::string const& step) { PlayOne(step); });
    }

    std::deque<std::function<SHttpResponse(SHttpRequest const&)>> m_steps;
    std::vector<SHttpRequest> m_seen;

private:
    void PlayOne(std::string const& step)
    {
        std::istringstream lines(step);
        std::string line, word, code, more;
        std::getline(lines, line);
        std::istringstream words(line);
        words >> word >> code >> more;
        static std::map<std::string, EFailure> const failures = {
            {"lost", EFailure::Lost}, {"unsent", EFailure::NotSent}, {"settings", EFailure::Settings}};
        if (auto const failure = failures.find(word); failure != failures.end())
        {
            m_steps.push_back([kind = failure->second](SHttpRequest const&) -> SHttpResponse
                              { throw CTransportFailure(kind, "broken"); });
            return;
        }
        SHttpResponse answer =
            tests::Answer(static_cast<unsigned>(std::stoul(word)), code.empty() ? "" : ErrorBody(code, more));
        while (std::getline(lines, line))
        {
            answer.m_headers.Add(line.substr(0, line.find(':')), line.substr(line.find(':') + 2));
        }
        Script(answer);
    }
};

class CRenewingAuth : public IS3WireAuth
{
public:
    std::shared_ptr<CSigningKeys const> Keys() override
    {
        return std::make_shared<CSigningKeys const>("AKID" + std::to_string(m_generation), CSecret("secret"),
                                                    CSecret(m_token));
    }
    bool Renew(CSigningKeys const&) override { return ++m_generation; }
    std::string const& ServiceName() const override { return m_service; }
    std::string const& Region() const override { return m_region; }
    std::string KeyNote() const override { return {}; }

    std::string m_token;
    std::string m_service = "s3";
    std::string m_region;
    int m_generation = 0;
};

class Sender : public ::testing::Test
{
protected:
    std::shared_ptr<CWireSender> Make(std::string const& endpoint, bool virtualHosted = false)
    {
        SSurroundings const surroundings{[this] { return m_now; },
                                         [this](std::chrono::milliseconds pause) { m_pauses.push_back(pause.count()); },
                                         [] { return 0.5; }};
        SStoreAddress address{std::nullopt, m_region, virtualHosted};
        if (!endpoint.empty())
        {
            address.m_endpoint = ParseEndpoint(endpoint);
        }
        auto store = std::make_shared<CStoreRecord>(std::move(address), SStoreTraits());
        return std::make_shared<CWireSender>(std::move(store), m_auth, m_transport, m_budget, SRetryPolicy(),
                                             surroundings);
    }

    static SWireRequest Request(EHttpMethod method, std::string const& key = "key", bool idempotent = true)
    {
        SWireRequest request;
        request.m_operation = "Operation";
        request.m_method = method;
        request.m_bucket = "example-bucket";
        request.m_key = key;
        request.m_idempotent = idempotent;
        return request;
    }

    SHttpRequest const& Last() const { return m_transport->m_seen.back(); }

    /// The credential scope of the last request: "20300317/us-east-1/s3".
    std::string Scope() const
    {
        std::string const value(Last().m_headers.Get("Authorization"));
        std::size_t const start = value.find('/') + 1;
        return value.substr(start, value.find("/aws4_request") - start);
    }

    /// Sends, and gives the status, or that of a refusal with its code, or "failed" if no answer came.
    std::string Result(wire::IWireSender& sender, SWireRequest const& request)
    {
        try
        {
            return std::to_string(sender.Send(request).m_status);
        }
        catch (std::exception const& failure)
        {
            m_said = failure.what();
            auto const refusal = dynamic_cast<CS3WireException const*>(&failure);
            return refusal ? std::to_string(refusal->GetStatusCode()) + " " + refusal->GetAmazonErrorCode() : "failed";
        }
    }

    std::string m_said; ///< by the last failure
    std::shared_ptr<CScriptedTransport> m_transport = std::make_shared<CScriptedTransport>();
    std::shared_ptr<CRetryBudget> m_budget = std::make_shared<CRetryBudget>();
    std::shared_ptr<CRenewingAuth> m_auth = std::make_shared<CRenewingAuth>();
    std::string m_region;
    std::time_t m_now = 1'900'000'000; // 2030-03-17T17:46:40Z
    std::vector<long> m_pauses;
};

struct SPlace
{
    char const* m_endpoint;
    bool m_virtualHosted;
    char const* m_bucket;
    char const* m_key;
    char const* m_url;
    char const* m_host;
};

TEST_F(Sender, PutsBucketAndKeyWhereTheStyleWantsThem)
{
    std::string const arn = "arn:aws:s3:us-west-2:123456789012:accesspoint/myap";
    SPlace const places[] = {
        {"https://s3.us-east-1.amazonaws.com", false, "example-bucket", "a b/\xc3\xbc+&",
         "https://s3.us-east-1.amazonaws.com/example-bucket/a%20b/%C3%BC%2B%26", "s3.us-east-1.amazonaws.com"},
        {"s3.us-east-1.amazonaws.com:443/", true, "example-bucket", "/leading",
         "https://example-bucket.s3.us-east-1.amazonaws.com//leading", "example-bucket.s3.us-east-1.amazonaws.com"},
        {"http://Store:8080/base/", true, "example-bucket", "", "http://example-bucket.store:8080/base/",
         "example-bucket.store:8080"},
        {"http://store", true, "dotted.name", "k", "http://store/dotted.name/k", "store"},
        {"http://store", true, "Upper_Case", "k", "http://store/Upper_Case/k", "store"},
        {"http://127.0.0.1:80", true, "example-bucket", "", "http://127.0.0.1/example-bucket/", "127.0.0.1"},
        {"http://[::1]:9000", true, "example-bucket", "k", "http://[::1]:9000/example-bucket/k", "[::1]:9000"},
        {"", false, arn.c_str(), "k", "https://myap-123456789012.s3-accesspoint.us-west-2.amazonaws.com/k",
         "myap-123456789012.s3-accesspoint.us-west-2.amazonaws.com"},
        {"http://localhost:9000", false, arn.c_str(), "k", "http://myap-123456789012.localhost:9000/k",
         "myap-123456789012.localhost:9000"},
    };
    for (SPlace const& place : places)
    {
        SWireRequest request = Request(EHttpMethod::Get, place.m_key);
        request.m_bucket = place.m_bucket;
        Make(place.m_endpoint, place.m_virtualHosted)->Send(request);
        EXPECT_EQ(Last().m_url, place.m_url);
        EXPECT_EQ(Last().m_headers.Get("Host"), place.m_host);
    }
    EXPECT_EQ(Scope(), "20300317/us-west-2/s3"); // the ARN's region
}

TEST_F(Sender, RefusesBadAddressesBeforeAnythingIsSent)
{
    for (char const* endpoint : {"ftp://store", "http://", "no url", "http://user@store", "http://store?x=1", "://x"})
    {
        EXPECT_THROW(Make(endpoint), exc::CRuntimeExc) << endpoint;
    }
    auto const sender = Make("http://store");
    for (char const* bucket : {"", "ab", "a/b", "spa ce", "a..b", "arn:aws:sns:us-east-1:1:topic"})
    {
        SWireRequest request = Request(EHttpMethod::Get);
        request.m_bucket = bucket;
        EXPECT_THROW(sender->Send(request), exc::CRuntimeExc) << bucket;
    }
    EXPECT_THROW(sender->Send(Request(EHttpMethod::Get, std::string(1025, 'k'))), exc::CRuntimeExc);
    EXPECT_TRUE(m_transport->m_seen.empty());
}

TEST_F(Sender, SignsSmallOrUnprotectedPayloadsAndTheSessionToken)
{
    std::string const large((1 << 20) + 1, 'x');
    auto const hashOf = [&](char const* endpoint, std::string const& body)
    {
        SWireRequest request = Request(EHttpMethod::Put);
        request.m_body = {reinterpret_cast<unsigned char const*>(body.data()), body.size(), nullptr};
        Make(endpoint)->Send(request);
        return std::string(Last().m_headers.Get("x-amz-content-sha256"));
    };
    m_auth->m_token = "session";
    EXPECT_EQ(hashOf("https://store", "hello"), ToHex(Sha256("hello")));
    EXPECT_EQ(hashOf("http://store", large), ToHex(Sha256(large)));
    EXPECT_EQ(hashOf("https://store", large), "UNSIGNED-PAYLOAD");
    EXPECT_THAT(std::string(Last().m_headers.Get("Authorization")), HasSubstr(";x-amz-security-token,"));
    EXPECT_EQ(Last().m_headers.Get("x-amz-security-token"), "session");
}

TEST_F(Sender, ReachesTheOtherServices)
{
    SWireRequest control = Request(EHttpMethod::Post, "v20180820/jobs");
    control.m_service = EService::S3Control;
    control.m_headers.Add("x-amz-account-id", "123456789012");
    m_region = "cn-north-1";
    auto const chinese = Make("https://s3.cn-north-1.amazonaws.com.cn");
    chinese->Send(control);
    EXPECT_EQ(Last().m_url, "https://123456789012.s3-control.cn-north-1.amazonaws.com.cn/v20180820/jobs");
    EXPECT_EQ(Scope(), "20300317/cn-north-1/s3");
    control.m_endpoint = "http://127.0.0.1:9000";
    chinese->Send(control);
    EXPECT_EQ(Last().m_url, "http://127.0.0.1:9000/v20180820/jobs");

    SWireRequest sts = Request(EHttpMethod::Post, "");
    sts.m_service = EService::Sts;
    chinese->Send(sts);
    EXPECT_EQ(Last().m_url, "https://sts.cn-north-1.amazonaws.com.cn/");
    EXPECT_EQ(Scope(), "20300317/cn-north-1/sts");
    EXPECT_FALSE(Last().m_headers.Find("x-amz-content-sha256"));
    Make("http://store:1")->Send(sts);
    EXPECT_EQ(Last().m_url, "http://store:1/");
}

TEST_F(Sender, RepeatsWithGrowingPausesAndHonoursRetryAfter)
{
    m_transport->Play(
        {"503 SlowDown", "500", "503\nRetry-After: 3", "429\nRetry-After: Sun, 17 Mar 2030 17:46:45 GMT"});
    EXPECT_EQ(Result(*Make("http://store"), Request(EHttpMethod::Put)), "200");
    EXPECT_THAT(m_pauses, ElementsAre(100, 200, 3000, 5000));
    EXPECT_EQ(m_transport->m_seen.size(), 5u);
}

TEST_F(Sender, RepeatsOnlyWhatIsSafe)
{
    struct
    {
        char const* m_step;
        bool m_idempotent;
        char const* m_result; ///< 200 after a second request
    } const cases[] = {
        {"503 SlowDown", false, "200"},
        {"400 RequestTimeout", false, "200"}, // the body came too slowly
        {"500 InternalError", false, "500 InternalError"},
        {"500", true, "200"},
        {"403 AccessDenied", true, "403 AccessDenied"},
        {"404 NoSuchKey", true, "404 NoSuchKey"},
        {"501 NotImplemented", true, "501 NotImplemented"},
        {"503 GlacierExpeditedRetrievalNotAvailable", true, "503 GlacierExpeditedRetrievalNotAvailable"},
        {"lost", false, "failed"},
        {"lost", true, "200"},
        {"unsent", false, "200"},
        {"settings", true, "failed"},
    };
    for (auto const& one : cases)
    {
        m_transport->Play({one.m_step});
        SWireRequest const request = Request(EHttpMethod::Post, "key", one.m_idempotent);
        EXPECT_EQ(Result(*Make("http://store"), request), one.m_result) << one.m_step;
        EXPECT_EQ(m_transport->m_seen.size(), std::string(one.m_result) == "200" ? 2u : 1u) << one.m_step;
    }
}

TEST_F(Sender, LooksBeforeItRepeatsWhatTheStoreMayHaveDone)
{
    auto const script = [](std::string const& step)
    {
        bool const isStatus = step.find_first_not_of("0123456789") == std::string::npos;
        return step == "lost" ? step
                              : (isStatus ? step : "200") +
                "\nContent-Length: 0\nETag: " + (step == "other" ? "e" : "\"d41d8cd98f00b204e9800998ecf8427e\"") +
                "\nDate: Sun, 17 Mar 2030 17:46:45 GMT\nLast-Modified: Sun, 17 Mar 2030 17:4" +
                (step == "old" ? "0:00" : "6:44") +
                " GMT\nx-amz-restore: ongoing-request=\"true\"\nx-amz-version-id: " + step;
    };
    s3::CS3WireClient const client = s3::ClientOver(tests::Over(Make("http://store")));
    s3::SObjectLockConfig const lock(true, s3::EObjectLockMode::Governance, "2031-01-01T00:00:00Z", false);
    auto const put = [&](s3::SObjectLockConfig const& wanted)
    { return client.PutObject("b-1", "k", nullptr, {}, wanted, {}, {}, {}).get().m_versionId; };
    auto const copy = [&](char const* from)
    { return client.CopyObject("b-1", "b-1", from, "k", {}, "", {}, "").get().m_versionId; };
    auto const remove = [&](char const* version)
    { return client.DeleteObject("b-1", "k", version).get(), std::string("gone"); };
    auto const restore = [&]
    { return std::to_string(static_cast<int>(client.PostObjectRestore("b-1", "k", 1, {}, "").get())); };
    struct
    {
        char const* m_name;
        std::vector<std::string> m_steps;
        std::function<std::string()> m_call;
        char const* m_result; ///< mostly the step whose version it is
        char const* m_methods;
    } const cases[] = {
        {"put", {"lost", "new"}, [&] { return put({}); }, "new", "PUT HEAD "},
        {"older one there", {"lost", "old", "200"}, [&] { return put({}); }, "200", "PUT HEAD PUT "},
        {"other one there", {"500", "other", "200"}, [&] { return put({}); }, "200", "PUT HEAD PUT "},
        {"put late", {"lost", "404", "412", "new"}, [&] { return put({}); }, "new", "PUT HEAD PUT HEAD "},
        {"put, not locked", {"lost", "new", "403", "404"}, [&] { return put(lock); }, "refused", "PUT HEAD PUT HEAD "},
        {"copied", {"lost", "new", "old"}, [&] { return copy("s"); }, "new", "PUT HEAD HEAD "},
        {"onto itself", {"lost", "403"}, [&] { return copy("k"); }, "refused", "PUT PUT "},
        {"deleted", {"lost", "404"}, [&] { return remove(""); }, "gone", "DELETE HEAD "},
        {"not deleted", {"lost", "200", "204"}, [&] { return remove(""); }, "gone", "DELETE HEAD DELETE "},
        {"version deleted", {"lost", "204"}, [&] { return remove("V"); }, "gone", "DELETE DELETE "},
        {"restoring", {"lost", "old"}, restore, "0", "POST HEAD "},
    };
    for (auto const& one : cases)
    {
        std::vector<std::string> steps;
        std::transform(one.m_steps.begin(), one.m_steps.end(), std::back_inserter(steps), script);
        m_transport->Play(steps);
        std::string result = "refused";
        try
        {
            result = one.m_call();
        }
        catch (CS3WireException const&)
        {
        }
        std::string methods;
        for (SHttpRequest const& request : m_transport->m_seen)
        {
            methods.append(ToText(request.m_method)).append(" ");
        }
        EXPECT_EQ(result, one.m_result) << one.m_name;
        EXPECT_EQ(methods, one.m_methods) << one.m_name;
    }
}

TEST_F(Sender, GivesUpAfterItsAttemptsAndWhenTheBudgetIsSpent)
{
    std::vector<std::string> const ten(10, "unsent");
    m_transport->Play(ten);
    EXPECT_EQ(Result(*Make("http://store"), Request(EHttpMethod::Get)), "failed");
    EXPECT_THAT(
        m_said,
        AllOf(HasSubstr("Operation of [example-bucket/key] got no answer (5 attempts in"), HasSubstr("broken")));
    EXPECT_EQ(m_transport->m_seen.size(), 5u);

    m_budget = std::make_shared<CRetryBudget>(10); // two repeats
    m_transport->Play(ten);
    EXPECT_EQ(Result(*Make("http://store"), Request(EHttpMethod::Get)), "failed");
    EXPECT_EQ(m_transport->m_seen.size(), 3u);
    m_transport->m_steps.clear();
    for (int i = 0; i < 5; ++i)
    {
        Make("http://store")->Send(Request(EHttpMethod::Get)); // successes fill it again
    }
    EXPECT_TRUE(m_budget->TryTake());
}

TEST_F(Sender, TellsWhatTheStoreSaid)
{
    auto const sender = Make("http://store");
    s3::SS3Stats const before = s3::CS3StatsAccumulator::GetStats();
    m_transport->Play({"403 AccessDenied <RequestId>R1</RequestId>\nx-amz-id-2: H1"});
    EXPECT_EQ(Result(*sender, Request(EHttpMethod::Get)), "403 AccessDenied");
    EXPECT_THAT(m_said,
                HasSubstr("Operation of [example-bucket/key] failed with status 403, AccessDenied: told "
                          "(request id [R1], host id [H1], 1 attempt in "));
    for (char const* body : {"", "<html>Bad <b>Gateway</html>", "<Error><Code>Cut"})
    {
        m_transport->Script(tests::Answer(404, body));
        EXPECT_EQ(Result(*sender, Request(EHttpMethod::Head)), "404 ");
    }
    m_transport->Script(
        tests::Answer(400,
                      "<ErrorResponse xmlns='urn:x'><Error><Type>Sender</Type><Code>InvalidClientTokenId</Code>"
                      "</Error><RequestId>R2</RequestId></ErrorResponse>"));
    EXPECT_EQ(Result(*sender, Request(EHttpMethod::Get)), "400 InvalidClientTokenId");
    EXPECT_THAT(m_said, HasSubstr("[R2]"));
    EXPECT_EQ(s3::CS3StatsAccumulator::GetStats().m_failures - before.m_failures, 5u);

    SWireRequest wantsAny = Request(EHttpMethod::Head);
    wantsAny.m_returnRefusals = true;
    m_transport->Play({"301\nx-amz-bucket-region: eu-west-1"});
    EXPECT_EQ(sender->Send(wantsAny).m_headers.Get("x-amz-bucket-region"), "eu-west-1");
}

TEST_F(Sender, FindsTheFailureInsideASuccess)
{
    auto const sender = Make("http://store");
    SWireRequest request = Request(EHttpMethod::Post, "key", false);
    request.m_needsBody = true;
    std::pair<std::string, char const*> const cases[] = {
        {ErrorBody("InternalError"), "500 InternalError"},
        {"", "500 "},
        {" \n ", "500 "},
        {ErrorBody("AccessDenied"), "403 AccessDenied"},
        {"<!-- late --> <x:Error xmlns:x='y'><Code>Odd</Code></x:Error>", "500 Odd"}};
    for (auto const& [body, result] : cases)
    {
        m_transport->Script(tests::Answer(200, body));
        EXPECT_EQ(Result(*sender, request), result) << body;
    }
    m_transport->Play({"200 SlowDown"});
    m_transport->Script(tests::Answer(200, "  <CopyObjectResult/>"));
    EXPECT_EQ(sender->Send(request).m_text, "  <CopyObjectResult/>");
}

TEST_F(Sender, FollowsTheBucketToItsRegionAndRemembersIt)
{
    struct
    {
        char const* m_endpoint;
        char const* m_step;
        char const* m_url;   ///< of the second request
        char const* m_later; ///< of the next one
        char const* m_region;
    } const cases[] = {
        {"https://s3.us-east-1.amazonaws.com", "301 PermanentRedirect\nx-amz-bucket-region: eu-west-1",
         "https://example-bucket.s3.eu-west-1.amazonaws.com/key",
         "https://example-bucket.s3.eu-west-1.amazonaws.com/key", "eu-west-1"},
        {"http://127.0.0.1", "400 AuthorizationHeaderMalformed <Region>garage</Region>",
         "http://127.0.0.1/example-bucket/key", "http://127.0.0.1/example-bucket/key", "garage"},
        {"http://127.0.0.1", "307\nLocation: http://example-bucket.store-7/key?x=1",
         "http://example-bucket.store-7/key", "http://127.0.0.1/example-bucket/key", "us-east-1"}, // once only
        {"http://127.0.0.1", "301 PermanentRedirect <Endpoint>example-bucket.store-8</Endpoint>",
         "http://example-bucket.store-8/key", "", "us-east-1"},
        {"http://127.0.0.1", "301 PermanentRedirect <Endpoint>example-bucket.store-8:8080</Endpoint>",
         "http://example-bucket.store-8:8080/key", "", "us-east-1"},
    };
    for (auto const& one : cases)
    {
        auto const sender = Make(one.m_endpoint, true);
        m_transport->Play({one.m_step});
        sender->Send(Request(EHttpMethod::Get));
        std::string const url = Last().m_url;
        EXPECT_EQ(url, one.m_url);
        std::string const host = url.substr(url.find("//") + 2);
        EXPECT_EQ(Last().m_headers.Get("Host"), host.substr(0, host.find('/')));
        EXPECT_EQ(Scope(), std::string("20300317/") + one.m_region + "/s3");
        sender->Send(Request(EHttpMethod::Get));
        EXPECT_EQ(m_transport->m_seen.size(), 3u);
        EXPECT_TRUE(*one.m_later == '\0' || Last().m_url == one.m_later) << Last().m_url;
    }
    m_transport->Play({"301\nx-amz-bucket-region: a", "301\nx-amz-bucket-region: b"});
    EXPECT_EQ(Result(*Make("http://store"), Request(EHttpMethod::Get)), "301 "); // never round and round
}

TEST_F(Sender, SignsForTheStoresClockAndWithRenewedKeys)
{
    auto const sender = Make("http://store");
    m_transport->Play({"403 RequestTimeTooSkewed\nDate: Sun, 17 Mar 2030 18:46:40 GMT"});
    sender->Send(Request(EHttpMethod::Post, "key", false));
    EXPECT_EQ(Last().m_headers.Get("x-amz-date"), "20300317T184640Z");
    m_transport->Play({"403\nDate: Sun, 17 Mar 2030 18:46:50 GMT"}); // near enough: a true refusal
    EXPECT_EQ(Result(*sender, Request(EHttpMethod::Head)), "403 ");

    m_transport->Play({"400 ExpiredToken"});
    sender->Send(Request(EHttpMethod::Get));
    EXPECT_THAT(std::string(Last().m_headers.Get("Authorization")), HasSubstr("Credential=AKID1/"));
    m_transport->Play({"400 ExpiredToken", "400 ExpiredToken"});
    EXPECT_EQ(Result(*sender, Request(EHttpMethod::Get)), "400 ExpiredToken");
    EXPECT_TRUE(m_pauses.empty());
}

TEST_F(Sender, AddsContentMd5WhereItIsWanted)
{
    auto const sender = Make("http://store");
    std::string const body = "hello";
    SWireRequest put = Request(EHttpMethod::Put);
    put.m_body = {reinterpret_cast<unsigned char const*>(body.data()), body.size(), nullptr};
    sender->Send(put);
    EXPECT_FALSE(Last().m_headers.Find("Content-MD5"));

    m_transport->Play({"400 InvalidRequest", "400 InvalidRequest"}); // for another reason: nothing is learned
    EXPECT_EQ(Result(*sender, put), "400 InvalidRequest");
    m_transport->Play({"400 InvalidRequest"});
    for (std::size_t const requests : {2u, 3u})
    {
        sender->Send(put);
        EXPECT_EQ(Last().m_headers.Get("Content-MD5"), "XUFAKrxLKna5cZ2REBfFkg==");
        EXPECT_EQ(m_transport->m_seen.size(), requests);
    }
    sender->Send(Request(EHttpMethod::Get));
    EXPECT_FALSE(Last().m_headers.Find("Content-MD5"));
}

TEST_F(Sender, LetsTheSinksOwnFailureThrough)
{
    struct CThrowingSink : transport::IBodySink
    {
        void Prepare(unsigned, std::optional<std::uint64_t>) override {}
        void Write(unsigned char const*, std::size_t) override { throw web::http::http_exception("no range"); }
    } sink;
    SWireRequest request = Request(EHttpMethod::Get);
    request.m_sink = &sink;
    m_transport->m_steps.push_back(
        [](SHttpRequest const& http)
        {
            http.m_sink->Write(nullptr, 0);
            return tests::Answer(200);
        });
    EXPECT_EQ(Result(*Make("http://store"), request), "failed");
    EXPECT_EQ(m_said, "no range");
    EXPECT_EQ(m_transport->m_seen.size(), 1u);
}

} // namespace
} // namespace bucketry::s3wire
