// SPDX-License-Identifier: Apache-2.0
#include "statistics.h"

#include "bucketry/base/text.h"
#include "bucketry/statistics.h"

namespace bucketry::tool
{

namespace
{

SCloudStatisticsValues Values()
{
    return CCloudStatisticsManager::Instance().GetCloudStatisticsValues(StorageName).value_or(SCloudStatisticsValues());
}

} // namespace

CJsonObject StatisticsOfStorage()
{
    SCloudStatisticsValues const values = Values();
    CJsonObject requests;
    for (auto const& slot : values.m_requests)
    {
        if (slot.m_value != 0)
        {
            requests.Add(slot.m_name, std::uint64_t(slot.m_value));
        }
    }
    return CJsonObject()
        .Add("downloaded", values.m_downloadedBytes)
        .Add("uploaded", values.m_uploadedBytes)
        .AddJson("requests", requests.Text());
}

std::string TextOfStatistics()
{
    SCloudStatisticsValues const values = Values();
    std::string text = util::str_format("Downloaded %1 bytes, uploaded %2 bytes; requests:", values.m_downloadedBytes,
                                        values.m_uploadedBytes);
    for (auto const& slot : values.m_requests)
    {
        if (slot.m_value != 0)
        {
            text += util::str_format(" %1 %2", slot.m_name, slot.m_value);
        }
    }
    return text;
}

} // namespace bucketry::tool
