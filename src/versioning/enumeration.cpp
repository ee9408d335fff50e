#include "bucketry/base/text.h"
#include "bucketry/versions.h"

#include <algorithm>

namespace bucketry
{
namespace
{

using versions_t = std::vector<SCloudObjectVersion>;
using pairs_t = std::vector<SCloudObjectPathVersionPair>;
using enum ECloudObjectVersionSortOrder;

/// Of versions in the same second the one that was listed first counts as the newer one, since that is how stores list them:
/// whoever deletes all but the newest had better not delete that one.
template <class TVersions, class TTimeOf>
void SortByTime(TVersions& versions, ECloudObjectVersionSortOrder order, TTimeOf const& timeOf)
{
    if (order != NewestFirst && order != OldestFirst)
    {
        throw exc::CRuntimeExc("SortCloudObjectVersions: unknown sorting order type [%1]",
                               static_cast<std::uint32_t>(order));
    }
    std::ranges::stable_sort(versions, std::ranges::greater(), timeOf);
    if (order == OldestFirst)
    {
        std::ranges::reverse(versions);
    }
}

void CheckIsVersioningEnabled(ICloudClient const& client)
{
    if (!client.IsVersioningEnabled())
    {
        throw exc::CRuntimeExc("Versioning not enabled");
    }
}

pairs_t FolderVersions(ICloudClient& client, std::string const& path)
{
    auto const versions = std::make_shared<pairs_t>();
    client.GetVersioningUtils()->QueryFolderVersionsAsync(path, versions)->Wait();
    return std::move(*versions);
}

std::string FullPath(std::string const& folder, std::string const& name)
{
    return util::str_format("%1/%2", folder, name);
}

/// The first version of each name in that order.
std::vector<SObjectPath> FirstVersionsInFolder(ICloudClient& client, std::string const& path,
                                               ECloudObjectVersionSortOrder order)
{
    std::vector<SObjectPath> rows;
    if (!client.IsVersioningEnabled())
    {
        std::vector<SCloudObjectInfo> const objects = client.QueryFolder(path);
        rows.reserve(objects.size());
        for (SCloudObjectInfo const& object : objects)
        {
            rows.push_back({FullPath(path, object.m_name), object.m_name, "", object.m_isFolder});
        }
        return rows;
    }
    pairs_t versions = FolderVersions(client, path);
    SortCloudObjectVersions(versions, order);
    std::map<std::string, SCloudObjectVersion> firsts;
    for (SCloudObjectPathVersionPair const& pair : versions)
    {
        firsts.emplace(pair.m_path, pair.m_version);
    }
    rows.reserve(firsts.size());
    for (auto const& [name, version] : firsts)
    {
        rows.push_back({FullPath(path, name), name, version.m_versionId, version.m_isFolder});
    }
    return rows;
}

} // namespace

void SortCloudObjectVersions(versions_t& versions, ECloudObjectVersionSortOrder order)
{
    SortByTime(versions, order, &SCloudObjectVersion::m_lastModified);
}

void SortCloudObjectVersions(pairs_t& versions, ECloudObjectVersionSortOrder order)
{
    SortByTime(versions, order, [](SCloudObjectPathVersionPair const& pair) { return pair.m_version.m_lastModified; });
}

std::shared_ptr<task::IAsyncTask> EnumAllVersionsOfObjectAsync(ICloudClient& client, std::string const& path,
                                                               std::shared_ptr<std::vector<std::string>> const& result,
                                                               ECloudObjectVersionSortOrder order)
{
    CheckIsVersioningEnabled(client);
    auto const versions = std::make_shared<versions_t>();
    return client.GetVersioningUtils()
        ->QueryFileVersionsAsync(path, versions)
        ->Then(
            [versions, result, order]
            {
                SortCloudObjectVersions(*versions, order);
                std::ranges::transform(*versions, std::back_inserter(*result), &SCloudObjectVersion::m_versionId);
            });
}

std::vector<std::string> EnumAllVersionsOfObject(ICloudClient& client, std::string const& path,
                                                 ECloudObjectVersionSortOrder order)
{
    auto const ids = std::make_shared<std::vector<std::string>>();
    EnumAllVersionsOfObjectAsync(client, path, ids, order)->Wait();
    return *ids;
}

std::vector<std::string> EnumAllVersionsOfObject(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                                                 ECloudObjectVersionSortOrder order)
{
    return EnumAllVersionsOfObject(*client, path, order);
}

std::map<std::string, std::vector<std::string>> EnumAllVersionsOfObjectsInFolder(
    std::shared_ptr<ICloudClient> const& client, std::string const& path)
{
    std::map<std::string, std::vector<std::string>> ids;
    if (client->IsVersioningEnabled())
    {
        for (SCloudObjectPathVersionPair const& pair : FolderVersions(*client, path))
        {
            ids[FullPath(path, pair.m_path)].push_back(pair.m_version.m_versionId);
        }
        return ids;
    }
    for (SCloudObjectInfo const& object : client->QueryFolder(path))
    {
        ids.try_emplace(FullPath(path, object.m_name), 1, "");
    }
    return ids;
}

std::map<std::string, std::string> EnumOldestVersionsOfObjectsInFolder(std::shared_ptr<ICloudClient> const& client,
                                                                       std::string const& path)
{
    CheckIsVersioningEnabled(*client);
    pairs_t versions = FolderVersions(*client, path);
    SortCloudObjectVersions(versions, OldestFirst);
    std::map<std::string, std::string> ids;
    for (SCloudObjectPathVersionPair const& pair : versions)
    {
        ids.emplace(pair.m_path, pair.m_version.m_versionId);
    }
    return ids;
}

std::vector<SObjectPath> EnumOldestVersionsOfObjectsPathInFolder(std::shared_ptr<ICloudClient> const& client,
                                                                 std::string const& path)
{
    return FirstVersionsInFolder(*client, path, OldestFirst);
}

std::vector<SObjectPath> EnumNewestVersionsOfObjectsPathInFolder(std::shared_ptr<ICloudClient> const& client,
                                                                 std::string const& path)
{
    return FirstVersionsInFolder(*client, path, NewestFirst);
}

} // namespace bucketry
