// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host.h"

#include <functional>
#include <string>

namespace bucketry::tool
{

/// Calls `visit` for every object below a folder, at every depth, with its path from the root of the storage. Folders
/// for which `enter` is false are left out; an empty function enters all. Blocks.
void WalkFolder(ICloudClient& client, std::string const& folder,
                std::function<void(std::string const& path, SCloudObjectInfo const& object)> const& visit,
                std::function<bool(std::string const& path)> const& enter = {});

/// Deletes a folder with all its content, many objects at a time; on a client with versions every version. Blocks, and
/// throws the first failure.
/// \param isLink  for a local root: whether a path is a link, which goes without a look behind it. Empty for a client
///                that lists asynchronously.
void RemoveFolder(ICloudClient& client, std::string const& folder,
                  std::function<bool(std::string const& path)> const& isLink);

/// The same in the storage of a host.
void RemoveFolder(CHost& host, std::string const& folder);

} // namespace bucketry::tool
