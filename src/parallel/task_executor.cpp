// SPDX-License-Identifier: Apache-2.0
#include "bucketry/parallel.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/logging.h"

#include <boost/thread/lock_guard.hpp>

#include <algorithm>
#include <limits>
#include <string_view>

namespace bucketry
{

namespace
{

/// Waits for the task; its failure, if any, logged under the text.
std::shared_ptr<exc::exc_base_t> LoggedFailureOf(task::IAsyncTask& task, std::string_view text)
{
    std::shared_ptr<exc::exc_base_t> failure;
    try
    {
        task.Wait();
    }
    catch (std::exception const& error)
    {
        failure = exc::CloneExc(error);
    }
    catch (...)
    {
        failure = std::make_shared<exc::CRuntimeExc>("The task failed with an unknown exception.");
    }
    if (failure)
    {
        logging::LogExc(text, *failure);
    }
    return failure;
}

void WaitForAbandoned(task::IAsyncTask& task)
{
    LoggedFailureOf(task, "Failed to wait cloud task");
}

} // namespace

CCloudParallelTaskExecutor::CCloudParallelTaskExecutor(std::shared_ptr<ICloudClient> client)
    : CCloudParallelTaskExecutor(std::move(client), std::make_shared<synch::completion_port_t>())
{
}

CCloudParallelTaskExecutor::CCloudParallelTaskExecutor(std::shared_ptr<ICloudClient> client,
                                                       std::shared_ptr<synch::completion_port_t> const& port)
    : CCloudParallelTaskExecutor(std::move(client), port, std::numeric_limits<unsigned int>::max())
{
}

CCloudParallelTaskExecutor::CCloudParallelTaskExecutor(std::shared_ptr<ICloudClient> client,
                                                       std::shared_ptr<synch::completion_port_t> const& port,
                                                       unsigned int limit)
    : m_client(std::move(client)),
      m_limit(std::min<unsigned int>(m_client->GetConcurrentTaskLimit(), limit)),
      m_port(port)
{
}

CCloudParallelTaskExecutor::~CCloudParallelTaskExecutor()
{
    if (m_tasks.empty())
    {
        return;
    }
    try
    {
        stg_log.warn("Cloud task executor was not flushed before finalization");
        Flush();
    }
    catch (std::exception const& error)
    {
        logging::LogExc("Failed to finalize cloud task executor", error);
    }
}

void CCloudParallelTaskExecutor::QueueTask(factory_t&& factory)
{
    ThrowIfCancelled(nullptr);
    Enqueue(std::move(factory));
}

void CCloudParallelTaskExecutor::PushTask(task_t task)
{
    if (!task)
    {
        throw exc::CRuntimeExc("CCloudParallelTaskExecutor::PushTask: there is no task");
    }
    ThrowIfCancelled(task);
    try
    {
        Enqueue([&task] { return task; });
    }
    catch (...)
    {
        WaitForAbandoned(*task);
        throw;
    }
}

bool CCloudParallelTaskExecutor::TryQueueTask(factory_t&& factory)
{
    try
    {
        boost::lock_guard const lock(m_mutex);
        if (!MakeRoom())
        {
            return false;
        }
        m_tasks.reserve(m_tasks.size() + 1); // before the start: a task that runs must find its place
        task_t task = factory();
        if (!task)
        {
            throw exc::CRuntimeExc("CCloudParallelTaskExecutor::TryQueueTask: the factory gave no task");
        }
        m_tasks.push_back(std::move(task));
        return true;
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("Error occured while trying to enqueue a new task", error);
    }
}

void CCloudParallelTaskExecutor::Flush()
{
    std::shared_ptr<exc::exc_base_t> firstFailure;
    {
        boost::lock_guard const lock(m_mutex);
        for (task_t const& task : m_tasks)
        {
            auto const failure = LoggedFailureOf(*task, "Cloud task has failed.");
            firstFailure = firstFailure ? firstFailure : failure;
        }
        m_tasks.clear();
    }
    if (firstFailure)
    {
        firstFailure->Generate();
    }
}

void CCloudParallelTaskExecutor::FlushOnCancel()
{
    try
    {
        Flush();
    }
    catch (std::exception const& error)
    {
        logging::LogExc("Failed to flush task queue on cancel", error);
    }
}

CCloudParallelTaskExecutor::task_t CCloudParallelTaskExecutor::WhenCurrentTasksFinished()
{
    boost::lock_guard const lock(m_mutex);
    return m_client->CreateAsyncTaskUtils()->CreateTaskCollection(m_tasks)->WhenAll();
}

bool CCloudParallelTaskExecutor::TaskCompleteCondition(task_t const& task)
{
    if (!task->IsDone())
    {
        return false;
    }
    task->Wait();
    return true;
}

/// Throws the port's error, after `pushed`, if there is one, and all tasks in flight have ended.
void CCloudParallelTaskExecutor::ThrowIfCancelled(task_t const& pushed)
{
    if (!m_port)
    {
        return;
    }
    try
    {
        m_port->CheckForErrorsExc();
    }
    catch (...)
    {
        if (pushed)
        {
            WaitForAbandoned(*pushed);
        }
        FlushOnCancel();
        throw;
    }
}

void CCloudParallelTaskExecutor::Enqueue(factory_t&& factory)
{
    if (!TryQueueTask(std::move(factory)))
    {
        throw exc::exc_base_t("Failed to enqueue task into cloud task executor");
    }
}

/// Whether there is room for one more task, after a wait if need be. With m_mutex held.
bool CCloudParallelTaskExecutor::MakeRoom()
{
    if (m_tasks.size() < m_limit)
    {
        return true;
    }
    CollectFinished();
    if (m_tasks.size() < m_limit)
    {
        return true;
    }
    m_client->CreateAsyncTaskUtils()->CreateTaskCollection(m_tasks)->WaitForAny();
    CollectFinished();
    return m_tasks.size() < m_limit;
}

/// Drops the tasks that have ended well. Throws the failure of one that has failed, with all tasks still in place. With
/// m_mutex held.
void CCloudParallelTaskExecutor::CollectFinished()
{
    std::vector<task_t> running;
    running.reserve(m_tasks.size());
    std::ranges::remove_copy_if(m_tasks, std::back_inserter(running), &TaskCompleteCondition);
    m_tasks.swap(running);
}

} // namespace bucketry
