// SPDX-License-Identifier: Apache-2.0
// What the executor and the writer cost beside bare std::async: 16 in flight, and 16 bare chains, collected in batches.
//
// --batches=N  how many batches of each kind, interleaved (31)

#include "measure.h"

#include "bucketry/parallel.h"

#include "support/memory_client.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>

namespace
{

using namespace bucketry;
using bench::SCost;

constexpr int PerBatch = 1000;
constexpr std::size_t InFlight = 16;

/// Chains of std::async, each step on a thread of its own, at most InFlight of them. When there is no more room,
/// collects all that have ended, as the executor does: a chain has ended when its last step says so, and the rest of
/// that is waited for. If none has, the wait for one is a std::async as well, since a wait for any of some tasks is a
/// task.
class CBareChains
{
public:
    void Add(int length, std::function<void()> const& work)
    {
        SChain& chain = Free();
        chain.m_last = std::async(std::launch::async,
                                  [this, &chain, work, last = length == 1]
                                  {
                                      work();
                                      last ? End(chain) : void();
                                  });
        for (int step = 1; step < length; ++step)
        {
            chain.m_last =
                std::async(std::launch::async,
                           [this, &chain, former = std::move(chain.m_last), last = step == length - 1]() mutable
                           {
                               former.get();
                               last ? End(chain) : void();
                           });
        }
    }

    void Flush()
    {
        for (SChain& chain : m_chains)
        {
            Take(chain);
        }
    }

private:
    struct SChain
    {
        std::future<void> m_last;
        std::atomic<bool> m_ended = false;
    };

    void End(SChain& chain)
    {
        chain.m_ended = true;
        std::lock_guard const lock(m_mutex);
        m_oneEnded.notify_one();
    }

    static bool IsFree(SChain const& chain) { return !chain.m_last.valid(); }

    static void Take(SChain& chain)
    {
        if (chain.m_last.valid())
        {
            chain.m_last.get();
        }
        chain.m_ended = false;
    }

    SChain& Free()
    {
        auto free = std::ranges::find_if(m_chains, &IsFree);
        if (free == m_chains.end())
        {
            Collect();
            free = std::ranges::find_if(m_chains, &IsFree);
        }
        return *free;
    }

    void Collect()
    {
        auto const hasEnded = [](SChain const& chain) { return chain.m_ended.load(); };
        if (std::ranges::none_of(m_chains, hasEnded))
        {
            std::async(std::launch::async,
                       [&]
                       {
                           std::unique_lock lock(m_mutex);
                           m_oneEnded.wait(lock, [&] { return std::ranges::any_of(m_chains, hasEnded); });
                       })
                .get();
        }
        for (SChain& chain : m_chains)
        {
            hasEnded(chain) ? Take(chain) : void();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_oneEnded;
    std::array<SChain, InFlight> m_chains; ///< the last member: steps use the others
};

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
            SCost const cost = bench::CostOf(way == 0 ? own : bare);
            wall[way].push_back(cost.m_wallSec * 1e6 / PerBatch);
            cpu[way].push_back(cost.m_cpuSec * 1e6 / PerBatch);
        }
    }
    bench::PrintRatio(what, "us wall", bench::Median(wall[0]), bench::Median(wall[1]), wanted);
    bench::PrintRatio(what, "us CPU", bench::Median(cpu[0]), bench::Median(cpu[1]), wanted);
}

void CompareExecutor(std::shared_ptr<ICloudClient> const& client, int batches, int length, std::string const& work,
                     std::function<void()> const& body)
{
    auto const executor = [&]
    {
        CCloudParallelTaskExecutor queue(client, nullptr, InFlight);
        for (int n = 0; n < PerBatch; ++n)
        {
            queue.QueueTask(
                [&]
                {
                    auto task = CPplxTaskUtils().CreateTask(std::function(body));
                    for (int step = 1; step < length; ++step)
                    {
                        task = task->Then([] {});
                    }
                    return task;
                });
        }
        queue.Flush();
    };
    auto const bare = [&]
    {
        CBareChains chains;
        for (int n = 0; n < PerBatch; ++n)
        {
            chains.Add(length, body);
        }
        chains.Flush();
    };
    Compare("executor, chains of " + std::to_string(length) + ", " + work, batches, "<= 1.10", executor, bare);
}

/// 4 KiB to paths of their own, in memory.
void CompareWriter(int batches)
{
    std::string const text(4096, 'x');
    auto const body = testing::BufsOf(text);
    auto const writer = [&]
    {
        CCloudParallelWriter own(
            std::make_shared<testing::CMemoryClient>(std::make_shared<testing::CMemoryStore>(false), InFlight));
        for (int n = 0; n < PerBatch; ++n)
        {
            own.Write(std::to_string(n), body, std::nullopt);
        }
        own.Flush();
    };
    auto const bare = [&]
    {
        testing::CMemoryStore store(false);
        CBareChains chains;
        for (int n = 0; n < PerBatch; ++n)
        {
            chains.Add(2, [&store, &text, path = std::to_string(n)] { store.Put(path, text); });
        }
        chains.Flush();
    };
    Compare("writer, 4 KiB in memory, beside chains of 2", batches, "", writer, bare);
}

} // namespace

int main(int argc, char** argv)
{
    int const batches = std::stoi(bench::Option(argc, argv, "batches").value_or("31"));
    auto const client =
        std::make_shared<testing::CMemoryClient>(std::make_shared<testing::CMemoryStore>(false), InFlight);
    bench::PrintHeader("16 in flight against std::async");
    for (int const length : {1, 2, 3})
    {
        CompareExecutor(client, batches, length, "no work", [] {});
        CompareExecutor(client, batches, length, "1 ms each", [] { util::sleep(1); });
    }
    CompareWriter(batches);
}
