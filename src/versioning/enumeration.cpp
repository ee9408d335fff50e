// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/text.h"
#include "bucketry/versions.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

namespace bucketry
{
namespace
{

using versions_t = std::vector<SCloudObjectVersion>;
using pairs_t = std::vector<SCloudObjectPathVersionPair>;
using enum ECloudObjectVersionSortOrder;

/// A decimal number as something to compare: its length without leading zeros, and its digits. Any other text is below
///                                           all.
std::pair<std::size_t, std::string_view> NumberOf(std::string_view text)
{
    bool const isNumber = std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
    std::string_view const digits = isNumber ? text.substr(std::min(text.find_first_not_of('0'), text.size())) : "";
    return {digits.size(), digits};
}

/// Of versions in the same second the one with the greater number as its id counts as the newer one, where ids are
/// numbers that grow. Elsewhere it is the one that was listed first, since that is how stores list them: whoever
/// deletes all but the newest had better not delete that one.
template <class TVersions, class TVersionOf>
void SortByTime(TVersions& versions, ECloudObjectVersionSortOrder order, TVersionOf const& versionOf)
{
    if (order != NewestFirst && order != OldestFirst)
    {
        throw exc::CRuntimeExc("SortCloudObjectVersions: unknown sorting order type [%1]",
                               static_cast<std::uint32_t>(order));
    }
    auto const isNewer = [](SCloudObjectVersion const& left, SCloudObjectVersion const& right)
    {
        return left.m_lastModified == right.m_lastModified ? NumberOf(left.m_versionId) > NumberOf(right.m_versionId)
                                                           : left.m_lastModified > right.m_lastModified;
    };
    std::ranges::stable_sort(versions, isNewer, versionOf);
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
    SortByTime(versions, order, std::identity());
}

void SortCloudObjectVersions(pairs_t& versions, ECloudObjectVersionSortOrder order)
{
    SortByTime(versions, order, &SCloudObjectPathVersionPair::m_version);
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
