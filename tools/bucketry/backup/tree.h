// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "backup/manifest.h"
#include "files.h"
#include "output.h"
#include "progress.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// Reading a tree of files on this machine.
namespace bucketry::tool
{

/// What a walk meets, in the order of a manifest: a directory before its content, names sorted by their bytes.
class ITreeVisitor
{
public:
    virtual ~ITreeVisitor() = default;
    /// A directory or a link.
    virtual void OnEntry(SEntry entry) = 0;
    /// A regular file, opened for reading, and its status then; size, digest and pieces are not filled in yet. What it
    /// throws ends the walk.
    virtual void OnFile(SEntry entry, CFd file, struct stat const& status) = 0;
    /// Something that could not be opened or listed.
    virtual void OnUnreadable(std::string path, std::string const& reason) = 0;
    /// Something that is not backed up on purpose.
    virtual void OnSkipped(std::string const& path, std::string_view reason) = 0;
};

/// Device and inode of a directory.
using directory_id_t = std::pair<dev_t, ino_t>;

/// Walks the tree below a directory. Links below it are never followed. Files are opened, not otherwise looked at.
/// \param leaveOut  a directory below it that is skipped, such as the storage root itself
/// Throws exc::CRuntimeExc if the directory itself cannot be opened or is the one to leave out.
void WalkTree(std::string const& directory, std::optional<directory_id_t> const& leaveOut, ITreeVisitor& visitor);

/// Bytes and number of the regular files that a walk would meet, for the progress line; what cannot be read counts
/// nothing.
SAmount MeasureTree(std::string const& directory, std::optional<directory_id_t> const& leaveOut);

/// Reads the content of a file once, from front to back, and hashes it on the way.
class CContentReader
{
public:
    /// \param status  of the open file, from before anything was read
    CContentReader(CFd file, struct stat const& status, std::string shownPath);

    /// Bytes of the file that are still to be read, as far as its status tells.
    std::uint64_t Remaining() const noexcept { return m_expected - m_done; }
    /// Fills the buffer, less only if the file has become shorter; how many bytes.
    std::size_t Read(unsigned char* buffer, std::size_t size);
    /// Fills in size and digest of what was read, and TornFile if the file changed meanwhile.
    void Finish(SEntry& entry);

private:
    CFd m_file;
    struct stat m_status;
    std::string m_shownPath;
    CSha256 m_hash;
    std::uint64_t m_expected;
    std::uint64_t m_done = 0;
};

} // namespace bucketry::tool
