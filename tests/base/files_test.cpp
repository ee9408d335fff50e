// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"
#include "bucketry/base/files.h"
#include "bucketry/base/guid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <sys/stat.h>

using namespace bucketry;
using namespace bucketry::util;
using posix::posix_file_t;
using testing::HasSubstr;
using testing::UnorderedElementsAre;
namespace fs = std::filesystem;

namespace
{

class Files : public testing::Test
{
protected:
    void SetUp() override { fs_make_directory(m_root + "/"); }
    void TearDown() override { fs::remove_all(m_root); }

    std::string At(std::string const& name) const { return fs_merge_path(m_root, name); }

    void Write(std::string const& name, std::string const& text) const
    {
        auto file = posix_file_t::CreateNew(At(name), text.size());
        file.Write(reinterpret_cast<unsigned char const*>(text.data()), text.size());
        file.Close();
    }

    std::string Read(std::string const& name) const
    {
        auto file = posix_file_t::Open4Read(At(name), true);
        std::string text(file.GetSize(), '\0');
        file.Read(reinterpret_cast<unsigned char*>(text.data()), text.size());
        return text;
    }

    std::string const m_root = testing::TempDir() + "bucketry-" + guid::guid_t::CreateNew().ToAStr();
};

template <class TCall>
std::string FailureOf(TCall const& call)
{
    try
    {
        call();
    }
    catch (exc::CRuntimeExc const& error)
    {
        return error.what();
    }
    return "no failure";
}

std::vector<std::string> Names(std::vector<filesys::browser::CFsItemInfo> const& items)
{
    std::vector<std::string> names;
    for (auto const& item : items)
    {
        names.push_back(item.GetName());
        EXPECT_THAT(item.GetPath(), testing::EndsWith("/" + item.GetName()));
    }
    return names;
}

} // namespace

TEST_F(Files, PathsAreMergedWithOneDelimiter)
{
    EXPECT_EQ(fs_merge_path("/a", "b"), "/a/b");
    EXPECT_EQ(fs_merge_path("/a//", "//b/"), "/a/b/");
    EXPECT_EQ(fs_merge_path("/a", ""), "/a/");
    EXPECT_EQ(fs_merge_path("/", ""), "/");
    EXPECT_EQ(fs_merge_path("/", "b"), "/b");
}

TEST_F(Files, DirectoriesAreMadeUpToTheLastDelimiter)
{
    fs_make_directory(At("a/b//c/file"));
    fs_make_directory(At("a/b/c/"));
    fs_make_directory("no delimiter");
    EXPECT_TRUE(fs_is_directory_exists(At("a/b/c")));
    EXPECT_FALSE(fs_is_exists(At("a/b/c/file")));
    Write("a/file", "");
    for (char const* const inTheWay : {"a/file/", "a/file/below/", "a/file/x/y"})
    {
        EXPECT_THAT(FailureOf([&] { fs_make_directory(At(inTheWay)); }), HasSubstr("Not a directory")) << inTheWay;
    }
    EXPECT_TRUE(fs_is_exists(At("a/file")));
    EXPECT_FALSE(fs_is_exists(At("a/file/below")));
    EXPECT_FALSE(fs_is_directory_exists(At("a/file")));
}

TEST_F(Files, AnyByteMayBeInANameButZeroAndLengthIsTheSystemsMatter)
{
    std::string const name = "\x01\n \\\"%1\x80\xFF\xC3";
    Write(name, "content");
    EXPECT_EQ(Read(name), "content");
    EXPECT_THAT(Names(filesys::browser::CFsDirectoryInfo(m_root).EnumFiles(false)), UnorderedElementsAre(name));
    EXPECT_EQ(fs_file_size(At(name)), 7U);
    fs_file_delete(At(name));
    EXPECT_THAT(FailureOf([&] { fs_file_delete(At(name)); }), HasSubstr("No such file"));

    std::string const longName(300, 'n');
    EXPECT_EQ(FailureOf([&] { Write(longName, ""); }), "Cannot create \"" + At(longName) + "\": File name too long.");
    EXPECT_THROW(fs_is_exists(At(longName)), exc::CRuntimeExc);
    Write("a", "");
    std::string const withZero = At("a") + std::string("\0b", 2);
    EXPECT_THROW(fs_is_exists(withZero), exc::CRuntimeExc);
    EXPECT_THROW(fs_file_delete(withZero), exc::CRuntimeExc);
    EXPECT_THROW(posix_file_t::CreateNew(withZero, 0), exc::CRuntimeExc);
}

TEST_F(Files, ReadsAndWritesAreWholeOrFail)
{
    Write("f", "0123456789");
    auto file = posix_file_t::Open4Read(At("f"), false);
    unsigned char bytes[5] = {};
    file.SeekFromBegin(7);
    EXPECT_THAT(FailureOf([&] { file.Read(bytes, 4); }), HasSubstr("ends before"));
    file.SeekFromBegin(5);
    file.Read(bytes, 5);
    EXPECT_EQ(std::string(bytes, bytes + 5), "56789");
    Write("f", "");
    EXPECT_EQ(fs_file_size(At("f")), 0U);

    EXPECT_THAT(FailureOf([&] { posix_file_t::CreateNew("/dev/full", 5).Write(bytes, 5); }), HasSubstr("No space"));
    Write("large", "what was there");
    EXPECT_THAT(FailureOf([&] { posix_file_t::CreateNew(At("large"), 1UL << 62U); }),
                testing::AnyOf(HasSubstr("No space"), HasSubstr("File too large")));
    EXPECT_EQ(Read("large"), "what was there");
    fs_make_directory(At("d/"));
    EXPECT_THAT(FailureOf([&] { Write("d", ""); }), HasSubstr("Is a directory"));
    EXPECT_THAT(FailureOf([&] { Read("d"); }), HasSubstr("Is a directory"));
    EXPECT_THAT(FailureOf([&] { fs_file_size(At("d")); }), HasSubstr("Is a directory"));
    EXPECT_THAT(FailureOf([&] { Read("none"); }), HasSubstr("No such file"));
}

TEST_F(Files, PipesNeverKeepAnybodyWaiting)
{
    ASSERT_EQ(::mkfifo(At("pipe").c_str(), 0600), 0);
    Write("file", "content");
    EXPECT_EQ(FailureOf([&] { Read("pipe"); }), "Cannot open \"" + At("pipe") + "\": it is a pipe.");
    EXPECT_THAT(FailureOf([&] { Write("pipe", "content"); }), HasSubstr("No such device"));
    EXPECT_THAT(FailureOf([&] { fs_file_copy(At("pipe"), At("file"), true); }), HasSubstr("it is a pipe"));
    EXPECT_EQ(Read("file"), "content");
    EXPECT_THAT(FailureOf([&] { fs_file_copy(At("file"), At("pipe"), true); }), HasSubstr("No such device"));
}

TEST_F(Files, CopiesReplaceTheTargetWithItsModeButNeverThemselves)
{
    Write("source", std::string(3000000, 's'));
    Write("target", std::string(4000000, 't'));
    ASSERT_EQ(::chmod(At("source").c_str(), 0640), 0);
    EXPECT_THAT(FailureOf([&] { fs_file_copy(At("source"), At("target"), false); }), HasSubstr("File exists"));
    EXPECT_EQ(fs_file_size(At("target")), 4000000U);
    fs_file_copy(At("source"), At("target"), true);
    fs_file_copy(At("source"), At("fresh"), false);
    EXPECT_EQ(Read("target"), Read("source"));
    EXPECT_EQ(Read("fresh"), Read("source"));
    EXPECT_EQ(fs::status(At("target")).permissions(), static_cast<fs::perms>(0640));

    fs::create_hard_link(At("source"), At("hard"));
    fs::create_symlink("source", At("soft"));
    for (char const* const same : {"source", "hard", "soft"})
    {
        fs_file_copy(At("source"), At(same), true);
        fs_file_copy(At(same), At("source"), true);
        EXPECT_EQ(fs_file_size(At("source")), 3000000U) << same;
    }
    EXPECT_THROW(fs_file_copy(At("none"), At("target"), true), exc::CRuntimeExc);
    EXPECT_EQ(fs_file_size(At("target")), 3000000U);
    EXPECT_THROW(fs_file_copy(m_root, At("target"), true), exc::CRuntimeExc);
    EXPECT_THROW(fs_file_copy(At("source"), m_root, true), exc::CRuntimeExc);
    EXPECT_THAT(FailureOf([&] { fs_file_copy(At("source"), "/dev/full", true); }), HasSubstr("No space"));
    fs_file_copy("/proc/self/status", At("fresh"), true); // its size says 0
    EXPECT_THAT(Read("fresh"), HasSubstr("Name:"));
}

TEST_F(Files, DeletingNeverFollowsLinks)
{
    Write("kept", "content");
    fs_make_directory(At("outside/"));
    Write("outside/kept", "content");
    fs_make_directory(At("d/deep/er/"));
    Write("d/deep/file", "content");
    fs::create_symlink(At("outside"), At("d/deep/er/link"));
    fs::create_symlink(At("outside"), At("toOutside"));
    fs::create_symlink("nowhere", At("d/broken"));
    EXPECT_THAT(FailureOf([&] { fs_directory_delete(At("toOutside/")); }), HasSubstr("Not a directory"));
    EXPECT_THAT(FailureOf([&] { fs_directory_delete(At("kept")); }), HasSubstr("Not a directory"));
    EXPECT_THAT(FailureOf([&] { fs_directory_delete(At("none")); }), HasSubstr("No such file"));
    fs_directory_delete(At("d//"));
    EXPECT_FALSE(fs_is_exists(At("d")));
    fs_file_delete(At("toOutside"));
    EXPECT_EQ(Read("outside/kept"), "content");
    EXPECT_THAT(FailureOf([&] { fs_file_delete(At("outside")); }), HasSubstr("Is a directory"));
}

TEST_F(Files, ListingTellsFilesDirectoriesAndLinksApart)
{
    Write("file", "");
    fs_make_directory(At("d/sub/"));
    fs_make_directory(At(".hidden/"));
    fs::create_symlink("file", At("toFile"));
    fs::create_symlink("d", At("toDir"));
    fs::create_symlink("nowhere", At("broken"));
    fs::create_symlink("loop", At("loop"));
    filesys::browser::CFsDirectoryInfo const listing(m_root + "/");
    EXPECT_THAT(Names(listing.EnumFiles(true)), UnorderedElementsAre("file", "toFile"));
    EXPECT_THAT(Names(listing.EnumFiles(false)), UnorderedElementsAre("file", "toFile", "toDir", "broken", "loop"));
    EXPECT_THAT(Names(listing.EnumSubDirectories(true, false, true, false)),
                UnorderedElementsAre("d", ".hidden", "toDir"));
    EXPECT_THAT(Names(listing.EnumSubDirectories(true, true, false, false)), UnorderedElementsAre("d", "sub", "toDir"));
    EXPECT_THAT(Names(listing.EnumSubDirectories(false, false, false, false)), UnorderedElementsAre("d"));
    EXPECT_THAT(FailureOf([&] { filesys::browser::CFsDirectoryInfo(At("none")).EnumFiles(true); }),
                HasSubstr("Cannot list"));
}
