// SPDX-License-Identifier: Apache-2.0
#include "bucketry/versions.h"

namespace bucketry
{

using enum ECloudObjectVersionSortOrder;

std::shared_ptr<task::IAsyncTask> DeleteAllVersions(std::string const& path, ICloudClient& client, bool keepNewest)
{
    auto const ids = std::make_shared<std::vector<std::string>>();
    return EnumAllVersionsOfObjectAsync(client, path, ids, OldestFirst)
        ->ThenChain(
            [ids, path, keepNewest, client = &client]
            {
                if (!ids->empty() && keepNewest)
                {
                    ids->pop_back();
                }
                std::vector<SCloudObjectPathVersionPair> versions;
                versions.reserve(ids->size());
                for (std::string const& id : *ids)
                {
                    versions.emplace_back(path, id);
                }
                return client->GetVersioningUtils()->DeleteFileVersionListAsync(versions);
            });
}

std::shared_ptr<task::IAsyncTask> DeleteAllVersions(std::string const& path, ICloudClient& client)
{
    return DeleteAllVersions(path, client, false);
}

std::shared_ptr<task::IAsyncTask> DeleteAllVersions(std::string const& path, std::shared_ptr<ICloudClient> client)
{
    return client->IsVersioningEnabled() ? DeleteAllVersions(path, *client) : client->DeleteFileAsync(path);
}

bool DeleteAllVersions(std::string const& path, std::shared_ptr<ICloudClient> client, datetime::CDateTime const& date,
                       bool keepNewest)
{
    std::vector<std::string> ids = EnumAllVersionsOfObject(client, path, OldestFirst);
    if (!ids.empty() && keepNewest)
    {
        ids.pop_back();
    }
    bool allDeleted = true;
    for (std::string const& id : ids)
    {
        auto const lockedTill = GetImmutability(client, path, id);
        if (lockedTill && *lockedTill >= date)
        {
            allDeleted = false;
            continue;
        }
        client->GetVersioningUtils()->DeleteFileVersionAsync(path, id)->Wait();
    }
    return allDeleted;
}

} // namespace bucketry
