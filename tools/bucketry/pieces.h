// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

/// Bodies that are too large for one compressed or encrypted object. Their pieces are objects below
/// "PATH.bucketry-pieces", in a folder for each time the body was stored; PATH itself is an index, stored as any body,
/// that names that folder. The index is written behind the pieces, and older pieces go behind it, so PATH is whole at
/// all times. Where versions are kept, older pieces stay with the older versions of the index, until all versions go.
namespace bucketry::tool
{

/// Reads the next bytes of a body, `size` of them.
using source_t = std::function<void(unsigned char* data, std::size_t size)>;
/// Takes the next bytes of a body.
using sink_t = std::function<void(unsigned char const* data, std::size_t size)>;

/// Starts to store one body, immutable if there is a date; then `version`, which may be null, holds the new version's
/// id at the end. Throws CUsageError for a date where no versions are kept.
std::shared_ptr<task::IAsyncTask> StoreBody(ICloudClient& client, std::string const& path,
                                            std::shared_ptr<io::block::CPooledBuf> const& body,
                                            std::optional<datetime::CDateTime> const& until,
                                            std::shared_ptr<std::string> const& version);

/// The pieces are immutable with their index. Gives the id of the new version of the index, if there is a date.
std::string StoreInPieces(CHost& host, std::string const& path, std::uint64_t size,
                          std::optional<datetime::CDateTime> const& until, source_t const& source);

/// Whether a decoded body is an index. A body of a host that looks like one is to be stored in pieces, too.
bool IsIndex(unsigned char const* data, std::size_t size);

/// Hands the body behind an index to `sink`; how many bytes there were. Throws exc::CRuntimeExc for a damaged index.
std::uint64_t FetchPieces(CHost& host, std::string const& path, io::block::CPooledBuf const& index, sink_t const& sink);

/// What follows the object itself when it is removed, replaced by a body in one object, or copied.
void RemovePieces(CHost& host, std::string const& path);
void RemovePiecesOfAllVersions(CHost& host, std::string const& path);
void CopyPieces(CHost& host, std::string const& source, std::string const& target);

} // namespace bucketry::tool
