// SPDX-License-Identifier: Apache-2.0
#include "measure.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace bench
{

namespace
{

double Seconds(timeval const& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

double CpuSec(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

/// Waits for a child; throws unless it ended well.
rusage Reap(pid_t child, std::string const& what)
{
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || status != 0)
    {
        throw std::runtime_error(what + " failed");
    }
    return usage;
}

pid_t Fork()
{
    std::fflush(stdout);
    pid_t const child = fork();
    if (child < 0)
    {
        throw std::runtime_error("no new process");
    }
    return child;
}

std::vector<double> ReadNumbers(int handle)
{
    std::vector<double> numbers;
    double number = 0;
    while (read(handle, &number, sizeof number) == sizeof number)
    {
        numbers.push_back(number);
    }
    close(handle);
    return numbers;
}

} // namespace

SCost CostOf(std::function<void()> const& work)
{
    double const cpu = CpuSec(RUSAGE_SELF) + CpuSec(RUSAGE_CHILDREN);
    auto const start = std::chrono::steady_clock::now();
    work();
    std::chrono::duration<double> const wall = std::chrono::steady_clock::now() - start;
    return {wall.count(), CpuSec(RUSAGE_SELF) + CpuSec(RUSAGE_CHILDREN) - cpu};
}

void Run(std::vector<std::string> const& command)
{
    pid_t const child = Fork();
    if (child == 0)
    {
        std::vector<char*> words;
        for (std::string const& word : command)
        {
            words.push_back(const_cast<char*>(word.c_str()));
        }
        words.push_back(nullptr);
        execvp(words.front(), words.data());
        _exit(127);
    }
    Reap(child, command.front());
}

SChildResult InChild(std::function<std::vector<double>()> const& work)
{
    int ends[2];
    if (pipe(ends) != 0)
    {
        throw std::runtime_error("no pipe");
    }
    pid_t const child = Fork();
    if (child == 0)
    {
        try
        {
            std::vector<double> const numbers = work();
            std::size_t const bytes = numbers.size() * sizeof(double);
            _exit(write(ends[1], numbers.data(), bytes) == static_cast<ssize_t>(bytes) ? 0 : 1);
        }
        catch (std::exception const& error)
        {
            std::fprintf(stderr, "%s\n", error.what());
            _exit(1);
        }
    }
    close(ends[1]);
    std::vector<double> numbers = ReadNumbers(ends[0]);
    return {std::move(numbers), static_cast<double>(Reap(child, "a measurement").ru_maxrss) / 1024};
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    std::size_t const middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void PrintHeader(std::string const& title)
{
    std::printf("\n%-52s %10s %10s %8s  %s\n", title.c_str(), "library", "bare", "ratio", "wanted");
}

void PrintRatio(std::string const& what, std::string const& unit, double own, double bare, std::string const& wanted)
{
    std::printf("%-52s %10.2f %10.2f %8.3f  %s\n", (what + ", " + unit).c_str(), own, bare, own / bare, wanted.c_str());
}

std::optional<std::string> Option(int argc, char** argv, std::string const& name)
{
    std::string const start = "--" + name + "=";
    for (int n = 1; n < argc; ++n)
    {
        std::string const argument = argv[n];
        if (argument.starts_with(start))
        {
            return argument.substr(start.size());
        }
    }
    return std::nullopt;
}

} // namespace bench
