// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/base/options.h"
#include "s3wire/auth/auth.h"
#include "s3wire/auth/temp_key_store.h"
#include "s3wire/transport/curl_transport.h"
#include "support/raw_http_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

namespace bucketry::s3wire
{
namespace
{

using testing::Answer;
using ::testing::HasSubstr;
using testing::SRawAnswer;

constexpr std::time_t Start = 1'900'000'000; // 2030-03-17T17:46:40Z

/// A metadata service whose keys last an hour, and a clock.
class RoleKeys : public ::testing::Test
{
protected:
    SRawAnswer Reply(std::string const& request)
    {
        if (request.starts_with("PUT /latest/api/token"))
        {
            ++m_tokens;
            return Answer(m_tokenStatus, "token" + std::to_string(m_tokens.load()));
        }
        bool const known = request.find("x-aws-ec2-metadata-token: token" + std::to_string(m_tokens.load()) + "\r\n") !=
            std::string::npos;
        if (m_tokenStatus == 200 && (!known || m_refuseToken.exchange(false)))
        {
            return Answer(401);
        }
        if (request.starts_with("GET /latest/meta-data/iam/security-credentials/ HTTP"))
        {
            return Answer(200, "backup\n");
        }
        if (!request.starts_with("GET /latest/meta-data/iam/security-credentials/backup HTTP"))
        {
            return Answer(404);
        }
        ++m_fetches;
        return m_broken ? Answer(200, R"({"Code":"Failed","Message":"no \"luck\""})") : Answer(200, Keys());
    }

    std::string Keys() const
    {
        std::time_t const end = m_now + 3600;
        std::tm parts{};
        gmtime_r(&end, &parts);
        char text[32];
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
        return "{ \"Code\" : \"Success\", \"Nothing\": null,\n \"AccessKeyId\" : \"ID" +
            std::to_string(m_fetches.load()) +
            "\", \"SecretAccessKey\" : \"a\\/b\\u0041\", \"Token\" : \"T\", \"Expiration\" : \"" + text + "\" }";
    }

    std::shared_ptr<IS3WireAuth> ByRole(std::string const& role)
    {
        return CS3WireAuthFactory(m_store).CreateForS3("", "", "", "endpoint", "eu-west-1", role, m_server.Url(), 0);
    }

    std::atomic<std::time_t> m_now{Start};
    std::atomic<int> m_tokens{0};
    std::atomic<int> m_fetches{0};
    std::atomic<int> m_tokenStatus{200};
    std::atomic<bool> m_refuseToken{false};
    std::atomic<bool> m_broken{false};
    testing::CRawHttpServer m_server{[this](std::string const& request) { return Reply(request); }};
    std::shared_ptr<transport::CConnectionPool> m_pool = std::make_shared<transport::CConnectionPool>();
    std::shared_ptr<CTempKeyStore> m_store = std::make_shared<CTempKeyStore>(
        [this](std::string const& url)
        {
            transport::STransportSettings settings;
            settings.m_origin = url;
            return std::make_shared<transport::CCurlTransport>(settings, m_pool, nullptr);
        },
        SSurroundings{[this] { return m_now.load(); }, [](std::chrono::milliseconds) {}, [] { return 0.0; }});
};

TEST_F(RoleKeys, AreFetchedOnceForManyThreadsAndOnlyWhenNeeded)
{
    auto const auth = ByRole("backup");
    EXPECT_TRUE(m_server.Requests().empty());
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
    {
        threads.emplace_back([&] { EXPECT_EQ(ByRole("backup")->Keys()->AccessKeyId(), "ID1"); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(m_fetches, 1);
    EXPECT_EQ(auth->Keys()->SessionToken(), "T");
    SSigningScope const scope{"20300317T174640Z", "r", "s3"};
    EXPECT_EQ(auth->Keys()->SigningKey(scope), DeriveSigningKey("a/bA", scope));
}

TEST_F(RoleKeys, AreRenewedBeforeTheyExpire)
{
    auto const auth = ByRole("backup");
    EXPECT_EQ(auth->Keys()->AccessKeyId(), "ID1");
    m_now += 3200;
    EXPECT_EQ(auth->Keys()->AccessKeyId(), "ID1");
    m_now += 200;
    EXPECT_EQ(auth->Keys()->AccessKeyId(), "ID2");
    EXPECT_EQ(m_tokens, 1);
}

TEST_F(RoleKeys, GoOnWithTheOldOnesWhileTheyHold)
{
    auto const auth = ByRole("backup");
    auth->Keys();
    m_broken = true;
    m_now += 3400;
    EXPECT_EQ(auth->Keys()->AccessKeyId(), "ID1");
    EXPECT_EQ(auth->Keys()->AccessKeyId(), "ID1");
    EXPECT_EQ(m_fetches, 2); // and the service is not asked again at once
    m_now += 300;
    try
    {
        auth->Keys();
        ADD_FAILURE() << "expired keys were given out";
    }
    catch (exc::CRuntimeExc const& failure)
    {
        EXPECT_THAT(failure.what(), HasSubstr("Failed no \"luck\""));
    }
}

TEST_F(RoleKeys, AreRenewedWhenTheStoreCallsThemExpired)
{
    auto const auth = ByRole("backup");
    auto const first = auth->Keys();
    EXPECT_TRUE(auth->Renew(*first));
    EXPECT_TRUE(auth->Renew(*first)); // another thread that came late: no second fetch
    EXPECT_EQ(auth->Keys()->AccessKeyId(), "ID2");
    EXPECT_EQ(m_fetches, 2);
}

TEST_F(RoleKeys, SurviveALostTokenAndAServiceWithoutTokens)
{
    auto const auth = ByRole("backup");
    m_refuseToken = true;
    EXPECT_EQ(auth->Keys()->AccessKeyId(), "ID1");
    EXPECT_EQ(m_tokens, 2);

    m_tokenStatus = 404;
    m_now += 30000;
    EXPECT_EQ(auth->Keys()->AccessKeyId(), "ID2");
}

TEST_F(RoleKeys, TheServiceNamesTheRoleOrTellsThatThereIsNone)
{
    EXPECT_EQ(m_store->Find("", m_server.Url() + "/")->Keys()->AccessKeyId(), "ID1");
    EXPECT_THROW(ByRole("other")->Keys(), exc::CRuntimeExc);
    options_t::GetInst().SetInstanceMetadataEndpoint(m_server.Url());
    EXPECT_EQ(m_store->Find("", ""), m_store->Find("", m_server.Url()));
    options_t::GetInst().SetInstanceMetadataEndpoint("");
}

TEST(StaticKeys, NeedASecretOrARole)
{
    CS3WireAuthFactory const factory(std::make_shared<CTempKeyStore>(nullptr, SSurroundings::Real()));
    auto const auth = factory.CreateForS3("id", "secret", "token", "endpoint", "region", "", "", 86400);
    EXPECT_EQ(auth->Keys()->SessionToken(), "token");
    EXPECT_FALSE(auth->Renew(*auth->Keys()));
    EXPECT_THAT(auth->KeyNote(), HasSubstr("1970-01-02 00:00:00"));
    EXPECT_THAT(factory.CreateForS3("id", "secret", "", "", "", "", "", 133'500'000'000'000'000)->KeyNote(),
                HasSubstr("133500000000000000"));
    EXPECT_EQ(factory.CreateForS3Outposts("id", "secret", "", "", "", "", "")->ServiceName(), "s3-outposts");
    EXPECT_THROW(factory.CreateForS3("id", "", "", "endpoint", "", "", "", 0), exc::CRuntimeExc);
    EXPECT_THROW(factory.CreateForS3("", "", "", "endpoint", "", "", "", 0), exc::CRuntimeExc);
}

} // namespace
} // namespace bucketry::s3wire
