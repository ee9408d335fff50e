// SPDX-License-Identifier: Apache-2.0
#include "backup/tree.h"
#include "files.h"
#include "task_window.h"

#include "bucketry/base/exceptions.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace bucketry::tool
{

namespace
{

namespace fs = std::filesystem;

/// Runs `count` operations through a window; counts how many are alive at one time.
class CCrowd
{
public:
    void Run(CTaskWindow& window, int count, std::uint64_t bytes, int failing = -1)
    {
        for (int i = 0; i < count; ++i)
        {
            auto const start = [this, i, failing]
            {
                m_most = std::max(m_most, ++m_alive);
                return m_utils.CreateTask(
                    [i, failing]
                    {
                        if (i == failing)
                        {
                            throw exc::CRuntimeExc("operation %1", i);
                        }
                    });
            };
            window.Run(bytes, start, [this, i](std::exception_ptr failure) { Finish(i, failure); });
        }
        window.Drain();
    }

    int m_most = 0;
    std::vector<int> m_ended;
    std::vector<int> m_failed;

private:
    void Finish(int i, std::exception_ptr const& failure)
    {
        --m_alive;
        (failure ? m_failed : m_ended).push_back(i);
    }

    CPplxTaskUtils m_utils;
    int m_alive = 0;
};

TEST(TaskWindow, BoundsOperationsAndBytesAndKeepsTheOrder)
{
    struct
    {
        std::uint32_t m_limit;
        std::uint64_t m_bytes;
        int m_most; // one more than are in flight: the one that ended is finished while the next runs
    } const cases[] = {
        {1, 1, 2}, {0, 1, 2}, {4, 1, 5}, {16, CTaskWindow::MaxBytes / 3, 4}, {16, CTaskWindow::MaxBytes * 2, 2}};
    for (auto const& [limit, bytes, most] : cases)
    {
        CTaskWindow window(limit);
        CCrowd crowd;
        crowd.Run(window, 12, bytes);
        EXPECT_EQ(crowd.m_ended, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
        EXPECT_EQ(crowd.m_most, most) << limit << " " << bytes;
    }
}

TEST(TaskWindow, AFailureReachesItsOwnOperationOnly)
{
    CTaskWindow window(3);
    CCrowd crowd;
    crowd.Run(window, 5, 1, 2);
    EXPECT_EQ(crowd.m_ended, (std::vector<int>{0, 1, 3, 4}));
    EXPECT_EQ(crowd.m_failed, std::vector<int>{2});
    CPplxTaskUtils utils;
    window.Run(
        1, [&utils] { return utils.CreateTask([] { throw exc::CRuntimeExc("full"); }); }, &ThrowFailure);
    EXPECT_THROW(window.Drain(), exc::CRuntimeExc);
}

/// A file of ten bytes in a temporary directory.
class ContentReader : public testing::Test
{
protected:
    ContentReader()
    {
        std::string name = (fs::temp_directory_path() / "bucketry-reader-XXXXXX").string();
        m_work = ::mkdtemp(name.data());
        m_path = m_work / "file";
        std::ofstream(m_path) << "0123456789";
    }
    ~ContentReader() override { fs::remove_all(m_work); }

    /// Opens the file, lets `change` change it, and reads it.
    template <class TChange>
    SEntry ReadWhile(TChange const& change)
    {
        CFd file = OpenAt(AT_FDCWD, m_path, O_RDONLY, "file");
        struct stat status
        {
        };
        ::fstat(file.Get(), &status);
        CContentReader reader(std::move(file), status, "file");
        change();
        std::vector<unsigned char> buffer(reader.Remaining());
        reader.Read(buffer.data(), buffer.size());
        SEntry entry;
        reader.Finish(entry);
        return entry;
    }

    fs::path m_work;
    fs::path m_path;
};

TEST_F(ContentReader, TellsAFileThatChangesWhileItIsRead)
{
    SEntry const still = ReadWhile([] {});
    EXPECT_EQ(still.m_kind, EEntryKind::File);
    EXPECT_EQ(still.m_size, 10u);
    EXPECT_EQ(ToHex(still.m_sha256), "84d89877f0d4041efb6bf91a16f0248f2fd573e6af05c19f96bedb9f882f7882");

    SEntry const grown = ReadWhile([this] { std::ofstream(m_path, std::ios::app) << "more"; });
    EXPECT_EQ(grown.m_kind, EEntryKind::TornFile);
    EXPECT_EQ(grown.m_sha256, still.m_sha256);

    SEntry const cut = ReadWhile([this] { fs::resize_file(m_path, 3); });
    EXPECT_EQ(cut.m_kind, EEntryKind::TornFile);
    EXPECT_EQ(cut.m_size, 3u);

    SEntry const rewritten = ReadWhile([this] { fs::last_write_time(m_path, fs::file_time_type()); });
    EXPECT_EQ(rewritten.m_kind, EEntryKind::TornFile);
}

TEST_F(ContentReader, AReplacementThatIsNotCommittedLeavesTheOldFileAndNothingElse)
{
    CFd const directory = OpenAt(AT_FDCWD, m_work, O_RDONLY | O_DIRECTORY, "work");
    unsigned char const text[] = {'n', 'e', 'w'};
    {
        CReplacementFile file(directory.Get(), "file", "file", 0600);
        file.Write(text, sizeof text);
    }
    EXPECT_EQ(fs::file_size(m_path), 10u);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_work), {}), 1);
    CReplacementFile file(directory.Get(), "file", "file", 0600);
    file.Write(text, sizeof text);
    file.SetAttributes({0640, {77, 0}});
    file.Commit();
    EXPECT_EQ(fs::file_size(m_path), 3u);
    struct stat status
    {
    };
    ::stat(m_path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_EQ(status.st_mtim.tv_sec, 77);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_work), {}), 1);
}

} // namespace

} // namespace bucketry::tool
