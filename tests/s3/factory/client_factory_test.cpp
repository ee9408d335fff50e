// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/perf.h"
#include "bucketry/s3.h"
#include "bucketry/statistics.h"
#include "s3wire/context.h"
#include "support/certificates.h"
#include "support/log_capture.h"
#include "support/memory_client.h"
#include "support/raw_http_server.h"

#include <gmock/gmock.h>

namespace bucketry::s3
{
namespace
{

using testing::Answer;
using testing::CLogCapture;
using testing::CRawHttpServer;
using ::testing::HasSubstr;
using certificate_t = sockets::ssl::CX509CertBlob;

constexpr char const* Arn = "arn:aws:s3:eu-west-1:123456789012:accesspoint/backup";
constexpr char const* Outpost = "arn:aws:s3-outposts:eu-west-1:123456789012:outpost/op-1/accesspoint/backup";

SS3ClientConnSpec SpecFor(std::string const& endpoint)
{
    SS3ClientConnSpec spec;
    spec.BucketAddr.ApiEndpoint = endpoint;
    spec.BucketAddr.BucketName = "vault";
    spec.Credentials.Keys = SS3CredentialsKeys{"AKID", "secret", ""};
    return spec;
}

struct SMade
{
    std::shared_ptr<SS3Context> m_context;
    std::shared_ptr<ICloudClient> m_client;
    std::string m_failure;
};

SMade Make(SS3ClientConnSpec const& spec)
{
    SMade made;
    try
    {
        made.m_client = CS3CompatibleClientFactory::CreateEx(made.m_context, spec, "test", nullptr, std::nullopt);
    }
    catch (exc::exc_base_t const& error)
    {
        made.m_failure = error.what();
    }
    return made;
}

TEST(ClientFactory, RefusesInOrderAndKeepsTheContextOnceThereIsOne)
{
    using s3wire::s3::EGoogleCSStorageClass;
    struct SRow
    {
        std::function<void(SS3ClientConnSpec&)> m_change;
        char const* m_failure;
        char const* m_cloudName; ///< of the context; null: there is none
    };
    for (SRow const& row :
         std::vector<SRow>{
             {[](auto& spec) { spec.BucketAddr.ARN = "arn:aws:s3:::b"; }, "Invalid S3 ARN", nullptr},
             {[](auto& spec) { spec.BucketAddr.ApiEndpoint.clear(); }, "Invalid S3 ARN", nullptr},
             {[](auto& spec) { spec.Credentials.Keys.reset(); }, "There are no credentials", nullptr},
             {[](auto& spec)
              {
                  spec.Credentials.Keys.reset();
                  spec.BucketAddr.ApiEndpoint.clear();
                  spec.BucketAddr.ARN = Arn;
              },
              "There are no credentials", nullptr},
             {[](auto& spec) { spec.Credentials.ClientId = guid::guid_t::CreateNew(); }, "client", nullptr},
             {[](auto& spec)
              {
                  spec.Options.StorageClass = EGoogleCSStorageClass::Archive;
                  spec.Options.ObjectLockEnabledOnBucket = true;
              },
              "storage class Google Cloud Storage ARCHIVE is not supported by AWS", "S3"},
             {[](auto& spec)
              {
                  spec.BucketAddr.ApiEndpoint = "http://127.0.0.1:1/not-storage.googleapis.com";
                  spec.Options.StorageClass = s3wire::s3::EAmazonS3StorageClass::StandardIA;
              },
              "is not supported by GCS", "Google"},
         })
    {
        SS3ClientConnSpec spec = SpecFor("http://127.0.0.1:1");
        row.m_change(spec);
        SMade const made = Make(spec);
        EXPECT_THAT(made.m_failure, HasSubstr(row.m_failure));
        EXPECT_EQ(made.m_client, nullptr) << row.m_failure;
        EXPECT_EQ(made.m_context ? made.m_context->m_cloudName : "none", row.m_cloudName ? row.m_cloudName : "none")
            << row.m_failure;
    }
}

TEST(ClientFactory, TakesTheContainerFromTheArnAndTheClassOfOutposts)
{
    SS3ClientConnSpec spec = SpecFor("");
    spec.BucketAddr.ARN = Outpost;
    spec.Options.StorageClass = s3wire::s3::EGoogleCSStorageClass::Archive;
    SMade const outpost = Make(spec);
    ASSERT_EQ(outpost.m_failure, "");
    EXPECT_TRUE(outpost.m_context->m_storageClass == s3wire::s3::EAmazonS3StorageClass::Outposts);
    EXPECT_EQ(outpost.m_context->m_container, Outpost);
    EXPECT_EQ(outpost.m_client->GetCloudContainerName(), "backup");

    CRawHttpServer const server([](std::string const&) { return Answer(200); });
    spec = SpecFor(server.Url());
    spec.BucketAddr.ARN = Arn;
    SMade const both = Make(spec);
    ASSERT_EQ(both.m_failure, "");
    EXPECT_EQ(both.m_context->m_container, Arn);
}

TEST(ClientFactory, ClientIdStandsForTheStoresAddressKeysAndProxy)
{
    CRawHttpServer const server([](std::string const&) { return Answer(200, "", "ETag: \"e\"\r\n"); });
    auto const id = guid::guid_t::CreateNew();
    SS3ClientConnSpec spec = SpecFor(server.Url());
    CS3CloudClient::StoreCredentials(id, spec.BucketAddr, spec.Credentials, false);
    spec.Credentials.ClientId = id;
    spec.Credentials.Keys->AccessKeyId = "not this";
    spec.BucketAddr.ApiEndpoint = "http://127.0.0.1:1";
    spec.BucketAddr.Proxy = SS3ProxyConfig{"http://127.0.0.1:1", "", ""};
    auto const client = CS3CompatibleClientFactory::Create(spec, "test", nullptr);
    client->UploadFileAsync("x", testing::BufsOf("1"))->Wait();
    ASSERT_EQ(server.Requests().size(), 1U);
    EXPECT_THAT(server.Requests()[0], HasSubstr("Credential=AKID/"));
    s3wire::s3::CS3WireContext::Instance().RemoveCredentials(id);
}

TEST(ClientFactory, TrustsTheFirstListThatIsGiven)
{
    testing::CTestAuthority const right("right");
    auto const good = certificate_t::FromPemString(right.CertificatePem());
    auto const bad = certificate_t::FromPemString(testing::CTestAuthority("wrong").CertificatePem());
    CRawHttpServer const server([](std::string const&)
                                { return Answer(200, "", "x-amz-bucket-region: us-east-1\r\n"); },
                                right.Issue("localhost"));
    struct SRow
    {
        std::optional<certificate_t> m_given;
        std::optional<certificate_t> m_ofSpec;
        std::optional<certificate_t> m_ofProcess;
        std::size_t m_warnings;
    };
    auto const listOf = [](std::optional<certificate_t> const& certificate)
    { return certificate ? std::optional(std::vector{*certificate}) : std::nullopt; };
    auto& process = s3wire::s3::CS3WireContext::Instance();
    for (SRow const& row : {SRow{good, bad, bad, 0}, SRow{bad, good, good, 1}, SRow{{}, good, bad, 0},
                            SRow{{}, {}, good, 0}, SRow{{}, {}, {}, 1}})
    {
        process.SetS3Certificates(listOf(row.m_ofProcess));
        SS3ClientConnSpec spec = SpecFor(server.Url());
        spec.BucketAddr.Region = "us-east-1"; // which the client asks for
        spec.BucketAddr.ServerCertificate = row.m_ofSpec;
        std::shared_ptr<SS3Context> context;
        CLogCapture const log;
        CS3CompatibleClientFactory::CreateEx(context, spec, "test", nullptr, listOf(row.m_given));
        EXPECT_EQ(log.Count(logging::ELevel::Warning, "Cannot validate region"), row.m_warnings);
    }
    process.SetS3Certificates(std::nullopt);
}

TEST(ClientFactory, CountsAlwaysAndTracesWhenThatIsOn)
{
    CRawHttpServer const server([](std::string const&) { return Answer(200, "", "ETag: \"e\"\r\n"); });
    std::atomic<int> events = 0;
    perf::SetSink([&](int, std::vector<perf::CPerfEventArg> const&) { ++events; });
    SS3ClientConnSpec const spec = SpecFor(server.Url());
    for (bool const isTraced : {false, true})
    {
        perf::EnablePerfLog(isTraced);
        auto const client = CS3CompatibleClientFactory::Create(spec.BucketAddr, spec.Credentials, spec.Options,
                                                               "counted", nullptr, std::nullopt);
        perf::EnablePerfLog(false);
        client->UploadFileAsync("x", testing::BufsOf("123"))->Wait();
        EXPECT_EQ(CCloudStatisticsManager::Instance().GetCloudStatisticsValues("counted")->m_uploadedBytes, 3U);
        EXPECT_EQ(events, isTraced ? 2 : 0);
    }
    perf::SetSink({});
}

} // namespace
} // namespace bucketry::s3
