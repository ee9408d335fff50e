// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"

#include <cstddef>
#include <deque>
#include <string>

namespace bucketry::locks::details
{

/// The small objects of one lock folder, each read and written as a whole. With versions a write makes one, reading
/// gives the newest, and a deletion names exactly what it deletes; without them a write replaces the object, and a
/// deletion removes it, whoever wrote it.
///
/// Failures: the storage's, as they come.
/// Lifetime: the client is held by reference and must outlive this.
/// Threads:  any.
class CStoredRecords
{
public:
    using bufs_t = ICloudClient::bufs_t;

    CStoredRecords(ICloudClient& client, std::string folder);

    bool HasVersions() const;
    std::string PathOf(std::string const& name) const;

    /// Null if there is no such object.
    bufs_t TryGetLatestVersion(std::string const& name) const;
    /// Gives the new version's id, the empty text without versions.
    std::string Put(std::string const& name, bufs_t const& record) const;
    /// \param version  as Put gave it
    void DeleteExactVersion(std::string const& name, std::string const& version) const;
    /// Deletes the oldest of `versions`, which stand oldest first, and takes them out, until `keepCount` are left.
    /// After a failure those that are still stored are still in the list. Without versions all ids are empty and name
    /// one object, which goes with the last of them.
    void DeleteOldestVersions(std::string const& name, std::deque<std::string>& versions, std::size_t keepCount) const;

private:
    ICloudClient& m_client; ///< not owned
    std::string const m_folder;
};

} // namespace bucketry::locks::details
