// SPDX-License-Identifier: Apache-2.0
#include "bucketry/statistics.h"

#include "support/decorator_suite.h"
#include "support/log_capture.h"
#include "support/memory_client.h"

#include <gtest/gtest.h>

#include <map>
#include <thread>

namespace bucketry
{
namespace
{

using namespace testing;
using counts_t = std::map<std::string, unsigned long>;

CCloudStatisticsManager& Manager()
{
    return CCloudStatisticsManager::Instance();
}

/// The counters of a name that are not 0.
counts_t CountsOf(std::string const& name)
{
    counts_t counts;
    auto const values = Manager().GetCloudStatisticsValues(name).value();
    for (auto const& slot : values.m_requests)
    {
        if (slot.m_value != 0)
        {
            counts.emplace(std::string(slot.m_name, slot.m_nameLength), slot.m_value);
        }
    }
    return counts;
}

std::shared_ptr<ICloudClient> Counted(CRecorder& recorder)
{
    return WrapCloudClientInStatistics("decorated", RecordingClient(recorder));
}

TEST(Statistics, PassesEachOperationOnOnceAndUnchanged)
{
    ExpectPassesEverythingOn<ICloudClient>(ClientOperations(), &RecordingClient, &Counted);
    ExpectPassesEverythingOn<ICloudVersioningUtils>(VersioningOperations(), &RecordingVersioning,
                                                    [](CRecorder& recorder)
                                                    { return Counted(recorder)->GetVersioningUtils(); });
}

/// The name without what tells the asynchronous form.
std::string PlainName(std::string name)
{
    return name.ends_with("Async") ? name.substr(0, name.size() - 5) : name;
}

template <class TInterface>
void ExpectCounters(std::vector<SOperation<TInterface>> const& operations,
                    std::map<std::string, counts_t> const& exceptions,
                    std::function<std::shared_ptr<TInterface>(ICloudClient&)> const& get)
{
    for (SOperation<TInterface> const& operation : operations)
    {
        for (EOutcome const outcome : {EOutcome::Succeed, EOutcome::ThrowFromCall, EOutcome::FailTask})
        {
            CRecorder recorder;
            auto const client = WrapCloudClientInStatistics("counters", RecordingClient(recorder));
            std::shared_ptr<TInterface> const object = get(*client);
            Manager().ResetCloudStatistics("counters");
            recorder.m_outcome = outcome;
            try
            {
                operation.m_call(*object);
            }
            catch (CObjectStorageException const&)
            {
            }
            auto const exception = exceptions.find(operation.m_name);
            counts_t const expected =
                exception == exceptions.end() ? counts_t{{PlainName(operation.m_name), 1}} : exception->second;
            EXPECT_EQ(CountsOf("counters"), expected) << operation.m_name;
        }
    }
}

TEST(Statistics, CountsEachRequestInItsSlotAlsoIfItFails)
{
    ExpectCounters<ICloudClient>(ClientOperations(),
                                 {{"IsFileExist", {{"IsObjectExist", 1}}},
                                  {"IsFileExistAsync", {{"IsFileExistAsync", 1}}},
                                  {"GetAbsolutePath", {}},
                                  {"GetFileInterRegionSource", {}},
                                  {"IsFileInterRegionSourceCompatible", {}},
                                  {"GetArchiveRetrievalBehavior", {}},
                                  {"CopyFileInterRegionAsync", {{"CopyFileInterRegionAsync", 1}}}},
                                 [](ICloudClient& client)
                                 { return std::shared_ptr<ICloudClient>(&client, [](auto*) {}); });
    ExpectCounters<ICloudVersioningUtils>(
        VersioningOperations(),
        {{"CheckAndUpdateImmutabilityAsync", {{"GetFileVersionImmutability", 1}, {"UpdateFileVersionImmutability", 1}}},
         {"DeleteFileVersionIgnoreImmutabilityAsync", {{"DeleteFileVersion", 1}}},
         {"CopyFileInterRegionAsync", {{"CopyFileInterRegionAsync", 1}}}},
        [](ICloudClient& client) { return client.GetVersioningUtils(); });
}

TEST(Statistics, CountsBytesOfTransfersThatSucceeded)
{
    auto const store = std::make_shared<CMemoryStore>(true);
    auto const client = WrapCloudClientInStatistics("bytes", std::make_shared<CMemoryClient>(store));
    auto const versioning = client->GetVersioningUtils();
    auto const bufs = std::make_shared<io::block::CPooledBuf>();
    auto const bytes = []
    {
        auto const values = Manager().GetCloudStatisticsValues("bytes").value();
        return std::pair(values.m_uploadedBytes, values.m_downloadedBytes);
    };

    client->UploadFileAsync("a", BufsOf(std::string(100, 'x')))->Wait();
    auto const id = std::make_shared<std::string>();
    versioning->UploadFileAsync("a", BufsOf("1234"), id, std::nullopt)->Wait();
    EXPECT_EQ(bytes(), std::pair(104UL, 0UL));
    client->DownloadFileAsync("a", bufs, nullptr, 1, 2)->Wait();
    versioning->DownloadFileVersionAsync("a", *id, bufs, nullptr)->Wait();
    EXPECT_EQ(bytes(), std::pair(104UL, 6UL));
    EXPECT_THROW(client->DownloadFileAsync("missing", bufs, nullptr)->Wait(), CObjectStorageException);
    EXPECT_EQ(bytes(), std::pair(104UL, 6UL));

    auto const upload = client->StartUpload("stream", 15);
    upload->Write(bufs->GetData(), 4);
    upload->WriteZeroes(11);
    EXPECT_EQ(bytes(), std::pair(119UL, 6UL)); // though it is not finished
    EXPECT_EQ(upload->Finish(), "finished");
    auto const versioned = versioning->StartUpload("stream", 1, std::nullopt);
    versioned->Write(bufs->GetData(), 1);
    EXPECT_NE(versioned->FinishVersioned(), "");
    auto const download = client->StartDownload("stream");
    unsigned char byte = 0;
    download->Read(&byte, 0, 1);
    EXPECT_THROW(download->Read(&byte, 1, 1), CObjectStorageException);
    EXPECT_EQ(bytes(), std::pair(120UL, 7UL));
}

TEST(Statistics, SharesCountersAmongLivingWritersOfOneName)
{
    EXPECT_FALSE(Manager().GetCloudStatisticsValues("nobody").has_value());
    {
        auto const first = Manager().AddWriter("shared");
        auto const second = Manager().AddWriter("shared");
        first.UpdateDownloadCounter(1);
        second.UpdateDownloadCounter(2);
        Manager().ResetCloudStatistics();
        first.UpdateUploadCounter(3);
        second.UpdateUploadCounter(4);
    }
    auto const kept = Manager().GetCloudStatisticsValues("shared").value();
    EXPECT_EQ(std::pair(kept.m_downloadedBytes, kept.m_uploadedBytes), std::pair(0UL, 7UL));
    EXPECT_GE(Manager().GetCloudStatisticsValues().m_uploadedBytes, 7U);
    auto const afresh = Manager().AddWriter("shared");
    EXPECT_EQ(Manager().GetCloudStatisticsValues("shared").value().m_uploadedBytes, 0U);
}

TEST(Statistics, CountsFromManyThreadsWithoutLoss)
{
    CRecorder recorder;
    auto const client = WrapCloudClientInStatistics("threads", RecordingClient(recorder));
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 8; ++i)
    {
        threads.emplace_back(
            [&, i]
            {
                for (unsigned n = 0; n < 200; ++n)
                {
                    client->GetConcurrentTaskLimit();
                    WrapCloudClientInStatistics("threads-" + std::to_string(i), client);
                    Manager().GetCloudStatisticsValues();
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(CountsOf("threads"), (counts_t{{"GetConcurrentTaskLimit", 1600}}));
}

TEST(Statistics, LogsAllCountersAsOneText)
{
    CLogCapture const log;
    SCloudStatisticsValues values;
    values.m_uploadedBytes = 12;
    values.m_requests[0].m_value = 3;
    SCloudStatisticsValues sum = values;
    (sum += values).WriteToLog();
    ASSERT_EQ(log.Lines().size(), 1U);
    CLogCapture::SLine const line = log.Lines().front();
    EXPECT_EQ(line.m_section, "statistics_log");
    EXPECT_TRUE(
        line.m_text.starts_with("Downloaded (bytes): [0]. Uploaded (bytes): [24]\nDownloadFile: [6] UploadFile: [0] "));
    EXPECT_TRUE(line.m_text.ends_with("Lock: [0] CopyFileInterRegionAsync: [0] GetFileInterRegionSource: [0] "
                                      "GetServerTime: [0] StartBatchRestoreJob: [0] GetBatchJobStatus: [0] "));
    EXPECT_EQ(std::count(line.m_text.begin(), line.m_text.end(), '['), 46);
}

} // namespace
} // namespace bucketry
