// SPDX-License-Identifier: Apache-2.0
#include "support/expect_failure.h"
#include "support/log_capture.h"

#include "bucketry/tasks.h"

#include <atomic>
#include <future>
#include <latch>
#include <thread>

namespace bucketry
{

namespace
{

using ::testing::HasSubstr;
using task_t = std::shared_ptr<task::IAsyncTask>;

task_t Make(std::function<void()> body)
{
    return CPplxTaskUtils().CreateTask(std::move(body));
}

task_t Fail(unsigned short status)
{
    return Make([status] { throw CObjectStorageException(exc::CRuntimeExc("refused"), status); });
}

std::shared_ptr<task::IAsyncTaskCollection> All(std::vector<task_t> const& tasks)
{
    return CPplxTaskUtils().CreateTaskCollection(tasks);
}

/// A task of another implementation.
struct SForeignTask final : task::IAsyncTask
{
    void Wait() override {}
    bool IsDone() override { return true; }
    task_t Then(std::function<void()>&&) override { return nullptr; }
    task_t ThenChain(std::function<task_t()>&&) override { return nullptr; }
    task_t ThenTask(std::function<void(task_t)>&&) override { return nullptr; }
};

} // namespace

TEST(Task, FailureComesOutOfEveryWaitOfEveryThread)
{
    task_t const task = Fail(503);
    std::vector<std::thread> waiters;
    for (int n = 0; n < 6; ++n)
    {
        waiters.emplace_back(
            [&]
            {
                for (int again = 0; again < 50; ++again)
                {
                    testing::ExpectStorageFailure(503, HasSubstr("one layer up\nrefused"),
                                                  [&]
                                                  {
                                                      try
                                                      {
                                                          task->Wait();
                                                      }
                                                      catch (std::exception const& error)
                                                      {
                                                          exc::RegenExc("one layer up", error);
                                                      }
                                                  });
                }
            });
    }
    for (std::thread& waiter : waiters)
    {
        waiter.join();
    }
    EXPECT_TRUE(task->IsDone());
}

TEST(Task, BodyCountsAsDoneOnlyWhenItHasEndedAndItsCapturesAreGone)
{
    std::promise<void> gate;
    auto held = std::make_shared<int>(1);
    std::weak_ptr<int> const watched = held;
    task_t const task = Make([held, open = std::make_shared<std::future<void>>(gate.get_future())] { open->wait(); });
    held.reset();
    EXPECT_FALSE(task->IsDone());
    gate.set_value();
    task->Wait();
    EXPECT_TRUE(task->IsDone());
    EXPECT_TRUE(watched.expired());
}

TEST(Task, ContinuationsPassValuesAndFailuresOn)
{
    std::atomic<int> calls{0};
    Make([] {})->Then([&] { ++calls; })->ThenChain([&] { return Make([&] { ++calls; }); })->Wait();
    EXPECT_EQ(calls, 2);

    testing::ExpectStorageFailure(404, HasSubstr("refused"), [&] { Fail(404)->Then([&] { ++calls; })->Wait(); });
    testing::ExpectStorageFailure(409, HasSubstr("refused"),
                                  [&] { Make([] {})->ThenChain([] { return Fail(409); })->Wait(); });
    Fail(404)
        ->ThenTask(
            [&](task_t const& parent)
            {
                testing::ExpectStorageFailure(404, HasSubstr("refused"), [&] { parent->Wait(); });
                ++calls;
            })
        ->Wait();
    EXPECT_EQ(calls, 3);

    auto const text = web::TaskFromResult(6).then<std::string>([](int value) { return std::to_string(value * 7); });
    EXPECT_EQ(text.then<int>([](web::Task<std::string> const& parent) { return std::stoi(parent.get()); }).get(), 42);

    web::Task<int> moved = web::TaskFromResult(7);
    web::Task<int> const target = std::move(moved);
    EXPECT_EQ(moved.get() * target.get(), 49);
}

TEST(Task, WrongTasksAndFunctionsAreFailures)
{
    char const* const chained = "CPplxTask::Then: Incorrect type of IAsyncTask: not a pplx task";
    for (task_t const& wrong : {task_t(), task_t(std::make_shared<SForeignTask>())})
    {
        testing::ExpectFailure<exc::CRuntimeExc>(chained,
                                                 [&] { Make([] {})->ThenChain([wrong] { return wrong; })->Wait(); });
        testing::ExpectFailure<exc::CRuntimeExc>("Incorrect type of IAsyncTask: not a pplx task",
                                                 [&] {
                                                     All({Make([] {}), wrong});
                                                 });
    }
    EXPECT_THROW(Make({})->Wait(), std::bad_function_call);
    EXPECT_THROW(CPplxTask(web::TaskFromResult()).ThenTask([](task_t const&) {}), std::bad_weak_ptr);
}

TEST(Task, DroppedHandleWaitsAndLogsTheFailureThatNobodySaw)
{
    testing::CLogCapture log;
    for (int n = 0; n < 200; ++n)
    {
        std::atomic<bool> ended{false};
        Make(
            [&]
            {
                ended = true;
                throw 42;
            });
        EXPECT_TRUE(ended);
    }
    EXPECT_EQ(log.Count(logging::ELevel::Error, "At ~CPplxTask()"), 200U);

    Fail(500)->ThenTask([](task_t const&) {})->Wait();
    EXPECT_THROW(Fail(500)->Then([] {})->Wait(), CObjectStorageException);
    EXPECT_EQ(log.Count(logging::ELevel::Error, "At ~CPplxTask()"), 200U) << "the duty has passed on";
}

TEST(TaskCollection, WaitForAnyNeverMissesAnEnd)
{
    for (unsigned round = 0; round < 300; ++round)
    {
        std::latch start(1);
        std::atomic<bool> release{false};
        std::vector<task_t> tasks;
        for (unsigned n = 0; n < 4; ++n)
        {
            tasks.push_back(Make(
                [&start, &release, stays = n != round % 4, spins = round * 7 % 50, fails = round % 3 == 0]
                {
                    start.wait();
                    for (unsigned spin = 0; spin < spins; ++spin)
                    {
                        std::this_thread::yield();
                    }
                    while (stays && !release)
                    {
                        std::this_thread::yield();
                    }
                    if (fails)
                    {
                        throw exc::CRuntimeExc("an end as well");
                    }
                }));
        }
        start.count_down();
        auto const collection = All(tasks);
        collection->WaitForAny();
        EXPECT_TRUE(tasks[round % 4]->IsDone());
        EXPECT_FALSE(tasks[(round + 1) % 4]->IsDone());
        release = true;
        collection->WaitForAll();
        collection->WaitForAny();
        for (task_t const& task : tasks)
        {
            EXPECT_TRUE(task->IsDone());
            EXPECT_EQ(round % 3 == 0,
                      [&]
                      {
                          try
                          {
                              task->Wait();
                              return false;
                          }
                          catch (exc::CRuntimeExc const&)
                          {
                              return true;
                          }
                      }());
        }
    }
}

TEST(TaskCollection, WhenAllReportsTheFirstFailureInOrderAfterAllHaveEnded)
{
    testing::CLogCapture log;
    std::promise<void> gate;
    std::atomic<bool> lastEnded{false};
    task_t const second = Make(
        [open = gate.get_future().share()]
        {
            open.wait();
            throw CObjectStorageException(exc::CRuntimeExc("second"), 502);
        });
    task_t const last = Make(
        [&, third = Fail(503)]
        {
            EXPECT_THROW(third->Wait(), CObjectStorageException);
            gate.set_value();
            lastEnded = true;
        });
    task_t const all = All({Make([] {}), second, Fail(503), last})->WhenAll();
    testing::ExpectStorageFailure(502, HasSubstr("second"), [&] { all->Wait(); });
    EXPECT_TRUE(lastEnded);
}

TEST(TaskCollection, OfNothingIsReadyAtOnce)
{
    All({})->WaitForAny();
    All({})->WaitForAll();
    EXPECT_NO_THROW(All({})->WhenAll()->Wait());
}

TEST(StorageFailure, KeepsClassStatusAndLinesThroughCopiesAndPorts)
{
    CObjectStorageException const original(std::out_of_range("the range"), 416);
    EXPECT_STREQ(original.what(), "the range");
    synch::completion_port_t port;
    std::thread([&] { port.PostError(*exc::CloneExc(original)); }).join();
    port.PostError(exc::CRuntimeExc("a later one"));
    testing::ExpectStorageFailure(416, ::testing::StrEq("the range"), [&] { port.CheckForErrorsExc(); });

    auto const clone = std::dynamic_pointer_cast<CObjectStorageException>(original.Clone());
    ASSERT_TRUE(clone);
    EXPECT_EQ(clone->m_inner, original.m_inner);
    clone->AddMessage("on top");
    testing::ExpectStorageFailure(416, ::testing::StrEq("on top\nthe range"), [&] { clone->Generate(); });
    CObjectStorageException const again(*clone, 404);
    EXPECT_STREQ(again.what(), "on top\nthe range");
}

} // namespace bucketry
