// SPDX-License-Identifier: Apache-2.0
#include "parallel/operations.h"

namespace bucketry
{

using namespace testing;

namespace
{

/// By the first letter of the path: it succeeds, fails, is refused by the processor, or the processor gives no task.
task_t Outcome(std::string const& path)
{
    auto const fail = [path] { throw exc::CRuntimeExc("failed %1", path); };
    path.starts_with("t") ? fail() : void();
    return path.starts_with("n") ? nullptr : path.starts_with("f") ? Make(fail) : Make([] {});
}

std::vector<std::string> Walk(std::string const& root, std::shared_ptr<ICloudClient> const& client)
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
        std::size_t m_calls, m_logged;
        std::string m_failure;
    };
    SRun const runs[] = {
        {{"s1"}, false, 1, 0, ""},
        {{"f1", "n2", "s3", "f4"}, false, 3, 2, ""},
        {{"f1", "t2", "f3"}, false, 3, 3, "failed f1"},
        {{"f1", "s2", "s3"}, true, 3, 1, ""},
        {{"s1", "t2", "f3"}, true, 3, 2, "failed t2"},
        {{"s1", "n2", "f3"}, true, 3, 2, "The processor gave no task for \"n2\""},
        {{"n1", "s2"}, true, 1, 0, "The processor gave no task for \"n1\""},
        {{}, true, 0, 0, "No processing task has been started."},
    };
    for (SRun const& run : runs)
    {
        CLogCapture log;
        std::size_t calls = 0;
        CMultiplePathsObjectProcessor const processor(
            run.m_paths, "skipping %1", [&](std::string const& path) { return ++calls, Outcome(path); },
            std::make_shared<CPplxTaskUtils>(), run.m_processAll);
        run.m_failure.empty() ? processor.Do()
                              : ExpectFailure<exc::CRuntimeExc>(run.m_failure, [&] { processor.Do(); });
        EXPECT_EQ(calls, run.m_calls);
        EXPECT_EQ(log.Count(logging::ELevel::Info, "skipping "), run.m_logged);
    }
}

TEST(Enumerator, FindsEveryObjectOnceFolderByFolderAndStopsAtAFailure)
{
    for (bool const versioned : {false, true})
    {
        auto const store = std::make_shared<CMemoryStore>(versioned);
        for (char const* const key : {"a/1", "a/2", "a/3", "a/deep/er/4", "a/x/5", "a//6", "a///7", "//8", "ab/9"})
        {
            store->Put(key, "body");
        }
        auto const client = std::make_shared<CMemoryClient>(store, 1, 2);
        EXPECT_THAT(Walk("a", client), ElementsAre("a/1", "a/2", "a/3", "a/x/5", "a/deep/er/4", "a//6", "a///7"));
        EXPECT_THAT(Walk("", client), ::testing::IsSupersetOf({"//8", "/ab/9", "/a///7"}));
        EXPECT_THAT(Walk("empty", client), ElementsAre());
        store->Put("ab/9", "again");
        EXPECT_EQ(Walk("ab", client).size(), versioned ? 2u : 1u);
        store->SetHooks({[](std::string const& call) { call.ends_with("(a/x)") ? Refuse() : void(); }, {}});
        ExpectStorageFailure(503, "refused", [&] { Walk("a", client); });
        EXPECT_THROW(CRecursiveObjectsEnumerator("ab", client).Process(nullptr), std::bad_function_call);
    }
}

} // namespace bucketry
