// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/files.h"

#include "bucketry/base/exceptions.h"

#include "posix_handle.h"

#include <algorithm>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bucketry::posix
{

namespace
{

constexpr std::uint64_t MaxBytesPerCall = 2147479552; // more than that Linux moves in no call

// Moves exactly `size` bytes with calls that may stop short; false if one gives 0.
template <class TCall>
bool MoveAll(std::uint64_t size, TCall const& call, char const* operation, std::string const& path)
{
    for (std::uint64_t done = 0; done < size;)
    {
        std::size_t const step = std::min(size - done, MaxBytesPerCall);
        ssize_t const moved = Uninterrupted([&] { return call(done, step); });
        if (moved < 0)
        {
            ThrowSystemError(operation, path, errno);
        }
        if (moved == 0)
        {
            return false;
        }
        done += static_cast<std::uint64_t>(moved);
    }
    return true;
}

bool IsFull(int error)
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

void WriteAll(int handle, unsigned char const* data, std::uint64_t size, std::string const& path)
{
    auto const write = [&](std::uint64_t done, std::size_t step) { return ::write(handle, data + done, step); };
    if (!MoveAll(size, write, "write to", path))
    {
        ThrowSystemError("write to", path, ENOSPC);
    }
}

struct ::stat StatExc(int handle, std::string const& path)
{
    struct ::stat info
    {
    };
    if (::fstat(handle, &info) != 0)
    {
        ThrowSystemError("look at", path, errno);
    }
    return info;
}

// Opens for reading what has content of its own: no directory, and no pipe, which would look like an empty file.
CHandle OpenSource(std::string const& path)
{
    CHandle file(OpenExc("open", path, O_RDONLY));
    mode_t const mode = StatExc(file.Get(), path).st_mode;
    if (S_ISDIR(mode))
    {
        ThrowSystemError("open", path, EISDIR);
    }
    if (S_ISFIFO(mode))
    {
        throw exc::CRuntimeExc("Cannot open \"%1\": it is a pipe.", path);
    }
    return file;
}

// Takes the blocks at once, which tells a full disk early and makes the writes faster. The visible size stays.
void Announce(int handle, std::uint64_t size, std::string const& path)
{
    auto const allocate = [&] { return ::fallocate(handle, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)); };
    bool const isFull = size > 0 && Uninterrupted(allocate) != 0 && IsFull(errno);
    if (isFull) // any other failure: the file system cannot say
    {
        ThrowSystemError("create", path, errno);
    }
}

void Empty(int handle, std::string const& path)
{
    if (::ftruncate(handle, 0) != 0)
    {
        ThrowSystemError("write to", path, errno);
    }
}

void CloseExc(int handle, std::string const& path)
{
    if (::close(handle) != 0 && errno != EINTR)
    {
        ThrowSystemError("close", path, errno);
    }
}

} // namespace

posix_file_t posix_file_t::Open4Read(std::string const& path, bool direct)
{
    CHandle file = OpenSource(path);
    if (direct)
    {
        ::posix_fadvise(file.Get(), 0, 0, POSIX_FADV_NOREUSE);
    }
    return {file.Release(), path};
}

posix_file_t posix_file_t::CreateNew(std::string const& path, std::uint64_t size)
{
    CHandle file(OpenExc("create", path, O_WRONLY | O_CREAT, 0666));
    Announce(file.Get(), size, path); // before it is emptied, so that a full disk leaves the file that was there
    struct ::stat const info = StatExc(file.Get(), path);
    if (S_ISREG(info.st_mode) && info.st_size > 0)
    {
        Empty(file.Get(), path);
        Announce(file.Get(), size, path);
    }
    return {file.Release(), path};
}

posix_file_t::posix_file_t(int handle, std::string path) noexcept : m_handle(handle), m_path(std::move(path)) {}

posix_file_t::posix_file_t(posix_file_t&& other) noexcept
    : m_handle(std::exchange(other.m_handle, -1)), m_path(std::move(other.m_path))
{
}

posix_file_t& posix_file_t::operator=(posix_file_t&& other) noexcept
{
    std::swap(m_handle, other.m_handle);
    std::swap(m_path, other.m_path);
    return *this;
}

posix_file_t::~posix_file_t()
{
    CHandle const closed(m_handle);
}

std::uint64_t posix_file_t::GetSize() const
{
    return static_cast<std::uint64_t>(StatExc(m_handle, m_path).st_size);
}

void posix_file_t::SeekFromBegin(std::uint64_t offset)
{
    if (::lseek(m_handle, static_cast<off_t>(offset), SEEK_SET) < 0)
    {
        ThrowSystemError("seek in", m_path, errno);
    }
}

void posix_file_t::Read(unsigned char* buffer, std::uint64_t size)
{
    auto const read = [&](std::uint64_t done, std::size_t step) { return ::read(m_handle, buffer + done, step); };
    if (!MoveAll(size, read, "read from", m_path))
    {
        throw exc::CRuntimeExc("Cannot read from \"%1\": the file ends before the %2 bytes asked for.", m_path, size);
    }
}

void posix_file_t::Write(unsigned char const* data, std::uint64_t size)
{
    WriteAll(m_handle, data, size, m_path);
}

void posix_file_t::Close()
{
    CloseExc(std::exchange(m_handle, -1), m_path);
}

namespace
{

// Shares the blocks where the file system can do that.
bool Reflink(int source, int target)
{
    return ::ioctl(target, FICLONE, source) == 0;
}

// As far as the kernel can do it alone; the rest is left to CopyByHand.
void CopyInKernel(int source, int target, std::string const& path)
{
    ssize_t moved = 1;
    while (moved > 0)
    {
        moved = Uninterrupted([&] { return ::copy_file_range(source, nullptr, target, nullptr, MaxBytesPerCall, 0); });
    }
    bool const hasFailed = moved < 0 && (IsFull(errno) || errno == EIO);
    if (hasFailed)
    {
        ThrowSystemError("write to", path, errno);
    }
}

void CopyByHand(int source, int target, std::string const& sourcePath, std::string const& targetPath)
{
    constexpr std::size_t blockBytes = 1UL << 20U;
    auto const block = std::make_unique_for_overwrite<unsigned char[]>(blockBytes);
    for (;;)
    {
        ssize_t const count = Uninterrupted([&] { return ::read(source, block.get(), blockBytes); });
        if (count < 0)
        {
            ThrowSystemError("read from", sourcePath, errno);
        }
        if (count == 0)
        {
            return;
        }
        WriteAll(target, block.get(), static_cast<std::uint64_t>(count), targetPath);
    }
}

// Empties a target that was there and gives it the source's permission bits; what is no regular file is left alone.
void PrepareTarget(int target, struct ::stat const& info, unsigned permissions, std::string const& path)
{
    if (!S_ISREG(info.st_mode))
    {
        return;
    }
    if (::fchmod(target, permissions) != 0)
    {
        ThrowSystemError("write to", path, errno);
    }
    Empty(target, path);
}

} // namespace

} // namespace bucketry::posix

namespace bucketry::util
{

using namespace posix;

void fs_file_copy(std::string const& source, std::string const& target, bool overwrite)
{
    CHandle const from = OpenSource(source);
    struct ::stat const fromInfo = StatExc(from.Get(), source);
    unsigned const permissions = fromInfo.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    CHandle to(OpenExc("create", target, O_WRONLY | O_CREAT | (overwrite ? 0 : O_EXCL), permissions));
    struct ::stat const toInfo = StatExc(to.Get(), target);
    if (fromInfo.st_dev == toInfo.st_dev && fromInfo.st_ino == toInfo.st_ino)
    {
        return;
    }
    PrepareTarget(to.Get(), toInfo, permissions, target);
    if (!Reflink(from.Get(), to.Get()))
    {
        Announce(to.Get(), static_cast<std::uint64_t>(fromInfo.st_size), target);
        CopyInKernel(from.Get(), to.Get(), target);
        CopyByHand(from.Get(), to.Get(), source, target); // what the kernel did not copy: mostly nothing
    }
    CloseExc(to.Release(), target);
}

void fs_file_delete(std::string const& path)
{
    if (::unlink(ToSystemPath("delete", path)) != 0)
    {
        ThrowSystemError("delete", path, errno);
    }
}

namespace
{

struct ::stat StatPathExc(std::string const& path)
{
    struct ::stat info
    {
    };
    if (::stat(ToSystemPath("look at", path), &info) != 0)
    {
        ThrowSystemError("look at", path, errno);
    }
    return info;
}

// False if nothing has that name.
bool StatIfThere(std::string const& path, struct ::stat& info)
{
    if (::stat(ToSystemPath("look at", path), &info) == 0)
    {
        return true;
    }
    if (errno != ENOENT && errno != ENOTDIR)
    {
        ThrowSystemError("look at", path, errno);
    }
    return false;
}

} // namespace

std::uint64_t fs_file_size(std::string const& path)
{
    struct ::stat const info = StatPathExc(path);
    if (S_ISDIR(info.st_mode))
    {
        ThrowSystemError("take the size of", path, EISDIR);
    }
    return static_cast<std::uint64_t>(info.st_size);
}

bool fs_is_exists(std::string const& path)
{
    struct ::stat info
    {
    };
    return StatIfThere(path, info);
}

bool fs_is_directory_exists(std::string const& path)
{
    struct ::stat info
    {
    };
    return StatIfThere(path, info) && S_ISDIR(info.st_mode);
}

} // namespace bucketry::util
