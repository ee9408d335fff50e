// SPDX-License-Identifier: Apache-2.0
#include "listing.h"

#include "bucketry/parallel.h"

#include <vector>

namespace bucketry::tool
{

void WalkFolder(ICloudClient& client, std::string const& folder,
                std::function<void(std::string const& path, SCloudObjectInfo const& object)> const& visit,
                std::function<bool(std::string const& path)> const& enter)
{
    std::vector<std::string> folders{folder};
    while (!folders.empty())
    {
        std::string const current = std::move(folders.back());
        folders.pop_back();
        for (SCloudObjectInfo const& entry : client.QueryFolder(current))
        {
            std::string path = JoinPath(current, entry.m_name);
            if (!entry.m_isFolder)
            {
                visit(path, entry);
            }
            else if (!enter || enter(path))
            {
                folders.push_back(std::move(path));
            }
        }
    }
}

void RemoveFolder(ICloudClient& client, std::string const& folder,
                  std::function<bool(std::string const& path)> const& isLink)
{
    CCloudParallelObjsDeleter deleter(Borrowed(client), nullptr);
    if (!isLink)
    {
        CRecursiveObjectsEnumerator(folder, Borrowed(client))
            .Process(
                [&deleter](std::vector<CRecursiveObjectsEnumerator::SObjectInfo> const& page)
                {
                    for (auto const& object : page)
                    {
                        deleter.PushObj(object.m_path, object.m_versionId);
                    }
                });
    }
    else if (!isLink(folder))
    {
        auto const visit = [&deleter](std::string const& path, SCloudObjectInfo const&) { deleter.PushObj(path, ""); };
        WalkFolder(client, folder, visit, [&isLink](std::string const& path) { return !isLink(path); });
    }
    deleter.SignalObjsPushed();
    deleter.Wait4Finish();
    // What no listing of objects names: folders or their markers, links, markers of deletion.
    auto const rest = client.IsVersioningEnabled() ? client.GetVersioningUtils()->DeleteFolderAllVersionsAsync(folder)
                                                   : client.DeleteFolderAsync(folder, nullptr);
    rest->Wait();
}

void RemoveFolder(CHost& host, std::string const& folder)
{
    std::function<bool(std::string const&)> isLink;
    if (host.LocalRoot())
    {
        isLink = [&host](std::string const& path) { return host.IsLocalLink(path); };
    }
    RemoveFolder(host.Client(EAccess::Read), folder, isLink);
}

} // namespace bucketry::tool
