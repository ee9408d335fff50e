// SPDX-License-Identifier: Apache-2.0
#include "listing.h"

#include "support/memory_client.h"
#include "support/temp_dir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace bucketry
{

namespace
{

namespace fs = std::filesystem;
using ::testing::HasSubstr;

/// Commands that run something, and what is seen best from a shell: `$B` is the program over a root of its own.
class Running : public ::testing::Test
{
protected:
    struct SResult
    {
        int m_status = -1;
        std::string m_out; ///< both streams
    };

    SResult Shell(std::string const& script)
    {
        std::string const out = m_dir.Path().string() + ".out";
        std::string const prologue = "cd " + m_dir.Path().string() + "; export B='" + BUCKETRY_TOOL + " --root root'; ";
        int const status = std::system(("exec >" + out + " 2>&1; " + prologue + script).c_str());
        std::ifstream file(out);
        SResult const result{WEXITSTATUS(status), {std::istreambuf_iterator<char>(file), {}}};
        fs::remove(out);
        return result;
    }

    void ExpectShell(std::string const& script, int status, std::string const& words)
    {
        SResult const result = Shell(script);
        EXPECT_EQ(result.m_status, status) << script << '\n' << result.m_out;
        EXPECT_THAT(result.m_out, HasSubstr(words)) << script;
    }

    testing::CTempDir m_dir;
};

TEST_F(Running, ProcessesThatCountUnderTheLockLoseNothing)
{
    ExpectShell("echo 0 >n; for i in 1 2 3; do "
                "$B lock l -- sh -c 'n=$(cat n); sleep 0.2; echo $((n+1)) >n' & done; wait; echo counted $(cat n)",
                0, "counted 3");
    EXPECT_TRUE(fs::is_empty(m_dir.Path() / "root/l")) << "released";
}

TEST_F(Running, TheStatusOfALockedCommandIsPassedOn)
{
    ExpectShell("$B lock l -- sh -c 'exit 7'", 7, "");
    ExpectShell("$B lock l -- sh -c 'kill -9 $$'", 137, "");
    ExpectShell("$B lock l --json -- true --json", 0, "{\"ok\":true,\"path\":\"l\",\"status\":0}");
    ExpectShell("$B lock l -- ./nothere", 1, "[./nothere]: No such file");
    ExpectShell("$B lock l", 2, "COMMAND is required");
    ExpectShell("$B lock l --timeout -1 -- true", 2, "--timeout");
    // A signal is passed on, and the lock released all the same.
    ExpectShell("$B lock l -- sh -c 'trap \"echo got it; exit 3\" TERM; echo >started; while :; do sleep 0.05; done' & "
                "while [ ! -e started ]; do sleep 0.05; done; kill $!; wait $!",
                3, "got it");
    EXPECT_TRUE(fs::is_empty(m_dir.Path() / "root/l"));
}

TEST_F(Running, ALockThatCannotBeHadOrIsLostSaysSo)
{
    ExpectShell("$B lock l --reason 'counting beans' -- $B lock l --timeout 100 -- echo ran", 1,
                "Failed to lock [l].\nFailed to acquire cloud lock. counting beans");
    ExpectShell("$B lock l -- sh -c 'rm root/l/lock; exit 5'", 1, "was lost while the command ran");
    ExpectShell(
        "$B lock l -- sh -c '$B --verbose lock l -- touch ran 2>log & until grep -q Waiting log; do sleep 0.05; "
        "done; kill $!; wait $!; s=$?; cat log; exit $s'",
        143, "Interrupted");
    EXPECT_FALSE(fs::exists(m_dir.Path() / "ran"));
    std::ofstream(m_dir.Path() / "file") << "x";
    ExpectShell("$B put file object; $B lock object -- touch ran", 1, "object/");
    EXPECT_FALSE(fs::exists(m_dir.Path() / "ran"));
}

TEST_F(Running, RemovingAFolderNeverLooksBehindLinks)
{
    ExpectShell(
        "mkdir -p root/a/b/empty outside; touch outside/kept root/a/1 root/a/b/2; "
        "ln -s ../../outside root/a/folder; ln -s ../../outside/kept root/a/file; ln -s nowhere root/a/dangling; "
        "$B rm -r a; ls root outside",
        0, "outside:\nkept\n\nroot:\n");
    EXPECT_TRUE(fs::is_empty(m_dir.Path() / "root"));
}

TEST(RemoveFolder, DeletesInBatchesWhateverTheStoreKeeps)
{
    for (bool const isVersioned : {false, true})
    {
        auto const store = std::make_shared<testing::CMemoryStore>(isVersioned);
        testing::CMemoryClient client(store);
        for (int i = 0; i < 1001; ++i)
        {
            store->Put("f/" + std::to_string(i % 7) + "/" + std::to_string(i), "x");
        }
        store->Put("f/0/0", "again");
        store->Put("fg", "kept");
        store->ClearCalls();
        tool::RemoveFolder(client, "f", {});
        EXPECT_EQ(store->Objects().size(), 1U);
        EXPECT_TRUE(store->Versions("f/0/0").empty());
        std::vector<std::string> const calls = store->Calls();
        EXPECT_EQ(std::ranges::count_if(calls, [](auto const& call) { return call.starts_with("DeleteFile"); }), 2);
    }
}

TEST_F(Running, TheSimulatorServesUntilItIsStopped)
{
    std::string const start = "rm -f said; echo 'on PutObject do status 503 SlowDown' >faults; "
                              "$B simulate --port 0 --bucket beans --object-lock --faults faults >said & "
                              "until grep -qs secret said; do sleep 0.05; done; set -- $(cut -c 13- said); ";
    std::string const curl = "curl -sS --max-time 20 --aws-sigv4 aws:amz:us-east-1:s3 --user $2:$3 ";
    std::string const emptyBody =
        "-H x-amz-content-sha256:e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855 ";
    ExpectShell(start + curl + emptyBody + "$1/; " + curl + "-d x -X PUT $1/beans/1; kill $!; wait $!", 0,
                "<Name>beans</Name>");
    ExpectShell(start + curl + "-d x -X PUT $1/beans/1; kill $!; wait $!", 0, "<Code>SlowDown</Code>");
    ExpectShell("echo on >faults; $B simulate --port 0 --faults faults", 2, "line 1");
    ExpectShell("$B simulate --port 0 --object-lock", 2, "--bucket");
    ExpectShell("$B simulate --port 0 --profile odd", 2, "odd");
}

} // namespace

} // namespace bucketry
