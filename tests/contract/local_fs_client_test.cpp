// SPDX-License-Identifier: Apache-2.0
#include "support/expect_failure.h"
#include "support/memory_client.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <fstream>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define BUCKETRY_THREAD_SANITIZER
#endif
#endif

namespace bucketry
{

namespace
{

using ::testing::_;
using ::testing::AllOf;
using ::testing::HasSubstr;

// The thread sanitizer would keep eight bytes of its own for each one.
#if defined(__SANITIZE_THREAD__) || defined(BUCKETRY_THREAD_SANITIZER)
constexpr unsigned long BigSize = (1UL << 25) + 1;
#else
constexpr unsigned long BigSize = (1UL << 31) + 1;
#endif

class LocalFsClient : public ::testing::Test
{
protected:
    std::filesystem::path OnDisk(std::string const& name) const { return m_directory.Path() / name; }
    void Put(std::string const& path, std::string const& body)
    {
        m_client.UploadFileAsync(path, testing::BufsOf(body))->Wait();
    }
    std::string Get(std::string const& path)
    {
        m_client.DownloadFileAsync(path, m_bufs, nullptr)->Wait();
        return testing::TextOf(*m_bufs);
    }

    testing::CTempDir m_directory;
    CLocalFsCloudClient m_client{m_directory.Path().string() + "/"};
    std::shared_ptr<io::block::CPooledBuf> m_bufs = std::make_shared<io::block::CPooledBuf>();
};

} // namespace

TEST_F(LocalFsClient, PathsBecomeFilesBelowTheRoot)
{
    std::pair<char const*, char const*> const cases[] = {
        {"", ""}, {"/", ""}, {"\\", ""}, {"//a", "/a"}, {"\\a\\b", "a/b"}, {"a\\b/", "a/b/"}, {"/a//b", "a//b"}};
    for (auto const& [path, canonical] : cases)
    {
        EXPECT_EQ(GetCanonicalPath(path), canonical) << path;
    }
    Put("\\a\\b", "body");
    EXPECT_EQ(Get("/a/b"), "body");
    EXPECT_EQ(m_client.GetFullPath("\\a\\b"), OnDisk("a/b"));
    EXPECT_EQ(m_client.GetAbsolutePath("\\a\\b"), "\\a\\b");
    EXPECT_EQ(m_client.GetCloudContainerName(), m_directory.Path().string() + "/");
}

TEST_F(LocalFsClient, RangesMustLieWithinTheFile)
{
    Put("object", "0123456789");
    for (auto const& [offset, length] : {std::pair(0UL, 0UL), {10UL, 0UL}, {4UL, 6UL}})
    {
        m_client.DownloadFileAsync("object", m_bufs, nullptr, offset, length)->Wait();
        EXPECT_EQ(m_bufs->GetCount(), length);
    }
    for (auto const& [offset, length] : {std::pair(4UL, 7UL), {11UL, 0UL}, {2UL, ~0UL}, {~0UL, 2UL}})
    {
        auto const task = m_client.DownloadFileAsync("object", m_bufs, nullptr, offset, length);
        testing::ExpectStorageFailure(404, "Invalid length in the download request.", [&] { task->Wait(); });
    }
}

TEST_F(LocalFsClient, SaysWhatIsInTheWay)
{
    std::filesystem::create_directories(OnDisk("folder/below"));
    Put("file", "body");
    auto const reason = [](char const* path, char const* why) { return AllOf(HasSubstr(path), HasSubstr(why)); };
    testing::ExpectFailure<exc::CRuntimeExc>(reason("folder", "Is a directory"), [&] { Put("folder", "body"); });
    testing::ExpectFailure<exc::CRuntimeExc>(reason("file", "Not a directory"), [&] { Put("file/below", "body"); });
    testing::ExpectFailure<exc::CRuntimeExc>(reason("nnn", "name too long"), [&] { Put(std::string(300, 'n'), ""); });
    testing::ExpectFailure<exc::CRuntimeExc>(reason("none/", "No such file"),
                                             [&] { m_client.CopyFileAsync("file", "none/copy")->Wait(); });
    testing::ExpectFailure<exc::CRuntimeExc>(HasSubstr("none"), [&] { m_client.QueryFolder("none"); });
    testing::ExpectStorageFailure(404, HasSubstr("folder"), [&] { Get("folder"); });
    testing::ExpectStorageFailure(404, HasSubstr("none"), [&] { Get("none"); });

    CLocalFsCloudClient devices("/dev/");
    testing::ExpectFailure<exc::CRuntimeExc>(reason("/dev/full", "No space left on device"),
                                             [&] { devices.UploadFileAsync("full", testing::BufsOf("body"))->Wait(); });
}

TEST_F(LocalFsClient, FilesAndFoldersAreWhatTheDiskHas)
{
    m_client.CreateFolderAsync("folder/deep")->Wait();
    m_client.CreateFolderAsync("folder/deep/")->Wait();
    Put("file", "body");
    EXPECT_TRUE(m_client.IsFileExist("folder/deep"));
    EXPECT_FALSE(m_client.IsFolderExist("file"));
    m_client.CopyFileAsync("file", "/file")->Wait();
    EXPECT_EQ(Get("file"), "body") << "a copy onto itself";
    Put("last", "");
    EXPECT_ANY_THROW(m_client.DeleteFileListAsync({"file", "none", "last"})->Wait());
    EXPECT_FALSE(m_client.IsFileExist("file"));
    EXPECT_TRUE(m_client.IsFileExist("last")) << "the first failure ends the list";
}

TEST_F(LocalFsClient, MovesMoreThanOneCallOfTheSystemCan)
{
    std::ofstream(OnDisk("big")).seekp(BigSize - 1).put('!');
    auto const keepsNothing = std::make_shared<io::block::bufs_pool_t>(0);
    auto const bufs = std::make_shared<io::block::CPooledBuf>(0, keepsNothing);
    m_client.DownloadFileAsync("big", bufs, keepsNothing)->Wait();
    ASSERT_EQ(bufs->GetCount(), BigSize);
    EXPECT_EQ(bufs->GetData()[BigSize - 1], '!');
    EXPECT_EQ(bufs->GetData()[BigSize - 2], 0);
    CLocalFsCloudClient devices("/dev/");
    EXPECT_NO_THROW(devices.UploadFileAsync("null", bufs)->Wait());

    m_client.DownloadFileAsync("big", m_bufs, nullptr, BigSize - 1, 1)->Wait();
    EXPECT_EQ(testing::TextOf(*m_bufs), "!");
}

TEST_F(LocalFsClient, OffersWhatADirectoryCan)
{
    SRetrieveArchiveOptions const options;
    auto const refuses = [](std::string const& operation, auto&& call)
    { testing::ExpectFailure<exc::CRuntimeExc>("CLocalFsCloudClient::" + operation + " not supported.", call); };
    refuses("GetFolderSize", [&] { m_client.GetFolderSize(""); });
    refuses("QueryFolderAsync", [&] { m_client.QueryFolderAsync("", [](auto const&) {}); });
    refuses("GetObjectCount", [&] { m_client.GetObjectCount(""); });
    refuses("GetStorageQuota", [&] { m_client.GetStorageQuota(); });
    refuses("StartDownload", [&] { m_client.StartDownload("a"); });
    refuses("StartUpload", [&] { m_client.StartUpload("a", 1); });
    refuses("GetVersioningUtils", [&] { m_client.GetVersioningUtils(); });
    refuses("RetrieveArchiveAsync", [&] { m_client.RetrieveArchiveAsync("a", "b", options); });
    refuses("GetArchiveRetrievalStatusAsync", [&] { m_client.GetArchiveRetrievalStatusAsync("a", nullptr); });
    testing::ExpectFailure<exc::CNotImplExc>("StartBatchRestoreJob",
                                             [&] { m_client.StartBatchRestoreJob({}, options); });
    testing::ExpectFailure<exc::CNotImplExc>("GetBatchJobStatus", [&] { m_client.GetBatchJobStatus({}); });

    EXPECT_EQ(m_client.GetFileInterRegionSource("a"), nullptr);
    EXPECT_FALSE(m_client.IsFileInterRegionSourceCompatible(nullptr));
    EXPECT_EQ(m_client.CopyFileInterRegionAsync(nullptr, "a"), nullptr);
    EXPECT_EQ(m_client.GetArchiveRetrievalBehavior(), EArchiveRetrievalBehavior::NotNeeded);
    EXPECT_EQ(m_client.GetConcurrentTaskLimit(), 1U);
    EXPECT_FALSE(m_client.GetServerTime()->IsInitialized());
    auto const lock = m_client.Lock("a", {}, nullptr);
    lock->Unlock();
    EXPECT_NE(lock->GetLockId(), m_client.Lock("a", {}, nullptr)->GetLockId());
}

} // namespace bucketry
