// SPDX-License-Identifier: Apache-2.0
#include "bucketry/parallel.h"

namespace bucketry
{

namespace
{

using SFound = CRecursiveObjectsEnumerator::SObjectInfo;

bool IsFolder(SCloudObjectInfo const& entry)
{
    return entry.m_isFolder;
}

bool IsFolder(SCloudObjectPathVersionPair const& entry)
{
    return entry.m_version.m_isFolder;
}

std::string const& NameOf(SCloudObjectInfo const& entry)
{
    return entry.m_name;
}

std::string const& NameOf(SCloudObjectPathVersionPair const& entry)
{
    return entry.m_path;
}

SFound Found(std::string path, SCloudObjectInfo const& entry)
{
    return {std::move(path), {}, entry.m_lastModified};
}

SFound Found(std::string path, SCloudObjectPathVersionPair const& entry)
{
    return {std::move(path), entry.m_version.m_versionId, entry.m_version.m_lastModified};
}

/// The function for one folder's pages: subfolders go on the stack, objects to the callback. It must not outlive its
/// arguments.
template <class TEntry>
std::function<void(std::vector<TEntry> const&)> PageFunction(
    std::string const& folder, std::vector<std::string>& pending,
    std::function<void(std::vector<SFound> const&)> const& callback)
{
    return [&](std::vector<TEntry> const& page)
    {
        std::vector<SFound> batch;
        for (TEntry const& entry : page)
        {
            std::string full = folder + "/" + NameOf(entry);
            if (IsFolder(entry))
            {
                pending.push_back(std::move(full));
            }
            else
            {
                batch.push_back(Found(std::move(full), entry));
            }
        }
        if (!batch.empty())
        {
            callback(batch);
        }
    };
}

/// What to list for a folder that an entry named. One without a name of its own, as that of the key "a//x", ends in the
/// delimiter, which a listing takes for the end of the folder above.
std::string ListingPath(std::string const& folder)
{
    return folder.ends_with('/') ? folder + "/" : folder;
}

} // namespace

CRecursiveObjectsEnumerator::CRecursiveObjectsEnumerator(std::string const& root,
                                                         std::shared_ptr<ICloudClient> const& client)
    : m_root(root), m_client(client)
{
}

void CRecursiveObjectsEnumerator::Process(std::function<void(std::vector<SObjectInfo> const&)> callback)
{
    std::vector<std::string> pending{m_root};
    bool const versioned = m_client->IsVersioningEnabled();
    while (!pending.empty())
    {
        std::string const folder = std::move(pending.back());
        pending.pop_back();
        std::string const path = folder == m_root ? folder : ListingPath(folder);
        auto const listing = versioned
            ? m_client->GetVersioningUtils()->QueryFolderVersionsAsync(
                  path, PageFunction<SCloudObjectPathVersionPair>(folder, pending, callback))
            : m_client->QueryFolderAsync(path, PageFunction<SCloudObjectInfo>(folder, pending, callback));
        listing->Wait();
    }
}

} // namespace bucketry
