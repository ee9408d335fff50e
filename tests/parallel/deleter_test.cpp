// SPDX-License-Identifier: Apache-2.0
#include "parallel/operations.h"
#include "support/recording_client.h"

#include "bucketry/base/options.h"

namespace bucketry
{

using namespace testing;

TEST(Deleter, SendsFullBatchesAtOnceAndTheRestOnSignalOrAtTheEnd)
{
    CLogCapture log;
    for (bool const versioned : {false, true})
    {
        auto const store = std::make_shared<CMemoryStore>(versioned);
        std::string const call = versioned ? "DeleteFileVersionListAsync" : "DeleteFileListAsync";
        {
            CCloudParallelObjsDeleter deleter(std::make_shared<CMemoryClient>(store), nullptr);
            auto const push = [&](int) { deleter.PushObj("object", "v"); };
            deleter.SignalObjsPushed();
            Repeat(999, push);
            deleter.Wait4Finish();
            EXPECT_THAT(store->Calls(), ElementsAre());
            Repeat(1, push);
            deleter.Wait4Finish();
            EXPECT_THAT(store->Calls(), ElementsAre(call + "(1000)"));
            Repeat(2, push);
        }
        EXPECT_EQ(store->Calls().back(), call + "(2)");
    }
    EXPECT_EQ(log.Count(logging::ELevel::Warning, "[CCloudParallelObjsDeleter] Not finalized properly"), 2u);
}

TEST(Deleter, NamesTheVersionOfEachObject)
{
    CRecorder recorder;
    CCloudParallelObjsDeleter deleter(RecordingClient(recorder), nullptr);
    deleter.PushObj("new", "v7");
    deleter.PushObj("old", "");
    deleter.SignalObjsPushed();
    deleter.Wait4Finish();
    EXPECT_THAT(recorder.Seen().back(), AllOf(HasSubstr("v7"), HasSubstr("null")));
}

TEST(Deleter, KeepsABatchThatCouldNotBeHandedOver)
{
    CLogCapture log;
    std::uint32_t const usual = options_t::GetInst().GetCloudConcurrentMultiDeleteTaskLimit();
    options_t::GetInst().SetCloudConcurrentMultiDeleteTaskLimit(1);
    auto const store = std::make_shared<CMemoryStore>(false);
    std::atomic<bool> refusing = true;
    store->SetHooks({[&](auto const&) { refusing ? Refuse() : void(); }, {}});
    auto const port = std::make_shared<synch::completion_port_t>();
    CCloudParallelObjsDeleter deleter(std::make_shared<CMemoryClient>(store), port);
    options_t::GetInst().SetCloudConcurrentMultiDeleteTaskLimit(usual);
    auto const push = [&](int) { deleter.PushObj("object", ""); };
    Repeat(1999, push);
    auto const full = HasSubstr("Error occured while trying to enqueue a new task\nrefused");
    ExpectStorageFailure(503, full, [&] { push(1000); });
    ExpectStorageFailure(503, full, [&] { push(1001); });
    auto const late = HasSubstr("[CCloudParallelObjsDeleter] Failed to wait for finish\nrefused");
    ExpectStorageFailure(503, late, [&] { deleter.Wait4Finish(); });
    refusing = false;
    deleter.SignalObjsPushed();
    deleter.Wait4Finish();
    EXPECT_EQ(store->Calls().back(), "DeleteFileListAsync(1001)");
    port->PostError(exc::CRuntimeExc("stop"));
    push(1);
    ExpectFailure<exc::CRuntimeExc>("stop", [&] { deleter.SignalObjsPushed(); });
    EXPECT_EQ(store->Calls().back(), "DeleteFileListAsync(1001)");
}

} // namespace bucketry
