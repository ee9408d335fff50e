#include "bucketry/s3.h"
#include "cli.h"
#include "support/temp_dir.h"

#include <bucketry/simulator.h>

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace bucketry::tool
{
namespace
{

using ::testing::StartsWith;

/// The commands over a simulated store whose restores take an hour of its clock.
class ArchiveCommands : public ::testing::Test
{
protected:
    ArchiveCommands()
    {
        using namespace std::chrono;
        m_store.SetClock(sys_days(2026y / March / 14) + 12h);
        m_store.CreateBucket("example");
        simulator::SAccessKey const key;
        s3::SS3ClientConnSpec spec;
        spec.BucketAddr.ApiEndpoint = m_store.Endpoint();
        spec.BucketAddr.BucketName = "example";
        spec.Credentials.Keys = s3::SS3CredentialsKeys{key.m_id, key.m_secret, {}};
        spec.BatchParams = s3::SS3BatchParams{m_store.Endpoint(), "123456789012"};
        std::ofstream(m_folder.Path() / "store.xml") << spec.Serialize();
        std::ofstream(m_folder.Path() / "manifest.csv") << "example,cold\n";
        spec.Options.StorageClass = s3wire::s3::CObjectStorageClass(s3wire::s3::EAmazonS3StorageClass::Glacier);
        s3::CS3CompatibleClientFactory::Create(spec, "test", nullptr)->StartUpload("cold", 0)->Finish();
    }

    /// What the command writes, or "STATUS: MESSAGE" if it fails. NAME is the temporary directory.
    std::string Run(std::string const& text, std::string const& storage = "--spec NAME/store.xml")
    {
        std::istringstream line(
            util::str_replace("bucketry " + storage + " " + text, "NAME", m_folder.Path().string()));
        std::vector<std::string> const words(std::istream_iterator<std::string>(line), {});
        std::vector<char const*> argv;
        for (std::string const& word : words)
        {
            argv.push_back(word.c_str());
        }
        CCli cli;
        AddArchiveCommands(cli);
        ::testing::internal::CaptureStdout();
        ::testing::internal::CaptureStderr();
        int const status = cli.Run(static_cast<int>(argv.size()), argv.data());
        std::fflush(nullptr);
        std::string const out = ::testing::internal::GetCapturedStdout();
        std::string const messages = ::testing::internal::GetCapturedStderr();
        return status == ExitOk ? out : std::to_string(status) + ": " + messages;
    }

    simulator::CSimulator m_store{
        {.m_maxSkew = std::chrono::hours(24 * 365 * 100), .m_restoreTime = std::chrono::hours(1)}};
    bucketry::testing::CTempDir const m_folder;
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
