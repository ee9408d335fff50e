// SPDX-License-Identifier: Apache-2.0
#include "parallel/operations.h"
#include "support/recording_client.h"

namespace bucketry
{

using namespace testing;

TEST(Writer, KeepsTheOrderOfEachPathWhileManyWriteAndRead)
{
    constexpr int Writes = 25;
    auto const body = [](int n) { return std::to_string(1000 + n); };
    auto const store = std::make_shared<CMemoryStore>(true);
    store->Put("path-0", "");
    store->Put("path-1", "");
    CObjectVersionsQueue versions;
    CCloudParallelWriter writer(std::make_shared<CMemoryClient>(store, 3));
    InThreads(4,
              [&](int n)
              {
                  std::string const path = "path-" + std::to_string(n / 2);
                  std::string latest;
                  for (int write = 0; n % 2 == 0 && write < Writes; ++write)
                  {
                      writer.Write(path, BufsOf(body(write)), versions.CreateVersionSink(path), std::nullopt);
                      EXPECT_EQ(TextOf(*writer.Read(path)), body(write));
                      writer.Write("shared", BufsOf("any"), std::nullopt);
                  }
                  while (n % 2 == 1 && latest != body(Writes - 1))
                  {
                      std::string const text = TextOf(*writer.Read(path));
                      EXPECT_GE(text, latest);
                      latest = text;
                  }
              });
    writer.Flush();
    EXPECT_EQ(store->Versions("shared").size(), 2 * Writes);
    std::map<std::string, int> pushed;
    while (auto const version = versions.PopVersion())
    {
        int const n = pushed[version->first]++;
        auto const stored = store->Versions(version->first).at(static_cast<std::size_t>(n) + 1);
        EXPECT_EQ(stored.m_body, body(n));
        EXPECT_EQ(stored.m_id, version->second);
    }
    EXPECT_THAT(pushed, ElementsAre(std::pair("path-0", Writes), std::pair("path-1", Writes)));
    EXPECT_TRUE(versions.Empty());
}

TEST(Writer, ServesReadsFromWhatIsInFlightAndItsDestructorWaits)
{
    CLogCapture log;
    CGate gate;
    auto const store = std::make_shared<CMemoryStore>(false);
    store->SetHooks({[&](auto const&) { gate.Pass(); }, {}});
    store->Put("source", "old");
    auto const first = BufsOf("first");
    {
        CCloudParallelWriter writer(std::make_shared<CMemoryClient>(store));
        writer.Write("path", first, datetime::CDateTime::currentUtcTime());
        writer.Copy("source", "copy");
        EXPECT_EQ(writer.Read("path"), first);
        EXPECT_THROW(writer.Read("copy"), std::bad_optional_access);
        std::atomic<bool> waited = false;
        auto const second = std::async(std::launch::async,
                                       [&]
                                       {
                                           writer.Write("path", BufsOf("second"), std::nullopt);
                                           EXPECT_TRUE(waited);
                                       });
        EXPECT_EQ(writer.Read("path"), first);
        waited = true;
        gate.Open();
    }
    EXPECT_EQ(store->Objects()["path"], "second");
    EXPECT_EQ(store->Objects()["copy"], "old");
}

TEST(Writer, AFailureAtAnyPositionLeavesNothingBehind)
{
    CLogCapture log;
    Repeat(8,
           [](int round)
           {
               bool const versioned = round % 2 == 0;
               std::string const failing = std::to_string(round / 2);
               auto const store = std::make_shared<CMemoryStore>(versioned);
               std::atomic<bool> broken = true;
               store->SetHooks({[&](std::string const& call)
                                { broken&& call.ends_with("(" + failing + ")") ? Refuse() : void(); },
                                {}});
               store->Put("source", "copied");
               auto const client = std::make_shared<CMemoryClient>(store);
               CCloudParallelWriter writer(client);
               CObjectVersionsQueue versions;
               auto const put = [&](int n)
               {
                   std::string const path = std::to_string(n);
                   auto const sink = versions.CreateVersionSink(path);
                   n % 2 == 0 ? writer.Write(path, BufsOf("body"), sink, std::nullopt)
                              : writer.CopyInterRegion(client->GetFileInterRegionSource("source"), path, sink, {});
               };
               Repeat(4, put);
               ExpectStorageFailure(503, "refused", [&] { writer.Flush(); });
               broken = false;
               ExpectStorageFailure(404, HasSubstr("NoSuchKey"), [&] { writer.Read(failing); });
               Repeat(4, put);
               writer.Flush();
               EXPECT_EQ(store->Objects().size(), 5u);
               Repeat(7, [&](int) { EXPECT_EQ(versions.PopVersion().value().second.empty(), !versioned); });
               EXPECT_TRUE(versions.Empty());
           });
}

TEST(Writer, AnOperationThatDoesNotStartLeavesItsPathFree)
{
    CRecorder recorder;
    CCloudParallelWriter writer(RecordingClient(recorder));
    auto const notForVersions = "CCloudParallelWriter::CreateCopyTask is not implemented for versioning buckets";
    ExpectFailure<exc::CRuntimeExc>(notForVersions, [&] { writer.Copy("source", "path"); });
    recorder.m_outcome = EOutcome::ThrowFromCall;
    EXPECT_THROW(writer.Write("path", BufsOf("body"), std::nullopt), CObjectStorageException);
    recorder.m_outcome = EOutcome::Succeed;
    EXPECT_EQ(TextOf(*writer.Read("path")), "");
    writer.Write("path", BufsOf("body"), std::nullopt);
    writer.Flush();
}

} // namespace bucketry
