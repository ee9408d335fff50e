// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/exceptions.h"

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <utility>

/// The host's own files, where it needs more than the library's file layer offers: names relative to an open directory,
/// links that are never followed, modes and times. Failures are CSystemError.
namespace bucketry::tool
{

/// A failed system call: "Failed to <what> [<path>]: <reason>".
class CSystemError : public exc::CRuntimeExc
{
public:
    CSystemError(std::string_view what, std::string_view path, std::string reason);

    /// The system's text alone.
    std::string const& Reason() const noexcept { return m_reason; }

private:
    std::string m_reason;
};

/// Throws CSystemError for the current errno; the path is made printable.
[[noreturn]] void ThrowSystemError(std::string_view what, std::string_view path);

/// An open descriptor, closed when it goes; may be empty.
class CFd
{
public:
    CFd() = default;
    explicit CFd(int fd) noexcept : m_fd(fd) {}
    CFd(CFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    CFd& operator=(CFd&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~CFd();

    int Get() const noexcept { return m_fd; }
    explicit operator bool() const noexcept { return m_fd >= 0; }

private:
    int m_fd = -1;
};

/// Opens relative to the directory `at` (AT_FDCWD for the working directory); `path` is for the message.
CFd OpenAt(int at, std::string const& name, int flags, std::string_view path, mode_t mode = 0600);

/// Reads up to `size` bytes, less only at the end of the file; how many.
std::size_t ReadUpTo(CFd const& file, unsigned char* buffer, std::size_t size, std::string_view path);

void WriteAll(CFd const& file, unsigned char const* data, std::size_t size, std::string_view path);

/// Mode and times of a file on disk.
struct SFileAttributes
{
    mode_t m_mode = 0; ///< permission bits
    timespec m_modified{};
};

/// Sets modification time and permission bits of an open file or directory.
void ApplyAttributes(CFd const& file, SFileAttributes const& attributes, std::string_view path);

/// A file that appears whole or not at all: it is written under a temporary name in the same directory and takes its
/// own name in the end. Dropped before, it leaves nothing. `directory` must outlive it.
class CReplacementFile
{
public:
    /// \param mode  of the new file, less the bits of the umask
    CReplacementFile(int directory, std::string name, std::string shownPath, mode_t mode);
    CReplacementFile(CReplacementFile const&) = delete;
    CReplacementFile& operator=(CReplacementFile const&) = delete;
    ~CReplacementFile();

    void Write(unsigned char const* data, std::size_t size);
    void SetAttributes(SFileAttributes const& attributes);
    /// Gives the file its name, which may replace a file or link.
    void Commit();

private:
    int m_directory;
    std::string m_name;
    std::string m_shownPath;
    std::string m_temporaryName;
    CFd m_file;
};

/// A name that no other file of this process has, for a temporary file.
std::string TemporaryName();

} // namespace bucketry::tool
