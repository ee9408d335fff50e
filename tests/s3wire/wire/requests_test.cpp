// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"
#include "s3wire/wire/delete_requests.h"
#include "s3wire/wire/google_dialect.h"
#include "s3wire/wire/listing_requests.h"
#include "s3wire/wire/multipart_requests.h"
#include "s3wire/wire/service_requests.h"
#include "support/bufs.h"
#include "support/wire_messages.h"

#include <gmock/gmock.h>

namespace bucketry::s3wire::tests
{
namespace
{

using namespace wire;
using s3::EObjectLockMode;
using s3::SObjectLockConfig;

s3::SCreateJobRequest Job(bool report)
{
    s3::SCreateJobRequest job;
    job.m_confirmationRequired = false;
    job.m_operations.push_back(std::make_unique<s3::SS3InitiateRestoreObject>(7, true, "BULK"));
    job.m_reportEnabled = report;
    job.m_reportBucket = "arn:aws:s3:::report-bucket";
    job.m_reportFormat = "Report_CSV_20180820";
    job.m_reportPrefix = "reports/x";
    job.m_reportScope = "AllTasks";
    job.m_clientRequestToken = "token";
    job.m_manifestETag = "60e4";
    job.m_manifestObjectArn = "arn:aws:s3:::manifest-bucket/m.csv";
    job.m_manifestObjectVersionId = "VID";
    job.m_manifestFields = {"Bucket", "Key", "VersionId"};
    job.m_manifestFormat = "S3BatchOperations_CSV_20180820";
    job.m_description = "d";
    job.m_priority = 50;
    job.m_roleArn = "arn:aws:iam::123456789012:role/batch-role";
    return job;
}

std::string JobText(std::string const& report)
{
    return "POST /v20180820/jobs\nContent-Type: application/xml\nx-amz-account-id: 1234\n\n"
           "<CreateJobRequest "
           "xmlns=\"http://awss3control.amazonaws.com/doc/2018-08-20/\"><ConfirmationRequired>false</"
           "ConfirmationRequired>"
           "<Operation><S3InitiateRestoreObject><ExpirationInDays>7</ExpirationInDays><GlacierJobTier>BULK</"
           "GlacierJobTier>"
           "</S3InitiateRestoreObject></Operation><Report>" +
        report +
        "</Report><ClientRequestToken>token</ClientRequestToken>"
        "<Manifest><Spec><Format>S3BatchOperations_CSV_20180820</Format><Fields><member>Bucket</member><member>Key</"
        "member>"
        "<member>VersionId</member></Fields></Spec><Location><ObjectArn>arn:aws:s3:::manifest-bucket/m.csv</ObjectArn>"
        "<ObjectVersionId>VID</ObjectVersionId><ETag>60e4</ETag></Location></Manifest><Description>d</Description>"
        "<Priority>50</Priority><RoleArn>arn:aws:iam::123456789012:role/batch-role</RoleArn></CreateJobRequest>";
}

SWireRequest Addressed(SWireRequest request)
{
    AddControlAddress(request, {"https://control", "1234"});
    return request;
}

SListing Listing()
{
    return {.m_bucket = "b", .m_prefix = "dir/", .m_delimiter = "/", .m_pageSize = 2};
}

SWireRequest ForGoogle(SWireRequest request)
{
    ToGoogle(request);
    return request;
}

#define S3_NS "xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\""

TEST(WireRequests, LookOnTheWireAsTheProtocolSays)
{
    SObjectRef const object{"b", "k", ""};
    SObjectRef const version{"b", "k", "VID"};
    SUploadRef const upload{"b", "k", "UID"};
    SObjectLockConfig const lock(true, EObjectLockMode::Governance, "2030-01-02T03:04:05.000Z", true);
    SNewObject const plain;
    SNewObject const rich{{{"name", "日"}, {"plain", "x y"}},
                          {{"Content-Type", "text/plain"}},
                          lock,
                          s3::EAmazonS3StorageClass::GlacierIR};
    std::string const richHeaders =
        "\nx-amz-meta-name: =?UTF-8?B?5pel?=\nx-amz-meta-plain: x y\nContent-Type: text/plain"
        "\nx-amz-object-lock-mode: GOVERNANCE\nx-amz-object-lock-retain-until-date: 2030-01-02T03:04:05.000Z"
        "\nx-amz-object-lock-legal-hold: ON\nx-amz-storage-class: GLACIER_IR";
    std::string const accessPoint = "arn:aws:s3:us-west-2:123456789012:accesspoint/ap";
    std::vector<delete_item_t> const items{{"a&b", ""}, {"c\r\n<>", "VID"}};

    std::pair<SWireRequest, std::string> const rows[] = {
        {MakePutObject(object, plain, testing::BufsOf("body")), "PUT b/k\n\nbody"},
        {MakePutObject(object, rich, nullptr), "PUT b/k" + richHeaders + "\n[md5]"},
        {MakePutObject(object, {{}, {}, {}, s3::EGoogleCSStorageClass::Nearline}, nullptr),
         "PUT b/k\nx-amz-storage-class: NEARLINE"},
        {MakeGetObject(object, {}, "", false), "GET b/k"},
        {MakeGetObject(version, {1, 3}, "\"e\"", true),
         "GET b/k?versionId=VID\nRange: bytes=1-3\nIf-Match: \"e\"\nx-amz-checksum-mode: ENABLED"},
        {MakeGetObject(object, {5, 0}, "", false), "GET b/k\nRange: bytes=5-"},
        {MakeHeadObject(version), "HEAD b/k?versionId=VID"},
        {MakeCopyObject({"s", "a b+c/d", "VID"}, object, {}, {}, ""),
         "PUT b/k\nx-amz-copy-source: s/a%20b%2Bc/d?versionId=VID"},
        {MakeCopyObject({accessPoint, "x", ""}, object, s3::EAmazonS3StorageClass::Glacier, {}, "REPLACE"),
         "PUT b/k\nx-amz-copy-source: arn%3Aaws%3As3%3Aus-west-2%3A123456789012%3Aaccesspoint/ap/object/x"
         "\nx-amz-metadata-directive: REPLACE\nx-amz-storage-class: GLACIER"},
        {MakeDeleteObject(version), "DELETE b/k?versionId=VID"},
        {MakePutObjectRetention(version, EObjectLockMode::Compliance, "2030-01-02T03:04:05Z"),
         "PUT b/k?retention&versionId=VID\nContent-Type: application/xml\n[md5]\n\n"
         "<Retention " S3_NS
         "><Mode>COMPLIANCE</Mode><RetainUntilDate>2030-01-02T03:04:05Z</RetainUntilDate></Retention>"},
        {MakeGetObjectRetention(object), "GET b/k?retention"},
        {MakePutObjectLegalHold(object, true),
         "PUT b/k?legal-hold\nContent-Type: application/xml\n[md5]\n\n"
         "<LegalHold " S3_NS "><Status>ON</Status></LegalHold>"},
        {MakeRestoreObject(object, 3, s3::EGlacierRetrievalTier::Bulk),
         "POST b/k?restore\nContent-Type: application/xml\n[md5]\n\n<RestoreRequest " S3_NS "><Days>3</Days>"
         "<GlacierJobParameters><Tier>Bulk</Tier></GlacierJobParameters></RestoreRequest>"},
        {MakeListObjectsV2(Listing(), {}), "GET b/?list-type=2&prefix=dir/&delimiter=/&max-keys=2&encoding-type=url"},
        {MakeListObjectsV2({"b", "", "", 0}, {"t+/=", "", ""}),
         "GET b/?list-type=2&encoding-type=url&continuation-token=t+/="},
        {MakeListObjects(Listing(), {"", "dir/a", ""}),
         "GET b/?prefix=dir/&delimiter=/&max-keys=2&encoding-type=url&marker=dir/a"},
        {ForGoogle(MakeListObjectVersions(Listing(), {"", "dir/a", "v1"})),
         "GET b/?versions&prefix=dir/&delimiter=/&max-keys=2&encoding-type=url&key-marker=dir/a&version-id-marker=v1"
         "\nx-goog-interop-list-objects-format: enabled"},
        {ForGoogle(MakeCopyObject(version, version, {}, {}, "")),
         "PUT b/k?generation=VID\nx-goog-copy-source-generation: VID\nx-amz-copy-source: b/k?generation=VID"},
        {MakeDeleteObjects("b", items),
         "POST b/?delete\nContent-Type: application/xml\n[md5]\n\n<Delete " S3_NS "><Quiet>true</Quiet>"
         "<Object><Key>a&amp;b</Key></Object><Object><Key>c&#13;&#10;&lt;&gt;</Key>"
         "<VersionId>VID</VersionId></Object></Delete>"},
        {MakeCreateMultipartUpload(object, rich), "POST b/k?uploads" + richHeaders},
        {MakeUploadPart(upload, 10000, testing::BufsOf("part"), true),
         "PUT b/k?partNumber=10000&uploadId=UID\n[md5]\n\npart"},
        {MakeUploadPartCopy(upload, 2, {"s", "a b", "VID"}, "\"e\"", {10, 5}),
         "PUT b/k?partNumber=2&uploadId=UID\nx-amz-copy-source: s/a%20b?versionId=VID"
         "\nx-amz-copy-source-range: bytes=10-14\nx-amz-copy-source-if-match: \"e\""},
        {MakeCompleteMultipartUpload(upload, {"\"e1\"", "e2"}),
         "POST b/k?uploadId=UID\nContent-Type: application/xml\n[md5]\n\n<CompleteMultipartUpload " S3_NS ">"
         "<Part><PartNumber>1</PartNumber><ETag>\"e1\"</ETag></Part><Part><PartNumber>2</PartNumber><ETag>e2</ETag></"
         "Part>"
         "</CompleteMultipartUpload>"},
        {MakeAbortMultipartUpload(upload), "DELETE b/k?uploadId=UID"},
        {MakeHeadBucket("b"), "HEAD b/"},
        {MakeGetBucketLocation(accessPoint), "GET " + accessPoint + "/?location"},
        {Addressed(MakeCreateJob(Job(false))), JobText("<Enabled>false</Enabled>")},
        {Addressed(MakeCreateJob(Job(true))),
         JobText(
             "<Bucket>arn:aws:s3:::report-bucket</Bucket><Format>Report_CSV_20180820</Format><Enabled>true</Enabled>"
             "<Prefix>reports/x</Prefix><ReportScope>AllTasks</ReportScope>")},
        {Addressed(MakeDescribeJob("id")), "GET /v20180820/jobs/id\nx-amz-account-id: 1234"},
        {MakeGetCallerIdentity(),
         "POST /\nContent-Type: application/x-www-form-urlencoded\n\nAction=GetCallerIdentity&Version=2011-06-15"},
    };
    for (auto const& [request, text] : rows)
    {
        EXPECT_EQ(ToText(request), text) << request.m_operation;
    }
}

TEST(WireRequests, RefuseWhatNoStoreTakes)
{
    SObjectRef const object{"b", "k", ""};
    std::string const queue = "arn:aws:sqs:us-east-1:123456789012:queue";
    for (SObjectRef const& bad :
         {SObjectRef{"b", "", ""}, {"b", std::string(1025, 'k'), ""}, {"", "k", ""}, {queue, "k", ""}})
    {
        EXPECT_THROW(MakeHeadObject(bad), exc::CRuntimeExc) << bad.m_bucket;
        EXPECT_THROW(MakeCopyObject(bad, object, {}, {}, ""), exc::CRuntimeExc) << bad.m_bucket;
    }
    EXPECT_NO_THROW(MakeHeadObject({"b", std::string(1024, 'k'), ""}));
    SNewObject const badName{{{"bad name", "v"}}, {}, {}, {}};
    SNewObject const injecting{{}, {{"X-Injected", "v\r\nX-Other: 1"}}, {}, {}};
    EXPECT_THROW(MakePutObject(object, badName, nullptr), exc::CRuntimeExc);
    EXPECT_THROW(MakePutObject(object, injecting, nullptr), exc::CRuntimeExc);
    EXPECT_THROW(MakeGetObject(object, {2, UINT64_MAX}, "", false), exc::CRuntimeExc);
    EXPECT_THROW(MakeRestoreObject(object, 1, static_cast<s3::EGlacierRetrievalTier>(7)), exc::CRuntimeExc);
    EXPECT_THROW(MakeUploadPart({"b", "k", "UID"}, 10001, nullptr, false), exc::CRuntimeExc);
    EXPECT_THROW(MakeUploadPart({"b", "k", "UID"}, 0, nullptr, false), exc::CRuntimeExc);
    EXPECT_THROW(MakeDeleteObjects("b", std::vector<delete_item_t>(1001, {"k", ""})), exc::CRuntimeExc);
    EXPECT_THROW(MakeDescribeJob(""), exc::CRuntimeExc);
}

} // namespace
} // namespace bucketry::s3wire::tests
