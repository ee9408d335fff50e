// SPDX-License-Identifier: Apache-2.0
#include "task_window.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace bucketry::tool
{

CTaskWindow::CTaskWindow(std::uint32_t limit) : m_limit(std::max<std::uint32_t>(limit, 1)) {}

void CTaskWindow::Run(std::uint64_t bytes, start_t const& start, finish_t finish)
{
    std::vector<SPending> ended;
    while (!m_pending.empty() && (m_pending.size() >= m_limit || m_bytes + bytes > MaxBytes))
    {
        ended.push_back(TakeOldest());
    }
    m_pending.push_back({bytes, start(), std::move(finish), nullptr});
    m_bytes += bytes;
    for (SPending const& operation : ended)
    {
        operation.m_finish(operation.m_failure);
    }
}

void CTaskWindow::Drain()
{
    while (!m_pending.empty())
    {
        SPending const operation = TakeOldest();
        operation.m_finish(operation.m_failure);
    }
}

CTaskWindow::SPending CTaskWindow::TakeOldest()
{
    SPending operation = std::move(m_pending.front());
    m_pending.pop_front();
    m_bytes -= operation.m_bytes;
    try
    {
        operation.m_task->Wait();
    }
    catch (std::exception const&)
    {
        operation.m_failure = std::current_exception();
    }
    return operation;
}

void ThrowFailure(std::exception_ptr failure)
{
    if (failure)
    {
        std::rethrow_exception(failure);
    }
}

} // namespace bucketry::tool
