// SPDX-License-Identifier: Apache-2.0
#include "files.h"

#include "text.h"

#include "bucketry/base/guid.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace bucketry::tool
{

CSystemError::CSystemError(std::string_view what, std::string_view path, std::string reason)
    : CRuntimeExc("Failed to %1 [%2]: %3", what, Printable(path), reason), m_reason(std::move(reason))
{
}

void ThrowSystemError(std::string_view what, std::string_view path)
{
    int const error = errno;
    throw CSystemError(what, path, std::generic_category().message(error));
}

CFd::~CFd()
{
    if (m_fd >= 0)
    {
        ::close(m_fd);
    }
}

CFd OpenAt(int at, std::string const& name, int flags, std::string_view path, mode_t mode)
{
    CFd file(::openat(at, name.c_str(), flags | O_CLOEXEC, mode));
    if (!file)
    {
        ThrowSystemError("open", path);
    }
    return file;
}

std::size_t ReadUpTo(CFd const& file, unsigned char* buffer, std::size_t size, std::string_view path)
{
    std::size_t done = 0;
    while (done < size)
    {
        ssize_t const count = ::read(file.Get(), buffer + done, size - done);
        if (count == 0)
        {
            break;
        }
        if (count > 0)
        {
            done += static_cast<std::size_t>(count);
        }
        else if (errno != EINTR)
        {
            ThrowSystemError("read", path);
        }
    }
    return done;
}

void WriteAll(CFd const& file, unsigned char const* data, std::size_t size, std::string_view path)
{
    while (size > 0)
    {
        ssize_t const count = ::write(file.Get(), data, size);
        if (count >= 0)
        {
            data += count;
            size -= static_cast<std::size_t>(count);
        }
        else if (errno != EINTR)
        {
            ThrowSystemError("write", path);
        }
    }
}

void ApplyAttributes(CFd const& file, SFileAttributes const& attributes, std::string_view path)
{
    std::array<timespec, 2> const times{timespec{0, UTIME_OMIT}, attributes.m_modified};
    if (::fchmod(file.Get(), attributes.m_mode) != 0 || ::futimens(file.Get(), times.data()) != 0)
    {
        ThrowSystemError("set mode and time of", path);
    }
}

std::string TemporaryName()
{
    return ".bucketry-" + guid::guid_t::CreateNew().ToAStr();
}

CReplacementFile::CReplacementFile(int directory, std::string name, std::string shownPath, mode_t mode)
    : m_directory(directory),
      m_name(std::move(name)),
      m_shownPath(std::move(shownPath)),
      m_temporaryName(TemporaryName()),
      m_file(OpenAt(directory, m_temporaryName, O_WRONLY | O_CREAT | O_EXCL, m_shownPath, mode))
{
}

CReplacementFile::~CReplacementFile()
{
    if (!m_temporaryName.empty())
    {
        ::unlinkat(m_directory, m_temporaryName.c_str(), 0);
    }
}

void CReplacementFile::Write(unsigned char const* data, std::size_t size)
{
    WriteAll(m_file, data, size, m_shownPath);
}

void CReplacementFile::SetAttributes(SFileAttributes const& attributes)
{
    ApplyAttributes(m_file, attributes, m_shownPath);
}

void CReplacementFile::Commit()
{
    m_file = CFd();
    if (::renameat(m_directory, m_temporaryName.c_str(), m_directory, m_name.c_str()) != 0)
    {
        ThrowSystemError("write", m_shownPath);
    }
    m_temporaryName.clear();
}

} // namespace bucketry::tool
