// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <cstdint>
#include <string>
#include <vector>

/// Files and directories. Paths are bytes; the delimiter is "/". Failures are exc::CRuntimeExc with the operation, the
/// path and the system's reason. Any thread.
namespace bucketry::util
{

/// Joins two pieces with exactly one "/" between them; ends in "/" if `second` is empty.
BUCKETRY_API std::string fs_merge_path(std::string const& first, std::string const& second);
/// Makes the directories of a path up to its last "/". One that is there already is no failure; anything else in the
/// way is.
BUCKETRY_API void fs_make_directory(std::string const& path);
/// Copies the content of a file and its permission bits; with `overwrite` an existing target is replaced, else it is a
/// failure. A copy onto itself changes nothing.
BUCKETRY_API void fs_file_copy(std::string const& source, std::string const& target, bool overwrite);
/// Deletes a file or a link. A missing one is a failure.
BUCKETRY_API void fs_file_delete(std::string const& path);
/// Deletes a directory with all its content; links are deleted, not followed. A missing one is a failure.
BUCKETRY_API void fs_directory_delete(std::string const& path);
/// In bytes.
BUCKETRY_API std::uint64_t fs_file_size(std::string const& path);
/// True for a file or a directory. Follows links. Other failures than a missing name are thrown.
BUCKETRY_API bool fs_is_exists(std::string const& path);
BUCKETRY_API bool fs_is_directory_exists(std::string const& path);

} // namespace bucketry::util

namespace bucketry::posix
{

/// An open file; closed when it goes. One thread at a time. Opening never waits: a pipe without a reader is a failure,
/// and so is reading from a pipe.
class BUCKETRY_API posix_file_t
{
public:
    /// Opens a file for reading. With `direct` the system is asked not to keep its content in the page cache.
    static posix_file_t Open4Read(std::string const& path, bool direct);
    /// Creates a file, or empties the one that is there, for writing; `size` bytes are announced, so that a full disk
    /// is told before anything is written or emptied where the file system can say so.
    static posix_file_t CreateNew(std::string const& path, std::uint64_t size);

    posix_file_t(posix_file_t&& other) noexcept;
    posix_file_t& operator=(posix_file_t&& other) noexcept;
    ~posix_file_t();

    std::uint64_t GetSize() const;
    void SeekFromBegin(std::uint64_t offset);
    /// Reads exactly `size` bytes from the current position; a file that ends before is a failure.
    void Read(unsigned char* buffer, std::uint64_t size);
    /// Writes exactly `size` bytes at the current position.
    void Write(unsigned char const* data, std::uint64_t size);
    /// Closes the file and tells a failure that only shows now. Without it the destructor closes and stays silent.
    void Close();

private:
    posix_file_t(int handle, std::string path) noexcept;

    int m_handle = -1;
    std::string m_path;
};

} // namespace bucketry::posix

namespace bucketry::filesys::browser
{

/// One entry of a directory.
class BUCKETRY_API CFsItemInfo
{
public:
    CFsItemInfo(std::string path, std::string name);

    std::string const& GetName() const noexcept { return m_name; }
    /// The directory's path and the name.
    std::string const& GetPath() const noexcept { return m_path; }

private:
    std::string m_path;
    std::string m_name;
};

/// The direct children of one directory, in the order the system lists them, without "." and "..".
class BUCKETRY_API CFsDirectoryInfo
{
public:
    explicit CFsDirectoryInfo(std::string path);

    /// Everything that is no directory. `followLinks`: a link counts as what it leads to, and one that leads to nothing
    /// is left out; else it counts as a file.
    std::vector<CFsItemInfo> EnumFiles(bool followLinks) const;
    /// `followLinks`: a link to a directory counts as one. `recursive`: at every depth, links never followed for that.
    /// `includeHidden`: names that begin with a dot as well. `skipUnreadable`, for `recursive` only: leave out what may
    /// not be opened, else it is a failure.
    std::vector<CFsItemInfo> EnumSubDirectories(bool followLinks, bool recursive, bool includeHidden,
                                                bool skipUnreadable) const;

private:
    std::string m_path;
};

} // namespace bucketry::filesys::browser
