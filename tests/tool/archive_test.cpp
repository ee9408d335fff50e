// SPDX-License-Identifier: Apache-2.0
#include "tool/store_commands.h"

#include <thread>

namespace bucketry::tool
{
namespace
{

using ::testing::StartsWith;

/// Over a store whose restores take an hour of its clock.
class ArchiveCommands : public StoreCommands
{
protected:
    ArchiveCommands()
        : StoreCommands({.m_maxSkew = std::chrono::hours(24 * 365 * 100), .m_restoreTime = std::chrono::hours(1)})
    {
        using namespace std::chrono;
        m_store.SetClock(sys_days(2026y / March / 14) + 12h);
        m_spec.BatchParams = s3::SS3BatchParams{m_store.Endpoint(), "123456789012"};
        Write("store.xml", m_spec.Serialize());
        Write("manifest.csv", "example,cold\n");
        m_spec.Options.StorageClass = s3wire::s3::CObjectStorageClass(s3wire::s3::EAmazonS3StorageClass::Glacier);
        s3::CS3CompatibleClientFactory::Create(m_spec, "test", nullptr)->StartUpload("cold", 0)->Finish();
    }
};

TEST_F(ArchiveCommands, AskForAnObjectAndFollowItsRestore)
{
    EXPECT_EQ(Run("archive status cold"), "cold is not restored\n");
    EXPECT_EQ(Run("archive restore /cold --days 2 --tier bulk"), "cold is being restored\n");
    std::size_t const asked = m_store.Log().size();
    std::jthread const hourLater(
        [&](std::stop_token const& stop)
        {
            while (!stop.stop_requested() && m_store.Log().size() < asked + 5)
            {
                std::this_thread::yield();
            }
            m_store.AdvanceClock(std::chrono::hours(1));
        });
    EXPECT_EQ(Run("archive restore cold --days 2 --wait --every 0"), "cold is restored until 2026-03-17T00:00:00Z\n");
    EXPECT_THAT(Run("archive status absent"), StartsWith("1: "));
    EXPECT_THAT(Run("archive status cold", "--root NAME"), StartsWith("2: bucketry: This storage has no archive"));
}

TEST_F(ArchiveCommands, StartAJobAndFollowIt)
{
    std::string const id = Run("batch restore NAME/manifest.csv --days 1 --role worker");
    std::string const job = id.substr(0, id.size() - 1);
    EXPECT_EQ(Run("batch status " + job), job + " is pending (New)\n");
    Run("batch status " + job);
    Run("batch status " + job);
    EXPECT_EQ(Run("--json batch status " + job),
              "{\"ok\":true,\"job\":\"" + job + "\",\"state\":\"finished\",\"word\":\"Complete\"}\n");
    EXPECT_EQ(Run("archive status cold"), "cold is being restored\n");
    EXPECT_THAT(Run("batch restore arn:a --days 1 --role r"), StartsWith("2: "));
    EXPECT_THAT(Run("batch restore arn:a --etag t --days 1 --role r --tier expedited"), StartsWith("1: "));
    EXPECT_THAT(Run("batch status job", "--root NAME"), StartsWith("2: bucketry: This storage has no archive"));
}

} // namespace
} // namespace bucketry::tool
