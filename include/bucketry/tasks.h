// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"
#include "bucketry/base/task.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace bucketry::task
{

/// The handle of an asynchronous operation, which runs from the moment it is made. Any thread may wait, and several
/// may.
class BUCKETRY_API IAsyncTask
{
public:
    virtual ~IAsyncTask() = default;
    /// Blocks until the task has ended and rethrows its failure, at each call.
    virtual void Wait() = 0;
    /// Whether the task has ended, well or not. Never blocks.
    virtual bool IsDone() = 0;
    /// A new task that runs `function` once this one has ended well, and fails with its failure otherwise.
    virtual std::shared_ptr<IAsyncTask> Then(std::function<void()>&& function) = 0;
    /// The same; the new task ends when the task that `function` returns does, and fails if it fails.
    virtual std::shared_ptr<IAsyncTask> ThenChain(std::function<std::shared_ptr<IAsyncTask>()>&& function) = 0;
    /// A new task that calls `function` at once with this task, which `function` is expected to wait for: the form that
    /// can see a failure. It keeps this task alive.
    virtual std::shared_ptr<IAsyncTask> ThenTask(std::function<void(std::shared_ptr<IAsyncTask>)>&& function) = 0;
};

/// Several tasks to wait for. One WaitForAny at a time on a task.
class BUCKETRY_API IAsyncTaskCollection
{
public:
    virtual ~IAsyncTaskCollection() = default;
    /// Returns when one has ended, without saying which; at once on an empty collection. Throws no task's failure.
    virtual void WaitForAny() = 0;
    /// Returns when all have ended. Throws no task's failure.
    virtual void WaitForAll() = 0;
    /// A task that ends when all have ended, and fails with the failure of the first one in collection order that
    /// failed.
    virtual std::shared_ptr<IAsyncTask> WhenAll() = 0;
};

/// Makes tasks and collections.
class BUCKETRY_API IAsyncTaskUtils
{
public:
    virtual ~IAsyncTaskUtils() = default;
    /// Throws exc::CRuntimeExc for a null task, or one of another implementation.
    virtual std::shared_ptr<IAsyncTaskCollection> CreateTaskCollection(
        std::vector<std::shared_ptr<IAsyncTask>> const& tasks) = 0;
    /// A task that does nothing; it has a thread, too, and may not be done yet when it is returned.
    virtual std::shared_ptr<IAsyncTask> CreateCompletedTask() = 0;
    /// Runs `function` on a thread of its own. Throws std::system_error if there is none.
    virtual std::shared_ptr<IAsyncTask> CreateTask(std::function<void()>&& function) = 0;
};

} // namespace bucketry::task

namespace bucketry
{

/// The one implementation of task::IAsyncTask, around a web::Task. A task that nobody has waited for or continued
/// blocks in its destructor until it has ended, and logs its failure.
class BUCKETRY_API CPplxTask final : public task::IAsyncTask, public std::enable_shared_from_this<CPplxTask>
{
public:
    explicit CPplxTask(web::Task<void> task);
    CPplxTask(CPplxTask const&) = delete;
    CPplxTask& operator=(CPplxTask const&) = delete;
    ~CPplxTask() override;

    void Wait() override;
    bool IsDone() override;
    std::shared_ptr<task::IAsyncTask> Then(std::function<void()>&& function) override;
    std::shared_ptr<task::IAsyncTask> ThenChain(std::function<std::shared_ptr<task::IAsyncTask>()>&& function) override;
    /// Throws std::bad_weak_ptr unless this task is owned by a std::shared_ptr.
    std::shared_ptr<task::IAsyncTask> ThenTask(
        std::function<void(std::shared_ptr<task::IAsyncTask>)>&& function) override;

    web::Task<void> InnerTask() const;

private:
    std::shared_ptr<task::IAsyncTask> PassDutyTo(web::Task<void> continuation);

    web::Task<void> m_task;
    std::atomic<bool> m_waitOnDestroy{true};
};

/// The collection of CPplxTask.
class BUCKETRY_API SPplxTaskCollection final : public task::IAsyncTaskCollection
{
public:
    explicit SPplxTaskCollection(std::shared_ptr<std::vector<std::shared_ptr<CPplxTask>>> tasks);

    void WaitForAny() override;
    void WaitForAll() override;
    std::shared_ptr<task::IAsyncTask> WhenAll() override;

private:
    std::vector<web::Task<void>> InnerTasks() const;

    std::shared_ptr<std::vector<std::shared_ptr<CPplxTask>>> m_tasks;
};

/// Makes CPplxTask and its collections; has no state.
class BUCKETRY_API CPplxTaskUtils final : public task::IAsyncTaskUtils
{
public:
    std::shared_ptr<task::IAsyncTaskCollection> CreateTaskCollection(
        std::vector<std::shared_ptr<task::IAsyncTask>> const& tasks) override;
    std::shared_ptr<task::IAsyncTask> CreateCompletedTask() override;
    std::shared_ptr<task::IAsyncTask> CreateTask(std::function<void()>&& function) override;
};

} // namespace bucketry
