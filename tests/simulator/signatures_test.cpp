// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bucketry::simulator::tests
{

using testing::HasSubstr;

namespace
{

constexpr char EMPTY_HASH[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

/// A request of 2026-03-14 15:09:26 for example-bucket, signed by another program.
std::string SignedGet(std::string const& target, std::string const& signedHeaders, std::string const& signature,
                      std::string const& headers = {})
{
    return "GET " + target + " HTTP/1.1\r\nHost: example-bucket.s3.us-east-1.amazonaws.com\r\n" + headers +
        "x-amz-content-sha256: " + EMPTY_HASH + "\r\nx-amz-date: 20260314T150926Z\r\n" +
        "Authorization: AWS4-HMAC-SHA256 Credential=AKIDEXAMPLE/20260314/us-east-1/s3/aws4_request, SignedHeaders=" +
        signedHeaders + ", Signature=" + signature + "\r\n\r\n";
}

class SimulatedSignatures : public testing::Test
{
protected:
    SimulatedSignatures() { m_simulator.CreateBucket("b"); }

    CSimulator m_simulator;
    CClient m_client{m_simulator};
};

} // namespace

TEST_F(SimulatedSignatures, FitKnownValues)
{
    m_simulator.CreateBucket("example-bucket");
    m_simulator.SetClock(std::chrono::system_clock::from_time_t(1773500966 + 14 * 60));
    std::string const range = "b8b02d304fea77a2816a4c62b12014dfbe2d3798cc5cea40b60a92e94f5f3ae5";
    auto const get = [&](std::string const& signature, std::string const& rangeHeader)
    {
        return RawExchange(m_simulator.Port(),
                           SignedGet("/plain", "host;range;x-amz-content-sha256;x-amz-date", signature,
                                     "Range: " + rangeHeader + "\r\n"));
    };
    EXPECT_THAT(get(range, "bytes=0-9"), HasSubstr("HTTP/1.1 404"));
    EXPECT_THAT(get(range, "  bytes=0-9  "), HasSubstr("HTTP/1.1 404"));
    EXPECT_THAT(get(range, "bytes=0-8"), HasSubstr("HTTP/1.1 403"));
    std::string const listing = "0e86003d579c7ba914fc07d1d4f84e18bed4ece90d3261e45a44b3817b09e286";
    EXPECT_THAT(RawExchange(m_simulator.Port(),
                            SignedGet("/?max-keys=2&marker=m&Marker=M&max=1&a-b=1&a_b=2&a=3&a%25=4",
                                      "host;x-amz-content-sha256;x-amz-date", listing)),
                HasSubstr("HTTP/1.1 200"));

    m_simulator.AdvanceClock(std::chrono::seconds(61));
    EXPECT_THAT(get(range, "bytes=0-9"), HasSubstr("HTTP/1.1 403"));
    EXPECT_EQ(m_simulator.Log().back().m_errorCode, "RequestTimeTooSkewed");
}

TEST_F(SimulatedSignatures, AreRefusedByWhatIsWrongWithThem)
{
    auto const code = [&](CClient const& client, CClient::headers_t headers = {})
    { return client.Get("/b/a", headers).Element("Code"); };
    EXPECT_EQ(code(m_client), "NoSuchKey");
    CClient client = m_client;
    client.m_signs = false;
    EXPECT_EQ(code(client), "AccessDenied");
    EXPECT_EQ(client.Get("/b/a?X-Amz-Algorithm=AWS4-HMAC-SHA256&X-Amz-Expires=60&X-Amz-Signature=0").Element("Code"),
              "AccessDenied"); // signed in the query
    EXPECT_EQ(code(client, {"Authorization: AWS a:b"}), "InvalidRequest");
    EXPECT_EQ(code(client, {"Authorization: AWS4-HMAC-SHA256 Credential=a/b, SignedHeaders=host, Signature=0"}),
              "AuthorizationHeaderMalformed");
    EXPECT_EQ(code(client, {"Authorization: AWS4-HMAC-SHA256 rubbish"}), "AuthorizationHeaderMalformed");
    client = m_client;
    client.m_key.m_secret = "wrong";
    EXPECT_EQ(code(client), "SignatureDoesNotMatch");
    EXPECT_THAT(client.Get("/b/a").Element("StringToSign"), HasSubstr("/us-east-1/s3/aws4_request\n"));
    client.m_key.m_id = "ELSE";
    EXPECT_EQ(code(client), "InvalidAccessKeyId");
    client = m_client;
    client.m_service = "sts";
    EXPECT_EQ(code(client), "AuthorizationHeaderMalformed");
    client = m_client;
    client.m_region = "eu-west-1";
    EXPECT_EQ(code(client), "AuthorizationHeaderMalformed");
    EXPECT_EQ(client.Get("/b/a").Element("Region"), "us-east-1");
    EXPECT_EQ(code(m_client, {std::string("x-amz-content-sha256: ") + std::string(64, '0')}),
              "XAmzContentSHA256Mismatch");
    m_simulator.AdvanceClock(std::chrono::minutes(-16));
    EXPECT_EQ(code(m_client), "RequestTimeTooSkewed");
}

TEST_F(SimulatedSignatures, OfTemporaryKeysEndWithTheirToken)
{
    SAccessKey const key{"ASIATEMP", "secret", "token/+=", m_simulator.Now() + std::chrono::minutes(5)};
    m_simulator.AddAccessKey(key);
    CClient client = m_client;
    client.m_key = key;
    EXPECT_EQ(client.Get("/b/a").Element("Code"), "NoSuchKey");
    client.m_key.m_sessionToken = "else";
    EXPECT_EQ(client.Get("/b/a").Element("Code"), "InvalidToken");
    client.m_key.m_sessionToken = "";
    EXPECT_EQ(client.Get("/b/a").Element("Code"), "InvalidAccessKeyId");
    client.m_key = key;
    m_simulator.AdvanceClock(std::chrono::minutes(6));
    EXPECT_EQ(client.Get("/b/a").Element("Code"), "ExpiredToken");
}

TEST_F(SimulatedSignatures, OfBodiesMayBeLeftOutWhereTheStoreAllowsIt)
{
    CClient::headers_t const unsignedBody{"x-amz-content-sha256: UNSIGNED-PAYLOAD"};
    EXPECT_EQ(m_client.Put("/b/a", "hello", unsignedBody).m_status, 200);
    CSimulator strict({.m_profile = EProfile::Strict});
    strict.CreateBucket("b");
    EXPECT_EQ(CClient(strict).Put("/b/a", "hello", unsignedBody).m_status, 400);
    EXPECT_EQ(CClient(strict).Put("/b/a", "hello").m_status, 200);
    EXPECT_EQ(CClient(strict).Get("/b/a@b").Element("Code"), "SignatureDoesNotMatch"); // has to be %40
    EXPECT_EQ(CClient(strict).Get("/b/a%40b").Element("Code"), "NoSuchKey");

    CClient::headers_t trailer{"x-amz-content-sha256: STREAMING-UNSIGNED-PAYLOAD-TRAILER",
                               "Content-Encoding: aws-chunked", "x-amz-decoded-content-length: 5",
                               "x-amz-trailer: x-amz-checksum-crc32"};
    auto const chunked = [&](std::string const& checksum)
    { return m_client.Put("/b/c", "5\r\nhello\r\n0\r\nx-amz-checksum-crc32:" + checksum + "\r\n\r\n", trailer); };
    EXPECT_EQ(chunked("NhCmhg==").m_status, 200);
    EXPECT_EQ(m_simulator.ObjectContent("b", "c"), "hello");
    EXPECT_EQ(m_client.Get("/b/c").Header("content-encoding"), "");
    EXPECT_EQ(chunked("AAAAAA==").Element("Code"), "BadDigest");
    EXPECT_EQ(m_client.Put("/b/c", "5\r\nhel", trailer).Element("Code"), "IncompleteBody");
    EXPECT_EQ(m_client.Put("/b/c", "ffffffffffffffff\r\nhel", trailer).Element("Code"), "IncompleteBody");
}

} // namespace bucketry::simulator::tests
