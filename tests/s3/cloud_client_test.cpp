// SPDX-License-Identifier: Apache-2.0
#include "s3/bare_client.h"
#include "support/expect_failure.h"
#include "support/log_capture.h"
#include "support/memory_client.h"
#include "support/raw_http_server.h"

#include <sys/resource.h>

namespace bucketry::s3::tests
{
namespace
{

using logging::ELevel;
using testing::Answer;
using testing::BufsOf;
using testing::CLogCapture;
using testing::CRawHttpServer;
using testing::ExpectFailure;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char const* Arn = "arn:aws:s3:eu-west-1:123456789012:accesspoint/backup";

TEST(Paths, BecomeKeysAndPrefixes)
{
    for (auto const& [path, key, prefix, folder] : std::vector<std::array<std::string, 4>>{
             {"", "", "", ""},
             {"/", "", "", ""},
             {"a", "a", "a/", "a/"},
             {"/a", "a", "a/", "/a/"},
             {"a/", "a/", "a/", "a/"},
             {"/a/b/", "a/b/", "a/b/", "/a/b/"},
             {"//a", "/a", "/a/", "//a/"},
             {"//", "/", "/", "//"},
         })
    {
        EXPECT_EQ(detail::ConvertObjectPath(path), key) << path;
        EXPECT_EQ(detail::ConvertPathToPrefix(path), prefix) << path;
        EXPECT_EQ(detail::ConvertPathToFolderPath(path), folder) << path;
    }
}

TEST(S3Client, AsksForTheRegionAndOnlyWarns)
{
    std::string const error = "<Error><Code>AccessDenied</Code></Error>";
    struct SRow
    {
        char const* m_cloudName;
        char const* m_container;
        char const* m_region;
        testing::SRawAnswer m_answer;
        bool m_asks;
        std::string m_warning;
    };
    for (SRow const& row :
         {SRow{"S3", "vault", "us-east-1", Answer(200, "", "x-amz-bucket-region: us-east-1\r\n"), true, ""},
          SRow{"S3", "vault", "us-east-1", Answer(200, "", "x-amz-bucket-region: eu-west-1\r\n"), true,
               "Bucket [vault] should be addressed using region [eu-west-1] instead of [us-east-1]"},
          SRow{"S3", "vault", "us-east-1", Answer(403, error), true,
               "Cannot validate region [us-east-1] for bucket [vault]\n"},
          SRow{"S3", "vault", "", Answer(403, error), false, ""},
          SRow{"Google", "vault", "us-east-1", Answer(403, error), false, ""},
          SRow{"S3", Arn, "eu-west-1", Answer(403, error), false, ""}})
    {
        CRawHttpServer const server([&](std::string const&) { return row.m_answer; });
        auto const context = ContextFor(server.Url(), row.m_container);
        context->m_cloudName = row.m_cloudName;
        CLogCapture const log;
        CS3CloudClient const client(context, row.m_region);
        EXPECT_EQ(!server.Requests().empty(), row.m_asks) << row.m_container;
        std::size_t const warnings = row.m_warning.empty() ? 0 : 1;
        EXPECT_EQ(log.Count(ELevel::Warning, ""), warnings) << row.m_container;
        EXPECT_EQ(log.Count(ELevel::Warning, row.m_warning), warnings) << row.m_warning;
    }
    ExpectFailure<exc::CRuntimeExc>("S3 or S3 compatible cloud client is not initialised",
                                    [] { CS3CloudClient(nullptr, ""); });
}

TEST(S3Client, TellsWhatItIsWithoutARequest)
{
    auto const client = ClientFor("http://127.0.0.1:1", Arn);
    EXPECT_EQ(client->GetCloudContainerName(), "backup");
    EXPECT_EQ(ClientFor("http://127.0.0.1:1", "vault")->GetCloudContainerName(), "vault");
    EXPECT_EQ(client->GetStorageQuota(), 9223372036854775807);
    EXPECT_TRUE(client->IsFolderExist("") && client->IsFolderExist("/"));
    EXPECT_FALSE(client->IsVersioningEnabled());
    ExpectFailure<exc::CRuntimeExc>(
        "CS3CloudClient::QueryFolderAsync: ptrResult is nullptr",
        [&] { client->QueryFolderAsync("p", std::shared_ptr<std::vector<SCloudObjectInfo>>()); });
}

/// What an operation says when it cannot be started, and when the store refuses it.
struct STaskTexts
{
    std::function<ICloudClient::task_t(ICloudClient&, std::string const&)> m_start;
    std::string m_setup; ///< for the empty path, which no store has; empty: the operation takes it
    std::string m_logged;
};

TEST(S3Client, OperationsSayWhatTheyWereDoing)
{
    CRawHttpServer const server([](std::string const&) { return Answer(403, "<Error><Code>No</Code></Error>"); });
    auto const client = ClientFor(server.Url(), "vault");
    auto const pool = io::block::bufs_pool_t::GetInst();
    for (STaskTexts const &row :
         std::vector<STaskTexts>{
             {[&](ICloudClient&c, auto const&path) { return c.DownloadFileAsync(path, BufsOf(""), pool, 3, 4); },
              "Failed to download S3 object. Path: [], Offset: [3], Length: [4]\n",
              "CS3CloudClient::DownloadFileAsyncImpl async task has failed, path [/p], offset [3], length [4]"},
             {[](ICloudClient&c, auto const&path) { return c.CopyFileAsync(path, "q"); },
              "Failed to copy S3 object. Source path: [], Target path: [q]\n",
              "CS3CloudClient::CopyFileAsync async task has failed, itemPath [/p], newPath [q]"},
             {[](ICloudClient&c, auto const&path) {
                  return c.DeleteFileListAsync({path, path});
              },
              "Failed to delete objects on S3.\n",
              "CS3CloudClient::DeleteFileListAsync async task has failed, items count [2]"},
             {[](ICloudClient&c, auto const&path) { return c.DeleteFolderAsync(path, nullptr); }, "",
              "CS3CloudClient::DeleteFolderAsync async task has failed, path [/p]"},
         })
    {
        if (!row.m_setup.empty())
        {
            ExpectFailure<exc::CRuntimeExc>(StartsWith(row.m_setup), [&] { row.m_start(*client, ""); });
        }
        CLogCapture const log;
        testing::ExpectStorageFailure(403, HasSubstr("status 403"), [&] { row.m_start(*client, "/p")->Wait(); });
        EXPECT_EQ(log.Count(ELevel::Info, row.m_logged), 1U) << row.m_logged;
    }
    ExpectFailure<s3wire::CS3WireException>(StartsWith("Failed to read S3 object size. Path: [p]\n"),
                                            [&] { client->GetFileSize("p"); });
    ExpectFailure<s3wire::CS3WireException>(Not(HasSubstr("[p]")), [&] { client->GetObjectCount("p"); });
    testing::ExpectStorageFailure(403, StartsWith("Failed to query folder on S3. Path: [p]\n"),
                                  [&] { client->QueryFolder("p"); });
    EXPECT_THAT([&] { client->Lock("p", {}, nullptr); },
                ::testing::ThrowsMessage<std::exception>(StartsWith("Failed to acquire S3 cloud lock [p].\n")));
}

TEST(S3Client, AsksForTheServerTimeOnceWhateverComes)
{
    std::string date = datetime::CDateTime::currentUtcTime().toStdString("Date: %a, %d %b %Y %H:%M:%S GMT\r\n");
    CRawHttpServer const server([&](std::string const&) { return Answer(200, "", date); });
    auto const client = ClientFor(server.Url(), "vault");
    auto const asking = [&] { return client->GetServerTime()->IsInitialized(); };
    auto first = std::async(std::launch::async, asking);
    auto second = std::async(std::launch::async, asking);
    EXPECT_TRUE(first.get() && second.get());
    EXPECT_EQ(server.Requests().size(), 1U);

    for (std::string const& bad :
         {std::string("Date: today\r\n"), std::string("Date: Mon, 01 Jan 2001 00:00:00 GMT\r\n")})
    {
        date = bad;
        auto const other = ClientFor(server.Url(), "vault");
        EXPECT_THROW(other->GetServerTime(), exc::CRuntimeExc) << bad;
        EXPECT_FALSE(other->GetServerTime()->IsInitialized()) << "and no second question";
    }
    EXPECT_EQ(server.Requests().size(), 3U);
}

[[noreturn]] void TryFileLimit(rlim_t soft, rlim_t hard, rlim_t expected, std::size_t expectedLines)
{
    rlimit limit{soft, hard};
    bool isRight = ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
    CLogCapture const log;
    detail::SafeIncreaseFileLimit();
    detail::SafeIncreaseFileLimit();
    isRight = isRight && log.Lines().size() == expectedLines && ::getrlimit(RLIMIT_NOFILE, &limit) == 0;
    std::_Exit(isRight && limit.rlim_cur == expected && limit.rlim_max == hard ? 0 : 1);
}

TEST(FileLimitDeathTest, IsRaisedOnceUpToTheHardLimitAndNeverLowered)
{
    rlimit now{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &now), 0);
    EXPECT_EXIT(TryFileLimit(1024, 4096, 4096, 2), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(TryFileLimit(4096, 4096, 4096, 0), ::testing::ExitedWithCode(0), "");
    ASSERT_GE(now.rlim_max, 9000U) << "this machine allows too few open files for the last two cases";
    EXPECT_EXIT(TryFileLimit(1024, 9000, 8192, 2), ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(TryFileLimit(8500, 9000, 8500, 0), ::testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace bucketry::s3::tests
