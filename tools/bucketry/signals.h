// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>

#include <chrono>
#include <optional>

namespace bucketry::tool
{

/// While it lives, the signals that ask a program to end, and SIGCHLD, wait to be fetched. Those that the caller of the
/// program has it ignore stay ignored. To be made before any other thread.
class CSignals
{
public:
    CSignals();
    CSignals(CSignals const&) = delete;
    CSignals& operator=(CSignals const&) = delete;
    ~CSignals();

    /// The next signal; none if the time passes first.
    std::optional<siginfo_t> Next(std::chrono::milliseconds limit) const;

    /// What was blocked before: for a child.
    sigset_t const& Former() const noexcept { return m_former; }

private:
    sigset_t m_fetched{};
    sigset_t m_former{};
};

} // namespace bucketry::tool
