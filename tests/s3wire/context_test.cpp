// SPDX-License-Identifier: Apache-2.0
#include "s3wire/context.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/base/options.h"
#include "bucketry/s3wire/client.h"
#include "s3wire/auth/auth.h"
#include "s3wire/auth_by_role.h"
#include "support/raw_http_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bucketry::s3wire::s3
{
namespace
{

using ::testing::AllOf;
using testing::Answer;
using ::testing::HasSubstr;
using testing::SRawAnswer;
using ::testing::StartsWith;

/// A store that has every object, and the metadata service of its machine.
SRawAnswer Serve(std::string const& request)
{
    if (request.starts_with("PUT /latest/api/token"))
    {
        return Answer(200, "token");
    }
    if (request.starts_with("GET /latest/meta-data/iam/security-credentials/backup "))
    {
        return Answer(200,
                      R"({"Code":"Success","AccessKeyId":"ROLEKEY","SecretAccessKey":"s","Token":"ROLETOKEN",)"
                      R"("Expiration":"2099-01-01T00:00:00Z"})");
    }
    return request.find("hanging") == std::string::npos
        ? SRawAnswer{"HTTP/1.1 200 OK\r\nETag: \"e\"\r\nContent-Length: 0\r\n\r\n"}
        : SRawAnswer{"", false, true};
}

class Context : public ::testing::Test
{
protected:
    struct SCase
    {
        std::string m_region;
        std::string m_arn;
        std::string m_keyId;
        std::string m_token;
        std::string m_role;
        EAccessStyle m_style = EAccessStyle::Default;
    };

    void Store(guid::guid_t const& id, SCase const& one)
    {
        m_context.StoreCredentials(id, m_server.Url(), one.m_region, one.m_arn, one.m_keyId,
                                   one.m_keyId.empty() ? "" : "secret", one.m_token, one.m_role, m_server.Url(), {},
                                   one.m_style, 7);
    }

    /// The request that a client of these settings sends.
    std::string Request(SCase const& one, std::string const& bucket)
    {
        guid::guid_t const id = guid::guid_t::CreateNew();
        Store(id, one);
        EXPECT_TRUE(m_context.CreateClient(id, nullptr).IsObjectExist(bucket, "k", "").get());
        m_context.RemoveCredentials(id);
        EXPECT_THROW(m_context.CreateClient(id, nullptr), exc::CRuntimeExc);
        return m_server.Requests().back();
    }

    CS3WireContext& m_context = CS3WireContext::Instance();
    testing::CRawHttpServer m_server{&Serve};
};

TEST_F(Context, CreatesClientsFromWhatItsStoreHolds)
{
    std::string const arn = "arn:aws:s3-outposts:us-west-2:123456789012:outpost/op-01/accesspoint/myap";
    EXPECT_THAT(Request({"eu-west-1", "", "AKID", "session", "", EAccessStyle::Default}, "bucket"),
                AllOf(StartsWith("HEAD /bucket/k HTTP/1.1\r\n"), HasSubstr("x-amz-security-token: session\r\n"),
                      HasSubstr("Credential=AKID/"), HasSubstr("/eu-west-1/s3/aws4_request")));
    EXPECT_THAT(Request({"eu-west-1", "", "AKID", "", "", EAccessStyle::VirtualHosted}, "bucket"),
                AllOf(StartsWith("HEAD /k HTTP/1.1\r\n"), HasSubstr("Host: bucket.localhost:")));
    options_t::GetInst().SetS3VirtualHostedStyleEnabled(true);
    EXPECT_THAT(Request({"eu-west-1", "", "AKID", "", "", EAccessStyle::Default}, "bucket"), StartsWith("HEAD /k "));
    options_t::GetInst().SetS3VirtualHostedStyleEnabled(false);
    EXPECT_THAT(Request({"", arn, "AKID", "", "", EAccessStyle::Path}, arn),
                AllOf(StartsWith("HEAD /k "), HasSubstr("Host: myap-123456789012.op-01.localhost:"),
                      HasSubstr("/us-west-2/s3-outposts/aws4_request")));
    EXPECT_THAT(Request({"eu-west-1", "", "", "", "backup", EAccessStyle::Path}, "bucket"),
                AllOf(HasSubstr("Credential=ROLEKEY/"), HasSubstr("x-amz-security-token: ROLETOKEN\r\n")));
    EXPECT_EQ(CS3WireAuthByRole::CreateForS3("backup", m_server.Url(), "", "")->Keys()->AccessKeyId(), "ROLEKEY");
}

TEST_F(Context, GivesBackWhatWasStored)
{
    guid::guid_t const id = guid::guid_t::CreateNew();
    std::string endpoint, region, arn, keyId = "untouched", secret, token, role, host;
    SProxyConfig proxy;
    EAccessStyle style{};
    long created = 0;
    auto const retrieve = [&] {
        m_context.RetrieveCredentials(id, endpoint, region, arn, keyId, secret, token, role, host, proxy, style,
                                      created);
    };
    EXPECT_THROW(retrieve(), exc::CRuntimeExc);
    EXPECT_EQ(keyId, "untouched");
    m_context.StoreCredentials(id, "e", "r", "a", "k", "s", "t", "o", "h", {"p", "u", "w"}, EAccessStyle::VirtualHosted,
                               7);
    retrieve();
    EXPECT_EQ(endpoint + region + arn + keyId + secret + token + role + host, "erakstoh");
    EXPECT_EQ(proxy.m_endpoint + proxy.m_userName + proxy.m_password, "puw");
    EXPECT_EQ(style, EAccessStyle::VirtualHosted);
    EXPECT_EQ(created, 7);
    m_context.RemoveCredentials(id);
}

TEST_F(Context, GivesItsClientsTheTimeLimitsOfTheHost)
{
    options_t::GetInst().SetS3TotalTimeoutSec(1);
    guid::guid_t const id = guid::guid_t::CreateNew();
    Store(id, {"r", "", "AKID", "", "", EAccessStyle::Path});
    CS3WireClient const client = m_context.CreateClient(id, nullptr);
    options_t::GetInst().SetS3TotalTimeoutSec(0);
    m_context.RemoveCredentials(id);
    EXPECT_THROW(client.GetObjectHead("bucket", "hanging", "").get(), web::http::http_exception);
}

} // namespace
} // namespace bucketry::s3wire::s3
