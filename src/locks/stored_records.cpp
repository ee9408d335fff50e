// SPDX-License-Identifier: Apache-2.0
#include "stored_records.h"

#include <algorithm>
#include <utility>

namespace bucketry::locks::details
{

namespace
{

constexpr unsigned short StatusNotFound = 404;

} // namespace

CStoredRecords::CStoredRecords(ICloudClient& client, std::string folder) : m_client(client), m_folder(std::move(folder))
{
}

bool CStoredRecords::HasVersions() const
{
    return m_client.IsVersioningEnabled();
}

std::string CStoredRecords::PathOf(std::string const& name) const
{
    return util::str_format("%1/%2", m_folder, name);
}

CStoredRecords::bufs_t CStoredRecords::TryGetLatestVersion(std::string const& name) const
{
    auto const pool = io::block::bufs_pool_t::GetInst();
    auto record = std::make_shared<io::block::CPooledBuf>(0, pool);
    try
    {
        m_client.DownloadFileAsync(PathOf(name), record, pool)->Wait();
        return record;
    }
    catch (CObjectStorageException const& error)
    {
        if (error.m_statusCode == StatusNotFound)
        {
            return nullptr;
        }
        throw;
    }
}

std::string CStoredRecords::Put(std::string const& name, bufs_t const& record) const
{
    if (!HasVersions())
    {
        m_client.UploadFileAsync(PathOf(name), record)->Wait();
        return "";
    }
    auto const version = std::make_shared<std::string>();
    m_client.GetVersioningUtils()->UploadFileAsync(PathOf(name), record, version, std::nullopt)->Wait();
    return *version;
}

void CStoredRecords::DeleteExactVersion(std::string const& name, std::string const& version) const
{
    if (HasVersions())
    {
        m_client.GetVersioningUtils()->DeleteFileVersionAsync(PathOf(name), version)->Wait();
    }
    else
    {
        m_client.DeleteFileAsync(PathOf(name))->Wait();
    }
}

void CStoredRecords::DeleteOldestVersions(std::string const& name, std::deque<std::string>& versions,
                                          std::size_t keepCount) const
{
    while (versions.size() > keepCount)
    {
        std::string const& oldest = versions.front();
        if (std::ranges::count(versions, oldest) == 1)
        {
            DeleteExactVersion(name, oldest);
        }
        versions.pop_front();
    }
}

} // namespace bucketry::locks::details
