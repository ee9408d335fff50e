// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

/// The task layer under all asynchronous operations. A task is a thread: its body runs at once on a thread of its own,
/// and so does each continuation. Nothing cancels a task.
namespace bucketry::web
{

template <class T>
class Task;

namespace details
{

/// What all copies of a task share. The last holder of a context joins the task's thread.
template <class T>
class CTaskContext
{
public:
    CTaskContext() = default;
    CTaskContext(CTaskContext const&) = delete;
    CTaskContext& operator=(CTaskContext const&) = delete;
    /// Waits for the thread while the mutexes that it still uses are alive.
    ~CTaskContext() { m_future = {}; }

    /// Blocks until the body has ended; gives a copy of its value, or rethrows what it threw, always the same object.
    T getFutureResult()
    {
        std::lock_guard const lock(m_futureMutex);
        if (!m_future.valid())
        {
            throw std::runtime_error(std::is_void_v<T> ? "Task wait failed. Future object is invalid"
                                                       : "Context get future result failed. Future object is invalid");
        }
        return m_future.get();
    }

    /// Blocks until the body has ended, however it ended.
    void wait()
    {
        std::lock_guard const lock(m_futureMutex);
        if (!m_future.valid())
        {
            throw std::runtime_error("Task wait failed. Future object is invalid");
        }
        m_future.wait();
    }

    /// Never blocks on the body.
    bool IsDone()
    {
        std::lock_guard const lock(m_stateMutex);
        return m_isDone;
    }

    /// Asks the end of the body to notify a waiter, which replaces an earlier one. True if the body has ended already.
    bool Watch(std::shared_ptr<std::condition_variable> const& condition, std::shared_ptr<std::mutex> const& mutex)
    {
        std::lock_guard const lock(m_stateMutex);
        if (!m_isDone)
        {
            m_waiterCondition = condition;
            m_waiterMutex = mutex;
        }
        return m_isDone;
    }

    /// Starts the task's thread: the one place where that happens. The body may use this context, but not `m_future`,
    /// which is still being assigned. What the function captured goes before the task counts as done.
    void Start(std::function<T()>&& function)
    {
        m_future = std::async(std::launch::async,
                              [this, function = std::move(function)]() mutable -> T
                              {
                                  CEnd const end(*this);
                                  std::function<T()> const body = std::exchange(function, nullptr);
                                  return body();
                              });
    }

private:
    class CEnd
    {
    public:
        explicit CEnd(CTaskContext& context) : m_context(context) {}
        CEnd(CEnd const&) = delete;
        CEnd& operator=(CEnd const&) = delete;
        ~CEnd() { m_context.SetDone(); }

    private:
        CTaskContext& m_context;
    };

    /// The waiter's mutex is taken only after the state mutex is free: a waiter takes the two in the other order.
    void SetDone()
    {
        std::shared_ptr<std::condition_variable> condition;
        std::shared_ptr<std::mutex> mutex;
        {
            std::lock_guard const lock(m_stateMutex);
            m_isDone = true;
            condition = m_waiterCondition;
            mutex = m_waiterMutex;
        }
        if (condition)
        {
            {
                std::lock_guard const lock(*mutex);
            }
            condition->notify_all();
        }
    }

    std::shared_ptr<std::condition_variable> m_waiterCondition; ///< of the wait-for-any that watches this task, if any
    std::shared_ptr<std::mutex> m_waiterMutex;
    std::shared_future<T> m_future;
    std::mutex m_stateMutex;  ///< guards m_isDone and the two waiter fields
    std::mutex m_futureMutex; ///< held during a read of m_future
    bool m_isDone = false;
};

template <class T>
inline constexpr bool IsTask = false;
template <class T>
inline constexpr bool IsTask<Task<T>> = true;

} // namespace details

/// A handle on a running body, copied by value; all copies share its result. Any thread may wait, and several may.
/// Dropping the last copy of a running task blocks until its body has ended, so no body may own its own task.
template <class T>
class Task
{
public:
    template <class U>
    using Context = details::CTaskContext<U>;
    using VoidContext = details::CTaskContext<void>;

    /// Starts the body on a thread of its own. Throws std::system_error if no thread can be started. An empty function
    /// fails the task with std::bad_function_call.
    explicit Task(std::function<T()>&& body) : m_context(std::make_shared<Context<T>>())
    {
        m_context->Start(std::move(body));
    }
    /// A move copies as well, so that no handle is ever without its task.
    Task(Task const&) = default;
    Task& operator=(Task const&) = default;
    virtual ~Task() = default;

    /// A continuation: a new task, whose thread starts at once.
    ///
    /// - `function` takes the value (nothing, for void): it is called once this task has ended well; a failure of this
    ///   task fails the continuation without a call.
    /// - `function` takes the task itself: it is called at once, while this task may still run, does its own waiting
    ///   and can see a failure.
    ///
    /// It returns an `R`, or a `Task<R>`: then the continuation ends when that task does, and fails if it fails.
    template <class R, class TFunction>
    Task<R> then(TFunction&& function) const
    {
        if constexpr (TakesValue<TFunction>())
        {
            return Task<R>([parent = m_context,
                            function = std::decay_t<TFunction>(std::forward<TFunction>(function))]() mutable -> R
                           { return AfterValue<R>(std::move(parent), function); });
        }
        else
        {
            return Task<R>(
                [parent = *this, function = std::decay_t<TFunction>(std::forward<TFunction>(function))]() mutable -> R
                { return Unwrap<R>([&] { return function(parent); }); });
        }
    }

    /// Blocks until the body has ended; never rethrows its failure.
    void wait() const { m_context->wait(); }
    /// Blocks until the body has ended; a copy of its value, or its failure.
    T get() const { return m_context->getFutureResult(); }
    std::shared_ptr<Context<T>> const& GetContext() const { return m_context; }

private:
    template <class TFunction>
    static constexpr bool TakesValue()
    {
        if constexpr (std::is_void_v<T>)
        {
            return std::is_invocable_v<TFunction&>;
        }
        else
        {
            return std::is_invocable_v<TFunction&, T>;
        }
    }

    template <class R, class TFunction>
    static R AfterValue(std::shared_ptr<Context<T>>&& parent, TFunction& function)
    {
        if constexpr (std::is_void_v<T>)
        {
            parent->getFutureResult();
            parent.reset();
            return Unwrap<R>([&] { return function(); });
        }
        else
        {
            T value = parent->getFutureResult();
            parent.reset();
            return Unwrap<R>([&] { return function(std::move(value)); });
        }
    }

    /// The result of a continuation's function: its value, or the outcome of the task that it returns.
    template <class R, class TCall>
    static R Unwrap(TCall&& call)
    {
        if constexpr (details::IsTask<std::invoke_result_t<TCall&>>)
        {
            return call().get();
        }
        else
        {
            return static_cast<R>(call());
        }
    }

    std::shared_ptr<Context<T>> m_context;
};

/// Waits for many tasks; each wait is a task, so a thread.
struct BUCKETRY_API TaskUtils
{
    /// Ends when all have ended, however they ended.
    template <class T>
    static Task<void> whenAll(std::vector<Task<T>> const& tasks)
    {
        return Task<void>(
            [tasks]
            {
                for (Task<T> const& task : tasks)
                {
                    task.wait();
                }
            });
    }

    /// Ends when one has ended, however it ended; at once for none. A task wakes the latest of these only.
    template <class T>
    static Task<void> whenAny(std::vector<Task<T>> const& tasks)
    {
        return Task<void>(
            [tasks]
            {
                auto const mutex = std::make_shared<std::mutex>();
                auto const condition = std::make_shared<std::condition_variable>();
                std::unique_lock lock(*mutex);
                for (Task<T> const& task : tasks)
                {
                    if (task.GetContext()->Watch(condition, mutex))
                    {
                        return;
                    }
                }
                auto const isDone = [](Task<T> const& task) { return task.GetContext()->IsDone(); };
                condition->wait(lock, [&] { return tasks.empty() || std::ranges::any_of(tasks, isDone); });
            });
    }
};

/// A task whose body only yields the value. It has a thread like any other.
template <class T>
Task<T> TaskFromResult(T value)
{
    return Task<T>([value = std::move(value)]() mutable { return std::move(value); });
}

inline Task<void> TaskFromResult()
{
    return Task<void>([] {});
}

} // namespace bucketry::web
