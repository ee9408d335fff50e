// SPDX-License-Identifier: Apache-2.0
#include "s3wire.h"

#include "measure.h"

#include "s3wire/streams.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace bench
{

namespace
{

using namespace bucketry;

std::string const LargeKey = "large";
std::string const LargePath = "/bucket/large";
constexpr std::size_t BlockSize = 1 << 20;

/// A line of /proc/self/status, as "VmRSS", in MiB.
double MemoryMiB(std::string const& name)
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
    {
        if (word == name + ":")
        {
            double kib = 0;
            status >> kib;
            return kib / 1024;
        }
    }
    throw std::runtime_error("no " + name);
}

/// CPU seconds and seconds of the clock, medians, and how much memory it took above the start.
struct SLargeCost
{
    double m_cpuSec;
    double m_wallSec;
    double m_memoryMiB;
};

/// Several rounds in one process; `prepare` gives the work of one of them. The first `warmUps` of them don't count.
SLargeCost InRounds(int rounds, int warmUps, std::function<std::function<void()>()> const& prepare)
{
    auto const result = InChild(
        [&]
        {
            std::vector<double> cpu;
            std::vector<double> wall;
            auto const work = prepare();
            double const start = MemoryMiB("VmRSS");
            for (int round = -warmUps; round < rounds; ++round)
            {
                SCost const cost = CostOf(work);
                if (round >= 0)
                {
                    cpu.push_back(cost.m_cpuSec);
                    wall.push_back(cost.m_wallSec);
                }
            }
            return std::vector{Median(cpu), Median(wall), MemoryMiB("VmHWM") - start};
        });
    return {result.m_numbers[0], result.m_numbers[1], result.m_numbers[2]};
}

/// The same, each round in a process of its own.
SLargeCost InFreshProcesses(int rounds, std::function<std::function<void()>()> const& prepare)
{
    std::vector<double> cpu;
    std::vector<double> wall;
    for (int round = 0; round < rounds; ++round)
    {
        SLargeCost const cost = InRounds(1, 0, prepare);
        cpu.push_back(cost.m_cpuSec);
        wall.push_back(cost.m_wallSec);
    }
    return {Median(cpu), Median(wall), 0};
}

void Print(std::string const& what, SLargeCost const& own, SLargeCost const& bare, std::string const& wanted)
{
    PrintRatio(what, "CPU s", own.m_cpuSec, bare.m_cpuSec, wanted);
    PrintRatio(what, "wall s", own.m_wallSec, bare.m_wallSec);
}

SLargeCost BarePut(SS3Plan const& plan, SBareStore const& store)
{
    return InRounds(plan.m_largeRounds, 0,
                    [&]
                    {
                        auto const handle = std::make_shared<CBareHandle>(store, nullptr);
                        return [&, handle, block = std::vector<unsigned char>(BlockSize, 'x')]
                        { handle->PutRepeated(LargePath, block, plan.m_largeSize); };
                    });
}

SLargeCost StreamPut(SS3Plan const& plan, SBareStore const& store)
{
    return InRounds(
        plan.m_largeRounds, 0,
        [&]
        {
            return [&plan, client = MakeClient(store), block = std::vector<unsigned char>(BlockSize, 'x')]() mutable
            {
                s3wire::s3::CS3WireWriteStream stream(client, Bucket, LargeKey, plan.m_largeSize, {}, {}, {}, {}, {});
                for (std::size_t done = 0; done < plan.m_largeSize; done += block.size())
                {
                    stream.Write(block.data(), block.size());
                }
                stream.Finish();
            };
        });
}

/// What hashing as many bytes costs, in pieces that the cache does not hold.
SLargeCost Sha256Of(SS3Plan const& plan)
{
    return InRounds(plan.m_largeRounds, 0,
                    [&]
                    {
                        return [&plan, part = std::vector<unsigned char>(8 * BlockSize, 'x')]
                        {
                            for (std::size_t done = 0; done < plan.m_largeSize; done += part.size())
                            {
                                BareSha256(part.data(), part.size());
                            }
                        };
                    });
}

void LargePut(SS3Plan const& plan)
{
    SLargeCost const hashing = Sha256Of(plan);
    SLargeCost bare = BarePut(plan, plan.m_tls);
    SLargeCost own = StreamPut(plan, plan.m_tls);
    Print("put in parts over TLS, unsigned payload", own, bare, "<= 1.00");
    PrintRatio("put in parts over TLS, memory", "MiB", own.m_memoryMiB, 48, "<= 1.00");
    bare = BarePut(plan, plan.m_plain);
    own = StreamPut(plan, plan.m_plain);
    bare.m_cpuSec += hashing.m_cpuSec;
    bare.m_wallSec += hashing.m_wallSec;
    Print("put in parts, signed / bare + SHA-256", own, bare, "<= 1.00");
    PrintRatio("put in parts, memory", "MiB", own.m_memoryMiB, 48, "<= 1.00");
}

std::function<void()> PooledGet(SS3Plan const& plan, SBareStore const& store)
{
    auto const pool = std::make_shared<io::block::bufs_pool_t>(2 * plan.m_largeSize);
    return [client = MakeClient(store), pool] { client.GetObject(Bucket, LargeKey, pool, 0, 0, "").get(); };
}

std::function<void()> BareGet(SS3Plan const& plan, SBareStore const& store, bool newMemory)
{
    auto const handle = std::make_shared<CBareHandle>(store, nullptr);
    auto const kept = std::make_shared<std::unique_ptr<unsigned char[]>>();
    return [&plan, handle, kept, newMemory]
    {
        if (newMemory || !*kept)
        {
            *kept = std::make_unique_for_overwrite<unsigned char[]>(plan.m_largeSize);
        }
        handle->Get(LargePath, kept->get(), plan.m_largeSize);
    };
}

void LargeGet(SS3Plan const& plan, SBareStore const& store, std::string const& what)
{
    int const rounds = plan.m_largeRounds;
    Print(what + ", new memory", InFreshProcesses(rounds, [&] { return PooledGet(plan, store); }),
          InFreshProcesses(rounds, [&] { return BareGet(plan, store, true); }), "<= 0.60");
    Print(what + ", used memory", InRounds(rounds, 1, [&] { return PooledGet(plan, store); }),
          InRounds(rounds, 1, [&] { return BareGet(plan, store, false); }), "<= 0.50");
}

} // namespace

void LargeObject(SS3Plan const& plan)
{
    PrintHeader("one object of " + std::to_string(plan.m_largeSize >> 20) + " MiB");
    LargePut(plan);
    BarePut(plan, plan.m_plain); // whole, since the store takes one part for the object
    LargeGet(plan, plan.m_plain, "get");
    LargeGet(plan, plan.m_tls, "get over TLS");
}

} // namespace bench
