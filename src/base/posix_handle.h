// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

#include <cerrno>

/// What the file functions share: system errors as exceptions, paths for system calls, open descriptors.
namespace bucketry::posix
{

/// Throws exc::CRuntimeExc: Cannot `operation` "`path`": the text of the errno value `error`.
[[noreturn]] void ThrowSystemError(char const* operation, std::string const& path, int error);

/// The path for a system call. Throws for one with a zero byte, which the system would take for its end.
char const* ToSystemPath(char const* operation, std::string const& path);

/// Opens with O_CLOEXEC and throws if that fails. Never waits for the other end of a pipe.
int OpenExc(char const* operation, std::string const& path, int flags, unsigned mode = 0);

/// Repeats a system call that a signal has interrupted.
template <class TCall>
auto Uninterrupted(TCall&& call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
    {
        result = call();
    }
    return result;
}

/// Owns a descriptor.
class CHandle
{
public:
    explicit CHandle(int handle) noexcept : m_handle(handle) {}
    CHandle(CHandle&& other) noexcept : m_handle(other.Release()) {}
    CHandle& operator=(CHandle&&) = delete;
    ~CHandle();

    int Get() const noexcept { return m_handle; }
    int Release() noexcept { return std::exchange(m_handle, -1); }

private:
    int m_handle;
};

} // namespace bucketry::posix
