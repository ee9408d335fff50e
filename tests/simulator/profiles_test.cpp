// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace bucketry::simulator::tests
{

using testing::HasSubstr;

TEST(SimulatedGateway, HasItsOwnWays)
{
    CSimulator simulator({.m_profile = EProfile::Gateway, .m_minPartSize = 1});
    simulator.CreateBucket("b", {.m_objectLock = true});
    CClient client(simulator);
    client.m_region = "anywhere";
    std::string const version = client.Put("/b/a", "hello").Header("x-amz-version-id");

    EXPECT_EQ(client.Send("HEAD", "/b").Header("x-amz-bucket-region"), "");
    EXPECT_EQ(client.Get("/b?location=").Element("LocationConstraint"), "");
    EXPECT_THAT(client.Get("/b?location=").m_body, HasSubstr(">default</LocationConstraint>"));
    EXPECT_EQ(client.Get("/b/" + std::string(1025, 'k')).Element("Code"), "InvalidObjectName");
    EXPECT_EQ(client.Put("/b/x", "hello", {"x-amz-checksum-crc32: AAAAAA=="}).m_status, 200);
    EXPECT_EQ(client.Put("/b/x", "", {"x-amz-storage-class: GLACIER"}).Element("Code"), "InvalidArgument");
    EXPECT_EQ(client.Get("/b/a?versionId=x").Element("Code"), "NoSuchKey");
    std::string const lock = "x-amz-object-lock-mode: GOVERNANCE",
                      until = "x-amz-object-lock-retain-until-date: "
                              "2100-01-01T00:00:00Z";
    client.Put("/b/l", "1", {lock, until});
    EXPECT_EQ(client.Get("/b/l?retention=").Element("Mode"), "GOVERNANCE");
    auto const copy = client.Put("/b/copy", "", {"x-amz-copy-source: b/a", lock, until});
    EXPECT_EQ(copy.Header("x-amz-version-id"), "");
    EXPECT_EQ(copy.Element("ETag"), "5d41402abc4b2a76b9719d911017c592");
    EXPECT_EQ(client.Get("/b/copy?retention=").Element("Code"), "ObjectLockConfigurationNotFoundError");

    auto const marker = client.Delete("/b/a").Header("x-amz-version-id");
    EXPECT_EQ(client.Get("/b/a").Header("x-amz-delete-marker"), "");
    EXPECT_EQ(client.Get("/b/a?versionId=" + marker).m_status, 404);
    auto const malformed = client.Post("/b?delete=", "<Delete");
    EXPECT_EQ(malformed.m_status, 400);
    EXPECT_EQ(malformed.m_body, "");
    EXPECT_EQ(client.Post("/b/a?restore=", "").m_status, 501);
    EXPECT_EQ(client.Get("/v20180820/jobs/x").Element("Code"), "NoSuchBucket");
    EXPECT_EQ(client.Get("/b/x?acl=").m_body, "hello"); // an unknown sub-resource is dropped

    auto const upload = client.Post("/b/m?uploads=", "", {lock, until}).Element("UploadId");
    std::string const etag = client.Put("/b/m?partNumber=10001&uploadId=" + upload, "x").Header("etag");
    auto const done = client.Post("/b/m?uploadId=" + upload,
                                  "<CompleteMultipartUpload><Part><PartNumber>10001</PartNumber><ETag>" + etag +
                                      "</ETag></Part></CompleteMultipartUpload>");
    EXPECT_EQ(done.m_status, 200);
    EXPECT_EQ(done.Element("ETag"), "");
    EXPECT_EQ(client.Delete("/b/m?versionId=" + done.Header("x-amz-version-id")).m_status, 204);
}

TEST(SimulatedRubbish, GetsAStatusAndNoCrash)
{
    CSimulator simulator({.m_maxPutSize = 1000});
    simulator.CreateBucket("b");
    CClient const client(simulator);
    EXPECT_EQ(client.Get("/b/%zz").Element("Code"), "InvalidURI");
    EXPECT_EQ(client.Get("/b/%ff").Element("Code"), "InvalidURI");
    EXPECT_EQ(client.Get("/b?prefix=%z").Element("Code"), "InvalidURI");
    EXPECT_EQ(client.Send("PATCH", "/b/a").Element("Code"), "MethodNotAllowed");
    EXPECT_EQ(client.Get("/b?acl=").Element("Code"), "NotImplemented");
    EXPECT_EQ(client.Put("/b/a", std::string(100000, 'x')).Element("Code"), "EntityTooLarge");
    EXPECT_EQ(client.Get("/b/a", {"x-amz-meta-x: " + std::string(20000, 'x')}).Element("Code"),
              "RequestHeaderSectionTooLarge");
    auto const raw = [&](std::string const& bytes) { return RawExchange(simulator.Port(), bytes); };
    EXPECT_THAT(raw("rubbish\r\n\r\n"), HasSubstr("HTTP/1.1 400"));
    EXPECT_THAT(raw("GET http://b/ HTTP/1.1\r\nHost: b\r\n\r\n"), HasSubstr("HTTP/1.1 400"));
    EXPECT_THAT(raw("PUT /b/a HTTP/1.1\r\nHost: b\r\n\r\n"), HasSubstr("HTTP/1.1 411"));
    EXPECT_EQ(raw("PUT /b/a HTTP/1.1\r\nHost: b\r\nContent-Length: 10\r\n\r\nhalf"), "");

    std::mt19937 random(1);
    std::string const seed =
        "PUT /b/a?partNumber=1&uploadId=x HTTP/1.1\r\nHost: b.localhost\r\nContent-Length: 3\r\n"
        "Authorization: AWS4-HMAC-SHA256 Credential=AKIDEXAMPLE/20260314/us-east-1/s3/aws4_request, "
        "SignedHeaders=host, Signature=0\r\nx-amz-date: 20260314T150926Z\r\n\r\nabc";
    for (int i = 0; i < 500; ++i)
    {
        std::string bytes = seed;
        for (int changes = 0; changes < 4; ++changes)
        {
            bytes[random() % bytes.size()] = static_cast<char>(random() % 256);
        }
        raw(bytes);
    }
    EXPECT_EQ(client.Get("/b/a").m_status, 404);
}

} // namespace bucketry::simulator::tests
