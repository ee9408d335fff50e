// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "output.h"

#include "bucketry/client.h"

#include <sys/types.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace bucketry::tool
{

/// The tool was called in a way that cannot work: exit status 2.
class CUsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// How bodies are stored: the options of every command that moves them.
struct SBodyOptions
{
    std::string m_compression; ///< empty: not compressed
    bool m_isEncrypted = false;
    std::string m_keyFile; ///< empty: a password is asked for

    bool AreProcessed() const noexcept { return m_isEncrypted || !m_compression.empty(); }
};

/// The options that stand before or after every command.
struct SGlobalOptions
{
    std::string m_root;
    std::string m_specFile; ///< of a store, instead of a root
    bool m_isJson = false;
    bool m_isVerbose = false;
    bool m_showsStatistics = false;
    SBodyOptions m_bodies;
};

enum class EAccess
{
    Read, ///< a local root must be there
    Write ///< a local root is made if it is missing
};

/// What a command works with: the storage that the global options name, and the output. Outlives all tasks of the
///                            command.
class CHost
{
public:
    CHost(SGlobalOptions const& options, COutput& output);

    /// The storage as it is: opens it at the first call.
    ICloudClient& Client(EAccess access);
    /// The same for whole bodies, which are compressed and encrypted as the options say. May ask for a password.
    ICloudClient& Bodies(EAccess access);
    /// Whether the storage is a store behind a network, not a local root.
    bool IsStore() const noexcept { return !m_options.m_specFile.empty(); }
    /// Whether bodies may go past Bodies(), as streams: a store takes and gives them, and they are stored as they are.
    bool CanStream() const noexcept { return IsStore() && !IsProcessed(); }
    /// The same for bodies on their way up, which streams of this library don't store in a class of Google's.
    bool CanStreamUp() const;
    /// Whether a large body may be stored in pieces, behind a list of them.
    bool UsesPieces() const { return IsProcessed() || (IsStore() && !CanStreamUp()); }
    /// Whether Bodies() compresses or encrypts.
    bool IsProcessed() const noexcept { return m_options.m_bodies.AreProcessed(); }
    /// Whether there is a folder, be it only that objects lie below it, which is all a store may have of one.
    bool IsFolder(std::string const& path);
    /// A copy makes no directories on a local root, where an upload does.
    void MakeParentFolder(std::string const& path);
    /// Writes the counters of the storage, if the options ask for them and the output is text.
    void ShowStatistics();
    /// Where the bodies' blocks come from.
    std::shared_ptr<io::block::bufs_pool_t> const& Pool() const noexcept { return m_pool; }
    COutput& Output() noexcept { return m_output; }

    /// The directory on this machine that holds the storage, if there is one: device and inode.
    std::optional<std::pair<dev_t, ino_t>> LocalRoot();
    /// Whether a storage path is a symbolic link on this machine. Listings of a local root follow such links.
    bool IsLocalLink(std::string const& path) const;

private:
    std::shared_ptr<ICloudClient> OpenRoot(EAccess access) const;

    SGlobalOptions const& m_options;
    COutput& m_output;
    std::shared_ptr<io::block::bufs_pool_t> m_pool;
    std::shared_ptr<ICloudClient> m_client; ///< what is counted: stored bytes
    std::shared_ptr<ICloudClient> m_bodies; ///< m_client, or a processing client around it
};

/// The client for what wants a share in it; the host keeps it longer than any task.
inline std::shared_ptr<ICloudClient> Borrowed(ICloudClient& client)
{
    return {std::shared_ptr<void>(), &client};
}

/// The canonical form of a storage path given by the user: no "." or "..", no empty components, no "/" at either end.
/// Throws CUsageError for a path that leaves the root.
std::string StoragePath(std::string_view text);

/// The same for a path that must name something: also throws CUsageError for the root itself.
/// \param what  for the message, as in "object path"
std::string StoragePathBelowRoot(std::string_view text, std::string_view what);

/// "folder/name", or just the name in the root.
std::string JoinPath(std::string_view folder, std::string_view name);

} // namespace bucketry::tool
