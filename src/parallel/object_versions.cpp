// SPDX-License-Identifier: Apache-2.0
#include "bucketry/parallel.h"

namespace bucketry
{

void CThreadSafeQueue::PushValue(std::string const& first, std::string const& second)
{
    std::lock_guard const lock(m_mutex);
    m_values.emplace_back(first, second);
}

std::optional<std::pair<std::string, std::string>> CThreadSafeQueue::PopValue()
{
    std::lock_guard const lock(m_mutex);
    if (m_values.empty())
    {
        return std::nullopt;
    }
    std::optional oldest(std::move(m_values.front()));
    m_values.pop_front();
    return oldest;
}

bool CThreadSafeQueue::Empty() const
{
    std::lock_guard const lock(m_mutex);
    return m_values.empty();
}

CObjectVersionPusher::CObjectVersionPusher(std::string const& path, std::shared_ptr<CThreadSafeQueue> const& queue)
    : m_path(path), m_queue(queue)
{
}

void CObjectVersionPusher::PushVersion(std::string const& version)
{
    m_queue->PushValue(m_path, version);
}

CObjectVersionsQueue::CObjectVersionsQueue() : m_queue(std::make_shared<CThreadSafeQueue>()) {}

std::shared_ptr<CObjectVersionPusher> CObjectVersionsQueue::CreateVersionSink(std::string const& path)
{
    return std::make_shared<CObjectVersionPusher>(path, m_queue);
}

std::optional<std::pair<std::string, std::string>> CObjectVersionsQueue::PopVersion()
{
    return m_queue->PopValue();
}

bool CObjectVersionsQueue::Empty() const
{
    return m_queue->Empty();
}

} // namespace bucketry
