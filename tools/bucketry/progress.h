// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace bucketry::tool
{

struct SAmount
{
    std::uint64_t m_bytes = 0;
    std::uint64_t m_files = 0;
};

/// "12.0 MiB of 313.0 MiB, 1,234 of 23,543 files, 45.6 MiB/s, 0:07 left"; without totals while they are unknown.
std::string ProgressText(SAmount const& done, SAmount const& total, double seconds);

/// Counts what is done and shows a line about it, at most five times a second. One thread at a time.
class CProgress
{
public:
    using show_t = std::function<void(std::string const& line)>;

    /// \param show  takes the line; empty if nobody looks
    explicit CProgress(show_t show);

    bool IsShown() const noexcept { return static_cast<bool>(m_show); }
    void SetTotal(SAmount const& total) noexcept { m_total = total; }
    void Add(SAmount const& amount);

    SAmount const& Done() const noexcept { return m_done; }
    double Seconds() const;

private:
    using clock_t = std::chrono::steady_clock;

    show_t const m_show;
    clock_t::time_point const m_start = clock_t::now();
    clock_t::time_point m_nextShow = m_start;
    SAmount m_done;
    SAmount m_total;
};

} // namespace bucketry::tool
