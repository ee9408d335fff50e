// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/http.h"
#include "s3wire/auth_by_role.h"
#include "s3wire/faults/simulated_store.h"
#include "support/certificates.h"
#include "support/temp_dir.h"

#include <gmock/gmock.h>

#include <fstream>
#include <thread>

namespace bucketry::s3wire::tests
{
namespace
{

using namespace s3;
using simulator::EFaultAction;

std::string Fetch(CS3WireClient const& client, std::string const& bucket, std::string const& key)
{
    return TextOf(*client.GetObject(bucket, key, nullptr, 0, 0, "").get().m_content);
}

class UnderFire : public ::testing::Test
{
protected:
    UnderFire() { m_store.CreateBucket("bucket"); }

    std::size_t Requests(std::string const& operation, unsigned status) const
    {
        auto const log = m_store.Log();
        return static_cast<std::size_t>(std::count_if(log.begin(), log.end(),
                                                      [&](simulator::SLoggedRequest const& request) {
                                                          return request.m_operation == operation &&
                                                              request.m_status == status;
                                                      }));
    }

    /// Each of 16 threads puts 20 objects and reads them back; gives how many calls failed.
    unsigned PutAndGetInThreads(CS3WireClient const& client) const
    {
        std::atomic<unsigned> failed{0};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 16; ++thread)
        {
            threads.emplace_back(
                [&, thread]
                {
                    for (int i = 0; i < 20; ++i)
                    {
                        std::string const key = std::to_string(thread) + "/" + std::to_string(i);
                        try
                        {
                            PutText(client, "bucket", key, key);
                            failed += Fetch(client, "bucket", key) == key ? 0 : 1;
                        }
                        catch (std::exception const&)
                        {
                            ++failed;
                        }
                    }
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        return failed;
    }

    simulator::CSimulator m_store;
};

TEST_F(UnderFire, FindsBucketsOfOtherRegionsOnce)
{
    m_store.CreateBucket("european", {.m_region = "eu-west-1"});
    m_store.CreateBucket("asian", {.m_region = "ap-south-1"});
    CS3WireClient const client = ClientOf(m_store);
    for (int round = 0; round < 3; ++round)
    {
        for (char const* const bucket : {"bucket", "european", "asian"})
        {
            PutText(client, bucket, "key", bucket);
            EXPECT_EQ(Fetch(client, bucket, "key"), bucket);
        }
    }
    EXPECT_EQ(Requests("PutObject", 400), 2u);
    EXPECT_EQ(client.GetBucketRegion("asian").get().m_region, "ap-south-1");
}

TEST_F(UnderFire, FollowsATemporaryRedirectToAnotherStore)
{
    std::string const other = m_store.Endpoint().substr(std::string("http://").size());
    simulator::CSimulator door;
    door.CreateBucket("bucket", {.m_redirect = simulator::ERedirect::Temporary, .m_redirectEndpoint = other});
    CS3WireClient const client = ClientOf(door);
    PutText(client, "bucket", "a b+c/ü", "moved");
    EXPECT_EQ(Fetch(client, "bucket", "a b+c/ü"), "moved");
    EXPECT_EQ(m_store.ObjectContent("bucket", "a b+c/ü"), "moved");
    EXPECT_EQ(door.ObjectCount("bucket"), 0u);
}

TEST_F(UnderFire, ServesAccessPointsOnS3AndOnOutposts)
{
    m_store.AddAccessPoint({"point", "", "bucket"});
    m_store.AddAccessPoint({"point", "op-1", "bucket"});
    simulator::SAccessKey const key;
    CS3WireAuthFactory const factory(CS3WireContext::Instance().GetTempKeyStore());
    SClientWish wish;
    wish.m_endpoint = "http://localhost:" + std::to_string(m_store.Port());
    std::string const onS3 = "arn:aws:s3:us-east-1:123456789012:accesspoint/point";
    CS3WireClient const plain = ClientOf(m_store, wish);
    PutText(plain, onS3, "dir/key", "on S3");
    EXPECT_EQ(Fetch(plain, onS3, "dir/key"), "on S3");
    EXPECT_EQ(plain.GetBucket(onS3, "dir/", "", "", 0).get().m_contents.size(), 1u);

    std::string const onOutposts = "arn:aws:s3-outposts:us-east-1:123456789012:outpost/op-1/accesspoint/point";
    EXPECT_THROW(Fetch(plain, onOutposts, "dir/key"), CS3WireException); // signed for another service
    wish.m_auth = factory.CreateForS3Outposts(key.m_id, key.m_secret, "", "", "us-east-1", "", "");
    CS3WireClient const outposts = ClientOf(m_store, wish);
    EXPECT_EQ(Fetch(outposts, onOutposts, "dir/key"), "on S3");
    outposts.DeleteObjects(onOutposts, "dir/", nullptr).get();
    EXPECT_EQ(m_store.ObjectCount("bucket"), 0u);
}

TEST_F(UnderFire, RenewsTheKeysOfARoleOnceForAllThreads)
{
    SClientWish wish;
    wish.m_auth = CS3WireAuthByRole::CreateForS3("backup-role", m_store.Endpoint(), "", "us-east-1");
    CS3WireClient const client = ClientOf(m_store, wish);
    EXPECT_EQ(PutAndGetInThreads(client), 0u);
    EXPECT_EQ(Requests("GetMetadataCredentials", 200), 1u);
    m_store.AdvanceClock(std::chrono::hours(7)); // the keys are too old, and so is every signature
    EXPECT_EQ(PutAndGetInThreads(client), 0u);
    EXPECT_EQ(Requests("GetMetadataCredentials", 200), 2u);
}

TEST_F(UnderFire, GetsThroughThrottlingUntilTheBudgetOfRepeatsIsSpent)
{
    m_store.LoadFaults("on * every=17 do status 503 SlowDown\n");
    SClientWish wish;
    EXPECT_EQ(PutAndGetInThreads(ClientOf(m_store, wish)), 0u);

    m_store.ClearFaults();
    m_store.LoadFaults("on * do status 503 SlowDown\n");
    m_store.ClearLog();
    wish.m_budget = std::make_shared<CRetryBudget>(50); // ten repeats
    EXPECT_EQ(PutAndGetInThreads(ClientOf(m_store, wish)), 320u);
    EXPECT_EQ(Requests("PutObject", 503), 330u);
}

TEST_F(UnderFire, WorksOnAStoreThatClosesEveryConnection)
{
    m_store.LoadFaults("on * do close\n");
    EXPECT_EQ(PutAndGetInThreads(ClientOf(m_store)), 0u);
    EXPECT_EQ(m_store.ObjectCount("bucket"), 320u);
}

TEST_F(UnderFire, GivesUpOnAnAnswerThatStalls)
{
    SClientWish wish;
    wish.m_stall = std::chrono::seconds(1);
    wish.m_attempts = 1;
    CS3WireClient const client = ClientOf(m_store, wish);
    PutText(client, "bucket", "key", std::string(1000, 'x'));
    m_store.LoadFaults("on GetObject times=1 do stall 10\n");
    EXPECT_THROW(Fetch(client, "bucket", "key"), web::http::http_exception);
    EXPECT_EQ(Fetch(client, "bucket", "key"), std::string(1000, 'x'));
}

TEST(UnderFireOverTls, TrustsTheAuthorityOfTheStoreOnly)
{
    bucketry::testing::CTestAuthority const authority;
    bucketry::testing::SIdentity const identity = authority.Issue("localhost");
    bucketry::testing::CTempDir const folder;
    simulator::SSimulatorOptions options;
    options.m_certificateFile = folder.Path() / "certificate.pem";
    options.m_privateKeyFile = folder.Path() / "key.pem";
    std::ofstream(options.m_certificateFile) << identity.m_certificate;
    std::ofstream(options.m_privateKeyFile) << identity.m_key;
    simulator::CSimulator store(options);
    store.CreateBucket("bucket");

    SClientWish wish;
    wish.m_endpoint = "https://localhost:" + std::to_string(store.Port());
    wish.m_attempts = 1;
    EXPECT_THROW(PutText(ClientOf(store, wish), "bucket", "key", "x"), web::http::http_exception);
    wish.m_trustedPem = authority.CertificatePem();
    CS3WireClient const client = ClientOf(store, wish);
    std::string const large(2'000'000, 'l'); // goes unsigned
    PutText(client, "bucket", "key", large);
    EXPECT_TRUE(Fetch(client, "bucket", "key") == large);
    EXPECT_EQ(store.Log().at(0).Header("x-amz-content-sha256"), "UNSIGNED-PAYLOAD");
}

} // namespace
} // namespace bucketry::s3wire::tests
