// SPDX-License-Identifier: Apache-2.0
#include "signals.h"

namespace bucketry::tool
{

CSignals::CSignals()
{
    ::signal(SIGCHLD, SIG_DFL); // ignored, it would take the child's exit status away
    sigemptyset(&m_fetched);
    for (int const number : {SIGCHLD, SIGHUP, SIGINT, SIGQUIT, SIGTERM})
    {
        struct sigaction action
        {
        };
        if (::sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
        {
            sigaddset(&m_fetched, number);
        }
    }
    ::pthread_sigmask(SIG_BLOCK, &m_fetched, &m_former);
}

CSignals::~CSignals()
{
    ::pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
}

std::optional<siginfo_t> CSignals::Next(std::chrono::milliseconds limit) const
{
    timespec const time{limit.count() / 1000, limit.count() % 1000 * 1'000'000};
    siginfo_t info{};
    return ::sigtimedwait(&m_fetched, &info, &time) > 0 ? std::optional(info) : std::nullopt;
}

} // namespace bucketry::tool
