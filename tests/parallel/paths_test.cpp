#include "support/expect_failure.h"
#include "support/log_capture.h"
#include "support/memory_client.h"

#include "bucketry/parallel.h"

namespace bucketry
{

namespace
{

using testing::CMemoryClient;
using testing::CMemoryStore;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using task_t = std::shared_ptr<task::IAsyncTask>;

/// One letter per path: it succeeds, fails, is refused by the processor, or the processor gives no task for it.
task_t Outcome(std::string const& path)
{
    auto const fail = [path] { throw CObjectStorageException(exc::CRuntimeExc("failed %1", path), 404); };
    switch (path.front())
    {
    case 's':
        return CPplxTaskUtils().CreateTask([] {});
    case 'f':
        return CPplxTaskUtils().CreateTask(fail);
    case 't':
        fail();
        [[fallthrough]];
    default:
        return nullptr;
    }
}

std::vector<std::string> WalkedPaths(std::string const& root, std::shared_ptr<ICloudClient> const& client)
{
    std::vector<std::string> paths;
    CRecursiveObjectsEnumerator(root, client)
        .Process(
            [&](std::vector<CRecursiveObjectsEnumerator::SObjectInfo> const& batch)
            {
                EXPECT_FALSE(batch.empty());
                for (auto const& object : batch)
                {
                    EXPECT_EQ(object.m_versionId.empty(), !client->IsVersioningEnabled());
                    paths.push_back(object.m_path);
                }
            });
    return paths;
}

} // namespace

TEST(MultiplePaths, FailsWithTheFirstFailureAfterTheLastSuccess)
{
    struct SRun
    {
        std::vector<std::string> m_paths;
        bool m_processAll;
        std::size_t m_calls;
        std::string m_failure;
        std::size_t m_logged;
    };
    SRun const runs[] = {
        {{"s1"}, false, 1, "", 0},
        {{"f1", "n2", "s3", "f4"}, false, 3, "", 2},
        {{"f1", "t2", "f3"}, false, 3, "failed f1", 3},
        {{"f1", "s2", "s3"}, true, 3, "", 1},
        {{"s1", "t2", "f3"}, true, 3, "failed t2", 2},
        {{"s1", "n2", "f3"}, true, 3, "gave no task for \"n2\"", 2},
        {{"t1", "s2"}, true, 1, "failed t1", 0},
        {{"n1", "s2"}, true, 1, "gave no task for \"n1\"", 0},
        {{}, true, 0, "No processing task has been started.", 0},
    };
    for (SRun const& run : runs)
    {
        testing::CLogCapture log;
        std::vector<std::string> called;
        CMultiplePathsObjectProcessor const processor(
            run.m_paths, "skipping %1",
            [&](std::string const& path)
            {
                called.push_back(path);
                return Outcome(path);
            },
            std::make_shared<CPplxTaskUtils>(), run.m_processAll);
        std::string failure;
        try
        {
            processor.Do();
        }
        catch (exc::exc_base_t const& error)
        {
            failure = error.what();
            EXPECT_EQ(dynamic_cast<CObjectStorageException const*>(&error) != nullptr, failure.starts_with("failed"));
        }
        EXPECT_EQ(failure.empty(), run.m_failure.empty()) << failure;
        EXPECT_THAT(failure, HasSubstr(run.m_failure));
        EXPECT_EQ(called.size(), run.m_calls);
        EXPECT_EQ(log.Count(logging::ELevel::Info, "skipping "), run.m_logged);
    }
}

TEST(Enumerator, FindsEveryObjectOnceFolderByFolder)
{
    for (bool const versioned : {false, true})
    {
        auto const store = std::make_shared<CMemoryStore>(versioned);
        for (char const* const key : {"a/1", "a/2", "a/3", "a/deep/er/4", "a/x/5", "a//6", "a///7", "/8", "ab/9"})
        {
            store->Put(key[0] == '/' ? std::string("/") + key : key, "body");
        }
        auto const client = std::make_shared<CMemoryClient>(store, 1, 2);
        EXPECT_THAT(WalkedPaths("a", client),
                    ElementsAre("a/1", "a/2", "a/3", "a/x/5", "a/deep/er/4", "a//6", "a///7"));
        EXPECT_THAT(WalkedPaths("", client), ::testing::IsSupersetOf({"//8", "/ab/9", "/a///7"}));
        EXPECT_THAT(WalkedPaths("empty", client), ElementsAre());
        if (versioned)
        {
            store->Put("ab/9", "again");
            EXPECT_THAT(WalkedPaths("ab", client), ElementsAre("ab/9", "ab/9"));
        }
    }
}

TEST(Enumerator, StopsAtTheFirstFailure)
{
    auto const store = std::make_shared<CMemoryStore>(false);
    store->Put("a/1", "body");
    store->Put("a/b/2", "body");
    std::string failing = "QueryFolderAsync(a/b)";
    store->SetHooks({{},
                     [&](std::string const& call)
                     {
                         if (call == failing)
                         {
                             throw CObjectStorageException(exc::CRuntimeExc("refused"), 503);
                         }
                     }});
    auto const client = std::make_shared<CMemoryClient>(store);
    testing::ExpectStorageFailure(503, "refused", [&] { WalkedPaths("a", client); });
    failing.clear();
    CRecursiveObjectsEnumerator enumerator("a", client);
    testing::ExpectFailure<exc::CRuntimeExc>(
        "enough", [&] { enumerator.Process([](auto const&) { throw exc::CRuntimeExc("enough"); }); });
    EXPECT_THROW(enumerator.Process(nullptr), std::bad_function_call);
}

} // namespace bucketry
