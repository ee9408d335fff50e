// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace bucketry::tool
{

/// A program that runs beside this one, on the same terminal. Whoever makes it asks for its status until it has one.
class CChild
{
public:
    /// \param command  the program, found as a shell does, and its arguments
    /// \param blocked  the signals that it begins with blocked
    /// Throws CSystemError if the program cannot be started.
    CChild(std::vector<std::string> command, sigset_t const& blocked);

    /// Sends a signal; does nothing once the program has ended.
    void Signal(int number) const;

    /// The exit status once the program has ended: 128 + n if signal n ended it. Never waits.
    std::optional<int> Status();

private:
    pid_t m_pid = 0;
    std::optional<int> m_status;
};

} // namespace bucketry::tool
