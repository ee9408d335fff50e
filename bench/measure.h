// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Measuring two ways of doing one thing in one run.
namespace bench
{

/// Seconds of the clock and of the processor, the latter with those of children that have ended.
struct SCost
{
    double m_wallSec = 0;
    double m_cpuSec = 0;
};

SCost CostOf(std::function<void()> const& work);

/// Runs the command and waits for it. Throws std::runtime_error unless it succeeds.
void Run(std::vector<std::string> const& command);

/// Runs `work` in a process of its own, which gives back the numbers that `work` returns, and its peak resident size.
/// Call it while there is no other thread.
struct SChildResult
{
    std::vector<double> m_numbers;
    double m_peakMiB = 0;
};
SChildResult InChild(std::function<std::vector<double>()> const& work);

double Median(std::vector<double> values);

/// Prints one line: both figures, how the first stands to the second, and what is wanted of that, as "<= 1.30".
void PrintHeader(std::string const& title);
void PrintRatio(std::string const& what, std::string const& unit, double own, double bare,
                std::string const& wanted = "");

/// The number behind `--name=`, if it was given.
std::optional<std::string> Option(int argc, char** argv, std::string const& name);

} // namespace bench
