// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bucketry::simulator::tests
{

using testing::ElementsAre;

namespace
{

class SimulatedUploads : public testing::Test
{
protected:
    explicit SimulatedUploads(EProfile profile = EProfile::S3) : m_simulator({.m_profile = profile, .m_minPartSize = 4})
    {
        m_simulator.CreateBucket("b", {.m_versioning = true});
    }

    std::string Begin(CClient::headers_t headers = {}) const
    {
        return m_client.Post("/b/k?uploads=", "", headers).Element("UploadId");
    }
    std::string PutPart(std::string const& upload, int number, std::string const& body,
                        CClient::headers_t headers = {}) const
    {
        auto const put =
            m_client.Put("/b/k?partNumber=" + std::to_string(number) + "&uploadId=" + upload, body, headers);
        return put.m_status == 200 ? put.Header("etag") : put.Element("Code");
    }
    static std::string Part(int number, std::string const& etag, std::string const& more = {})
    {
        return "<Part><ETag>" + etag + "</ETag><PartNumber>" + std::to_string(number) + "</PartNumber>" + more +
            "</Part>";
    }
    SAnswer Complete(std::string const& upload, std::string const& parts, CClient::headers_t headers = {}) const
    {
        return m_client.Post("/b/k?uploadId=" + upload,
                             "<CompleteMultipartUpload xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\">" + parts +
                                 "</CompleteMultipartUpload>",
                             headers);
    }

    CSimulator m_simulator;
    CClient m_client{m_simulator};
};

} // namespace

TEST_F(SimulatedUploads, BecomeOneObject)
{
    std::string const upload = Begin({"x-amz-meta-n: v", "Content-Type: text/x"});
    PutPart(upload, 3, "replaced");
    std::string const third = PutPart(upload, 3, "!"), first = PutPart(upload, 1, "hello"),
                      second = PutPart(upload, 2, "world");
    auto const listed = m_client.Get("/b/k?max-parts=2&uploadId=" + upload);
    EXPECT_THAT(listed.Elements("PartNumber"), ElementsAre("1", "2"));
    EXPECT_EQ(listed.Element("NextPartNumberMarker"), "2");
    EXPECT_EQ(listed.Element("IsTruncated"), "true");
    EXPECT_THAT(m_client.Get("/b/k?part-number-marker=2&uploadId=" + upload).Elements("PartNumber"), ElementsAre("3"));

    std::string const parts = Part(1, first) + Part(2, second) + Part(3, third);
    auto const done = Complete(upload, parts);
    EXPECT_EQ(done.m_status, 200) << done.m_body;
    EXPECT_THAT(done.Element("ETag"), testing::EndsWith("-3\""));
    EXPECT_EQ(m_simulator.ObjectContent("b", "k"), "helloworld!");
    auto const got = m_client.Get("/b/k?partNumber=2");
    EXPECT_EQ(got.m_status, 206);
    EXPECT_EQ(got.m_body, "world");
    EXPECT_EQ(got.Header("x-amz-mp-parts-count"), "3");
    EXPECT_EQ(got.Header("x-amz-meta-n"), "v");
    EXPECT_EQ(got.Header("etag"), done.Element("ETag"));

    // Once more after a lost answer: the same success, no second version.
    EXPECT_EQ(Complete(upload, parts).Element("ETag"), done.Element("ETag"));
    EXPECT_EQ(m_simulator.VersionCount("b"), 1u);
    EXPECT_EQ(m_simulator.PendingUploads("b"), 0u);
}

TEST_F(SimulatedUploads, RefuseWrongLists)
{
    std::string const upload = Begin();
    std::string const first = PutPart(upload, 1, "hello"), small = PutPart(upload, 2, "x"),
                      last = PutPart(upload, 3, "y");
    auto const code = [&](std::string const& parts) { return Complete(upload, parts).Element("Code"); };
    EXPECT_EQ(code(""), "MalformedXML");
    EXPECT_EQ(code("<Part><PartNumber>x</PartNumber></Part>"), "MalformedXML");
    EXPECT_EQ(code(Part(2, small) + Part(1, first)), "InvalidPartOrder");
    EXPECT_EQ(code(Part(1, small)), "InvalidPart");
    EXPECT_EQ(code(Part(1, first) + Part(4, first)), "InvalidPart");
    EXPECT_EQ(code(Part(1, first) + Part(2, small) + Part(3, last)), "EntityTooSmall");
    EXPECT_EQ(Complete(upload, Part(1, first), {"x-amz-mp-object-size: 4"}).Element("Code"), "InvalidRequest");
    EXPECT_EQ(PutPart(upload, 0, ""), "InvalidArgument");
    EXPECT_EQ(PutPart(upload, 10001, ""), "InvalidArgument");
    EXPECT_EQ(PutPart("absent", 1, ""), "NoSuchUpload");
    EXPECT_EQ(m_client.Delete("/b/k?uploadId=" + upload).m_status, 204);
    EXPECT_EQ(m_client.Delete("/b/k?uploadId=" + upload).Element("Code"), "NoSuchUpload");
    EXPECT_EQ(code(Part(1, first)), "NoSuchUpload");
    EXPECT_EQ(m_simulator.ObjectCount("b"), 0u);
}

TEST_F(SimulatedUploads, WantTheChecksumTheyWereBegunWith)
{
    std::string const checksum = "x-amz-checksum-crc32: NhCmhg==", element = "<ChecksumCRC32>NhCmhg==</ChecksumCRC32>";
    EXPECT_EQ(PutPart(Begin(), 1, "hello", {checksum}), "InvalidRequest");
    std::string const upload = Begin({"x-amz-checksum-algorithm: CRC32"});
    EXPECT_EQ(PutPart(upload, 1, "hello"), "InvalidRequest");
    std::string const etag = PutPart(upload, 1, "hello", {checksum});
    EXPECT_EQ(Complete(upload, Part(1, etag)).Element("Code"), "InvalidRequest");
    EXPECT_EQ(Complete(upload, Part(1, etag, "<ChecksumCRC32>AAAAAA==</ChecksumCRC32>")).Element("Code"),
              "InvalidPart");
    // The checksum of the one part's checksum 3610a686, computed with another program.
    EXPECT_EQ(Complete(upload, Part(1, etag, element)).Element("ChecksumCRC32"), "FKTmaw==-1");
}

TEST_F(SimulatedUploads, TakePartsOutOfOtherObjects)
{
    auto const source = m_client.Put("/b/source", "0123456789");
    std::string const upload = Begin(), target = "/b/k?partNumber=1&uploadId=" + upload;
    std::string const from = "x-amz-copy-source: b/source";
    auto const copy = m_client.Put(target, "", {from + "?versionId=" + source.Header("x-amz-version-id")});
    EXPECT_EQ(copy.Element("ETag"), source.Header("etag"));
    EXPECT_EQ(Complete(upload, Part(1, copy.Element("ETag"))).m_status, 200);
    EXPECT_EQ(m_simulator.ObjectContent("b", "k"), "0123456789");
}

} // namespace bucketry::simulator::tests
