#pragma once

#include "bucketry/client.h"

#include <functional>
#include <string>

namespace bucketry::tool
{

/// Calls `visit` for every object below a folder, at every depth, with its path from the root of the storage. Folders
/// for which `enter` is false are left out; an empty function enters all. Blocks.
void WalkFolder(ICloudClient& client, std::string const& folder,
                std::function<void(std::string const& path, SCloudObjectInfo const& object)> const& visit,
                std::function<bool(std::string const& path)> const& enter = {});

} // namespace bucketry::tool
