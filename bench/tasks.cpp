// SPDX-License-Identifier: Apache-2.0
// What a task costs beside the bare std::async that it stands on.
//
// --batches=N  how many batches of each kind, interleaved (101)

#include "measure.h"

#include "bucketry/tasks.h"

#include <cstdio>
#include <future>
#include <thread>

namespace
{

using namespace bucketry;
using bench::SCost;

constexpr int PerBatch = 200;

/// Both ways in turn, batch by batch, so that whatever else the machine does hits both. Medians, in microseconds each.
void Compare(std::string const& what, int batches, std::string const& wanted, std::function<void()> const& own,
             std::function<void()> const& bare)
{
    std::vector<double> wall[2];
    std::vector<double> cpu[2];
    for (int batch = 0; batch < batches; ++batch)
    {
        for (int const way : {batch % 2, 1 - batch % 2})
        {
            SCost const cost = bench::CostOf(
                [&]
                {
                    for (int n = 0; n < PerBatch; ++n)
                    {
                        (way == 0 ? own : bare)();
                    }
                });
            wall[way].push_back(cost.m_wallSec * 1e6 / PerBatch);
            cpu[way].push_back(cost.m_cpuSec * 1e6 / PerBatch);
        }
    }
    bench::PrintRatio(what, "us wall", bench::Median(wall[0]), bench::Median(wall[1]), wanted);
    bench::PrintRatio(what, "us CPU", bench::Median(cpu[0]), bench::Median(cpu[1]), wanted);
}

std::future<void> After(std::future<void> former)
{
    return std::async(std::launch::async, [former = std::move(former)]() mutable { former.get(); });
}

/// How long 64 tasks keep a WaitForAny busy that has nothing to do but wait, and how fast it returns at the first end.
void WaitForAnyOf64()
{
    using namespace std::chrono_literals;
    std::promise<void> first;
    std::promise<void> rest;
    auto const restOpen = rest.get_future().share();
    std::vector<std::shared_ptr<task::IAsyncTask>> tasks;
    for (int n = 0; n < 63; ++n)
    {
        tasks.push_back(CPplxTaskUtils().CreateTask([restOpen] { restOpen.wait(); }));
    }
    auto const firstOpen = first.get_future().share();
    tasks.push_back(CPplxTaskUtils().CreateTask([firstOpen] { firstOpen.wait(); }));
    auto const collection = CPplxTaskUtils().CreateTaskCollection(tasks);

    std::chrono::steady_clock::time_point opened;
    auto opener = std::async(std::launch::async,
                             [&]
                             {
                                 std::this_thread::sleep_for(500ms);
                                 opened = std::chrono::steady_clock::now();
                                 first.set_value();
                             });
    SCost const cost = bench::CostOf([&] { collection->WaitForAny(); });
    std::chrono::duration<double, std::micro> const late = std::chrono::steady_clock::now() - opened;
    rest.set_value();
    opener.get();
    std::printf("WaitForAny over 64 tasks: %.0f ms waited for %.2f ms CPU, back %.0f us after the first end\n",
                cost.m_wallSec * 1e3, cost.m_cpuSec * 1e3, late.count());
}

} // namespace

int main(int argc, char** argv)
{
    int const batches = std::stoi(bench::Option(argc, argv, "batches").value_or("101"));
    auto const asyncAndWait = [] { std::async(std::launch::async, [] {}).get(); };
    bench::PrintHeader("tasks against std::async");
    Compare(
        "web::Task, spawn and wait", batches, "<= 1.30", [] { web::Task<void>([] {}).get(); }, asyncAndWait);
    Compare(
        "IAsyncTask, spawn and wait", batches, "<= 1.30", [] { CPplxTaskUtils().CreateTask([] {})->Wait(); },
        asyncAndWait);
    Compare(
        "a task and three continuations", batches, "",
        [] { CPplxTaskUtils().CreateTask([] {})->Then([] {})->Then([] {})->Then([] {})->Wait(); },
        [] { After(After(After(std::async(std::launch::async, [] {})))).get(); });
    WaitForAnyOf64();
}
