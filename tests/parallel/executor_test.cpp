// SPDX-License-Identifier: Apache-2.0
#include "parallel/operations.h"

namespace bucketry
{

using namespace testing;

TEST(Executor, KeepsToTheSmallerLimitWhoeverQueues)
{
    for (auto const& [clientLimit, ownLimit, wanted] : {std::tuple{1, 9u, 1}, {3, 9u, 3}, {9, 2u, 2}})
    {
        CCloudParallelTaskExecutor executor(MemoryClient(static_cast<std::uint32_t>(clientLimit)), nullptr, ownLimit);
        std::atomic<int> running = 0;
        std::atomic<int> most = 0;
        std::atomic<int> ended = 0;
        auto const start = [&]
        {
            most = std::max<int>(most, ++running); // factories run one at a time
            return Make([&] { ++ended, --running; });
        };
        InThreads(4, [&](int) { Repeat(25, [&](int) { executor.QueueTask(start); }); });
        executor.Flush();
        EXPECT_LE(most, wanted);
        EXPECT_EQ(ended, 100);
    }
}

TEST(Executor, HandsOnAFailureAtAnyPositionUntilFlush)
{
    CLogCapture log;
    Repeat(4,
           [](int failing)
           {
               CCloudParallelTaskExecutor executor(MemoryClient(4));
               Repeat(4, [&](int n) { executor.PushTask(Make([=] { n == failing ? Refuse() : void(); })); });
               ExpectStorageFailure(503, "refused", [&] { executor.WhenCurrentTasksFinished()->Wait(); });
               auto const full = HasSubstr("Error occured while trying to enqueue a new task\nrefused");
               ExpectStorageFailure(503, full, [&] { executor.QueueTask([]() -> task_t { throw 7; }); });
               std::atomic<bool> ended = false;
               ExpectStorageFailure(503, full, [&] { executor.PushTask(Make([&] { ended = true; })); });
               EXPECT_TRUE(ended);
               ExpectStorageFailure(503, "refused", [&] { executor.Flush(); });
               executor.QueueTask([] { return Make([] {}); });
               executor.Flush();
           });
    EXPECT_EQ(log.Count(logging::ELevel::Error, "Cloud task has failed."), 4u);
}

TEST(Executor, CancelledCallWaitsForAllThatIsInFlight)
{
    CLogCapture log;
    auto const port = std::make_shared<synch::completion_port_t>();
    CCloudParallelTaskExecutor executor(MemoryClient(2), port);
    CGate gate;
    std::atomic<int> ended = 0;
    auto const gated = [&] { return Make([&] { gate.Pass(), ++ended; }); };
    executor.QueueTask(gated);
    executor.QueueTask(gated);
    auto waiting = std::async(std::launch::async, [&] { executor.PushTask(gated()); });
    port->PostError(CObjectStorageException(exc::CRuntimeExc("stop"), 499));
    auto const cancelled =
        std::async(std::launch::async, [&] { ExpectStorageFailure(499, "stop", [&] { executor.PushTask(gated()); }); });
    gate.Open();
    cancelled.wait();
    EXPECT_GE(ended, 3);
    try
    {
        waiting.get(); // it may have begun to wait before or after the cancellation
    }
    catch (CObjectStorageException const& error)
    {
        EXPECT_EQ(error.m_statusCode, 499);
    }
    ExpectStorageFailure(499, "stop", [&] { executor.QueueTask(gated); });
    ExpectStorageFailure(499, "stop", [&] { executor.PushTask(Make(&Refuse)); });
    EXPECT_EQ(log.Count(logging::ELevel::Error, "Failed to wait cloud task"), 1u);
    EXPECT_EQ(ended, 4);
}

TEST(Executor, RefusesWhatItCannotRun)
{
    CCloudParallelTaskExecutor one(MemoryClient(1));
    ExpectFailure<exc::CRuntimeExc>(HasSubstr("there is no task"), [&] { one.PushTask(nullptr); });
    auto const gaveNone = HasSubstr("the factory gave no task");
    ExpectFailure<exc::CRuntimeExc>(gaveNone, [&] { one.QueueTask([] { return task_t(); }); });
    CCloudParallelTaskExecutor none(MemoryClient(0));
    auto const noRoom = "Failed to enqueue task into cloud task executor";
    ExpectFailure<exc::exc_base_t>(noRoom, [&] { none.QueueTask([] { return Make([] {}); }); });
    ExpectFailure<exc::exc_base_t>(noRoom, [&] { none.PushTask(Make([] {})); });
}

TEST(Executor, DestructorWaitsWarnsAndSwallows)
{
    CLogCapture log;
    std::atomic<bool> ended = false;
    {
        CCloudParallelTaskExecutor executor(MemoryClient(3));
        executor.PushTask(Make(&Refuse));
        executor.PushTask(Make([] { throw 7; }));
        executor.PushTask(Make([&] { ended = true; }));
    }
    EXPECT_TRUE(ended);
    EXPECT_EQ(log.Count(logging::ELevel::Warning, "Cloud task executor was not flushed before finalization"), 1u);
    EXPECT_EQ(log.Count(logging::ELevel::Error, "Failed to finalize cloud task executor"), 1u);
}

} // namespace bucketry
