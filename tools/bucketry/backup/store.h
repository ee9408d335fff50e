// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "backup/manifest.h"
#include "host.h"

#include <string>
#include <string_view>
#include <vector>

/// Where the parts of a backup lie in the storage.
namespace bucketry::tool
{

/// The objects of one backup. `path` is the backup's folder.
std::string ManifestPath(std::string_view path);
/// The folder of one run's objects.
std::string RunFolder(std::string_view path, std::string_view run);
/// Whether a folder's path is one that RunFolder makes for this backup.
bool IsRunFolder(std::string_view path, std::string_view folder);
/// A name for a new run: its time and something random.
std::string NewRunName();

/// One stored object of a file.
struct SStoredPiece
{
    std::string m_path;
    std::uint64_t m_size = 0;
};

/// The objects that the file is stored in, in order.
std::vector<SStoredPiece> PiecesOf(std::string_view runFolder, SEntry const& entry);

/// Fetches and reads the manifest of a backup. Throws exc::CRuntimeExc if there is none, or if it is damaged.
SManifest LoadManifest(CHost& host, std::string const& path);

} // namespace bucketry::tool
