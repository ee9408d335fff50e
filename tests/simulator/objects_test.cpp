// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bucketry::simulator::tests
{

using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

class SimulatedObjects : public testing::Test
{
protected:
    SimulatedObjects() { m_simulator.CreateBucket("plain"); }

    CSimulator m_simulator;
    CClient m_client{m_simulator};
};

} // namespace

TEST_F(SimulatedObjects, KeepWhatWasPut)
{
    auto const put =
        m_client.Put("/plain/dir/a", "hello",
                     {"Content-Type: text/x", "x-amz-meta-Name: a value", "x-amz-storage-class: STANDARD_IA"});
    ASSERT_EQ(put.m_status, 200) << put.m_body;
    EXPECT_EQ(put.Header("etag"), "\"5d41402abc4b2a76b9719d911017c592\"");
    EXPECT_EQ(put.Header("x-amz-version-id"), "");

    for (std::string const method : {"GET", "HEAD"})
    {
        auto const got = m_client.Send(method, "/plain/dir/a");
        EXPECT_EQ(got.m_status, 200);
        EXPECT_EQ(got.m_body, method == "GET" ? "hello" : "");
        EXPECT_EQ(got.Header("content-length"), "5");
        EXPECT_EQ(got.Header("content-type"), "text/x");
        EXPECT_EQ(got.Header("x-amz-meta-name"), "a value");
        EXPECT_EQ(got.Header("x-amz-storage-class"), "STANDARD_IA");
        EXPECT_NE(got.Header("date"), "");
    }
    EXPECT_EQ(m_simulator.ObjectContent("plain", "dir/a"), "hello");
    EXPECT_EQ(m_client.Delete("/plain/dir/a").m_status, 204);
    EXPECT_EQ(m_client.Delete("/plain/dir/a").m_status, 204);
    auto const missing = m_client.Get("/plain/dir/a");
    EXPECT_EQ(missing.m_status, 404);
    EXPECT_EQ(missing.Element("Code"), "NoSuchKey");
    EXPECT_EQ(missing.Element("Key"), "dir/a");
    EXPECT_EQ(missing.Element("RequestId"), missing.Header("x-amz-request-id"));
    EXPECT_EQ(m_client.Get("/absent/a").Element("Code"), "NoSuchBucket");
}

TEST_F(SimulatedObjects, AnswerRangesAndConditions)
{
    m_client.Put("/plain/a", "hello");
    m_client.Put("/plain/empty", "");
    struct SCase
    {
        std::string m_target, m_header;
        long m_status;
        std::string m_body, m_range;
    };
    std::string const etag = "\"5d41402abc4b2a76b9719d911017c592\"";
    SCase const cases[] = {
        {"/plain/a", "Range: bytes=1-3", 206, "ell", "bytes 1-3/5"},
        {"/plain/a", "Range: bytes=3-99", 206, "lo", "bytes 3-4/5"},
        {"/plain/a", "Range: bytes=2-", 206, "llo", "bytes 2-4/5"},
        {"/plain/a", "Range: bytes=-2", 206, "lo", "bytes 3-4/5"},
        {"/plain/a", "Range: bytes=-99", 206, "hello", "bytes 0-4/5"},
        {"/plain/a", "Range: bytes=3-1", 200, "hello", ""},
        {"/plain/a", "Range: lines=1-3", 200, "hello", ""},
        {"/plain/a", "Range: bytes=0-1,3-4", 200, "hello", ""},
        {"/plain/a", "Range: bytes=5-", 416, "InvalidRange", "bytes */5"},
        {"/plain/a", "Range: bytes=-0", 416, "InvalidRange", "bytes */5"},
        {"/plain/empty", "Range: bytes=0-0", 416, "InvalidRange", "bytes */0"},
        {"/plain/a", "If-Match: " + etag, 200, "hello", ""},
        {"/plain/a", "If-Match: \"x\"", 412, "PreconditionFailed", ""},
        {"/plain/a", "If-None-Match: " + etag, 304, "", ""},
        {"/plain/a", "If-Modified-Since: Fri, 01 Jan 2100 00:00:00 GMT", 304, "", ""},
        {"/plain/a", "If-Unmodified-Since: Fri, 01 Jan 2010 00:00:00 GMT", 412, "PreconditionFailed", ""},
    };
    for (auto const& wanted : cases)
    {
        auto const got = m_client.Get(wanted.m_target, {wanted.m_header});
        EXPECT_EQ(got.m_status, wanted.m_status) << wanted.m_header;
        EXPECT_EQ(got.m_status >= 400 ? got.Element("Code") : got.m_body, wanted.m_body) << wanted.m_header;
        EXPECT_EQ(got.Header("content-range"), wanted.m_range) << wanted.m_header;
    }
}

TEST_F(SimulatedObjects, HonourIgnoreOrRefuseConditionalWrites)
{
    EXPECT_EQ(m_client.Put("/plain/a", "1", {"If-Match: \"x\""}).Element("Code"), "NoSuchKey");
    EXPECT_EQ(m_client.Put("/plain/a", "1", {"If-None-Match: *"}).m_status, 200);
    EXPECT_EQ(m_client.Put("/plain/a", "2", {"If-None-Match: *"}).m_status, 412);
    EXPECT_EQ(m_client.Put("/plain/a", "2", {"If-Match: \"x\""}).m_status, 412);
    EXPECT_EQ(m_client.Put("/plain/a", "2", {"If-Match: \"c4ca4238a0b923820dcc509a6f75849b\""}).m_status, 200);
    EXPECT_EQ(m_simulator.ObjectContent("plain", "a"), "2");
    for (auto const& [mode, status] : {std::pair(EConditionalWrites::Ignore, 200), {EConditionalWrites::Refuse, 501}})
    {
        CSimulator other({.m_conditionalWrites = mode});
        other.CreateBucket("plain");
        CClient const client(other);
        client.Put("/plain/a", "1");
        EXPECT_EQ(client.Put("/plain/a", "2", {"If-None-Match: *"}).m_status, status);
    }
}

TEST_F(SimulatedObjects, CheckWhatCameOverTheWire)
{
    struct SCase
    {
        std::string m_header, m_code;
    };
    SCase const cases[] = {
        {Md5Header("hello"), ""},
        {Md5Header("other"), "BadDigest"},
        {"Content-MD5: AAAA", "InvalidDigest"},
        {"x-amz-checksum-crc32: NhCmhg==", ""},
        {"x-amz-checksum-crc32c: mnG7TA==", ""},
        {"x-amz-checksum-sha1: qvTGHdzF6KLavt4PO0gs2a6pQ00=", ""},
        {"x-amz-checksum-sha256: LPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCQ=", ""},
        {"x-amz-checksum-crc32: AAAAAA==", "BadDigest"},
        {"x-amz-checksum-crc32: AAAA", "InvalidRequest"},
        {"x-amz-storage-class: NONE", "InvalidStorageClass"},
        {"x-amz-meta-long: " + std::string(2048, 'x'), "MetadataTooLarge"},
        {"x-amz-object-lock-legal-hold: ON", "InvalidRequest"},
        {"Transfer-Encoding: chunked", "NotImplemented"},
    };
    for (auto const& wanted : cases)
    {
        auto const put = m_client.Put("/plain/a", "hello", {wanted.m_header});
        EXPECT_EQ(put.Element("Code"), wanted.m_code) << wanted.m_header;
        EXPECT_EQ(put.m_status == 200, wanted.m_code.empty()) << wanted.m_header;
        auto const colon = wanted.m_header.find(':');
        if (put.m_status == 200 && wanted.m_header.starts_with("x-amz-checksum"))
        {
            EXPECT_EQ(
                m_client.Get("/plain/a", {"x-amz-checksum-mode: ENABLED"}).Header(wanted.m_header.substr(0, colon)),
                wanted.m_header.substr(colon + 2));
        }
    }
    EXPECT_EQ(m_client.Put("/plain/" + std::string(1025, 'k'), "").Element("Code"), "KeyTooLongError");
    EXPECT_EQ(m_client.Put("/plain/" + std::string(1024, 'k'), "").m_status, 200);
}

TEST_F(SimulatedObjects, AreCopiedWithTheRulesOfTheDirective)
{
    m_simulator.CreateBucket("versioned", {.m_versioning = true});
    auto const first = m_client.Put("/versioned/a%2Bb", "1", {"x-amz-meta-n: v", "x-amz-storage-class: STANDARD_IA"});
    m_client.Put("/versioned/a%2Bb", "22");
    std::string const version = first.Header("x-amz-version-id");

    auto const copy = m_client.Put("/plain/copy", "", {"x-amz-copy-source: versioned/a%2Bb?versionId=" + version});
    EXPECT_EQ(copy.m_status, 200) << copy.m_body;
    EXPECT_EQ(copy.Header("x-amz-copy-source-version-id"), version);
    EXPECT_EQ(copy.Element("ETag"), "\"c4ca4238a0b923820dcc509a6f75849b\"");
    auto const copied = m_client.Get("/plain/copy");
    EXPECT_EQ(copied.m_body, "1");
    EXPECT_EQ(copied.Header("x-amz-meta-n"), "v");
    EXPECT_EQ(copied.Header("x-amz-storage-class"), "");

    auto const code = [&](CClient::headers_t headers)
    { return m_client.Put("/plain/copy", "", headers).Element("Code"); };
    std::string const same = "x-amz-copy-source: /plain/copy";
    EXPECT_EQ(code({same}), "InvalidRequest");
    EXPECT_EQ(code({same, "x-amz-metadata-directive: ELSE"}), "InvalidArgument");
    EXPECT_EQ(code({same, "x-amz-metadata-directive: REPLACE"}), "");
    EXPECT_EQ(m_client.Get("/plain/copy").Header("x-amz-meta-n"), "");
    EXPECT_EQ(code({"x-amz-copy-source: versioned"}), "InvalidArgument");
    EXPECT_EQ(code({"x-amz-copy-source: versioned/absent"}), "NoSuchKey");
    EXPECT_EQ(code({"x-amz-copy-source: versioned/a%2Bb?versionId=x"}), "NoSuchVersion");
}

TEST_F(SimulatedObjects, GoManyAtOnce)
{
    m_client.Put("/plain/a&b", "");
    m_client.Put("/plain/c", "");
    std::string const list = "<Delete><Object><Key>a&amp;b</Key></Object><Object><Key>absent</Key></Object>"
                             "<Object><VersionId>x</VersionId><Key>c</Key></Object></Delete>";
    EXPECT_EQ(m_client.Post("/plain?delete=", list).Element("Code"), "InvalidRequest");
    auto const deleted = m_client.Post("/plain?delete=", list, {Md5Header(list)});
    EXPECT_EQ(deleted.m_status, 200) << deleted.m_body;
    EXPECT_EQ(deleted.Elements("Deleted").size(), 2u);
    EXPECT_THAT(deleted.Elements("Error"), ElementsAre(HasSubstr("<Code>NoSuchVersion</Code>")));
    EXPECT_EQ(m_simulator.ObjectCount("plain"), 1u);

    std::string const quiet = "<Delete><Quiet>true</Quiet><Object><Key>c</Key></Object></Delete>";
    EXPECT_EQ(m_client.Post("/plain?delete=", quiet, {Md5Header(quiet)}).Elements("Deleted").size(), 0u);
    EXPECT_EQ(m_simulator.ObjectCount("plain"), 0u);

    std::string tooMany;
    for (int i = 0; i < 1001; ++i)
    {
        tooMany += "<Object><Key>k</Key></Object>";
    }
    for (std::string const& wrong :
         {std::string("<Delete/>"), "<Delete>" + tooMany + "</Delete>", std::string("<Delete"),
          std::string("<Else><Object><Key>c</Key></Object></Else>"), std::string()})
    {
        EXPECT_EQ(m_client.Post("/plain?delete=", wrong, {Md5Header(wrong)}).Element("Code"), "MalformedXML");
    }
}

TEST_F(SimulatedObjects, LiveInBucketsThatComeAndGo)
{
    std::string const europe = "<CreateBucketConfiguration><LocationConstraint>eu-central-1</LocationConstraint>"
                               "</CreateBucketConfiguration>";
    EXPECT_EQ(m_client.Put("/europe", europe).m_status, 200);
    EXPECT_EQ(m_client.Put("/europe", europe).Element("Code"), "AuthorizationHeaderMalformed");
    EXPECT_EQ(m_client.Put("/plain", "").Element("Code"), "BucketAlreadyOwnedByYou");
    EXPECT_EQ(m_client.Put("/Not_a_name", "").Element("Code"), "InvalidBucketName");
    EXPECT_THAT(m_client.Get("/").Elements("Name"), ElementsAre("europe", "plain"));
    EXPECT_EQ(m_client.Send("HEAD", "/plain").Header("x-amz-bucket-region"), "us-east-1");
    EXPECT_EQ(m_client.Get("/plain?location=").Element("LocationConstraint"), "");
    EXPECT_EQ(m_client.Send("HEAD", "/absent").m_status, 404);

    auto const wrongRegion = m_client.Send("HEAD", "/europe");
    EXPECT_EQ(wrongRegion.m_status, 400);
    EXPECT_EQ(wrongRegion.Header("x-amz-bucket-region"), "eu-central-1");
    CClient european(m_simulator);
    european.m_region = "eu-central-1";
    EXPECT_THAT(european.Get("/europe?location=").m_body, HasSubstr(">eu-central-1</LocationConstraint>"));
    european.Put("/europe/a", "");
    EXPECT_EQ(european.Delete("/europe").Element("Code"), "BucketNotEmpty");
    european.Delete("/europe/a");
    EXPECT_EQ(european.Delete("/europe").m_status, 204);
}

TEST_F(SimulatedObjects, AreFoundByHostNamesAndAccessPoints)
{
    m_client.Put("/plain/a", "hello");
    m_simulator.AddAccessPoint({"point", "", "plain"});
    m_simulator.AddAccessPoint({"point", "op-0123", "plain"});
    for (std::string const host :
         {"plain.localhost", "plain.s3.us-east-1.amazonaws.com", "point-123456789012.localhost",
          "point-123456789012.s3-accesspoint.us-east-1.amazonaws.com"})
    {
        EXPECT_EQ(m_client.Get("/a", {"Host: " + host}).m_body, "hello") << host;
    }
    EXPECT_EQ(m_client.Get("/plain/a", {"Host: s3.us-east-1.amazonaws.com"}).m_body, "hello");

    std::string const outpost = "Host: point-123456789012.op-0123.s3-outposts.us-east-1.amazonaws.com";
    EXPECT_EQ(m_client.Get("/a", {outpost}).Element("Code"), "AuthorizationHeaderMalformed");
    CClient outposts(m_simulator);
    outposts.m_service = "s3-outposts";
    EXPECT_EQ(outposts.Get("/a", {outpost}).m_body, "hello");
    for (std::string const arn : {"arn:aws:s3:us-east-1:123456789012:accesspoint/point/object/a",
                                  "arn:aws:s3-outposts:us-east-1:123456789012:outpost/op-0123/object/a"})
    {
        EXPECT_EQ(m_client.Put("/plain/copy", "", {"x-amz-copy-source: " + arn}).m_status, 200) << arn;
    }
}

TEST_F(SimulatedObjects, RedirectToWhereTheirBucketLies)
{
    m_simulator.CreateBucket(
        "gone", {.m_region = "eu-west-1", .m_redirect = ERedirect::Permanent, .m_redirectEndpoint = "h:1"});
    m_simulator.CreateBucket("moved", {.m_redirect = ERedirect::Temporary, .m_redirectEndpoint = "h:2"});
    auto const permanent = m_client.Get("/gone/a");
    EXPECT_EQ(permanent.m_status, 301);
    EXPECT_EQ(permanent.Element("Endpoint"), "h:1");
    EXPECT_EQ(permanent.Header("x-amz-bucket-region"), "eu-west-1");
    auto const temporary = m_client.Get("/moved/a");
    EXPECT_EQ(temporary.m_status, 307);
    EXPECT_EQ(temporary.Header("location"), "http://h:2/moved/a");
}

} // namespace bucketry::simulator::tests
