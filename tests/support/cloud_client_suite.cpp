// SPDX-License-Identifier: Apache-2.0
#include "support/cloud_client_suite.h"

#include "support/expect_failure.h"
#include "support/memory_client.h"

#include "bucketry/transfer.h"

#include <algorithm>
#include <set>

namespace bucketry::testing
{

using ::testing::_;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace
{

auto const Pool = io::block::bufs_pool_t::GetInst();

/// An entry as "name:size", or "name/" for a folder.
std::string Shown(SCloudObjectInfo const& entry)
{
    return entry.m_name + (entry.m_isFolder ? "/" : ":" + std::to_string(entry.m_size));
}

std::vector<std::string> Shown(std::vector<SCloudObjectInfo> const& entries)
{
    std::vector<std::string> texts;
    std::transform(entries.begin(), entries.end(), std::back_inserter(texts),
                   [](SCloudObjectInfo const& entry) { return Shown(entry); });
    return texts;
}

} // namespace

void PrintTo(SBackend const& backend, std::ostream* out)
{
    *out << backend.name;
}

std::string BackendName(::testing::TestParamInfo<SBackend> const& info)
{
    return info.param.name;
}

void CloudClientSuite::Put(std::string const& path, std::string const& body)
{
    m_client->UploadFileAsync(path, BufsOf(body))->Wait();
}

std::string CloudClientSuite::Get(std::string const& path)
{
    auto const bufs = std::make_shared<io::block::CPooledBuf>(0, Pool);
    m_client->DownloadFileAsync(path, bufs, Pool)->Wait();
    return TextOf(*bufs);
}

std::string CloudClientSuite::Get(std::string const& path, unsigned long offset, unsigned long length)
{
    auto const bufs = BufsOf("something longer that was there before");
    m_client->DownloadFileAsync(path, bufs, Pool, offset, length)->Wait();
    return TextOf(*bufs);
}

std::string CloudClientSuite::Listed(std::string const& name, std::size_t size) const
{
    return name + ":" + std::to_string(size + Traits().storedOverhead);
}

TEST_P(CloudClientSuite, UploadedObjectReadsBackWhole)
{
    for (std::size_t const size : {0UL, 1UL, 300'000UL, 3UL})
    {
        std::string body(size, 'x');
        std::generate(body.begin(), body.end(), [n = 0]() mutable { return static_cast<char>(n++ * 7); });
        Put("job/object", body);
        std::uint64_t const toldSize = m_client->GetFileSize("job/object");
        EXPECT_TRUE(toldSize == size || !Traits().tellsPlainSizes) << toldSize << " for " << size;
        EXPECT_EQ(Get("job/object"), body);
    }
}

TEST_P(CloudClientSuite, RangeReadsGiveExactlyTheRange)
{
    Put("job/object", "0123456789");
    EXPECT_EQ(Get("job/object", 3, 4), "3456");
    EXPECT_EQ(Get("job/object", 3, 7), "3456789");
    EXPECT_EQ(Get("job/object", 0, 10), "0123456789");
}

TEST_P(CloudClientSuite, DownloadOfMissingObjectFailsWith404)
{
    ExpectStorageFailure(404, _, [&] { Get("job/none"); });
    ExpectStorageFailure(404, _, [&] { Get("job/none", 2, 3); });
    EXPECT_ANY_THROW(m_client->GetFileSize("job/none"));
    EXPECT_ANY_THROW(m_client->CopyFileAsync("job/none", "job/copy")->Wait());
    EXPECT_FALSE(m_client->IsFileExist("job/none"));
}

TEST_P(CloudClientSuite, LeadingDelimiterCarriesNoMeaning)
{
    Put("/job/object", "body");
    EXPECT_EQ(Get("job/object"), "body");
    auto const exists = std::make_shared<bool>(false);
    m_client->IsFileExistAsync("/job/object", exists)->Wait();
    EXPECT_TRUE(*exists);
    EXPECT_THAT(Shown(m_client->QueryFolder("/job/")), ElementsAre(Listed("object", 4)));
    EXPECT_EQ(m_client->GetAbsolutePath("/job/object"), "/job/object");
}

TEST_P(CloudClientSuite, NamesKeepTheirBytes)
{
    std::vector<std::string> const names{"a b+c%2Fd", "grüße.日本", "q?x=1&y=#~", "!'()*;:@$,", "<&>\"", "..."};
    std::set<std::string> expected(names.begin(), names.end());
    if (!Traits().moreNames.empty())
    {
        expected.insert(Traits().moreNames);
    }
    for (std::string const& name : expected)
    {
        Put("odd names/" + name, name);
    }
    std::set<std::string> listed;
    for (SCloudObjectInfo const& entry : m_client->QueryFolder("odd names"))
    {
        listed.insert(entry.m_name);
        EXPECT_EQ(Get("odd names/" + entry.m_name), entry.m_name);
    }
    EXPECT_EQ(listed, expected);
}

TEST_P(CloudClientSuite, FolderListingHoldsDirectChildrenFilesFirst)
{
    m_client->CreateFolderAsync("job1")->Wait();
    EXPECT_THAT(m_client->QueryFolder("job1"), IsEmpty()) << "its own marker is no child";
    Put("job1/zz", "12");
    Put("job1/a/deep/er", "1");
    Put("job10/other", "1");
    m_client->CreateFolderAsync("job1/empty/")->Wait();

    EXPECT_THAT(Shown(m_client->QueryFolder("job1")), UnorderedElementsAre(Listed("zz", 2), "a/", "empty/"));
    EXPECT_EQ(Shown(m_client->QueryFolder("job1/")).front(), Listed("zz", 2));
    EXPECT_THAT(Shown(m_client->QueryFolder("")), UnorderedElementsAre("job1/", "job10/"));
    EXPECT_THAT(Shown(m_client->QueryFolder("/")), UnorderedElementsAre("job1/", "job10/"));
    EXPECT_TRUE(m_client->IsFolderExist("job1/empty"));
    EXPECT_EQ(m_client->IsFolderExist("job1/a"), !Traits().foldersNeedMarkers);
    EXPECT_FALSE(m_client->IsFolderExist("job"));
    if (Traits().hasRealFolders)
    {
        EXPECT_ANY_THROW(m_client->QueryFolder("job"));
    }
    else
    {
        EXPECT_THAT(m_client->QueryFolder("job"), IsEmpty());
    }
}

TEST_P(CloudClientSuite, FolderListingFollowsAllPages)
{
    std::set<std::string> expected;
    for (std::size_t n = 0; n < Traits().listingPage + 2; ++n)
    {
        expected.insert("many/+ " + std::to_string(n));
        Put("many/+ " + std::to_string(n), "");
    }
    std::set<std::string> listed;
    for (SCloudObjectInfo const& entry : m_client->QueryFolder("many"))
    {
        EXPECT_TRUE(listed.insert("many/" + entry.m_name).second) << entry.m_name;
    }
    EXPECT_EQ(listed, expected);
    m_client->DeleteFileListAsync({expected.begin(), expected.end()})->Wait();
    EXPECT_FALSE(m_client->IsFileExist(*expected.begin()) || m_client->IsFileExist(*expected.rbegin()));
}

TEST_P(CloudClientSuite, WalksCountEveryDepthOrAreRefused)
{
    Put("job/a", "12345");
    Put("job/b/c", "123");
    Put("job2/a", "1");
    auto const listed = std::make_shared<std::vector<SCloudObjectInfo>>();
    if (!Traits().walksFolders)
    {
        EXPECT_THROW(m_client->GetFolderSize("job"), exc::CRuntimeExc);
        EXPECT_THROW(m_client->GetObjectCount("job"), exc::CRuntimeExc);
        EXPECT_THROW(m_client->QueryFolderAsync("job", listed), exc::CRuntimeExc);
        return;
    }
    EXPECT_EQ(m_client->GetFolderSize("job"), 8 + 2 * Traits().storedOverhead);
    EXPECT_EQ(m_client->GetObjectCount("job/"), 2U);
    m_client->QueryFolderAsync("job", listed)->Wait();
    EXPECT_THAT(Shown(*listed), ElementsAre(Listed("a", 5), "b/"));
    auto const failing = [](std::vector<SCloudObjectInfo> const&) { throw exc::CRuntimeExc("the host's own"); };
    ExpectFailure<exc::CRuntimeExc>(_, [&] { m_client->QueryFolderAsync("job", failing)->Wait(); });
}

TEST_P(CloudClientSuite, CopyReplacesTheTargetAndKeepsTheSource)
{
    Put("a", "first");
    Put("b", "the longer second");
    m_client->CopyFileAsync("a", "/b")->Wait();
    EXPECT_EQ(Get("a") + Get("b"), "firstfirst");
}

TEST_P(CloudClientSuite, DeleteRemovesWhatIsNamedAndNothingElse)
{
    for (char const* path : {"job/a", "job/b", "job/c/d/e", "job0"})
    {
        Put(path, "body");
    }
    m_client->DeleteFileAsync("/job/a")->Wait();
    EXPECT_FALSE(m_client->IsFileExist("job/a"));
    EXPECT_TRUE(m_client->IsFileExist("job/b"));
    if (Traits().checksDeletedExist)
    {
        EXPECT_ANY_THROW(m_client->DeleteFileAsync("job/a")->Wait());
    }
    else
    {
        EXPECT_NO_THROW(m_client->DeleteFileAsync("job/a")->Wait());
    }
    m_client->DeleteFolderAsync("job", nullptr)->Wait();
    EXPECT_THAT(Shown(m_client->QueryFolder("")), ElementsAre(Listed("job0", 4)));
}

TEST_P(CloudClientSuite, StreamsMoveAnObjectInPiecesOrAreRefused)
{
    if (!Traits().hasStreams)
    {
        EXPECT_THROW(m_client->StartUpload("job/object", 7), exc::exc_base_t);
        EXPECT_THROW(m_client->StartDownload("job/object"), exc::exc_base_t);
        return;
    }
    auto const writer = CCloudObjectIoDev::CreateForWrite(m_client->StartUpload("job/object", 7));
    writer->write("abc", 3);
    writer->write(nullptr, 2);
    writer->write("de", 2);
    EXPECT_FALSE(m_client->IsFileExist("job/object")) << "not before it is closed";
    writer->close();
    if (Traits().streamsRawBodies)
    {
        EXPECT_THROW(m_client->StartDownload("job/object"), exc::exc_base_t);
        EXPECT_THAT(Shown(m_client->QueryFolder("job")), ElementsAre("object:7"));
        return;
    }
    auto const reader = CCloudObjectIoDev::CreateForRead(m_client->StartDownload("job/object"));
    std::string read(10, '?');
    EXPECT_EQ(reader->read(read.data(), 4), 4U);
    EXPECT_EQ(reader->read(read.data() + 4, 6), 3U);
    EXPECT_EQ(read, std::string("abc\0\0de???", 10));
}

TEST_P(CloudClientSuite, ManyThreadsUseOneClientAtOnce)
{
    std::vector<std::shared_ptr<task::IAsyncTask>> uploads;
    for (int n = 0; n < 12; ++n)
    {
        uploads.push_back(m_client->UploadFileAsync("shared/" + std::to_string(n), BufsOf(std::to_string(n))));
    }
    m_client->CreateAsyncTaskUtils()->CreateTaskCollection(uploads)->WhenAll()->Wait();
    for (int n = 0; n < 12; ++n)
    {
        EXPECT_EQ(Get("shared/" + std::to_string(n)), std::to_string(n));
    }
}

TEST_P(CloudClientSuite, TransferFunctionsFollowTheVersions)
{
    EXPECT_EQ(m_client->IsVersioningEnabled(), Traits().keepsVersions);
    std::string first = "what was there before";
    std::string second = first;
    Upload(m_client, "job/object", BufsOf("first"), std::nullopt, first);
    Upload(*m_client, "job/object", BufsOf("second one"), std::nullopt, second);
    EXPECT_EQ(first.empty(), !Traits().keepsVersions);
    EXPECT_EQ(first != second, Traits().keepsVersions);
    EXPECT_EQ(TextOf(*Download(m_client, "job/object", first, Pool)), Traits().keepsVersions ? "first" : "second one");
    EXPECT_EQ(TextOf(*Download(m_client, "job/object", second, Pool)), "second one");
}

} // namespace bucketry::testing
