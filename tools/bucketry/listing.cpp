#include "listing.h"

#include "host.h"

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

} // namespace bucketry::tool
