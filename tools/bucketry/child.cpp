// SPDX-License-Identifier: Apache-2.0
#include "child.h"

#include "files.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace bucketry::tool
{

CChild::CChild(std::vector<std::string> command, sigset_t const& blocked)
{
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (std::string& word : command)
    {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    ::posix_spawnattr_setsigmask(&attributes, &blocked);
    int const error = ::posix_spawnp(&m_pid, words.front(), nullptr, &attributes, words.data(), ::environ);
    ::posix_spawnattr_destroy(&attributes);
    if (error != 0)
    {
        errno = error;
        ThrowSystemError("start", command.front());
    }
}

void CChild::Signal(int number) const
{
    if (!m_status)
    {
        ::kill(m_pid, number);
    }
}

std::optional<int> CChild::Status()
{
    int status = 0;
    if (!m_status && ::waitpid(m_pid, &status, WNOHANG) != 0)
    {
        m_status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }
    return m_status;
}

} // namespace bucketry::tool
