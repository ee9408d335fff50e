// SPDX-License-Identifier: Apache-2.0
#include "posix_handle.h"

#include "bucketry/base/exceptions.h"

#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace bucketry::posix
{

void ThrowSystemError(char const* operation, std::string const& path, int error)
{
    throw exc::CRuntimeExc("Cannot %1 \"%2\": %3.", operation, path, std::generic_category().message(error));
}

char const* ToSystemPath(char const* operation, std::string const& path)
{
    if (path.find('\0') != std::string::npos)
    {
        ThrowSystemError(operation, path, EINVAL);
    }
    return path.c_str();
}

int OpenExc(char const* operation, std::string const& path, int flags, unsigned mode)
{
    char const* const systemPath = ToSystemPath(operation, path);
    int const handle = Uninterrupted([&] { return ::open(systemPath, flags | O_CLOEXEC | O_NONBLOCK, mode); });
    if (handle < 0)
    {
        ThrowSystemError(operation, path, errno);
    }
    return handle;
}

CHandle::~CHandle()
{
    if (m_handle >= 0)
    {
        ::close(m_handle);
    }
}

} // namespace bucketry::posix
