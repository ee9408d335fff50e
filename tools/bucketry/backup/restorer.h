// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host.h"

#include <string>

namespace bucketry::tool
{

/// Restores a backup into a directory, which is made if it is missing, and shows the summary; whether all of it is
/// there now. Nothing outside the directory is written, whatever the manifest says or the directory holds: links in it
/// are never followed. A file appears whole, with the content that was backed up, or not at all.
/// \param overwrite  write into a directory that is not empty, and replace files and links that are in the way
bool Restore(CHost& host, std::string const& path, std::string const& directory, bool overwrite);

} // namespace bucketry::tool
