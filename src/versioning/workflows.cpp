// SPDX-License-Identifier: Apache-2.0
#include "bucketry/versions.h"

#include <algorithm>

namespace bucketry
{
namespace
{

using datetime::CDateTime;
using task_t = std::shared_ptr<task::IAsyncTask>;
using versions_t = std::vector<SCloudObjectVersion>;
using enum ECloudObjectVersionSortOrder;

bool IsImmutableTill(std::optional<CDateTime> const& current, CDateTime const& date)
{
    return current && *current >= date;
}

task_t Nothing(ICloudClient& client)
{
    return client.CreateAsyncTaskUtils()->CreateCompletedTask();
}

} // namespace

std::optional<CDateTime> GetImmutability(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                                         std::string const& version)
{
    auto const current = std::make_shared<std::optional<CDateTime>>();
    client->GetVersioningUtils()->GetFileVersionImmutabilityAsync(path, version, current)->Wait();
    return *current;
}

void UpdateImmutability(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                        std::string const& version, CDateTime const& date)
{
    if (!IsImmutableTill(GetImmutability(client, path, version), date))
    {
        client->GetVersioningUtils()->UpdateFileVersionImmutabilityAsync(path, version, date)->Wait();
    }
}

task_t UpdateImmutabilityAsync(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                               std::string const& version, CDateTime const& date)
{
    auto const current = std::make_shared<std::optional<CDateTime>>();
    return client->GetVersioningUtils()
        ->GetFileVersionImmutabilityAsync(path, version, current)
        ->ThenChain(
            [client, current, date, path, version]
            {
                return IsImmutableTill(*current, date)
                    ? Nothing(*client)
                    : client->GetVersioningUtils()->UpdateFileVersionImmutabilityAsync(path, version, date);
            });
}

task_t CheckObjectExistsCleanupAndUpdateImmutabilityAsync(std::shared_ptr<ICloudClient> const& client,
                                                          std::string const& path, CDateTime const& date)
{
    if (!client->IsVersioningEnabled())
    {
        throw exc::CRuntimeExc("Versioning is not enabled");
    }
    auto const versions = std::make_shared<versions_t>();
    auto const utils = client->GetVersioningUtils();
    auto const protectNewest = [client, utils, versions, path, date]
    {
        if (versions->empty())
        {
            return Nothing(*client);
        }
        SortCloudObjectVersions(*versions, OldestFirst);
        std::string const newest = versions->back().m_versionId;
        versions->pop_back();
        return utils->CheckAndUpdateImmutabilityAsync(path, newest, date);
    };
    auto const deleteOlder = [client, utils, versions, path]
    {
        if (versions->empty())
        {
            return Nothing(*client);
        }
        std::vector<task_t> deletions;
        std::ranges::transform(*versions, std::back_inserter(deletions),
                               [&](SCloudObjectVersion const& version)
                               { return utils->DeleteFileVersionIgnoreImmutabilityAsync(path, version.m_versionId); });
        return client->CreateAsyncTaskUtils()->CreateTaskCollection(deletions)->WhenAll();
    };
    return utils->QueryFileVersionsAsync(path, versions)->ThenChain(protectNewest)->ThenChain(deleteOlder);
}

task_t SubstituteNonImmutableFileAsync(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                                       std::shared_ptr<io::block::CPooledBuf> const& buffer)
{
    if (!client->IsVersioningEnabled())
    {
        return client->UploadFileAsync(path, buffer);
    }
    auto const versions = std::make_shared<versions_t>();
    auto const newVersion = std::make_shared<std::string>();
    auto const utils = client->GetVersioningUtils();
    auto const upload = [utils, path, buffer, newVersion]
    { return utils->UploadFileAsync(path, buffer, newVersion, std::nullopt); };
    auto const deleteOlder = [utils, path, versions, newVersion]
    {
        std::vector<SCloudObjectPathVersionPair> older;
        older.reserve(versions->size());
        for (SCloudObjectVersion const& version : *versions)
        {
            if (version.m_versionId == *newVersion)
            {
                throw exc::CRuntimeExc("Invalid previous version ID");
            }
            older.emplace_back(path, version);
        }
        return utils->DeleteFileVersionListAsync(older);
    };
    return utils->QueryFileVersionsAsync(path, versions)->ThenChain(upload)->ThenChain(deleteOlder);
}

task_t DownloadVersionAsync(ICloudClient& client, std::string const& path, ECloudObjectVersionSortOrder order,
                            std::shared_ptr<io::block::CPooledBuf> buffer, std::shared_ptr<io::block::bufs_pool_t> pool)
{
    if (!client.IsVersioningEnabled())
    {
        return client.DownloadFileAsync(path, std::move(buffer), std::move(pool));
    }
    auto const ids = std::make_shared<std::vector<std::string>>();
    return EnumAllVersionsOfObjectAsync(client, path, ids, order)
        ->ThenChain(
            [client = &client, path, ids, buffer = std::move(buffer), pool = std::move(pool)]
            {
                if (ids->empty())
                {
                    return client->CreateAsyncTaskUtils()->CreateTask(
                        [path] {
                            throw CObjectStorageException(
                                exc::CRuntimeExc("No version of object [%1] was found.", path), 404);
                        });
                }
                return client->GetVersioningUtils()->DownloadFileVersionAsync(path, ids->front(), buffer, pool);
            });
}

task_t DownloadVersionAsync(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                            ECloudObjectVersionSortOrder order, std::shared_ptr<io::block::CPooledBuf> buffer,
                            std::shared_ptr<io::block::bufs_pool_t> pool)
{
    return DownloadVersionAsync(*client, path, order, std::move(buffer), std::move(pool));
}

task_t DownloadOldestVersionAsync(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                                  std::shared_ptr<io::block::CPooledBuf> buffer,
                                  std::shared_ptr<io::block::bufs_pool_t> pool)
{
    return DownloadVersionAsync(*client, path, OldestFirst, std::move(buffer), std::move(pool));
}

} // namespace bucketry
