// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/options.h"
#include "bucketry/s3.h"
#include "s3/detail/archive.h"
#include "s3wire/auth/auth.h"
#include "s3wire/context.h"
#include "s3wire/wire/request.h"
#include "support/expect_failure.h"
#include "support/fake_sender.h"
#include "support/log_capture.h"

#include <bucketry/simulator.h>

namespace bucketry::s3
{
namespace
{

using bucketry::testing::CLogCapture;
using bucketry::testing::ExpectFailure;
using bucketry::testing::ExpectStorageFailure;
using s3wire::s3::CObjectStorageClass;
using s3wire::s3::CS3WireClient;
using s3wire::s3::EAmazonS3StorageClass;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using enum ArchiveRetrievalTier;

std::shared_ptr<CS3CloudClient> MakeClient(CS3WireClient const& wire, std::string const& container,
                                           CObjectStorageClass const& storageClass = {}, bool isLocked = false)
{
    auto const context =
        std::make_shared<SS3Context>(SS3Context{wire, nullptr, "S3", container, storageClass, {}, isLocked});
    return std::make_shared<CS3CloudClient>(context, "");
}

/// The lines of the store clients, each with the number of its level in front.
std::string StorageLines(CLogCapture const& log)
{
    std::string lines;
    for (auto const& line : log.Lines())
    {
        lines += line.m_section == "stg_log" ? std::to_string(int(line.m_level)) + " " + line.m_text + "\n" : "";
    }
    return lines;
}

/// A store with two buckets, on 14 March 2026 at noon until its clock is moved, and an archived object.
class Archive : public ::testing::Test
{
protected:
    Archive()
    {
        using namespace std::chrono;
        m_store.SetClock(sys_days(2026y / March / 14) + 12h);
        m_store.CreateBucket("cold");
        m_store.CreateBucket("other");
        Put(*Client("cold", EAmazonS3StorageClass::Glacier), "deep/a b", "x");
    }

    std::shared_ptr<CS3CloudClient> Client(std::string const& bucket, CObjectStorageClass const& storageClass = {})
    {
        simulator::SAccessKey const key;
        auto const auth = s3wire::CS3WireAuthFactory(s3wire::s3::CS3WireContext::Instance().GetTempKeyStore())
                              .CreateForS3(key.m_id, key.m_secret, "", m_store.Endpoint(), "us-east-1", "", "", 0);
        CS3WireClient wire(m_store.Endpoint(), "us-east-1", {}, auth, {}, nullptr, false);
        wire.SetBatchParameters(m_store.Endpoint(), "123456789012");
        return MakeClient(wire, bucket, storageClass);
    }
    static std::string Put(ICloudClient& client, std::string const& path, std::string const& text)
    {
        auto const upload = client.StartUpload(path, text.size());
        upload->Write(reinterpret_cast<unsigned char const*>(text.data()), text.size());
        return upload->Finish().value();
    }
    void Retrieve(SRetrieveArchiveOptions const& options = {2, Expedited, ""})
    {
        m_client->RetrieveArchiveAsync("/deep/a b", "any", options)->Wait();
    }
    /// "running", or the expiry date, or nothing.
    std::string Status(std::string const& path = "/deep/a b")
    {
        auto const status = std::make_shared<SArchiveRetrievalStatus>();
        *status = {true, datetime::CDateTime::currentUtcTime()};
        m_client->GetArchiveRetrievalStatusAsync(path, status)->Wait();
        std::string const until = status->m_expiryDate.IsNull() ? "" : status->m_expiryDate.toStdString();
        return (status->m_isRetrievalInProgress ? "running" : "") + until;
    }

    simulator::CSimulator m_store{{.m_maxSkew = std::chrono::hours(24 * 365 * 100)}};
    std::shared_ptr<CS3CloudClient> const m_client = Client("cold");
};

TEST_F(Archive, JudgesTheStoresRefusals)
{
    std::string const failed = "0 CS3CloudClient::RetrieveArchiveAsync async task has failed, source path [/deep/a b], "
                               "target path [any], days [2], tier [3]\n";
    std::string const warned = "1 Attempted to retrieve non-archived object from S3. Path: [deep/a b]\n";
    for (auto const& [answer, lines] : {std::pair<std::string, std::string>{"409 RestoreAlreadyInProgress", ""},
                                        {"400 RestoreAlreadyInProgress", failed},
                                        {"409 RestoreAlreadyInProgress2", failed},
                                        {"403 InvalidObjectState", warned},
                                        {"404 InvalidObjectState", failed},
                                        {"403 AccessDenied", failed}})
    {
        m_store.LoadFaults("on RestoreObject times=1 do status " + answer + " message=refused");
        CLogCapture const log;
        if (lines == failed)
        {
            ExpectFailure<exc::CRuntimeExc>(StartsWith("Failed to retrieve archive from S3. Path: [deep/a b]\n"),
                                            [&] { Retrieve(); });
        }
        else
        {
            Retrieve();
        }
        EXPECT_EQ(StorageLines(log), lines) << answer;
    }
}

TEST_F(Archive, RestoresOnceAndIsFollowedToItsEnd)
{
    EXPECT_EQ(Status(), "");
    Retrieve();
    EXPECT_EQ(Status(), "running");
    m_store.AdvanceClock(std::chrono::minutes(5));
    EXPECT_EQ(Status(), "2026-03-17 00:00:00");
    CLogCapture const log;
    Retrieve({4, Bulk, ""});
    EXPECT_EQ(StorageLines(log), "0 The requested object has already been restored\n");
    EXPECT_EQ(Status(), "2026-03-19 00:00:00");
    m_store.AdvanceClock(std::chrono::hours(24 * 5));
    EXPECT_EQ(Status(), "");
    Retrieve({1, Default, ""}); // as fast as Standard: 5 hours
    m_store.AdvanceClock(std::chrono::minutes(299));
    EXPECT_EQ(Status(), "running");
    m_store.AdvanceClock(std::chrono::minutes(1));
    EXPECT_EQ(Status(), "2026-03-21 00:00:00");
    ExpectStorageFailure(404, ::testing::_, [&] { Status("absent"); });
    EXPECT_EQ(detail::ToGlacierRetrievalTier(Bulk), s3wire::s3::EGlacierRetrievalTier::Bulk);
    ExpectFailure<exc::CRuntimeExc>("Failed to init async task for retrieve archive from S3. Path: [/deep/a b]\n"
                                    "Unknown ArchiveRetrievalTier value: 4",
                                    [&] {
                                        Retrieve({1, ArchiveRetrievalTier(4), ""});
                                    });
}

TEST_F(Archive, IsCopiedBetweenClientsOnTheStoresSide)
{
    Put(*m_client, "from here", "text");
    auto const target = Client("other", EAmazonS3StorageClass::StandardIA);
    auto const source = m_client->GetFileInterRegionSource("/from here");
    EXPECT_TRUE(target->IsFileInterRegionSourceCompatible(source));
    m_store.ClearLog();
    target->CopyFileInterRegionAsync(source, "/to there")->Wait();
    EXPECT_EQ(m_store.ObjectContent("other", "to there"), "text");
    EXPECT_EQ(m_store.Log().front().Header("x-amz-storage-class"), "STANDARD_IA");
    CLogCapture const log;
    ExpectStorageFailure(
        403, ::testing::_,
        [&] { target->CopyFileInterRegionAsync(m_client->GetFileInterRegionSource("/deep/a b"), "/there")->Wait(); });
    EXPECT_EQ(StorageLines(log),
              "0 Failed to perform inter-region file copy, source path: [deep/a b], target path: [/there]\n");
    EXPECT_FALSE(target->IsFileInterRegionSourceCompatible(nullptr));
    ExpectFailure<exc::CRuntimeExc>(
        "Cannot perform inter-region file copy: file source is not an S3 source",
        [&] { target->CopyFileInterRegionAsync(std::make_shared<ICloudInterRegionSource>(), "a"); });
}

/// Takes every job, and remembers the documents; knows of a restore until a date that is none.
struct SOddStore final : s3wire::wire::IWireSender
{
    s3wire::transport::SHttpResponse Send(s3wire::wire::SWireRequest const& request) override
    {
        m_documents.emplace_back(reinterpret_cast<char const*>(request.m_body.m_data), request.m_body.m_size);
        s3wire::transport::SHttpResponse answer;
        answer.m_status = 200;
        answer.m_headers.Add("Content-Length", "1");
        answer.m_headers.Add("x-amz-restore", "ongoing-request=\"true\", expiry-date=\"next week\"");
        answer.m_text = "<CreateJobResult><JobId>job-1</JobId></CreateJobResult>";
        return answer;
    }
    std::vector<std::string> m_documents; ///< of one job after the other
};

TEST(ArchiveStatus, LeavesOutADateThatCannotBeRead)
{
    auto const status = std::make_shared<SArchiveRetrievalStatus>();
    CLogCapture const log;
    MakeClient(s3wire::s3::ClientOver(s3wire::tests::Over(std::make_shared<SOddStore>())), "cold")
        ->GetArchiveRetrievalStatusAsync("/a", status)
        ->Wait();
    EXPECT_TRUE(status->m_isRetrievalInProgress && status->m_expiryDate.IsNull());
    EXPECT_EQ(StorageLines(log),
              "1 GetArchiveRetrievalStatus: Failed to parse S3 object expiration date [next week] for "
              "path [a]\n");
}

TEST(BatchRestore, AsksForTheJobThatTheClientStandsFor)
{
    std::string const arn = "arn:aws:s3:us-east-1:1:accesspoint/ap", off = "<Enabled>false</Enabled>",
                      on = "</Bucket><Format>Report_CSV_20180820</Format><Enabled>true</Enabled><Prefix>batch_reports"
                           "</Prefix><ReportScope>AllTasks</ReportScope>",
                      versions = "<member>VersionId</member>";
    auto const sender = std::make_shared<SOddStore>();
    CS3WireClient wire = s3wire::s3::ClientOver(s3wire::tests::Over(sender));
    wire.SetBatchParameters("http://control", "123456789012");
    std::set<std::string> tokens;
    for (auto const& [container, tier, word, fields, report] :
         {std::tuple<std::string, ArchiveRetrievalTier, std::string, std::string, std::string>{"cold", Standard,
                                                                                               "STANDARD", "", off},
          {"cold", Bulk, "BULK", versions, "<Bucket>arn:aws:s3:::cold" + on},
          {arn, Expedited, "EXPEDITED", "", "<Bucket>" + arn + on}})
    {
        options_t::GetInst().SetS3BatchReportEnabled(report != off);
        auto const client = MakeClient(wire, container, {}, !fields.empty());
        EXPECT_EQ(client->StartBatchRestoreJob({"p", "arn:m", "tag"}, {7, tier, "role/x"}).m_jobId, "job-1");
        std::string const document = sender->m_documents.back();
        std::string const element = "<ClientRequestToken>";
        std::string const token = document.substr(document.find(element) + element.size(), 36);
        EXPECT_EQ(guid::guid_t::FromAStr(token).ToAStr(), token);
        EXPECT_TRUE(tokens.insert(token).second);
        EXPECT_EQ(document,
                  "<CreateJobRequest xmlns=\"http://awss3control.amazonaws.com/doc/2018-08-20/\">"
                  "<ConfirmationRequired>false</ConfirmationRequired><Operation><S3InitiateRestoreObject>"
                  "<ExpirationInDays>7</ExpirationInDays><GlacierJobTier>" +
                      word + "</GlacierJobTier></S3InitiateRestoreObject></Operation><Report>" + report +
                      "</Report><ClientRequestToken>" + token +
                      "</ClientRequestToken><Manifest><Spec><Format>S3BatchOperations_CSV_20180820</Format><Fields>"
                      "<member>Bucket</member><member>Key</member>" +
                      fields +
                      "</Fields></Spec><Location><ObjectArn>arn:m</ObjectArn><ETag>tag</ETag></Location></Manifest>"
                      "<Priority>50</Priority><RoleArn>arn:aws:iam::123456789012:role/role/x</RoleArn>"
                      "</CreateJobRequest>");
    }
    options_t::GetInst().SetS3BatchReportEnabled(false);
    for (unsigned const tier : {0u, 4u})
    {
        ExpectFailure<exc::CRuntimeExc>(
            "Archive retrieval tier is not supported: " + std::to_string(tier),
            [&] {
                MakeClient(wire, "cold")->StartBatchRestoreJob({}, {1, ArchiveRetrievalTier(tier), ""});
            });
    }
    EXPECT_EQ(sender->m_documents.size(), 3u); // nothing was sent for a refused tier
}

TEST_F(Archive, IsRestoredByAJobWhoseStatesAreTold)
{
    using enum SBatchJobStatus::Status;
    std::vector<std::pair<std::string, SBatchJobStatus::Status>> const words = {
        {"New", Pending},        {"Preparing", Pending},     {"Suspended", InProgress}, {"Ready", InProgress},
        {"Active", InProgress},  {"Pausing", InProgress},    {"Paused", InProgress},    {"Cancelling", InProgress},
        {"Failing", InProgress}, {"Completing", InProgress}, {"Complete", Finished},    {"Cancelled", Finished},
        {"Failed", Finished},    {"complete", Unknown}};
    std::vector<std::string> script;
    std::transform(words.begin(), words.end(), std::back_inserter(script), [](auto const& word) { return word.first; });
    m_store.SetJobScript(script);
    std::string const eTag = Put(*m_client, "manifest.csv", "cold,deep/a+b\n");
    auto const start = [&](std::string const& arn) {
        return m_client->StartBatchRestoreJob({"", arn, eTag}, {2, Bulk, "role"});
    };
    SBatchJobInfo const job = start("arn:aws:s3:::cold/manifest.csv");
    for (auto const& [word, meaning] : words)
    {
        SBatchJobStatus const status = m_client->GetBatchJobStatus(job);
        EXPECT_EQ(status.m_status, meaning) << word;
        EXPECT_EQ(status.m_statusName, word);
    }
    EXPECT_EQ(Status(), "running");
    EXPECT_THROW(start("no ARN"), s3wire::CS3WireException);
    EXPECT_THROW(m_client->GetBatchJobStatus({"absent"}), s3wire::CS3WireException);
}

} // namespace
} // namespace bucketry::s3
