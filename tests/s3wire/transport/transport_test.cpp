// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/io.h"
#include "s3wire/transport/curl_transport.h"
#include "s3wire/transport/failure.h"
#include "support/raw_http_server.h"

#include <gmock/gmock.h>

#include <atomic>
#include <gtest/gtest.h>

namespace bucketry::s3wire::transport
{
namespace
{

using testing::Answer;
using ::testing::AnyOf;
using testing::CRawHttpServer;
using testing::CTestAuthority;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::SRawAnswer;

std::shared_ptr<CConnectionPool> FreshPool()
{
    return std::make_shared<CConnectionPool>();
}

STransportSettings SettingsFor(CRawHttpServer const& server)
{
    STransportSettings settings;
    settings.m_origin = server.Url();
    return settings;
}

SHttpResponse Exchange(STransportSettings settings, SHttpRequest const& request)
{
    return CCurlTransport(std::move(settings), FreshPool(), nullptr).Exchange(request);
}

SHttpRequest Get(std::string const& url)
{
    SHttpRequest request;
    request.m_url = url;
    return request;
}

/// The body must outlive the request.
SHttpRequest Put(std::string const& url, std::string const& body)
{
    SHttpRequest request;
    request.m_method = EHttpMethod::Put;
    request.m_url = url;
    request.m_body = {reinterpret_cast<unsigned char const*>(body.data()), body.size(), nullptr};
    return request;
}

/// What came out of an exchange that must fail: the kind and the words.
void ExpectFailure(EFailure kind, ::testing::Matcher<std::string> words, std::function<void()> const& work)
{
    try
    {
        work();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (CTransportFailure const& failure)
    {
        EXPECT_EQ(failure.Kind(), kind) << failure.what();
        EXPECT_THAT(failure.what(), words);
    }
}

class CRecordingSink : public IBodySink
{
public:
    void Prepare(unsigned status, std::optional<std::uint64_t> contentLength) override
    {
        m_events += "[" + std::to_string(status) + ":" + (contentLength ? std::to_string(*contentLength) : "?") + "]";
    }
    void Write(unsigned char const* data, std::size_t size) override
    {
        m_events.append(reinterpret_cast<char const*>(data), size);
    }
    std::string m_events;
};

TEST(Headers, CompareNamesWithoutCaseAndKeepTheirOrder)
{
    CHeaders headers;
    headers.Add("A", "1");
    headers.Add("b", "2");
    headers.Add("a", "3");
    EXPECT_EQ(headers.Get("B"), "2");
    headers.Set("A", "4");
    std::string all;
    for (auto const [name, value] : headers)
    {
        all.append(name).append("=").append(value).append(";");
    }
    EXPECT_EQ(all, "b=2;A=4;");
    EXPECT_FALSE(headers.Find("c"));
}

TEST(Transport, SendsTheRequestAsItIsWritten)
{
    CRawHttpServer server([](std::string const&) { return Answer(200, "", "x-amz-version-id:  v1 \r\n"); });
    std::string const body = "hello";
    SHttpRequest request = Put(server.Url() + "//a/./b/../%2F?uploads=", body);
    request.m_headers.Add("Host", "bucket.example.org");
    request.m_headers.Add("x-amz-meta-empty", "");
    SHttpResponse const answer = Exchange(SettingsFor(server), request);
    EXPECT_EQ(answer.m_status, 200u);
    EXPECT_EQ(answer.m_headers.Get("X-Amz-Version-Id"), "v1");
    EXPECT_EQ(answer.m_connections, 1u);

    std::string const seen = server.Requests().at(0);
    EXPECT_THAT(seen, ::testing::StartsWith("PUT //a/./b/../%2F?uploads= HTTP/1.1\r\n"));
    EXPECT_THAT(seen, HasSubstr("Host: bucket.example.org\r\n"));
    EXPECT_THAT(seen, HasSubstr("x-amz-meta-empty:\r\n"));
    EXPECT_THAT(seen, HasSubstr("Content-Length: 5\r\n"));
    EXPECT_THAT(seen, ::testing::EndsWith("\r\n\r\nhello"));
    EXPECT_THAT(seen, Not(AnyOf(HasSubstr("Expect"), HasSubstr("Content-Type"), HasSubstr("Accept-Encoding"))));
}

TEST(Transport, OneHandleServesEveryMethodInTurn)
{
    CRawHttpServer server(
        [](std::string const& request)
        {
            return request.starts_with("HEAD") ? SRawAnswer{"HTTP/1.1 200 X\r\nContent-Length: 7\r\n\r\n"}
                                               : Answer(200, "ok");
        });
    CCurlTransport transport(SettingsFor(server), FreshPool(), nullptr);
    std::string const large(3 << 20, 'x');
    std::string const none;
    for (EHttpMethod const method : {EHttpMethod::Put, EHttpMethod::Head, EHttpMethod::Post, EHttpMethod::Delete,
                                     EHttpMethod::Get, EHttpMethod::Put})
    {
        bool const hasBody = method == EHttpMethod::Put || method == EHttpMethod::Post;
        SHttpRequest request = Put(server.Url() + "/k", hasBody ? large : none);
        request.m_method = method;
        SHttpResponse const answer = transport.Exchange(request);
        EXPECT_EQ(answer.m_text, method == EHttpMethod::Head ? "" : "ok");
        std::string const seen = server.Requests().back();
        EXPECT_THAT(seen, ::testing::StartsWith(std::string(ToText(method)) + " /k HTTP/1.1\r\n"));
        EXPECT_EQ(seen.size() > large.size(), hasBody);
    }
    EXPECT_EQ(server.ConnectionCount(), 1u);
}

TEST(Transport, GivesASuccessBodyToTheSinkAndAnyOtherToTheText)
{
    CRawHttpServer server(
        [](std::string const& request)
        {
            if (request.find("/chunked") != std::string::npos)
            {
                return SRawAnswer{"HTTP/1.1 200 X\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n"};
            }
            return request.find("/empty") != std::string::npos ? Answer(200) : Answer(404, "<Error/>");
        });
    CCurlTransport transport(SettingsFor(server), FreshPool(), nullptr);
    auto const fetch = [&](char const* path, CRecordingSink& sink)
    {
        SHttpRequest request = Get(server.Url() + path);
        request.m_sink = &sink;
        return transport.Exchange(request);
    };
    CRecordingSink chunked, empty, missing;
    EXPECT_EQ(fetch("/chunked", chunked).m_receivedBytes, 3u);
    EXPECT_EQ(chunked.m_events, "[200:?]abc");
    fetch("/empty", empty);
    EXPECT_EQ(empty.m_events, "[200:0]");
    EXPECT_EQ(fetch("/missing", missing).m_text, "<Error/>");
    EXPECT_EQ(missing.m_events, "");

    struct CRefusingSink : CRecordingSink
    {
        void Prepare(unsigned, std::optional<std::uint64_t>) override { throw std::out_of_range("not so much"); }
    } refusing;
    EXPECT_THROW(fetch("/chunked", refusing), std::out_of_range);
}

TEST(Transport, AnAnswerThatIsCutIsAFailure)
{
    std::string const whole = Answer(200, "0123456789").m_text;
    for (std::size_t const length : {std::size_t(20), whole.size() - 10, whole.size() - 1})
    {
        CRawHttpServer server([&](std::string const&) { return SRawAnswer{whole.substr(0, length), true}; });
        ExpectFailure(EFailure::Lost, HasSubstr("/k"),
                      [&] { Exchange(SettingsFor(server), Get(server.Url() + "/k")); });
    }
    CRawHttpServer server(
        [&](std::string const&) {
            return SRawAnswer{"HTTP/1.1 200 X\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n", true};
        });
    ExpectFailure(EFailure::Lost, HasSubstr("/k"), [&] { Exchange(SettingsFor(server), Get(server.Url() + "/k")); });
}

TEST(Transport, SendsNothingTwiceUnlessItMay)
{
    for (bool const mayRepeat : {false, true})
    {
        std::atomic<int> requests = 0;
        CRawHttpServer server(
            [&](std::string const&) {
                return ++requests == 2 ? SRawAnswer{"", true} : SRawAnswer{Answer(200, "ok").m_text};
            });
        CCurlTransport transport(SettingsFor(server), FreshPool(), nullptr);
        std::string const body = "body";
        SHttpRequest request = Put(server.Url() + "/k", body);
        request.m_isRepeatable = mayRepeat;
        EXPECT_EQ(transport.Exchange(request).m_text, "ok");
        if (mayRepeat)
        {
            EXPECT_EQ(transport.Exchange(request).m_text, "ok");
        }
        else
        {
            ExpectFailure(EFailure::Lost, HasSubstr("closed without a byte"), [&] { transport.Exchange(request); });
        }
        EXPECT_EQ(requests, mayRepeat ? 3 : 2);
    }
}

TEST(Transport, GivesUpAStoreThatStalls)
{
    CRawHttpServer server(
        [](std::string const&) {
            return SRawAnswer{"HTTP/1.1 200 X\r\nContent-Length: 9\r\n\r\nabc", false, true};
        });
    STransportSettings settings = SettingsFor(server);
    settings.m_limits.m_stall = std::chrono::seconds(1);
    ExpectFailure(EFailure::Lost, HasSubstr("too slow"), [&] { Exchange(settings, Get(server.Url())); });
    settings = SettingsFor(server);
    settings.m_limits.m_total = std::chrono::milliseconds(50);
    ExpectFailure(EFailure::Lost, HasSubstr("Timeout"), [&] { Exchange(settings, Get(server.Url())); });
}

TEST(Transport, TellsWhyThereIsNoConnection)
{
    ExpectFailure(EFailure::Settings, HasSubstr("nowhere.invalid"),
                  [] { Exchange({}, Get("http://nowhere.invalid/")); });
    int port = 0;
    {
        CRawHttpServer const gone([](std::string const&) { return SRawAnswer{}; });
        port = gone.Port();
    }
    ExpectFailure(EFailure::NotSent, HasSubstr("connect"),
                  [&] { Exchange({}, Get("http://127.0.0.1:" + std::to_string(port) + "/")); });
}

TEST(Transport, TrustsTheListItIsGivenAndNothingElse)
{
    CTestAuthority const authority;
    CTestAuthority const stranger("Somebody else");
    CTestAuthority const impostor; // of the same name, as a renewed authority is
    auto const hello = [](std::string const&) { return Answer(200, "hello"); };
    CRawHttpServer const good(hello, authority.Issue("localhost"));
    CRawHttpServer const expired(hello, authority.Issue("localhost", -60));
    CRawHttpServer const misnamed(hello, authority.Issue("elsewhere.example.org"));
    auto const ask = [](CRawHttpServer const& server, std::optional<std::string> trusted)
    {
        STransportSettings settings;
        settings.m_trustedPem = std::move(trusted);
        return Exchange(settings, Get(server.Url())).m_text;
    };
    EXPECT_EQ(ask(good, stranger.CertificatePem() + authority.CertificatePem()), "hello");
    ExpectFailure(EFailure::Settings, HasSubstr("issuer"), [&] { ask(good, stranger.CertificatePem()); });
    ExpectFailure(EFailure::Settings, HasSubstr("certificate"), [&] { ask(good, impostor.CertificatePem()); });
    ExpectFailure(EFailure::Settings, HasSubstr("issuer"), [&] { ask(good, std::nullopt); });
    ExpectFailure(EFailure::Settings, HasSubstr("expired"), [&] { ask(expired, authority.CertificatePem()); });
    ExpectFailure(EFailure::Settings, HasSubstr("localhost"), [&] { ask(misnamed, authority.CertificatePem()); });
}

TEST(Transport, GoesThroughTheProxyWithItsCredentials)
{
    CRawHttpServer proxy(
        [](std::string const& request)
        {
            bool const known = request.find("Proxy-Authorization: Basic dXNlcjpwYXNz\r\n") != std::string::npos;
            return known ? Answer(200, "through") : Answer(407);
        });
    STransportSettings settings;
    settings.m_proxyUrl = "localhost:" + std::to_string(proxy.Port());
    ExpectFailure(EFailure::Settings, HasSubstr("407"), [&] { Exchange(settings, Get("http://store.invalid/k")); });
    ExpectFailure(EFailure::Settings, HasSubstr("407"), [&] { Exchange(settings, Get("https://store.invalid/k")); });
    settings.m_proxyUser = "user";
    settings.m_proxyPassword = CSecret("pass");
    EXPECT_EQ(Exchange(settings, Get("http://store.invalid/k")).m_text, "through");
}

TEST(Transport, ThrottlesBothDirections)
{
    CRawHttpServer server([](std::string const&) { return Answer(200, std::string(20000, 'x')); });
    auto const throttling = std::make_shared<io::CNetworkTrottlingCtx>();
    throttling->SetLimitBytesPerSec(200'000);
    CCurlTransport transport(SettingsFor(server), FreshPool(), throttling);
    auto const start = std::chrono::steady_clock::now();
    std::string const body(20000, 'y');
    transport.Exchange(Put(server.Url(), body));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

TEST(ConnectionPool, SharesConnectionsBetweenThreadsAndClosesIdleOnes)
{
    CRawHttpServer server([](std::string const&) { return Answer(200, "ok"); });
    auto now = std::chrono::steady_clock::now();
    auto const pool = std::make_shared<CConnectionPool>(8, [&] { return now; });
    STransportSettings const settings = SettingsFor(server);
    for (unsigned round = 0; round < 5; ++round)
    {
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < 4; ++i)
        {
            // a transport of its own, as each client has: equal settings share connections
            threads.emplace_back([&] { CCurlTransport(settings, pool, nullptr).Exchange(Get(server.Url())); });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    }
    EXPECT_LE(server.ConnectionCount(), 4u);
    EXPECT_EQ(pool->IdleCount(), server.ConnectionCount());

    now += settings.m_idle + std::chrono::seconds(1);
    CCurlTransport(settings, pool, nullptr).Exchange(Get(server.Url()));
    EXPECT_EQ(pool->IdleCount(), 1u);

    STransportSettings other = settings;
    other.m_origin = "another store";
    CCurlTransport(other, pool, nullptr).Exchange(Get(server.Url()));
    EXPECT_EQ(pool->IdleCount(), 2u);
}

} // namespace
} // namespace bucketry::s3wire::transport
