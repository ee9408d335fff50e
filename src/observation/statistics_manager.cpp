// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/logging.h"
#include "bucketry/s3wire/statistics.h"
#include "bucketry/statistics.h"

#include <mutex>
#include <sstream>

namespace bucketry
{

SCloudStatisticsValues& SCloudStatisticsValues::operator+=(SCloudStatisticsValues const& other)
{
    m_downloadedBytes += other.m_downloadedBytes;
    m_uploadedBytes += other.m_uploadedBytes;
    for (auto const& slot : other.m_requests)
    {
        m_requests[slot.m_id].m_value += slot.m_value;
    }
    return *this;
}

void SCloudStatisticsValues::WriteToLog() const
{
    std::ostringstream text;
    text << "Downloaded (bytes): [" << m_downloadedBytes << "]. Uploaded (bytes): [" << m_uploadedBytes << "]\n";
    for (auto const& slot : m_requests)
    {
        text << slot.m_name << ": [" << slot.m_value << "] ";
    }
    statistics_log.info(text.str());
}

void CCloudStatisticsManager::SCloudStatisticsItem::Reset()
{
    m_downloadedBytes = 0;
    m_uploadedBytes = 0;
    for (auto& slot : m_requests)
    {
        slot.m_value = 0;
    }
}

SCloudStatisticsValues CCloudStatisticsManager::SCloudStatisticsItem::ConvertToStatisticsValues() const
{
    SCloudStatisticsValues values;
    values.m_downloadedBytes = m_downloadedBytes;
    values.m_uploadedBytes = m_uploadedBytes;
    for (auto const& slot : m_requests)
    {
        values.m_requests[slot.m_id].m_value = slot.m_value;
    }
    return values;
}

CCloudStatisticsManager::CWriter::CWriter(std::shared_ptr<SCloudStatisticsItem> item, std::shared_ptr<bool> token)
    : m_item(std::move(item)), m_token(std::move(token))
{
}

CCloudStatisticsManager::CCloudStatisticsManager() : m_holder(std::make_shared<SClientStatisticsHolder>()) {}

CCloudStatisticsManager& CCloudStatisticsManager::Instance()
{
    static CCloudStatisticsManager instance;
    return instance;
}

CCloudStatisticsManager::CWriter CCloudStatisticsManager::AddWriter(std::string const& name)
{
    std::unique_lock const lock(m_holder->m_mutex);
    try
    {
        SCloudStatisticsAutoDeletingItem& entry = m_holder->m_items[name];
        std::shared_ptr<bool> token = entry.m_writerToken.lock();
        if (!token)
        {
            entry.m_item = std::make_shared<SCloudStatisticsItem>();
            token.reset(new bool(false));
            entry.m_writerToken = token;
        }
        return {entry.m_item, std::move(token)};
    }
    catch (std::exception const&)
    {
        m_holder->m_items.erase(name);
        throw std::exception();
    }
}

std::shared_ptr<CCloudStatisticsManager::SCloudStatisticsItem> CCloudStatisticsManager::GetCloudStatisticsItem(
    std::string const& name) const
{
    auto const found = m_holder->m_items.find(name);
    return found == m_holder->m_items.end() ? nullptr : found->second.m_item;
}

std::optional<SCloudStatisticsValues> CCloudStatisticsManager::GetCloudStatisticsValues(std::string const& name) const
{
    std::shared_lock const lock(m_holder->m_mutex);
    auto const item = GetCloudStatisticsItem(name);
    return item ? std::optional(item->ConvertToStatisticsValues()) : std::nullopt;
}

SCloudStatisticsValues CCloudStatisticsManager::GetCloudStatisticsValues() const
{
    SCloudStatisticsValues sum;
    std::shared_lock const lock(m_holder->m_mutex);
    for (auto const& [name, entry] : m_holder->m_items)
    {
        sum += entry.m_item->ConvertToStatisticsValues();
    }
    return sum;
}

std::optional<s3wire::s3::SS3Stats> CCloudStatisticsManager::GetS3StatisticsValues() const
{
    return s3wire::s3::CS3StatsAccumulator::GetStats();
}

void CCloudStatisticsManager::ResetCloudStatistics()
{
    std::unique_lock const lock(m_holder->m_mutex);
    for (auto const& [name, entry] : m_holder->m_items)
    {
        entry.m_item->Reset();
    }
}

void CCloudStatisticsManager::ResetCloudStatistics(std::string const& name)
{
    std::unique_lock const lock(m_holder->m_mutex);
    if (auto const item = GetCloudStatisticsItem(name))
    {
        item->Reset();
    }
}

} // namespace bucketry
