#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client.h"

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

TEST(SimulatedArchive, OpensSomeTimeAfterItWasAskedFor)
{
    CSimulator simulator;
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
    EXPECT_THAT(client.Get("/b?list-type=2", {"x-amz-optional-object-attributes: RestoreStatus"}).m_body,
                HasSubstr("<IsRestoreInProgress>false</IsRestoreInProgress><RestoreExpiryDate>"));

    simulator.SetArchiveTier("b", "warm", "ARCHIVE_ACCESS");
    EXPECT_EQ(client.Get("/b/warm").Element("AccessTier"), "ARCHIVE_ACCESS");
    EXPECT_EQ(client.Send("HEAD", "/b/warm").Header("x-amz-archive-status"), "ARCHIVE_ACCESS");
    EXPECT_EQ(restore("warm", "<Tier>Expedited</Tier>"), "202");
    simulator.AdvanceClock(std::chrono::minutes(6));
    EXPECT_EQ(client.Get("/b/warm").m_body, "1");
}

TEST(SimulatedJobs, RunThroughTheirScriptAndAskForRestores)
{
    CSimulator simulator;
    simulator.CreateBucket("b");
    simulator.SetJobScript({"New", "Active", "Complete"});
    CClient const client(simulator);
    client.Put("/b/a%20b", "1", {"x-amz-storage-class: GLACIER"});
    std::string const manifest = client.Put("/b/manifest.csv", "b,a%20b\nb,absent\n").Header("etag");
    auto const create = [&](std::string const& token, std::string const& etag, std::string const& tier = "BULK")
    {
        return client.Post(
            "/v20180820/jobs",
            "<CreateJobRequest xmlns=\"http://awss3control.amazonaws.com/doc/2018-08-20/\"><Operation>"
            "<S3InitiateRestoreObject><ExpirationInDays>1</ExpirationInDays><GlacierJobTier>" +
                tier +
                "</GlacierJobTier></S3InitiateRestoreObject></Operation><Report><Enabled>false</Enabled>"
                "</Report><ClientRequestToken>" +
                token +
                "</ClientRequestToken><Manifest><Spec><Format>S3BatchOperations_CSV_20180820</Format><Fields>"
                "<member>Bucket</member><member>Key</member></Fields></Spec><Location><ObjectArn>"
                "arn:aws:s3:::b/manifest.csv</ObjectArn><ETag>" +
                etag +
                "</ETag></Location></Manifest><Priority>1</Priority><RoleArn>arn:aws:iam::1:role/r"
                "</RoleArn></CreateJobRequest>",
            {"x-amz-account-id: 123456789012", "Content-Type: application/xml"});
    };
    auto const describe = [&](std::string const& id)
    { return client.Get("/v20180820/jobs/" + id, {"x-amz-account-id: 123456789012"}); };
    std::string const id = create("t", manifest).Element("JobId");
    EXPECT_EQ(create("t", manifest).Element("JobId"), id);
    EXPECT_EQ(create("t", "else").Element("Code"), "IdempotencyException");
    EXPECT_EQ(create("u", manifest, "Bulk").Element("Code"), "InvalidRequest");
    EXPECT_EQ(describe(id).Element("Status"), "New");
    EXPECT_EQ(describe(id).Element("Status"), "Active");
    EXPECT_EQ(client.Send("HEAD", "/b/a%20b").Header("x-amz-restore"), "");
    for (int i = 0; i < 2; ++i)
    {
        auto const done = describe(id);
        EXPECT_EQ(done.Element("Status"), "Complete");
        EXPECT_EQ(done.Element("NumberOfTasksSucceeded"), "1");
        EXPECT_EQ(done.Element("NumberOfTasksFailed"), "1");
    }
    EXPECT_EQ(client.Send("HEAD", "/b/a%20b").Header("x-amz-restore"), "ongoing-request=\"true\"");

    simulator.SetJobScript({"Complete"});
    EXPECT_EQ(describe(create("v", "else").Element("JobId")).Element("Status"), "Failed");
    EXPECT_EQ(describe("absent").Element("Code"), "NotFoundException");
    EXPECT_EQ(client.Get("/v20180820/jobs/x").Element("Code"), "InvalidRequest"); // no account
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
