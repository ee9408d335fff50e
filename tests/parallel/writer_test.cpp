#include "support/expect_failure.h"
#include "support/log_capture.h"
#include "support/memory_client.h"
#include "support/recording_client.h"

#include "bucketry/parallel.h"

#include <atomic>
#include <future>

namespace bucketry
{

namespace
{

using testing::BufsOf;
using testing::CMemoryClient;
using testing::CMemoryStore;
using ::testing::HasSubstr;
using testing::TextOf;

std::string Numbered(int n)
{
    return std::to_string(1000 + n);
}

/// A client over `store` whose storage calls that match wait for `open`.
std::shared_ptr<CMemoryClient> GatedClient(std::shared_ptr<CMemoryStore> const& store, std::string const& match,
                                           std::shared_future<void> open)
{
    store->SetHooks({[=](std::string const& call) { call.starts_with(match) ? open.wait() : void(); }, {}});
    return std::make_shared<CMemoryClient>(store);
}

} // namespace

TEST(Writer, KeepsTheOrderOfEachPathWhileManyWriteAndRead)
{
    constexpr int Writers = 4;
    constexpr int Writes = 25;
    auto const store = std::make_shared<CMemoryStore>(true);
    CObjectVersionsQueue versions;
    CCloudParallelWriter writer(std::make_shared<CMemoryClient>(store, 5));
    std::vector<std::thread> threads;
    for (int n = 0; n < Writers; ++n)
    {
        std::string const path = "path-" + std::to_string(n);
        threads.emplace_back(
            [&, path, n]
            {
                for (int write = 0; write < Writes; ++write)
                {
                    writer.Write(path, BufsOf(Numbered(write)), versions.CreateVersionSink(path), std::nullopt);
                    EXPECT_EQ(TextOf(*writer.Read(path)), Numbered(write));
                    writer.Write("shared", BufsOf(std::to_string(n)), std::nullopt);
                }
            });
        threads.emplace_back(
            [&, path]
            {
                std::string latest;
                while (latest != Numbered(Writes - 1))
                {
                    try
                    {
                        std::string const text = TextOf(*writer.Read(path));
                        EXPECT_GE(text, latest);
                        latest = text;
                    }
                    catch (CObjectStorageException const& error)
                    {
                        EXPECT_EQ(error.m_statusCode, 404);
                    }
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    writer.Flush();
    EXPECT_EQ(store->Versions("shared").size(), Writers * Writes);
    std::map<std::string, std::vector<std::string>> pushed;
    while (auto const version = versions.PopVersion())
    {
        pushed[version->first].push_back(version->second);
    }
    EXPECT_TRUE(versions.Empty());
    EXPECT_EQ(pushed.size(), Writers);
    for (auto const& [path, ids] : pushed)
    {
        auto const stored = store->Versions(path);
        ASSERT_EQ(ids.size(), Writes);
        ASSERT_EQ(stored.size(), Writes);
        for (std::size_t n = 0; n < Writes; ++n)
        {
            EXPECT_EQ(stored[n].m_body, Numbered(static_cast<int>(n)));
            EXPECT_EQ(stored[n].m_id, ids[n]);
        }
    }
}

TEST(Writer, ServesReadsFromWhatIsInFlight)
{
    std::promise<void> gate;
    auto const store = std::make_shared<CMemoryStore>(false);
    store->Put("source", "old");
    CCloudParallelWriter writer(GatedClient(store, "", gate.get_future().share()));
    auto const first = BufsOf("first");
    writer.Write("path", first, datetime::CDateTime::currentUtcTime());
    writer.Copy("source", "copy");
    EXPECT_EQ(writer.Read("path"), first);
    EXPECT_THROW(writer.Read("copy"), std::bad_optional_access);
    auto second = std::async(std::launch::async, [&] { writer.Write("path", BufsOf("second"), std::nullopt); });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(5)), std::future_status::timeout);
    EXPECT_EQ(writer.Read("path"), first);
    gate.set_value();
    second.get();
    writer.Flush();
    EXPECT_EQ(TextOf(*writer.Read("path")), "second");
    EXPECT_EQ(TextOf(*writer.Read("copy")), "old");
    testing::ExpectStorageFailure(404, HasSubstr("NoSuchKey"), [&] { writer.Read("nowhere"); });
}

TEST(Writer, AFailureAtAnyPositionLeavesNothingBehind)
{
    testing::CLogCapture log;
    for (bool const versioned : {false, true})
    {
        for (int failing = 0; failing < 4; ++failing)
        {
            auto const store = std::make_shared<CMemoryStore>(versioned);
            std::atomic<bool> broken = true;
            auto const refuse = [&, failing](std::string const& call)
            {
                if (broken && call.ends_with("(" + std::to_string(failing) + ")"))
                {
                    throw CObjectStorageException(exc::CRuntimeExc("refused"), 503);
                }
            };
            store->SetHooks({refuse, {}});
            store->Put("source", "copied");
            auto const client = std::make_shared<CMemoryClient>(store);
            CCloudParallelWriter writer(client);
            CObjectVersionsQueue versions;
            auto const source = client->GetFileInterRegionSource("source");
            auto const putAll = [&]
            {
                for (int n = 0; n < 4; ++n)
                {
                    std::string const path = std::to_string(n);
                    auto const sink = versions.CreateVersionSink(path);
                    n % 2 == 0 ? writer.Write(path, BufsOf("body"), sink, std::nullopt)
                               : writer.CopyInterRegion(source, path, sink, std::nullopt);
                }
            };
            putAll();
            testing::ExpectStorageFailure(503, "refused", [&] { writer.Flush(); });
            broken = false;
            testing::ExpectStorageFailure(404, HasSubstr("NoSuchKey"), [&] { writer.Read(std::to_string(failing)); });
            putAll();
            writer.Flush();
            EXPECT_EQ(store->Objects().size(), 5u);
            int ids = 0;
            while (auto const version = versions.PopVersion())
            {
                EXPECT_EQ(version->second.empty(), !versioned);
                ++ids;
            }
            EXPECT_EQ(ids, 7);
        }
    }
}

TEST(Writer, AnOperationThatDoesNotStartLeavesItsPathFree)
{
    testing::CRecorder recorder;
    CCloudParallelWriter writer(testing::RecordingClient(recorder));
    auto const notForVersions = "CCloudParallelWriter::CreateCopyTask is not implemented for versioning buckets";
    testing::ExpectFailure<exc::CRuntimeExc>(notForVersions, [&] { writer.Copy("source", "path"); });
    recorder.m_outcome = testing::EOutcome::ThrowFromCall;
    EXPECT_THROW(writer.Write("path", BufsOf("body"), std::nullopt), CObjectStorageException);
    recorder.m_outcome = testing::EOutcome::Succeed;
    EXPECT_EQ(TextOf(*writer.Read("path")), "");
    writer.Write("path", BufsOf("body"), std::nullopt);
    writer.Flush();
}

TEST(Writer, DestructorWaitsForWhatIsInFlight)
{
    testing::CLogCapture log;
    std::promise<void> gate;
    auto const store = std::make_shared<CMemoryStore>(false);
    auto writer = std::make_unique<CCloudParallelWriter>(GatedClient(store, "Upload", gate.get_future().share()));
    for (char const* const path : {"a", "b", "c"})
    {
        writer->Write(path, BufsOf(path), std::nullopt);
    }
    auto gone = std::async(std::launch::async, [&] { writer.reset(); });
    gate.set_value();
    gone.get();
    EXPECT_EQ(store->Objects().size(), 3u);
}

} // namespace bucketry
