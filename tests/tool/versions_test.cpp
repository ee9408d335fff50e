// SPDX-License-Identifier: Apache-2.0
#include "tool/store_commands.h"

namespace bucketry::tool
{
namespace
{

using ::testing::HasSubstr;
using ::testing::StartsWith;

/// Over a bucket that locks objects.
class VersionCommands : public StoreCommands
{
protected:
    VersionCommands() : StoreCommands({}, {.m_objectLock = true})
    {
        Write("one", "one");
        Write("two", "second");
    }

    /// The id in the n-th line of the list, counted from 0.
    std::string Id(std::string const& path, int n)
    {
        std::istringstream lines(Run("versions " + path));
        std::string line;
        for (int i = 0; i <= n; ++i)
        {
            std::getline(lines, line);
        }
        return line.substr(0, line.find(' '));
    }
};

TEST_F(VersionCommands, AreListedReadAndRemovedForGood)
{
    Run("put NAME/one f/a");
    Run("put NAME/two f/a");
    std::string const one = Id("f/a", 1);
    std::string const two = Id("f/a", 0);
    EXPECT_THAT(Run("--json versions /f/a"), HasSubstr("{\"id\":\"" + two + "\",\"time\":\"20"));
    Run("rm f/a");
    EXPECT_THAT(Run("cat f/a"), StartsWith("1: "));
    EXPECT_EQ(Run("cat f/a --version-id " + one) + Run("cat f/a --version-id " + two), "onesecond");
    Run("get f/a NAME/back --version-id " + one);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(std::ifstream(m_folder.Path() / "back").rdbuf()), {}), "one");
    EXPECT_EQ(Run("rm f/a --version-id " + one), "");
    EXPECT_THAT(Run("rm f/a --version-id " + one), StartsWith("1: "));
    EXPECT_EQ(Id("f/a", 0), two);
    EXPECT_EQ(Run("rm f/a --all-versions"), "");
    EXPECT_EQ(Run("versions f/a"), "1: bucketry: There is no version of an object [f/a].\n");
    EXPECT_THAT(Run("rm f/a --all-versions"), StartsWith("1: "));
    EXPECT_THAT(Run("rm -r f --all-versions"), StartsWith("2: "));
}

TEST_F(VersionCommands, AreKeptUntilADate)
{
    std::string const id = Run("put NAME/one a --keep-until 2033-05-18");
    EXPECT_EQ(id, Id("a", 0) + "\n");
    EXPECT_THAT(Run("rm a --all-versions"), StartsWith("1: "));
    EXPECT_THAT(Run("versions -l a"), HasSubstr("  3  kept until 2033-05-18T00:00:00Z\n"));
    EXPECT_EQ(Run("keep a --until 2032-01-01"), "a is kept until 2033-05-18T00:00:00Z\n");
    Run("put NAME/two a");
    EXPECT_EQ(Run("keep a --until 2034-01-01T10:00:00Z --version-id " + id), "a is kept until 2034-01-01T10:00:00Z\n");
    EXPECT_EQ(Run("keep a --until 2032-01-01"), "a is kept until 2032-01-01T00:00:00Z\n");
    EXPECT_THAT(Run("keep b --until 2032-01-01"), StartsWith("1: "));
    for (char const* const wrong : {"soon", "2032-13-01", "2020-01-01"})
    {
        EXPECT_THAT(Run(std::string("put NAME/one b --keep-until ") + wrong), StartsWith("2: ")) << wrong;
    }
    m_spec.Options.ObjectLockEnabledOnBucket = false;
    Write("plain.xml", m_spec.Serialize());
    for (char const* const command : {"versions a", "keep a --until 2032-01-01", "cat a --version-id x",
                                      "rm a --all-versions", "put NAME/one b --keep-until 2032-01-01"})
    {
        EXPECT_THAT(Run(command, "--spec NAME/plain.xml"), StartsWith("2: bucketry: This storage keeps no versions"));
    }
    EXPECT_EQ(m_store.ObjectCount("example"), 1U);
}

TEST_F(VersionCommands, PiecesStayAsLongAsAVersionNamesThem)
{
    std::string const inPieces = " pieces --compress zstd --in-pieces-above 2";
    std::string const one = Run("put NAME/one" + inPieces + " --keep-until 2033-05-18");
    Run("put NAME/two" + inPieces);
    Run("put NAME/two pieces --compress zstd");
    EXPECT_EQ(Run("cat pieces --compress zstd --version-id " + one), "one");
    Run("rm pieces");
    EXPECT_EQ(Run("cat pieces --compress zstd --version-id " + one), "one");
    EXPECT_THAT(Run("rm -r pieces.bucketry-pieces"), StartsWith("1: ")) << "they are locked, too";
    Run("put NAME/two other --compress zstd --in-pieces-above 2");
    Run("rm other --all-versions");
    EXPECT_THAT(Run("ls other.bucketry-pieces"), StartsWith("1: "));
}

} // namespace
} // namespace bucketry::tool
