// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "s3wire/wire/delete_requests.h"
#include "s3wire/wire/listing_requests.h"
#include "s3wire/wire/multipart_requests.h"
#include "s3wire/wire/service_requests.h"
#include "support/wire_messages.h"

#include <gmock/gmock.h>

namespace bucketry::s3wire::tests
{
namespace
{

using namespace wire;
using testing::ElementsAre;

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

} // namespace
} // namespace bucketry::s3wire::tests
