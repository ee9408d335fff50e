#include "support/expect_failure.h"
#include "support/log_capture.h"
#include "support/memory_client.h"
#include "support/recording_client.h"

#include "bucketry/base/options.h"
#include "bucketry/parallel.h"

#include <atomic>
#include <thread>

namespace bucketry
{

namespace
{

using testing::CMemoryClient;
using testing::CMemoryStore;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

void Push(CCloudParallelObjsDeleter& deleter, int count)
{
    for (int n = 0; n < count; ++n)
    {
        deleter.PushObj("object-" + std::to_string(n), "v");
    }
}

} // namespace

TEST(Deleter, SendsFullBatchesAtOnceAndTheRestOnSignal)
{
    testing::CLogCapture log;
    for (bool const versioned : {false, true})
    {
        auto const store = std::make_shared<CMemoryStore>(versioned);
        std::string const call = versioned ? "DeleteFileVersionListAsync" : "DeleteFileListAsync";
        {
            CCloudParallelObjsDeleter deleter(std::make_shared<CMemoryClient>(store), nullptr);
            deleter.SignalObjsPushed();
            Push(deleter, 999);
            deleter.Wait4Finish();
            EXPECT_THAT(store->Calls(), ElementsAre());
            Push(deleter, 1001);
            deleter.SignalObjsPushed();
            deleter.Wait4Finish();
            EXPECT_THAT(store->Calls(), ElementsAre(call + "(1000)", call + "(1000)"));
            Push(deleter, 2);
        }
        EXPECT_EQ(store->Calls().back(), call + "(2)");
    }
    EXPECT_EQ(log.Count(logging::ELevel::Warning, "[CCloudParallelObjsDeleter] Not finalized properly"), 2u);
}

TEST(Deleter, NamesTheVersionOfEachObject)
{
    testing::CRecorder recorder;
    CCloudParallelObjsDeleter deleter(testing::RecordingClient(recorder), nullptr);
    deleter.PushObj("new", "v7");
    deleter.PushObj("old", "");
    deleter.SignalObjsPushed();
    deleter.Wait4Finish();
    auto const called = recorder.Seen().back();
    EXPECT_THAT(called, HasSubstr("v7"));
    EXPECT_THAT(called, HasSubstr("null"));
}

TEST(Deleter, KeepsABatchThatCouldNotBeHandedOver)
{
    testing::CLogCapture log;
    std::uint32_t const usual = options_t::GetInst().GetCloudConcurrentMultiDeleteTaskLimit();
    options_t::GetInst().SetCloudConcurrentMultiDeleteTaskLimit(1);
    auto const store = std::make_shared<CMemoryStore>(false);
    std::atomic<bool> refusing = true;
    store->SetHooks({[&](std::string const&)
                     {
                         if (refusing.exchange(false))
                         {
                             throw CObjectStorageException(exc::CRuntimeExc("refused"), 503);
                         }
                     },
                     {}});
    auto const port = std::make_shared<synch::completion_port_t>();
    CCloudParallelObjsDeleter deleter(std::make_shared<CMemoryClient>(store), port);
    options_t::GetInst().SetCloudConcurrentMultiDeleteTaskLimit(usual);
    Push(deleter, 1000);
    while (refusing) // the first batch is the one that fails
    {
        std::this_thread::yield();
    }
    Push(deleter, 999);
    auto const full = HasSubstr("Error occured while trying to enqueue a new task\nrefused");
    testing::ExpectStorageFailure(503, full, [&] { deleter.PushObj("object", ""); });
    testing::ExpectStorageFailure(503, full, [&] { deleter.PushObj("one more", ""); });
    testing::ExpectStorageFailure(503, HasSubstr("[CCloudParallelObjsDeleter] Failed to wait for finish\nrefused"),
                                  [&] { deleter.Wait4Finish(); });
    deleter.SignalObjsPushed();
    deleter.Wait4Finish();
    EXPECT_EQ(store->Calls().back(), "DeleteFileListAsync(1001)");

    deleter.PushObj("left", "");
    port->PostError(exc::CRuntimeExc("stop"));
    testing::ExpectFailure<exc::CRuntimeExc>("stop", [&] { deleter.SignalObjsPushed(); });
    EXPECT_EQ(store->Calls().back(), "DeleteFileListAsync(1001)");
}

} // namespace bucketry
