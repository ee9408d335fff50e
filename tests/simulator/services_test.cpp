// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bucketry::simulator::tests
{

using testing::HasSubstr;

namespace
{

std::string JsonText(std::string const& json, std::string const& name)
{
    auto const at = json.find("\"" + name + "\" : \"") + name.size() + 6;
    return json.substr(at, json.find('"', at) - at);
}

} // namespace

/// The clock is moved by hours, while requests are signed for the real time.
SSimulatorOptions const AnyClock = {.m_maxSkew = std::chrono::hours(24 * 365 * 1000)};

TEST(SimulatedArchive, OpensSomeTimeAfterItWasAskedFor)
{
    CSimulator simulator(AnyClock);
    simulator.CreateBucket("b");
    CClient const client(simulator);
    auto const restore = [&](std::string const& key, std::string const& inside)
    {
        auto const answer = client.Post("/b/" + key + "?restore=", "<RestoreRequest>" + inside + "</RestoreRequest>");
        return answer.m_status >= 400 ? answer.Element("Code") : std::to_string(answer.m_status);
    };
    std::string const days = "<Days>1</Days>",
                      quick = "<GlacierJobParameters><Tier>Expedited</Tier></GlacierJobParameters>";
    client.Put("/b/warm", "1");
    client.Put("/b/cold", "1", {"x-amz-storage-class: GLACIER"});
    client.Put("/b/deep", "1", {"x-amz-storage-class: DEEP_ARCHIVE"});
    EXPECT_EQ(client.Get("/b/cold").Element("Code"), "InvalidObjectState");
    EXPECT_EQ(client.Get("/b/cold").Element("StorageClass"), "GLACIER");
    EXPECT_EQ(client.Put("/b/copy", "", {"x-amz-copy-source: b/cold"}).Element("Code"), "ObjectNotInActiveTierError");
    EXPECT_EQ(restore("warm", days), "InvalidObjectState");
    EXPECT_EQ(restore("deep", days + quick), "InvalidArgument");
    EXPECT_EQ(restore("cold", "<Days>0</Days>"), "InvalidArgument");
    EXPECT_EQ(restore("cold", "<Days>x</Days>"), "MalformedXML");

    EXPECT_EQ(restore("cold", days + quick), "202");
    EXPECT_EQ(restore("cold", days + quick), "RestoreAlreadyInProgress");
    EXPECT_EQ(client.Send("HEAD", "/b/cold").Header("x-amz-restore"), "ongoing-request=\"true\"");
    simulator.AdvanceClock(std::chrono::minutes(6));
    EXPECT_THAT(client.Send("HEAD", "/b/cold").Header("x-amz-restore"),
                testing::MatchesRegex("ongoing-request=\"false\", expiry-date=\".*, .* 00:00:00 GMT\""));
    EXPECT_EQ(client.Get("/b/cold").m_body, "1");
    EXPECT_EQ(restore("cold", days), "200");
    simulator.AdvanceClock(std::chrono::hours(49));
    EXPECT_EQ(client.Send("HEAD", "/b/cold").Header("x-amz-restore"), "");
    EXPECT_EQ(client.Get("/b/cold").Element("Code"), "InvalidObjectState");
    EXPECT_EQ(restore("cold", days + quick), "202");
    simulator.AdvanceClock(std::chrono::minutes(6));
    EXPECT_THAT(client.Get("/b?list-type=2", {"x-amz-optional-object-attributes: RestoreStatus"}).m_body,
                HasSubstr("<IsRestoreInProgress>false</IsRestoreInProgress><RestoreExpiryDate>"));

    simulator.SetArchiveTier("b", "warm", "ARCHIVE_ACCESS");
    EXPECT_EQ(client.Get("/b/warm").Element("AccessTier"), "ARCHIVE_ACCESS");
    EXPECT_EQ(client.Send("HEAD", "/b/warm").Header("x-amz-archive-status"), "ARCHIVE_ACCESS");
    EXPECT_EQ(restore("warm", "<Tier>Expedited</Tier>"), "202");
    simulator.AdvanceClock(std::chrono::minutes(6));
    EXPECT_EQ(client.Get("/b/warm").m_body, "1");
}

class SimulatedJobs : public testing::Test
{
protected:
    SimulatedJobs()
    {
        m_simulator.SetClock(time_point_t(std::chrono::hours(500000)));
        m_simulator.CreateBucket("b");
        m_client.Put("/b/a%20b", "1", {"x-amz-storage-class: GLACIER"});
    }

    std::string PutManifest(std::string const& text) { return m_client.Put("/b/manifest.csv", text).Header("etag"); }
    SAnswer Create(std::string const& token, std::string const& etag, std::string const& tier = "BULK",
                   std::string const& report = "<Enabled>false</Enabled>")
    {
        return m_client.Post(
            "/v20180820/jobs",
            "<CreateJobRequest xmlns=\"http://awss3control.amazonaws.com/doc/2018-08-20/\"><Operation>"
            "<S3InitiateRestoreObject><ExpirationInDays>1</ExpirationInDays><GlacierJobTier>" +
                tier + "</GlacierJobTier></S3InitiateRestoreObject></Operation><Report>" + report +
                "</Report><ClientRequestToken>" + token +
                "</ClientRequestToken><Manifest><Spec><Format>S3BatchOperations_CSV_20180820</Format><Fields>"
                "<member>Bucket</member><member>Key</member></Fields></Spec><Location><ObjectArn>"
                "arn:aws:s3:::b/manifest.csv</ObjectArn><ETag>" +
                etag +
                "</ETag></Location></Manifest><Priority>1</Priority><RoleArn>arn:aws:iam::1:role/r"
                "</RoleArn></CreateJobRequest>",
            {m_account, "Content-Type: application/xml"});
    }
    SAnswer Describe(std::string const& id) { return m_client.Get("/v20180820/jobs/" + id, {m_account}); }
    std::string RestoreState() { return m_client.Send("HEAD", "/b/a%20b").Header("x-amz-restore"); }

    std::string const m_account = "x-amz-account-id: 123456789012";
    CSimulator m_simulator{AnyClock};
    CClient const m_client{m_simulator};
};

TEST_F(SimulatedJobs, GoOnWithEachQuestionAndAskForRestores)
{
    m_simulator.SetJobScript({"New", "Active", "Complete"});
    std::string const manifest = PutManifest("b,a%20b\nb,absent\n");
    std::string const id = Create("t", manifest).Element("JobId");
    EXPECT_EQ(Create("t", manifest).Element("JobId"), id);
    EXPECT_EQ(Create("t", "else").Element("Code"), "IdempotencyException");
    EXPECT_EQ(Create("u", manifest, "EXPEDITED").Element("Code"), "InvalidRequest");
    EXPECT_EQ(Describe(id).Element("Status"), "New");
    EXPECT_EQ(Describe(id).Element("Status"), "Active");
    EXPECT_EQ(RestoreState(), "");
    for (int i = 0; i < 2; ++i)
    {
        auto const done = Describe(id);
        EXPECT_EQ(done.Element("Status"), "Complete");
        EXPECT_EQ(done.Element("NumberOfTasksSucceeded"), "1");
        EXPECT_EQ(done.Element("NumberOfTasksFailed"), "1");
    }
    EXPECT_EQ(RestoreState(), "ongoing-request=\"true\"");
    EXPECT_EQ(Describe("absent").Element("Code"), "NotFoundException");
    EXPECT_EQ(m_client.Get("/v20180820/jobs/x").Element("Code"), "InvalidRequest"); // no account
}

TEST_F(SimulatedJobs, GoByTheClockAndReport)
{
    using std::chrono::hours;
    m_simulator.SetJobScript({"New", "Active", "Complete"}, hours(1));
    std::string const report = "<Bucket>arn:aws:s3:::b</Bucket><Format>Report_CSV_20180820</Format><Enabled>true"
                               "</Enabled><Prefix>reports</Prefix><ReportScope>AllTasks</ReportScope>";
    std::string const id = Create("t", PutManifest("b,a%20b\nb,\"x,y\"\n"), "STANDARD", report).Element("JobId");
    m_simulator.AdvanceClock(hours(1));
    EXPECT_EQ(Describe(id).Element("Status"), "Active");
    EXPECT_EQ(Describe(id).Element("Status"), "Active");
    m_simulator.AdvanceClock(hours(5)); // the job was complete an hour after the question
    EXPECT_EQ(RestoreState(), "ongoing-request=\"true\"");
    m_simulator.AdvanceClock(hours(1));
    EXPECT_THAT(RestoreState(), HasSubstr("expiry-date"));
    std::string const folder = "reports/job-" + id + "/";
    EXPECT_THAT(*m_simulator.ObjectContent("b", folder + "manifest.json"),
                HasSubstr("\"TaskExecutionStatus\":\"failed\",\"Bucket\":\"b\""));
    std::string rows;
    for (auto const& key : m_client.Get("/b?list-type=2&prefix=reports%2F").Elements("Key"))
    {
        rows += key.ends_with(".csv") ? *m_simulator.ObjectContent("b", key) : "";
    }
    EXPECT_THAT(rows, HasSubstr("b,a%20b,,succeeded,,200,Successful\n"));
    EXPECT_THAT(rows, HasSubstr("b,\"x,y\",,failed,NoSuchKey,404,The specified key does not exist.\n"));
}

TEST_F(SimulatedJobs, FailOverTheirManifest)
{
    std::string const etag = PutManifest("b,a%20b\nb,a%20b,extra\n");
    for (auto const& [tag, code] : {std::pair<std::string, std::string>{etag, "ManifestMalformed"},
                                    {"else", "ManifestETagMismatch"},
                                    {"gone", "ManifestNotFound"}})
    {
        if (tag == "gone")
        {
            m_client.Delete("/b/manifest.csv");
        }
        std::string const id = Create(code, tag).Element("JobId");
        EXPECT_EQ(Describe(id).Element("Status"), "New");
        EXPECT_EQ(Describe(id).Element("Status"), "Failed");
        EXPECT_EQ(Describe(id).Element("FailureCode"), code);
    }
    EXPECT_EQ(RestoreState(), "");
}

TEST(SimulatedIdentity, IsToldToSignedRequests)
{
    CSimulator simulator;
    CClient client(simulator);
    client.m_service = "sts";
    std::string const form = "Content-Type: application/x-www-form-urlencoded; charset=utf-8";
    EXPECT_EQ(client.Post("/", "Action=GetCallerIdentity&Version=2011-06-15", {form}).Element("Account"),
              "123456789012");
    client.m_key.m_id = "ELSE";
    EXPECT_THAT(client.Post("/", "Action=GetCallerIdentity&Version=2011-06-15", {form}).m_body,
                HasSubstr("<ErrorResponse><Error><Type>Sender</Type>"));
}

TEST(SimulatedMetadata, GivesKeysToThoseWithALivingToken)
{
    CSimulator simulator({.m_roleKeysLifetime = std::chrono::minutes(20)});
    simulator.CreateBucket("b");
    CClient machine(simulator);
    machine.m_signs = false;
    std::string const path = "/latest/meta-data/iam/security-credentials/";
    std::string const ttl = "x-aws-ec2-metadata-token-ttl-seconds: ";
    EXPECT_EQ(machine.Put("/latest/api/token", "").m_status, 400);
    EXPECT_EQ(machine.Put("/latest/api/token", "", {ttl + "21601"}).m_status, 400);
    EXPECT_EQ(machine.Get(path).m_status, 401);
    auto const token = [&]
    { return "x-aws-ec2-metadata-token: " + machine.Put("/latest/api/token", "", {ttl + "600"}).m_body; };
    std::string const first = token();
    EXPECT_EQ(machine.Get(path, {first}).m_body, "backup-role");
    EXPECT_EQ(machine.Get(path + "else", {first}).m_status, 404);
    auto const keys = machine.Get(path + "backup-role", {first}).m_body;
    EXPECT_EQ(machine.Get(path + "backup-role", {first}).m_body, keys);
    EXPECT_EQ(JsonText(keys, "Code"), "Success");

    CClient client(simulator);
    client.m_key = {JsonText(keys, "AccessKeyId"), JsonText(keys, "SecretAccessKey"), JsonText(keys, "Token"), {}};
    EXPECT_EQ(client.Get("/b").m_status, 200);
    simulator.AdvanceClock(std::chrono::minutes(14));
    EXPECT_EQ(machine.Get(path, {first}).m_status, 401);
    simulator.AdvanceClock(std::chrono::seconds(50));
    EXPECT_EQ(machine.Get(path + "backup-role", {token()}).m_body.find(client.m_key.m_id) != std::string::npos, true);
    simulator.AdvanceClock(std::chrono::seconds(20));
    EXPECT_EQ(machine.Get(path + "backup-role", {token()}).m_body.find(client.m_key.m_id), std::string::npos);

    CSimulator roleless({.m_roleName = "", .m_metadataTokenRequired = false});
    CClient poor(roleless);
    poor.m_signs = false;
    EXPECT_EQ(poor.Get(path).m_status, 404);
}

} // namespace bucketry::simulator::tests
