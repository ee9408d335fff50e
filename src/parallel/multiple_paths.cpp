// SPDX-License-Identifier: Apache-2.0
#include "bucketry/parallel.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/logging.h"

#include <exception>

namespace bucketry
{

/// What the continuations of a run share; it outlives the processor while they run.
struct CMultiplePathsObjectProcessor::SImpl
{
    /// The kept failure of one run. Its continuations take turns, so it needs no lock.
    using kept_t = std::shared_ptr<std::exception_ptr>;

    task_t Start(std::string const& path) const
    {
        task_t task = m_processor(path);
        if (!task)
        {
            throw exc::CRuntimeExc("The processor gave no task for \"%1\"", path);
        }
        return task;
    }

    task_t Step(std::string const& path, kept_t const& kept) const
    {
        bool const anEarlierOneWorked = !*kept;
        return anEarlierOneWorked && !m_processAll ? m_taskUtils->CreateCompletedTask() : Start(path);
    }

    void Collect(task::IAsyncTask& task, std::string const& path, kept_t const& kept) const
    {
        try
        {
            task.Wait();
            *kept = nullptr;
        }
        catch (std::exception const&)
        {
            if (!*kept)
            {
                *kept = std::current_exception();
            }
            stg_log.info(m_failureFormat, path);
        }
    }

    std::string const m_failureFormat;
    std::function<task_t(std::string const&)> const m_processor;
    bool const m_processAll;
    std::shared_ptr<task::IAsyncTaskUtils> const m_taskUtils;
};

CMultiplePathsObjectProcessor::CMultiplePathsObjectProcessor(std::vector<std::string> const& paths,
                                                             std::string const& failureFormat,
                                                             std::function<task_t(std::string const&)>&& processor,
                                                             std::shared_ptr<task::IAsyncTaskUtils> const& taskUtils,
                                                             bool processAll)
    : m_paths(paths), m_impl(new SImpl{failureFormat, std::move(processor), processAll, taskUtils})
{
}

CMultiplePathsObjectProcessor::task_t CMultiplePathsObjectProcessor::DoAsync() const
{
    auto const kept = std::make_shared<std::exception_ptr>();
    task_t previous;
    for (std::string const& path : m_paths)
    {
        task_t const task = previous
            ? previous->ThenChain([impl = m_impl, path, kept] { return impl->Step(path, kept); })
            : m_impl->Start(path);
        previous =
            task->ThenTask([impl = m_impl, path, kept](task_t const& done) { impl->Collect(*done, path, kept); });
    }
    if (!previous)
    {
        throw exc::CRuntimeExc("No processing task has been started.");
    }
    return previous->Then(
        [kept]
        {
            if (*kept)
            {
                std::rethrow_exception(*kept);
            }
        });
}

void CMultiplePathsObjectProcessor::Do() const
{
    DoAsync()->Wait();
}

} // namespace bucketry
