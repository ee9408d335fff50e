// SPDX-License-Identifier: Apache-2.0
#include "bucketry/tasks.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/logging.h"

#include <utility>

namespace bucketry
{

CPplxTask::CPplxTask(web::Task<void> task) : m_task(std::move(task)) {}

CPplxTask::~CPplxTask()
{
    if (!m_waitOnDestroy)
    {
        return;
    }
    try
    {
        Wait();
    }
    catch (std::exception const& error)
    {
        logging::LogExc("At ~CPplxTask()", error);
    }
    catch (...)
    {
        logging::LogExc("At ~CPplxTask()", exc::CRuntimeExc("The task failed with an unknown exception."));
    }
}

void CPplxTask::Wait()
{
    m_waitOnDestroy = false;
    m_task.get();
}

bool CPplxTask::IsDone()
{
    return m_task.GetContext()->IsDone();
}

std::shared_ptr<task::IAsyncTask> CPplxTask::Then(std::function<void()>&& function)
{
    return PassDutyTo(m_task.then<void>(std::move(function)));
}

std::shared_ptr<task::IAsyncTask> CPplxTask::ThenChain(std::function<std::shared_ptr<task::IAsyncTask>()>&& function)
{
    return PassDutyTo(m_task.then<void>(
        [function = std::move(function)]() -> web::Task<void>
        {
            auto const next = std::dynamic_pointer_cast<CPplxTask>(function());
            if (!next)
            {
                throw exc::CRuntimeExc("CPplxTask::Then: Incorrect type of IAsyncTask: not a pplx task");
            }
            next->m_waitOnDestroy = false;
            return next->InnerTask();
        }));
}

std::shared_ptr<task::IAsyncTask> CPplxTask::ThenTask(std::function<void(std::shared_ptr<task::IAsyncTask>)>&& function)
{
    return PassDutyTo(m_task.then<void>(
        [self = shared_from_this(), function = std::move(function)](web::Task<void> const&) { function(self); }));
}

web::Task<void> CPplxTask::InnerTask() const
{
    return m_task;
}

std::shared_ptr<task::IAsyncTask> CPplxTask::PassDutyTo(web::Task<void> continuation)
{
    auto next = std::make_shared<CPplxTask>(std::move(continuation));
    m_waitOnDestroy = false;
    return next;
}

SPplxTaskCollection::SPplxTaskCollection(std::shared_ptr<std::vector<std::shared_ptr<CPplxTask>>> tasks)
    : m_tasks(std::move(tasks))
{
}

void SPplxTaskCollection::WaitForAny()
{
    if (!m_tasks->empty())
    {
        web::TaskUtils::whenAny(InnerTasks()).wait();
    }
}

void SPplxTaskCollection::WaitForAll()
{
    if (!m_tasks->empty())
    {
        web::TaskUtils::whenAll(InnerTasks()).wait();
    }
}

std::shared_ptr<task::IAsyncTask> SPplxTaskCollection::WhenAll()
{
    if (m_tasks->empty())
    {
        return CPplxTaskUtils().CreateCompletedTask();
    }
    auto const all = web::TaskUtils::whenAll(InnerTasks());
    return std::make_shared<CPplxTask>(all.then<void>(
        [tasks = m_tasks]
        {
            for (auto const& task : *tasks)
            {
                task->Wait();
            }
        }));
}

std::vector<web::Task<void>> SPplxTaskCollection::InnerTasks() const
{
    std::vector<web::Task<void>> inner;
    inner.reserve(m_tasks->size());
    for (auto const& task : *m_tasks)
    {
        inner.push_back(task->InnerTask());
    }
    return inner;
}

std::shared_ptr<task::IAsyncTaskCollection> CPplxTaskUtils::CreateTaskCollection(
    std::vector<std::shared_ptr<task::IAsyncTask>> const& tasks)
{
    auto own = std::make_shared<std::vector<std::shared_ptr<CPplxTask>>>();
    own->reserve(tasks.size());
    for (auto const& task : tasks)
    {
        own->push_back(std::dynamic_pointer_cast<CPplxTask>(task));
        if (!own->back())
        {
            throw exc::CRuntimeExc("Incorrect type of IAsyncTask: not a pplx task");
        }
    }
    return std::make_shared<SPplxTaskCollection>(std::move(own));
}

std::shared_ptr<task::IAsyncTask> CPplxTaskUtils::CreateCompletedTask()
{
    return CreateTask([] {});
}

std::shared_ptr<task::IAsyncTask> CPplxTaskUtils::CreateTask(std::function<void()>&& function)
{
    return std::make_shared<CPplxTask>(web::Task<void>(std::move(function)));
}

} // namespace bucketry
