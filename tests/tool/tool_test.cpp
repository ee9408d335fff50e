// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace bucketry
{

namespace
{

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

struct SRun
{
    int m_status = -1;
    std::string m_out;
    std::string m_err;
};

std::string ReadText(fs::path const& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteText(fs::path const& path, std::string const& text)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

/// Permissions bind the superuser, too, in the program that follows.
bool DropPowersOverFiles()
{
    return ::geteuid() != 0 ||
        (::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0) == 0 &&
         ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0) == 0);
}

/// The program over a root of its own in a temporary directory, which is its working directory.
class Tool : public testing::Test
{
protected:
    Tool()
    {
        std::string name = (fs::temp_directory_path() / "bucketry-tool-XXXXXX").string();
        m_work = ::mkdtemp(name.data());
    }
    ~Tool() override { fs::remove_all(m_work); }

    SRun Run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"--root", "root"});
        return Execute(std::move(arguments));
    }

    SRun Execute(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), BUCKETRY_TOOL);
        std::string const out = m_work.string() + ".out";
        std::string const err = m_work.string() + ".err";
        std::string const in = m_work.string() + ".in";
        WriteText(in, m_input);
        pid_t const child = ::fork();
        if (child == 0)
        {
            Become(arguments, in, out, err);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        SRun const run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadText(out), ReadText(err)};
        fs::remove(in);
        fs::remove(out);
        fs::remove(err);
        return run;
    }

    void ExpectOk(std::vector<std::string> const& arguments)
    {
        SRun const run = Run(arguments);
        EXPECT_EQ(run.m_status, 0) << run.m_err;
    }
    void ExpectFailure(int status, std::string const& words, std::vector<std::string> const& arguments)
    {
        SRun const run = Run(arguments);
        EXPECT_EQ(run.m_status, status) << run.m_out << run.m_err;
        EXPECT_THAT(run.m_err, HasSubstr(words));
    }

    /// A tree with what a backup has to keep.
    void MakeTree()
    {
        WriteText(m_work / "tree/plain", "plain text");
        WriteText(m_work / "tree/empty", "");
        WriteText(m_work / "tree/sub/\xFF\n name%", std::string("\0binary", 7));
        WriteText(m_work / "tree/sub/same", "plain text");
        WriteText(m_work / "tree" / std::string(255, '\xE4'), "long name");
        fs::create_directories(m_work / "tree/hollow/inner");
        fs::create_symlink("../outside \xFE", m_work / "tree/sub/link");
        fs::create_directory_symlink("sub", m_work / "tree/folderlink");
        ::chmod((m_work / "tree/plain").c_str(), 0640);
        ::chmod((m_work / "tree/hollow").c_str(), 0711);
        std::array<timespec, 2> const times{timespec{1, 0}, timespec{1234567890, 123456789}};
        for (char const* const name : {"tree/sub", "tree/plain", "tree/folderlink"})
        {
            ::utimensat(AT_FDCWD, (m_work / name).c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
        }
    }

    /// Names, kinds, modes, times, targets and content of everything below a directory.
    static std::vector<std::string> Describe(fs::path const& root)
    {
        std::vector<std::string> lines;
        for (auto const& entry : fs::recursive_directory_iterator(root))
        {
            struct stat status
            {
            };
            ::lstat(entry.path().c_str(), &status);
            std::string line = entry.path().lexically_relative(root).string();
            line += " " + std::to_string(status.st_mode) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
                std::to_string(status.st_mtim.tv_nsec);
            if (entry.is_symlink())
            {
                line += " -> " + fs::read_symlink(entry.path()).string();
            }
            else if (entry.is_regular_file())
            {
                line += " " + ReadText(entry.path());
            }
            lines.push_back(line);
        }
        std::ranges::sort(lines);
        return lines;
    }

    /// The folder that holds the objects of the backup "b".
    fs::path RunFolder() const
    {
        for (auto const& entry : fs::directory_iterator(m_work / "root/b"))
        {
            if (entry.is_directory())
            {
                return entry.path();
            }
        }
        ADD_FAILURE() << "no run";
        return {};
    }

    fs::path m_work;
    std::string m_input;                    ///< what the program reads from its standard input
    rlim_t m_fileSizeLimit = RLIM_INFINITY; ///< for the program, in bytes

private:
    [[noreturn]] void Become(std::vector<std::string>& arguments, std::string const& in, std::string const& out,
                             std::string const& err)
    {
        std::vector<char*> words;
        for (std::string& argument : arguments)
        {
            words.push_back(argument.data());
        }
        words.push_back(nullptr);
        ::dup2(::open(in.c_str(), O_RDONLY), STDIN_FILENO);
        ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
        ::dup2(::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
        rlimit const limit{m_fileSizeLimit, RLIM_INFINITY};
        ::signal(SIGXFSZ, SIG_IGN);
        if (::chdir(m_work.c_str()) == 0 && ::setrlimit(RLIMIT_FSIZE, &limit) == 0 && DropPowersOverFiles())
        {
            ::execv(words.front(), words.data());
        }
        ::_exit(98);
    }
};

TEST_F(Tool, SingleObjectsGoInAndOut)
{
    std::string const body("\0\n\xFF body", 8);
    WriteText(m_work / "file", body);
    ExpectOk({"put", "file", "a/b/c"});
    EXPECT_EQ(Run({"cat", "/a//b/./c"}).m_out, body);
    EXPECT_EQ(Run({"cat", "a/b/c", "--json"}).m_out,
              "{\"ok\":true,\"path\":\"a/b/c\",\"bytes\":8,\"base64\":\"AAr/IGJvZHk=\"}\n");
    ExpectOk({"cp", "a/b/c", "d/copy"});
    ExpectOk({"mkdir", "d/inner"});
    ExpectOk({"get", "d/copy"});
    EXPECT_EQ(ReadText(m_work / "copy"), body);
    EXPECT_EQ(Run({"ls", "d"}).m_out, "copy\ninner/\n");
    EXPECT_EQ(Run({"ls", "-l", "d", "--json"}).m_out,
              "{\"ok\":true,\"path\":\"d\",\"entries\":[{\"name\":\"copy\",\"kind\":\"object\",\"bytes\":8},"
              "{\"name\":\"inner\",\"kind\":\"folder\"}]}\n");
    EXPECT_EQ(Run({"stat", "d/copy"}).m_out, "object d/copy 8 bytes\n");
    EXPECT_EQ(Run({"stat", "d"}).m_out, "folder d/\n");
    EXPECT_EQ(Run({"du"}).m_out, "16 bytes in 2 objects, 16 B\n");
    ExpectFailure(1, "rm -r", {"rm", "d"});
    ExpectOk({"rm", "-r", "d"});
    ExpectOk({"rm", "a/b/c"});
    EXPECT_EQ(Run({"du", "--json"}).m_out, "{\"ok\":true,\"path\":\"\",\"bytes\":0,\"objects\":0}\n");
}

TEST_F(Tool, WrongUseHasStatusTwoAndSaysWhatIsWrong)
{
    WriteText(m_work / "file", "x");
    ExpectFailure(2, "Unknown command: frob", {"frob"});
    ExpectFailure(2, "--bogus", {"ls", "--bogus"});
    ExpectFailure(2, "PATH is required", {"put", "file"});
    ExpectFailure(2, "[../x] leaves the root", {"put", "file", "../x"});
    ExpectFailure(2, "leaves the root", {"put", "file", "a\\..\\..\\x"});
    ExpectFailure(2, "leaves the root", {"backup", ".", "a/../../x"});
    ExpectFailure(2, "is empty", {"put", "file", ""});
    ExpectFailure(2, "is empty", {"get", "object", ""});
    ExpectFailure(2, "is empty", {"restore", "b", ""});
    ExpectFailure(2, "names the root itself", {"rm", "-r", "/"});
    EXPECT_EQ(Execute({"ls"}).m_status, 2);
    EXPECT_EQ(Execute({"--json", "frob"}).m_out, "{\"ok\":false,\"error\":\"Unknown command: frob. Try --help.\"}\n");
    for (std::string const command :
         {"put", "get", "cat", "ls", "stat", "cp", "rm", "mkdir", "du", "backup", "verify", "restore"})
    {
        SRun const help = Execute({command, "--help"});
        EXPECT_EQ(help.m_status, 0);
        EXPECT_THAT(help.m_out, HasSubstr("Usage: bucketry " + command));
        EXPECT_THAT(help.m_out, HasSubstr("--root DIR"));
        EXPECT_THAT(help.m_out, HasSubstr("Exit status: 0 done"));
    }
    EXPECT_FALSE(fs::exists(m_work / "root"));
}

TEST_F(Tool, FailedWorkHasStatusOneAndSaysWhere)
{
    WriteText(m_work / "file", "x");
    ExpectFailure(1, "The root [root] does not exist", {"ls"});
    ExpectOk({"put", "file", "object"});
    ExpectFailure(1, "nothere", {"put", "nothere", "x"});
    ExpectFailure(1, "nothere", {"cat", "nothere"});
    ExpectFailure(1, "nothere", {"ls", "nothere"});
    ExpectFailure(1, "File name too long", {"put", "file", std::string(300, 'n')});
    ExpectFailure(1, "object", {"put", "file", "object/below"});
    ExpectFailure(1, "nothere", {"get", "object", "nothere/file"});
    SRun const run = Execute({"--root", "file", "--json", "ls"});
    EXPECT_EQ(run.m_status, 1);
    EXPECT_EQ(run.m_out, "{\"ok\":false,\"error\":\"The root [file] is not a directory.\"}\n");
}

TEST_F(Tool, BackupVerifyRestoreKeepEverything)
{
    MakeTree();
    ExpectOk({"backup", "tree", "b"});
    ExpectOk({"verify", "tree", "b"});
    ExpectOk({"restore", "b", "copy"});
    EXPECT_EQ(Describe(m_work / "copy"), Describe(m_work / "tree"));
    ExpectOk({"verify", "copy", "b"});
    ExpectFailure(1, "[copy] is not empty", {"restore", "b", "copy"});
    WriteText(m_work / "copy/plain", "touched");
    ExpectOk({"restore", "--overwrite", "b", "copy"});
    EXPECT_EQ(Describe(m_work / "copy"), Describe(m_work / "tree"));
}

TEST_F(Tool, LargeFilesAreStoredInPieces)
{
    WriteText(m_work / "tree/large", "head");
    fs::resize_file(m_work / "tree/large", (64u << 20) * 2 + 5); // sparse
    ExpectOk({"backup", "tree", "b"});
    fs::path const pieces = RunFolder() / "large";
    EXPECT_EQ(fs::file_size(pieces / "000000"), 64u << 20);
    EXPECT_EQ(fs::file_size(pieces / "000002"), 5u);
    ExpectOk({"restore", "b", "copy"});
    ExpectOk({"verify", "copy", "b"});
    fs::remove(pieces / "000001");
    ExpectFailure(1, "large/000001", {"verify", "tree", "b"});
    ExpectFailure(1, "large/000001", {"restore", "b", "other"});
    EXPECT_TRUE(fs::is_empty(m_work / "other"));
}

TEST_F(Tool, VerifyNamesEveryDifference)
{
    MakeTree();
    ExpectOk({"backup", "tree", "b"});
    WriteText(RunFolder() / "plain", "PLAIN text");
    fs::remove(RunFolder() / "empty");
    WriteText(RunFolder() / "stranger", "");
    WriteText(m_work / "tree/sub/same", "other text");
    WriteText(m_work / "tree/sub/new", "");
    fs::remove(m_work / "tree/sub/link");
    ::chmod((m_work / "tree/hollow").c_str(), 0700);
    SRun const run = Run({"verify", "tree", "b", "--json"});
    EXPECT_EQ(run.m_status, 1);
    EXPECT_THAT(run.m_err, ContainsRegex("stored content is not what was backed up: .b/run-[^/]*/plain"));
    EXPECT_THAT(run.m_err, ContainsRegex("missing: .b/run-[^/]*/empty"));
    EXPECT_THAT(run.m_err, ContainsRegex("does not belong to the backup: .b/run-[^/]*/stranger"));
    EXPECT_THAT(run.m_err, HasSubstr("The content is another: [tree/sub/same]"));
    EXPECT_THAT(run.m_err, HasSubstr("not in the backup: [tree/sub/new]"));
    EXPECT_THAT(run.m_err, HasSubstr("not in the directory: [tree/sub/link]"));
    EXPECT_THAT(run.m_err, HasSubstr("The mode is another: [tree/hollow]"));
    EXPECT_THAT(run.m_out, HasSubstr("\"changed\":3,\"missing\":2,\"extra\":2,\"unreadable\":0,\"failed\":0"));
    // What is damaged is not restored; the rest is.
    ExpectFailure(1, "/plain]", {"restore", "b", "copy"});
    EXPECT_FALSE(fs::exists(m_work / "copy/plain"));
    EXPECT_EQ(ReadText(m_work / "copy/sub/same"), "plain text");
}

TEST_F(Tool, ABackupThatDidNotEndIsNeverTakenForWhole)
{
    MakeTree();
    ExpectOk({"backup", "tree", "b"});
    // As if another run had been killed: its objects are there, its manifest is not.
    WriteText(m_work / "root/b/run-killed/plain", "plain text");
    ExpectFailure(1, "run-killed", {"verify", "tree", "b"});
    ExpectOk({"restore", "b", "copy"});
    ExpectOk({"backup", "tree", "b"});
    EXPECT_FALSE(fs::exists(m_work / "root/b/run-killed"));
    ExpectOk({"verify", "tree", "b"});
    fs::resize_file(m_work / "root/b/manifest", 300);
    ExpectFailure(1, "The manifest is damaged", {"verify", "tree", "b"});
    ExpectFailure(1, "The manifest is damaged", {"restore", "b", "copy2"});
    EXPECT_FALSE(fs::exists(m_work / "copy2"));
    fs::remove(m_work / "root/b/manifest");
    ExpectFailure(1, "the manifest is missing", {"verify", "tree", "b"});
}

TEST_F(Tool, ABackupThatRunsOutOfRoomIsNotWhole)
{
    MakeTree();
    ExpectOk({"backup", "tree", "b"});
    std::vector<std::string> const before = Describe(m_work / "tree");
    WriteText(m_work / "tree/zz", std::string(1 << 20, 'z'));
    m_fileSizeLimit = 100000; // a write beyond it fails as on a full disk
    ExpectFailure(1, "zz", {"backup", "tree", "b"});
    m_fileSizeLimit = RLIM_INFINITY;
    ExpectFailure(1, "has left objects here", {"verify", "tree", "b"});
    ExpectOk({"restore", "b", "copy"}); // the former backup
    EXPECT_EQ(Describe(m_work / "copy"), before);
    ExpectOk({"backup", "tree", "b"});
    m_fileSizeLimit = 100000;
    ExpectFailure(1, "Could not be restored, File too large: [other/zz]", {"restore", "b", "other"});
    EXPECT_EQ(Describe(m_work / "other"), before);
}

TEST_F(Tool, WhatCannotBeReadIsNamedAndTheRestGoesOn)
{
    MakeTree();
    WriteText(m_work / "tree/closed", "secret");
    ::chmod((m_work / "tree/closed").c_str(), 0);
    ::chmod((m_work / "tree/hollow").c_str(), 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::ranges::copy((m_work / "tree/socket").string(), address.sun_path);
    int const socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(socket);

    SRun const run = Run({"backup", "tree", "b", "--json"});
    EXPECT_EQ(run.m_status, 1);
    EXPECT_THAT(run.m_err, HasSubstr("Permission denied: [tree/closed]"));
    EXPECT_THAT(run.m_err, HasSubstr("Permission denied: [tree/hollow]"));
    EXPECT_THAT(run.m_err, HasSubstr("left out: [tree/socket]"));
    EXPECT_THAT(run.m_out, HasSubstr("\"ok\":false"));
    EXPECT_THAT(run.m_out, HasSubstr("\"skipped\":1,\"failed\":2"));
    ExpectFailure(1, "The backup is incomplete; this could not be read: [closed]", {"verify", "tree", "b"});
    ExpectFailure(1, "[closed]", {"restore", "b", "copy"});
    EXPECT_EQ(ReadText(m_work / "copy/plain"), "plain text");
    ExpectFailure(1, "nothere", {"backup", "nothere", "c"});
    EXPECT_FALSE(fs::exists(m_work / "root/c"));
    ::chmod((m_work / "tree/hollow").c_str(), 0700); // so that it can be removed
}

TEST_F(Tool, RestoreNeverFollowsLinksInItsTarget)
{
    MakeTree();
    ExpectOk({"backup", "tree", "b"});
    fs::create_directories(m_work / "outside");
    fs::create_directories(m_work / "copy");
    fs::create_directory_symlink(m_work / "outside", m_work / "copy/sub");
    fs::create_symlink(m_work / "outside/plain", m_work / "copy/plain");
    ExpectFailure(1, "Could not be restored", {"restore", "--overwrite", "b", "copy"});
    EXPECT_TRUE(fs::is_empty(m_work / "outside"));
    EXPECT_FALSE(fs::is_symlink(m_work / "copy/plain"));
    EXPECT_EQ(ReadText(m_work / "copy/plain"), "plain text");
}

TEST_F(Tool, TheStorageItselfIsLeftOut)
{
    WriteText(m_work / "file", "x");
    SRun const run = Run({"backup", ".", "b"});
    EXPECT_EQ(run.m_status, 0) << run.m_err;
    EXPECT_THAT(run.m_err, HasSubstr("The storage itself lies here and is left out: [./root]"));
    ExpectOk({"verify", ".", "b"});
    ExpectFailure(1, "The directory [root] is the storage itself.", {"backup", "root", "c"});
    EXPECT_FALSE(fs::exists(m_work / "root/c"));
}

/// The bytes of everything in the root.
std::string Stored(fs::path const& root)
{
    std::string all;
    for (auto const& entry : fs::recursive_directory_iterator(root))
    {
        all += entry.is_regular_file() ? ReadText(entry.path()) : "";
    }
    return all;
}

TEST_F(Tool, KeysAreWrittenOnceForTheOwnerOnly)
{
    ASSERT_EQ(Execute({"keys", "new", "key"}).m_status, 0);
    struct stat status
    {
    };
    ASSERT_EQ(::stat((m_work / "key").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    std::string const text = ReadText(m_work / "key");
    EXPECT_THAT(text, ContainsRegex("^bucketry-key 1\nid [0-9a-f]{32}\nkey [0-9a-f]{64}\n$"));
    ExpectFailure(1, "[key]: File exists", {"keys", "new", "key"});
    EXPECT_EQ(ReadText(m_work / "key"), text);
}

TEST_F(Tool, ACompressedAndEncryptedBackupNeedsItsKey)
{
    MakeTree();
    WriteText(m_work / "tree/long", std::string(300'000, 'x') + "a sentence that can be found");
    Execute({"keys", "new", "key"});
    Execute({"keys", "new", "other"});
    ExpectOk({"backup", "tree", "b", "--compress", "zstd-high", "--encrypt", "--key-file", "key"});
    std::string const stored = Stored(m_work / "root");
    EXPECT_LT(stored.size(), 10'000U);
    EXPECT_THAT(stored, Not(testing::AnyOf(HasSubstr("a sentence"), HasSubstr("manifest"), HasSubstr("plain text"))));
    ExpectOk({"verify", "tree", "b", "--encrypt", "--key-file", "key"});
    ExpectOk({"restore", "b", "copy", "--encrypt", "--key-file", "key", "--compress", "zlib"});
    EXPECT_EQ(Describe(m_work / "copy"), Describe(m_work / "tree"));

    ExpectFailure(1, "is not known", {"restore", "b", "copy2", "--encrypt", "--key-file", "other"});
    ExpectFailure(1, "is not known", {"verify", "tree", "b", "--compress", "zlib"});
    ExpectFailure(1, "The manifest is damaged", {"restore", "b", "copy2"});
    EXPECT_FALSE(fs::exists(m_work / "copy2"));
    // The right id with another key.
    std::string forged = ReadText(m_work / "key");
    forged[forged.size() - 2] = forged[forged.size() - 2] == '0' ? '1' : '0';
    WriteText(m_work / "forged", forged);
    ExpectFailure(1, "the key is another one", {"restore", "b", "copy2", "--encrypt", "--key-file", "forged"});
    WriteText(m_work / "short", forged.substr(0, forged.size() - 3) + "\n");
    ExpectFailure(1, "[short] is no key file", {"restore", "b", "copy2", "--encrypt", "--key-file", "short"});
}

TEST_F(Tool, ThePasswordAloneRestores)
{
    MakeTree();
    m_input = "correct horse\n";
    ExpectOk({"put", "tree/plain", "unprocessed"});
    ExpectFailure(1, "Nothing in this root was stored with a password", {"get", "b/manifest", "--encrypt"});
    ExpectOk({"backup", "tree", "b", "--encrypt", "--compress", "zstd"});
    ExpectOk({"put", "tree/plain", "single", "--encrypt"});
    ExpectOk({"verify", "tree", "b", "--encrypt"});
    ExpectOk({"restore", "b", "copy", "--encrypt"});
    EXPECT_EQ(Describe(m_work / "copy"), Describe(m_work / "tree"));
    EXPECT_EQ(Run({"cat", "single", "--encrypt"}).m_out, "plain text");
    ExpectOk({"rm", "unprocessed"});
    EXPECT_THAT(Stored(m_work / "root"), Not(HasSubstr("plain text")));

    m_input = "correct horses\n";
    ExpectFailure(1, "The password is wrong.", {"restore", "b", "copy2", "--encrypt"});
    ExpectFailure(1, "The password is wrong.", {"put", "tree/plain", "single", "--encrypt"});
    m_input = "";
    ExpectFailure(1, "The password is empty.", {"cat", "single", "--encrypt"});
    m_input = "correct horse";
    EXPECT_EQ(Run({"cat", "single", "--encrypt"}).m_out, "plain text") << "what was there is still there";
}

TEST_F(Tool, BodyOptionsThatCannotWorkAreWrongUse)
{
    WriteText(m_work / "file", "text");
    ExpectFailure(2, "Unknown compression [brotli]", {"put", "file", "object", "--compress", "brotli"});
    ExpectFailure(2, "--key-file needs --encrypt", {"put", "file", "object", "--key-file", "file"});
    ExpectFailure(2, "--encrypt", {"ls", "--encrypt"});
    EXPECT_FALSE(fs::exists(m_work / "root/object"));
}

TEST_F(Tool, BodiesTooLargeForOneProcessedObjectAreStoredInPieces)
{
    auto const put = [this](std::string const& file) {
        ExpectOk({"put", file, "a/object", "--compress", "zlib", "--in-pieces-above", "1000"});
    };
    auto const expectBody = [this](std::string const& path, std::string const& file)
    {
        ExpectOk({"get", path, "fetched", "--compress", "zlib"});
        EXPECT_TRUE(ReadText(m_work / "fetched") == ReadText(m_work / file)) << path;
    };
    WriteText(m_work / "large", "begin");
    fs::resize_file(m_work / "large", (64U << 20U) + 7);
    WriteText(m_work / "small", "small");
    WriteText(m_work / "list", "bucketry-pieces 1\nreads like a list");

    put("large");
    put("large"); // the pieces of the first go
    EXPECT_THAT(Run({"ls", "a/object.bucketry-pieces"}).m_out, ContainsRegex("^[-0-9a-f]{36}/\n$"));
    expectBody("a/object", "large");
    ExpectOk({"cp", "a/object", "b/copy"});
    ExpectOk({"rm", "a/object"});
    EXPECT_EQ(Run({"ls", "a"}).m_out, "");
    expectBody("b/copy", "large");

    put("list");
    expectBody("a/object", "list");
    put("small");
    expectBody("a/object", "small");
    EXPECT_EQ(Run({"ls", "a"}).m_out, "object\n");

    for (auto const& entry : fs::recursive_directory_iterator(m_work / "root/b/copy.bucketry-pieces"))
    {
        if (entry.path().filename() == "000001")
        {
            fs::copy_file(m_work / "root/a/object", entry.path(), fs::copy_options::overwrite_existing);
        }
    }
    ExpectFailure(1, "has 5 bytes instead of 7", {"get", "b/copy", "damaged", "--compress", "zlib"});
    EXPECT_FALSE(fs::exists(m_work / "damaged"));
}

TEST_F(Tool, StatisticsTellStoredBytes)
{
    WriteText(m_work / "file", "text");
    SRun const run = Run({"put", "file", "object", "--compress", "none", "--stats"});
    EXPECT_THAT(run.m_err,
                HasSubstr("Downloaded 0 bytes, uploaded 30 bytes; requests: UploadFile 1 IsFolderExist 1\n"));
    EXPECT_THAT(Run({"--stats", "--json", "cat", "object"}).m_out,
                HasSubstr("\"stats\":{\"downloaded\":30,\"uploaded\":0,\"requests\":{\"DownloadFile\":1}}}\n"));
    EXPECT_THAT(Run({"--stats", "--json", "cat", "none"}).m_out, HasSubstr("\"requests\":{\"DownloadFile\":1}}}\n"));
}

} // namespace

} // namespace bucketry
