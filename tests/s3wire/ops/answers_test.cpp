#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "s3wire/arn.h"
#include "s3wire/ops/fake_sender.h"
#include "s3wire/wire/delete_requests.h"
#include "s3wire/wire/encoding.h"
#include "s3wire/wire/listing_requests.h"
#include "s3wire/wire/multipart_requests.h"
#include "s3wire/wire/service_requests.h"
#include "s3wire/wire/xml_reader.h"
#include "s3wire/wire/xml_writer.h"

#include <gmock/gmock.h>

namespace bucketry::s3wire::tests
{
namespace
{

using namespace wire;
using testing::ElementsAre;

std::string RootText(std::string const& xml)
{
    CXmlReader reader(xml);
    std::string text = reader.Text();
    reader.Finish();
    return text;
}

TEST(XmlReader, ResolvesWhatStoresWrite)
{
    std::pair<char const*, char const*> const rows[] = {
        {"<?xml version=\"1.0\"?>\n<!-- c --><a>text</a>\n", "text"},
        {"\xEF\xBB\xBF<n:a xmlns:n='>/' b=\"/>\">&amp;&lt;&gt;&quot;&apos;&#65;&#x42;&#x1F600;&#13;</n:a>",
         "&<>\"'AB😀\r"},
        {"<a> one <b>not this</b><![CDATA[<&two]]> </a>", " one <&two "},
        {"<a/>", ""},
        {"<a ></a >", ""},
    };
    for (auto const& [xml, text] : rows)
    {
        EXPECT_EQ(RootText(xml), text) << xml;
    }
}

TEST(XmlReader, TakesNothingMalformedOrCutOff)
{
    std::string const whole = "<a b='1'><c>&amp;<![CDATA[x]]></c><d/></a>";
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        EXPECT_THROW(RootText(whole.substr(0, length)), web::http::http_exception) << length;
    }
    for (char const* const xml : {"<a></b>", "<a>&nope;</a>", "<a>&#0;</a>", "<a>&#xD800;</a>", "<a>&amp</a>", "<a/>x",
                                  "<a/><b/>", "x<a/>", "<!DOCTYPE a><a/>", "<a b=\"></a>", "< a/>", "<a/b>"})
    {
        EXPECT_THROW(RootText(xml), web::http::http_exception) << xml;
    }
    std::string deep;
    for (int i = 0; i < 100; ++i)
    {
        deep += "<a>";
    }
    EXPECT_THROW(RootText(deep), web::http::http_exception);
}

TEST(Encoding, CarriesEveryKeyAndValue)
{
    std::pair<char const*, char const*> const paths[] = {
        {"dir/sub dir/file+plus&amp.txt", "dir/sub%20dir/file%2Bplus%26amp.txt"},
        {"ünïcödé/日本語", "%C3%BCn%C3%AFc%C3%B6d%C3%A9/%E6%97%A5%E6%9C%AC%E8%AA%9E"},
        {"tilde~star*paren()quote'", "tilde~star%2Aparen%28%29quote%27"},
        {"percent%20literal", "percent%2520literal"},
        {"back\\slash|pipe\"<>\n", "back%5Cslash%7Cpipe%22%3C%3E%0A"},
    };
    for (auto const& [key, encoded] : paths)
    {
        std::string decoded = EncodePath(key);
        EXPECT_EQ(decoded, encoded);
        DecodeListingText(decoded);
        EXPECT_EQ(decoded, key);
        EXPECT_EQ(RootText(XmlDocument("Key", "", [&, key = key](std::string& xml) { AppendXmlText(xml, key); })), key);
    }
    std::string form = "a+b%2Bc%2Fd%zz%4";
    DecodeListingText(form);
    EXPECT_EQ(form, "a b+c/d%zz%4");

    for (char const* const value : {"", "plain text", "日本", " padded ", "=?UTF-8?B?x?=", "line\r\nbreak"})
    {
        EXPECT_TRUE(IsHeaderValue(EncodeMetadataValue(value)));
        EXPECT_EQ(DecodeMetadataValue(EncodeMetadataValue(value)), value);
    }
    EXPECT_EQ(DecodeMetadataValue("x =?utf-8?q?a_=C3=BC?= =?UTF-8?B?5pel?= y"), "x a ü日 y");
    EXPECT_EQ(DecodeMetadataValue("=?koi8?B?eA==?= =?UTF-8?B?*?="), "=?koi8?B?eA==?= =?UTF-8?B?*?=");
    EXPECT_FALSE(FitsDeleteBody({"bell\x07", ""}));
    EXPECT_FALSE(FitsDeleteBody({"\xEF\xBF\xBF", ""}));
}

TEST(Answers, OfOneObjectAreReadFromItsHeaders)
{
    auto const head =
        Answer(200, "",
               {{"content-length", "5"},
                {"ETag", "\"e\""},
                {"Content-Type", "t"},
                {"x-amz-version-id", "VID"},
                {"X-Amz-Meta-Name", "=?UTF-8?B?5pel?="},
                {"x-amz-missing-meta", "2"},
                {"x-amz-restore", "ongoing-request=\"false\", expiry-date=\"Fri, 20 Mar 2026 00:00:00 GMT\""},
                {"x-amz-object-lock-mode", "COMPLIANCE"},
                {"x-amz-storage-class", "GLACIER"},
                {"x-amz-object-lock-retain-until-date", "2030-01-02T03:04:05.678Z"}});
    s3::SObjectData const data = ReadObjectData(head, std::nullopt);
    EXPECT_EQ(data.m_contentLength, 5u);
    EXPECT_EQ(data.m_missingMetadata, 2u);
    EXPECT_EQ(data.m_eTag + data.m_contentType + data.m_versionId, "\"e\"tVID");
    EXPECT_THAT(data.m_metadata, ElementsAre(testing::Pair("name", "日")));
    EXPECT_FALSE(data.m_restoreInProgress);
    EXPECT_EQ(data.m_restoreExpiryDate, "Fri, 20 Mar 2026 00:00:00 GMT");
    ASSERT_TRUE(data.m_objectLock);
    EXPECT_TRUE(data.m_objectLock->m_enabled);
    EXPECT_EQ(data.m_objectLock->m_mode, s3::EObjectLockMode::Compliance);
    EXPECT_EQ(data.m_objectLock->m_retainUntil, "2030-01-02T03:04:05.678Z");
    EXPECT_EQ(data.m_storageClass.ToString(), "GLACIER");

    auto const part = Answer(
        206, "",
        {{"Content-Length", "3"}, {"Content-Range", "bytes 1-3/5"}, {"x-amz-restore", "ongoing-request=\"true\""}});
    EXPECT_EQ(ReadObjectData(part, 3).m_contentLength, 5u);
    EXPECT_TRUE(ReadObjectData(part, 3).m_restoreInProgress);
    EXPECT_FALSE(ReadObjectData(part, 3).m_objectLock);
    EXPECT_THROW(ReadObjectData(Answer(200), std::nullopt), web::http::http_exception);

    EXPECT_EQ(ReadRestoreObject(Answer(200)), s3::EPostObjectRestoreResponse::AlreadyRestored);
    EXPECT_EQ(ReadRestoreObject(Answer(202)), s3::EPostObjectRestoreResponse::Accepted);
    EXPECT_EQ(ReadCopyObject(Answer(200, "<CopyObjectResult><ETag>&quot;e&quot;</ETag></CopyObjectResult>",
                                    {{"x-amz-version-id", "V"}}))
                  .m_eTag,
              "\"e\"");
    EXPECT_EQ(ReadGetObjectRetention(
                  Answer(200, "<Retention><Mode>GOVERNANCE</Mode><RetainUntilDate>d</RetainUntilDate></Retention>"))
                  .m_retainUntil,
              "d");
}

TEST(Answers, OfListingsAreDecodedOnlyIfTheySayThatTheyAreEncoded)
{
    std::string const contents =
        "<IsTruncated>true</IsTruncated><NextContinuationToken>1+w=%41</NextContinuationToken>"
        "<Contents><Key>dir/a%2Bb+c</Key><LastModified>2026-03-13T10:00:00.000Z</LastModified><ETag>&quot;e&quot;</"
        "ETag>"
        "<Size>18446744073709551615</Size><StorageClass>GLACIER</StorageClass><Owner><ID>x</ID></Owner></Contents>"
        "<CommonPrefixes><Prefix>dir/s%20/</Prefix></CommonPrefixes>";
    SObjectPage const raw = ReadListObjects(Answer(200, "<ListBucketResult>" + contents + "</ListBucketResult>"));
    EXPECT_EQ(raw.m_contents.m_contents.at(0).m_key, "dir/a%2Bb+c");
    SObjectPage const page = ReadListObjects(
        Answer(200, "<ListBucketResult>" + contents + "<EncodingType>url</EncodingType></ListBucketResult>"));
    s3::SObjectMetadata const& entry = page.m_contents.m_contents.at(0);
    EXPECT_EQ(entry.m_key, "dir/a+b c");
    EXPECT_EQ(entry.m_lastModified, "2026-03-13T10:00:00Z");
    EXPECT_EQ(entry.m_size, UINT64_MAX);
    EXPECT_THAT(page.m_contents.m_commonPrefixes, ElementsAre("dir/s /"));
    EXPECT_EQ(NextPosition(page)->m_token, "1+w=%41");

    SVersionPage const versions = ReadListObjectVersions(
        Answer(200,
               "<ListVersionsResult><EncodingType>url</EncodingType><IsTruncated>true</"
               "IsTruncated><NextKeyMarker>a%20</NextKeyMarker>"
               "<NextVersionIdMarker>v%20</NextVersionIdMarker><DeleteMarker><Key>a%20</Key><VersionId>v%20</VersionId>"
               "<LastModified>2026-03-14T10:00:00Z</LastModified></DeleteMarker><Version><Key>a%20</"
               "Key><VersionId>null</VersionId><Size>1</Size>"
               "</Version></ListVersionsResult>"));
    EXPECT_TRUE(versions.m_contents.m_versions.at(0).m_isDeleteMarker);
    EXPECT_EQ(versions.m_contents.m_versions.at(0).m_versionId, "v%20");
    EXPECT_EQ(versions.m_contents.m_versions.at(1).m_key, "a ");
    EXPECT_EQ(NextPosition(versions)->m_marker + NextPosition(versions)->m_versionMarker, "a v%20");

    for (char const* const xml : {"<ListBucketResult><Contents><Key>a</Key></Contents></ListBucketResult>", "<Other/>",
                                  "", "<ListBucketResult>"})
    {
        EXPECT_THROW(ReadListObjects(Answer(200, xml)), web::http::http_exception) << xml;
    }
}

TEST(Answers, OfTheOtherOperationsAreRead)
{
    auto const refused = ReadDeleteObjects(
        Answer(200,
               "<DeleteResult><Deleted><Key>a</Key></Deleted><Error><Key>c</Key><VersionId>v1</VersionId>"
               "<Code>AccessDenied</Code><Message>no</Message></Error></DeleteResult>"));
    ASSERT_EQ(refused.size(), 1u);
    EXPECT_EQ(refused[0].m_key + refused[0].m_versionId + refused[0].m_code + refused[0].m_message,
              "cv1AccessDeniedno");
    EXPECT_EQ(ReadCreateMultipartUpload(Answer(200, "<R><Key>\x01</Key><UploadId>U&amp;</UploadId></R>")), "U&");
    EXPECT_THROW(ReadCreateMultipartUpload(Answer(200, "<R><UploadId></UploadId></R>")), web::http::http_exception);
    EXPECT_THROW(ReadUploadPart(Answer(200)), web::http::http_exception);
    EXPECT_EQ(MultipartETag({"\"5d41402abc4b2a76b9719d911017c592\"", "5d41402abc4b2a76b9719d911017c592"}),
              "\"616b22817b80eed9f65c3aa38cd29054-2\"");
    EXPECT_EQ(MultipartETag({"\"other\""}), "");
    for (auto const& [text, region] :
         {std::pair{"", "us-east-1"}, {"EU", "eu-west-1"}, {"eu-central-1", "eu-central-1"}})
    {
        EXPECT_EQ(
            ReadGetBucketLocation(Answer(200, std::string("<LocationConstraint>") + text + "</LocationConstraint>"))
                .m_region,
            region);
    }
    s3::SDescribeJobResult const job =
        ReadDescribeJob(Answer(200,
                               "<DescribeJobResult><Job><JobId>i</JobId><Status>Failed</"
                               "Status><ProgressSummary><TotalNumberOfTasks>3</TotalNumberOfTasks></ProgressSummary>"
                               "<FailureReasons><member><FailureCode>C</FailureCode><FailureReason>R</FailureReason></"
                               "member></FailureReasons></Job></DescribeJobResult>"));
    EXPECT_EQ(job.m_jobId + job.m_status + job.m_failureReasons, "iFailedC: R");
    EXPECT_EQ(job.m_totalTasks, 3u);
    EXPECT_EQ(ReadGetCallerIdentity(Answer(200,
                                           "<GetCallerIdentityResponse><GetCallerIdentityResult><Account>1234</Account>"
                                           "</GetCallerIdentityResult></GetCallerIdentityResponse>")),
              "1234");
}

TEST(Arn, NamesTheHostOfAnAccessPoint)
{
    std::pair<char const*, char const*> const good[] = {
        {"arn:aws:s3:us-west-2:123456789012:accesspoint/myap",
         "https://myap-123456789012.s3-accesspoint.us-west-2.amazonaws.com"},
        {"arn:aws-cn:s3:cn-north-1:123456789012:accesspoint:myap",
         "https://myap-123456789012.s3-accesspoint.cn-north-1.amazonaws.com.cn"},
        {"arn:aws:s3-outposts:us-west-2:123456789012:outpost/op-01/accesspoint/myap",
         "https://myap-123456789012.op-01.s3-outposts.us-west-2.amazonaws.com"},
    };
    for (auto const& [text, endpoint] : good)
    {
        CS3Arn const arn(text);
        EXPECT_NO_THROW(arn.CheckIsValidS3ArnExc()) << text;
        EXPECT_EQ(CS3EndpointCreator::CreateFromArnWithPrefix(arn), endpoint);
        EXPECT_EQ(arn.GetAccessPointName(), "myap");
        EXPECT_EQ(arn.IsOutpostArn(), arn.m_service == "s3-outposts");
    }
    EXPECT_FALSE(CS3Arn("example-bucket").m_isArn);
    for (char const* const bad :
         {"example-bucket", "arn:aws:s3:::example-bucket", "arn:aws:sqs:r:1:accesspoint/a",
          "arn:aws:s3::1:accesspoint/a", "arn:aws:s3:r::accesspoint/a", "arn:aws:s3:r:1:accesspoint/a/b",
          "arn:aws:s3:r:1:accesspoint/a.b", "arn:other:s3:r:1:accesspoint/a",
          "arn:aws:s3-outposts:r:1:outpost/op/bucket/b", "arn:aws:s3-outposts:r:1:outpost//accesspoint/a"})
    {
        EXPECT_THROW(CS3Arn(bad).CheckIsValidS3ArnExc(), exc::CRuntimeExc) << bad;
    }
}

} // namespace
} // namespace bucketry::s3wire::tests
