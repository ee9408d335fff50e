// SPDX-License-Identifier: Apache-2.0
#include "support/bufs.h"
#include "support/expect_failure.h"
#include "support/store_backends.h"

#include "bucketry/versions.h"

#include <gmock/gmock.h>

namespace bucketry::testing
{
namespace
{

using datetime::CDateTime;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using enum ECloudObjectVersionSortOrder;

/// The factory's client on a bucket that keeps versions and locks them.
class LiveVersions : public ::testing::Test
{
protected:
    std::string Put(std::string const& path, std::string const& body, std::optional<CDateTime> const& till = {})
    {
        auto const version = std::make_shared<std::string>();
        m_utils->UploadFileWithMetadataAsync(path, BufsOf(body), {{"Note", body}}, version, till)->Wait();
        return *version;
    }
    std::string Stream(std::string const& path, unsigned long size, CDateTime const& till)
    {
        auto const upload = m_utils->StartUpload(path, size, till);
        upload->WriteZeroes(size);
        return upload->FinishVersioned();
    }
    std::string Get(std::string const& path, std::string const& version, unsigned long offset = 0,
                    unsigned long length = 0)
    {
        auto const body = std::make_shared<io::block::CPooledBuf>();
        m_utils->DownloadFileVersionAsync(path, version, body, nullptr, offset, length)->Wait();
        return TextOf(*body);
    }
    std::vector<std::string> Ids(std::string const& path)
    {
        return EnumAllVersionsOfObject(m_client, path, OldestFirst);
    }
    std::string Folder(std::string const& path)
    {
        auto const pairs =
            std::make_shared<std::vector<SCloudObjectPathVersionPair>>(1, SCloudObjectPathVersionPair("gone", ""));
        m_utils->QueryFolderVersionsAsync(path, pairs)->Wait();
        std::string text;
        for (auto const& [name, version] : *pairs)
        {
            EXPECT_EQ(version.m_isFolder, version.m_versionId.empty());
            EXPECT_EQ(version.m_isFolder, version.m_lastModified.IsNull());
            text += name + ":" + std::to_string(version.m_size) + "|";
        }
        return text;
    }
    void ExpectLocked(std::string const& path, std::string const& version, CDateTime const& till)
    {
        auto const found = GetImmutability(m_client, path, version);
        ASSERT_TRUE(found) << path;
        EXPECT_EQ(*found, till) << path;
        ExpectStorageFailure(403, _, [&] { m_utils->DeleteFileVersionAsync(path, version)->Wait(); });
    }
    static CDateTime In(int hours)
    {
        return CDateTime::fromUnixTime(CDateTime::currentUtcTime().toUnixTime() + hours * 3600L, true);
    }

    std::shared_ptr<ICloudClient> const m_client =
        s3::CS3CompatibleClientFactory::Create(NewBucket(LiveStore(), {"versions", false, true}), "versions", nullptr);
    std::shared_ptr<ICloudVersioningUtils> const m_utils = m_client->GetVersioningUtils();
};

TEST_F(LiveVersions, AreKeptReadAndDeletedEachOnItsOwn)
{
    std::string const first = Put("/f/a", "one");
    std::string const second = Put("f/a", "second");
    Put("f/a b", "third");
    Put("f/sub/deep", "4");
    m_client->CreateFolderAsync("f")->Wait();
    m_client->DeleteFileAsync("f/a")->Wait(); // a delete marker, which is no version

    EXPECT_THAT(Ids("f/a"), UnorderedElementsAre(first, second)); // they may be of one second
    EXPECT_THAT(Ids("f/absent"), IsEmpty());
    EXPECT_EQ(Folder("/f/"), "a:6|a:3|a b:5|sub:0|");
    auto const subfolders = std::make_shared<std::vector<std::string>>(1, "gone");
    m_utils->QuerySubfoldersAsync("f", subfolders)->Wait();
    EXPECT_THAT(*subfolders, ElementsAre("sub"));

    EXPECT_EQ(Get("f/a", first) + Get("f/a", second), "onesecond");
    EXPECT_EQ(Get("f/a", second, 2, 3), "con");
    EXPECT_EQ(m_utils->GetFileVersionSize("f/a", second), 6U);
    auto const metadata = std::make_shared<object_metadata_t>(object_metadata_t{{"KEPT", "x"}});
    m_utils->GetFileVersionMetadataAsync("f/a", first, metadata)->Wait();
    EXPECT_THAT(*metadata, ElementsAre(std::pair("KEPT", "x"), std::pair("note", "one")));
    char read[3];
    m_utils->StartDownload("f/a", first)->Read(reinterpret_cast<unsigned char*>(read), 0, 3);
    EXPECT_EQ(std::string(read, 3), "one");
    auto const copy = std::make_shared<std::string>();
    m_utils->CopyFileVersionAsync("f/a", first, "f/copy", copy, {})->Wait();
    EXPECT_EQ(Get("f/copy", *copy), "one");

    m_utils->DeleteFileVersionAsync("f/a", second)->Wait();
    ExpectStorageFailure(404, _, [&] { Get("f/a", second); });
    EXPECT_EQ(Get("f/a", first), "one");
    m_utils->DeleteFileVersionListAsync({{"/f/a", first}, {"f/copy", *copy}})->Wait();
    m_utils->DeleteFileVersionListAsync({})->Wait();
    EXPECT_EQ(Folder("f"), "a b:5|sub:0|");
    m_utils->DeleteFolderAllVersionsAsync("f")->Wait();
    EXPECT_EQ(Folder("f"), "");
}

TEST_F(LiveVersions, StayImmutableWhicheverWayTheyCame)
{
    CDateTime const soon = In(2);
    CDateTime const late = In(3);
    std::string const put = Put("put", "x", soon);
    ExpectLocked("put", put, soon);
    ExpectLocked("stream", Stream("stream", 3, soon), soon);
    ExpectLocked("parts", Stream("parts", 9 << 20, soon), soon);
    auto const copy = std::make_shared<std::string>();
    m_utils->CopyFileVersionAsync("put", put, "copy", copy, late)->Wait();
    ExpectLocked("copy", *copy, late);
    m_utils->CopyFileInterRegionAsync(m_utils->GetFileInterRegionSource("put", put), "far", copy, late)->Wait();
    ExpectLocked("far", *copy, late);

    std::string const free = Put("free", "x", In(0)); // too near: no lock
    EXPECT_EQ(GetImmutability(m_client, "free", free), std::nullopt);
    m_utils->UpdateFileVersionImmutabilityAsync("free", free, soon)->Wait();
    ExpectLocked("free", free, soon);
    m_utils->CheckAndUpdateImmutabilityAsync("free", free, late)->Wait();
    ExpectLocked("free", free, late);
    m_utils->CheckAndUpdateImmutabilityAsync("free", free, soon)->Wait(); // later already
    ExpectStorageFailure(403, _, [&] { m_utils->UpdateFileVersionImmutabilityAsync("free", free, soon)->Wait(); });
    m_utils->DeleteFileVersionIgnoreImmutabilityAsync("free", free)->Wait();
    ExpectLocked("free", free, late);
    ExpectStorageFailure(404, _, [&] { GetImmutability(m_client, "absent", free); });

    std::string const other = Put("other", "x");
    ExpectStorageFailure(403, _,
                         [&] {
                             m_utils->DeleteFileVersionListAsync({{"put", put}, {"other", other}})->Wait();
                         });
    EXPECT_THAT(Ids("other"), IsEmpty());
    EXPECT_THAT(Ids("put"), ElementsAre(put));
}

TEST_F(LiveVersions, WorkflowsLeaveWhatTheyPromise)
{
    CDateTime const soon = In(2);
    std::string const locked = Put("a", "locked", soon);
    Put("a", "free");
    std::string const newest = Put("a", "newest");
    CheckObjectExistsCleanupAndUpdateImmutabilityAsync(m_client, "a", In(3))->Wait();
    EXPECT_THAT(Ids("a"), UnorderedElementsAre(locked, newest));
    EXPECT_FALSE(DeleteAllVersions("a", m_client, In(1), true));
    EXPECT_THAT(Ids("a"), UnorderedElementsAre(locked, newest));

    Put("b", "1");
    Put("b", "2");
    SubstituteNonImmutableFileAsync(m_client, "b", BufsOf("new"))->Wait();
    EXPECT_EQ(Ids("b").size(), 1U);
    auto const body = std::make_shared<io::block::CPooledBuf>();
    DownloadOldestVersionAsync(m_client, "b", body, nullptr)->Wait();
    EXPECT_EQ(TextOf(*body), "new");
    DeleteAllVersions("b", m_client)->Wait();
    ExpectStorageFailure(404, "No version of object [b] was found.",
                         [&] { DownloadVersionAsync(m_client, "b", NewestFirst, body, nullptr)->Wait(); });
}

TEST_F(LiveVersions, ExclusiveLockLeavesNoVersionBehind)
{
    SCloudLockParams params;
    params.m_lockTimeoutMsec = 1000;
    auto const port = std::make_shared<synch::completion_port_t>();
    auto const held = m_client->Lock("job", params, port);
    EXPECT_THROW(m_client->Lock("job", params, port), exc::exc_base_t);
    held->Unlock();
    EXPECT_EQ(Folder("job"), "");
    m_client->Lock("job", params, port)->Unlock();
}

} // namespace
} // namespace bucketry::testing
