#include "support/expect_failure.h"
#include "support/log_capture.h"
#include "support/memory_client.h"

#include "bucketry/parallel.h"

#include <atomic>
#include <future>

namespace bucketry
{

namespace
{

using ::testing::HasSubstr;
using task_t = std::shared_ptr<task::IAsyncTask>;

std::shared_ptr<ICloudClient> ClientWithLimit(std::uint32_t limit)
{
    return std::make_shared<testing::CMemoryClient>(std::make_shared<testing::CMemoryStore>(false), limit);
}

task_t Make(std::function<void()> body)
{
    return CPplxTaskUtils().CreateTask(std::move(body));
}

[[noreturn]] void Refuse()
{
    throw CObjectStorageException(exc::CRuntimeExc("refused"), 503);
}

} // namespace

TEST(Executor, KeepsToTheSmallerLimitWhoeverQueues)
{
    for (auto const& [clientLimit, ownLimit, wanted] : {std::tuple{1, 9, 1}, {3, 9, 3}, {9, 2, 2}})
    {
        CCloudParallelTaskExecutor executor(ClientWithLimit(static_cast<std::uint32_t>(clientLimit)), nullptr,
                                            static_cast<unsigned>(ownLimit));
        std::atomic<int> running = 0;
        std::atomic<int> most = 0;
        std::atomic<int> ended = 0;
        std::vector<std::thread> callers;
        for (int caller = 0; caller < 4; ++caller)
        {
            callers.emplace_back(
                [&]
                {
                    for (int n = 0; n < 25; ++n)
                    {
                        executor.QueueTask(
                            [&]
                            {
                                int const now = ++running;
                                most = std::max<int>(most, now);
                                return Make(
                                    [&]
                                    {
                                        --running;
                                        ++ended;
                                    });
                            });
                    }
                });
        }
        for (std::thread& caller : callers)
        {
            caller.join();
        }
        executor.Flush();
        EXPECT_LE(most, wanted);
        EXPECT_EQ(ended, 100);
    }
}

TEST(Executor, HandsOnAFailureAtAnyPositionUntilFlush)
{
    testing::CLogCapture log;
    constexpr int Limit = 4;
    for (int failing = 0; failing < Limit; ++failing)
    {
        CCloudParallelTaskExecutor executor(ClientWithLimit(Limit));
        for (int n = 0; n < Limit; ++n)
        {
            executor.QueueTask([=] { return Make([=] { n == failing ? Refuse() : void(); }); });
        }
        testing::ExpectStorageFailure(503, "refused", [&] { executor.WhenCurrentTasksFinished()->Wait(); });
        auto const full = HasSubstr("Error occured while trying to enqueue a new task\nrefused");
        testing::ExpectStorageFailure(
            503, full, [&] { executor.QueueTask([]() -> task_t { throw std::logic_error("was called"); }); });
        std::atomic<bool> ended = false;
        testing::ExpectStorageFailure(503, full, [&] { executor.PushTask(Make([&] { ended = true; })); });
        EXPECT_TRUE(ended);
        testing::ExpectStorageFailure(503, "refused", [&] { executor.Flush(); });
        executor.Flush();
        executor.QueueTask([] { return Make([] {}); });
        executor.Flush();
    }
    EXPECT_EQ(log.Count(logging::ELevel::Error, "Cloud task has failed."), Limit);
}

TEST(Executor, CancelledCallWaitsForAllThatIsInFlight)
{
    testing::CLogCapture log;
    auto const port = std::make_shared<synch::completion_port_t>();
    CCloudParallelTaskExecutor executor(ClientWithLimit(1), port);
    std::promise<void> gate;
    auto const open = gate.get_future().share();
    std::atomic<int> ended = 0;
    auto const gated = [&]
    {
        return Make(
            [&]
            {
                open.wait();
                ++ended;
            });
    };
    executor.QueueTask(gated);
    // Two callers wait for room, one in the queue and one behind it, when the cancellation comes.
    auto queued = std::async(std::launch::async, [&] { executor.QueueTask(gated); });
    auto pushed = std::async(std::launch::async, [&] { executor.PushTask(gated()); });
    port->PostError(CObjectStorageException(exc::CRuntimeExc("stop"), 499));
    auto cancelled = std::async(std::launch::async, [&] { executor.PushTask(gated()); });
    gate.set_value();
    testing::ExpectStorageFailure(499, "stop", [&] { cancelled.get(); });
    for (std::future<void>* const caller : {&queued, &pushed})
    {
        try
        {
            caller->get();
        }
        catch (CObjectStorageException const& error) // it came too late to wait
        {
            EXPECT_EQ(error.m_statusCode, 499);
        }
    }
    int const before = ended;
    testing::ExpectStorageFailure(499, "stop", [&] { executor.QueueTask(gated); });
    testing::ExpectStorageFailure(499, "stop", [&] { executor.PushTask(Make(&Refuse)); });
    EXPECT_EQ(log.Count(logging::ELevel::Error, "Failed to wait cloud task"), 1u);
    executor.Flush();
    EXPECT_GE(before, 3);
    EXPECT_LE(before, 4);
}

TEST(Executor, RefusesWhatItCannotRun)
{
    for (unsigned const limit : {0u, 1u})
    {
        CCloudParallelTaskExecutor executor(ClientWithLimit(limit));
        testing::ExpectFailure<exc::CRuntimeExc>(HasSubstr("there is no task"), [&] { executor.PushTask(nullptr); });
        auto const noTask = [&] { executor.QueueTask([] { return task_t(); }); };
        if (limit == 0)
        {
            auto const text = "Failed to enqueue task into cloud task executor";
            testing::ExpectFailure<exc::exc_base_t>(text, noTask);
            testing::ExpectFailure<exc::exc_base_t>(text, [&] { executor.PushTask(Make([] {})); });
        }
        else
        {
            testing::ExpectFailure<exc::CRuntimeExc>(HasSubstr("gave no task"), noTask);
        }
        executor.Flush();
    }
}

TEST(Executor, DestructorWaitsWarnsAndSwallows)
{
    testing::CLogCapture log;
    std::atomic<bool> ended = false;
    {
        CCloudParallelTaskExecutor executor(ClientWithLimit(3));
        executor.PushTask(Make([&] { ended = true; }));
        executor.PushTask(Make(&Refuse));
        executor.PushTask(Make([] { throw 7; }));
    }
    EXPECT_TRUE(ended);
    EXPECT_EQ(log.Count(logging::ELevel::Warning, "Cloud task executor was not flushed before finalization"), 1u);
    EXPECT_EQ(log.Count(logging::ELevel::Error, "Failed to finalize cloud task executor"), 1u);
}

} // namespace bucketry
