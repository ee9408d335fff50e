// SPDX-License-Identifier: Apache-2.0
#include "s3wire.h"

#include "measure.h"

#include "bucketry/s3wire/statistics.h"
#include "s3wire/operations/operations.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>
#include <future>
#include <sstream>
#include <thread>

namespace bench
{

namespace
{

using namespace bucketry;
using io::block::CPooledBuf;
using s3wire::wire::SObjectRef;

constexpr std::size_t SmallSize = 4096;
std::string const SmallKey = "small";
std::string const SmallPath = "/bucket/small";

/// The same number of operations on each of some threads.
void OnThreads(int operations, int threads, std::function<void()> const& operation)
{
    auto const share = [&]
    {
        for (int n = 0; n < operations / threads; ++n)
        {
            operation();
        }
    };
    std::vector<std::future<void>> others;
    for (int n = 1; n < threads; ++n)
    {
        others.push_back(std::async(std::launch::async, share));
    }
    share();
    for (auto& other : others)
    {
        other.get();
    }
}

/// Starts one operation after the other, so that never more than `inFlight` of them run.
template <class TStart>
void InFlight(int operations, int inFlight, TStart const& start)
{
    std::deque<decltype(start())> running;
    for (int n = 0; n < operations; ++n)
    {
        if (running.size() == static_cast<std::size_t>(inFlight))
        {
            running.front().get();
            running.pop_front();
        }
        running.push_back(start());
    }
    for (auto& rest : running)
    {
        rest.get();
    }
}

std::shared_ptr<CPooledBuf> Content()
{
    auto content = CPooledBuf::Alloc(SmallSize, nullptr);
    content->SetCount(SmallSize);
    std::memset(content->GetData(), 'x', SmallSize);
    return content;
}

/// The seven ways to put, or to get, the same object.
struct SContestants
{
    using way_t = std::function<void(int operations, int inFlight)>;
    way_t m_bare;
    way_t m_signed;
    way_t m_async;
    way_t m_tasks;
    way_t m_body;
    way_t m_chain; ///< the signed loop with as many threads for each operation as the client has tasks
    way_t m_client;
};

using bare_operation_t = std::function<void(CBareHandle&)>;

/// What the loop does besides depends on the threads only.
SContestants::way_t BareWay(CBarePool& pool, bare_operation_t operation)
{
    return [&pool, operation = std::move(operation)](int operations, int inFlight)
    { OnThreads(operations, inFlight, [&] { pool.With(operation); }); };
}

SContestants::way_t AsyncWay(CBarePool& pool, bare_operation_t operation)
{
    return [&pool, operation = std::move(operation)](int operations, int inFlight)
    {
        InFlight(operations, inFlight,
                 [&] { return std::async(std::launch::async, [&pool, &operation] { pool.With(operation); }); });
    };
}

/// Request, result, adaption, statistics: each waits for the one before.
SContestants::way_t ChainWay(CBarePool& pool, bare_operation_t operation)
{
    constexpr int links = 4;
    return [&pool, operation = std::move(operation)](int operations, int inFlight)
    {
        auto const start = [&pool, &operation]
        {
            auto chain = std::async(std::launch::async, [&pool, &operation] { pool.With(operation); });
            for (int link = 1; link < links; ++link)
            {
                chain = std::async(std::launch::async, [former = std::move(chain)]() mutable { former.get(); });
            }
            return chain;
        };
        InFlight(operations, inFlight, start);
    };
}

/// The client that the factory makes, with all its layers.
SContestants::way_t ClientWay(std::function<std::shared_ptr<task::IAsyncTask>()> const& start)
{
    struct SRunning
    {
        std::shared_ptr<task::IAsyncTask> m_task;
        void get() const { m_task->Wait(); }
    };
    return [start](int operations, int inFlight)
    { InFlight(operations, inFlight, [&start] { return SRunning{start()}; }); };
}

SContestants::way_t TaskWay(std::function<web::Task<s3wire::s3::SObjectData>()> const& get)
{
    return [get](int operations, int inFlight) { InFlight(operations, inFlight, get); };
}

struct SBarePools
{
    CBarePool& m_unsigned;
    CBarePool& m_signed;
};

SContestants Contestants(SBarePools pools, bare_operation_t const& operation)
{
    SContestants result;
    result.m_bare = BareWay(pools.m_unsigned, operation);
    result.m_signed = BareWay(pools.m_signed, operation);
    result.m_async = AsyncWay(pools.m_signed, operation);
    result.m_chain = ChainWay(pools.m_signed, operation);
    return result;
}

SContestants Puts(SBarePools pools, s3wire::s3::CS3WireClient const& client, std::shared_ptr<ICloudClient> const& stack)
{
    auto const content = Content();
    SContestants result = Contestants(
        pools, [content](CBareHandle& handle) { handle.Put(SmallPath, content->GetData(), content->GetCount()); });
    result.m_tasks = [client, content](int operations, int inFlight) {
        InFlight(operations, inFlight, [&] { return client.PutObject(Bucket, SmallKey, content, {}, {}, {}, {}, {}); });
    };
    result.m_body = [client, content](int operations, int inFlight) {
        OnThreads(operations, inFlight,
                  [&] {
                      client.GetOperations()->PutObject({Bucket, SmallKey, ""}, {}, content);
                  });
    };
    result.m_client = ClientWay([stack, content] { return stack->UploadFileAsync(SmallKey, content); });
    return result;
}

SContestants Gets(SBarePools pools, s3wire::s3::CS3WireClient const& client, std::shared_ptr<ICloudClient> const& stack)
{
    SContestants result = Contestants(pools,
                                      [](CBareHandle& handle)
                                      {
                                          std::vector<unsigned char> content(SmallSize);
                                          handle.Get(SmallPath, content.data(), content.size());
                                      });
    result.m_tasks =
        TaskWay([client] { return client.GetObject(Bucket, SmallKey, io::block::bufs_pool_t::GetInst(), 0, 0, ""); });
    result.m_body = [client](int operations, int inFlight)
    {
        auto const get = [&]
        {
            auto const pool = io::block::bufs_pool_t::GetInst();
            return client.GetOperations()->GetObject({Bucket, SmallKey, ""}, pool, {});
        };
        OnThreads(operations, inFlight, get);
    };
    result.m_client = ClientWay(
        [stack]
        {
            auto const pool = io::block::bufs_pool_t::GetInst();
            return stack->DownloadFileAsync(SmallKey, CPooledBuf::Alloc(0, pool), pool);
        });
    return result;
}

/// Microseconds of CPU and of the clock for each operation: medians of rounds in which each contestant had its turn.
std::vector<double> Measure(SS3Plan const& plan, SContestants const& contestants, int inFlight)
{
    std::vector<SContestants::way_t> const ways = {contestants.m_bare,  contestants.m_signed, contestants.m_async,
                                                   contestants.m_tasks, contestants.m_body,   contestants.m_chain,
                                                   contestants.m_client};
    std::vector<std::vector<double>> costs(2 * ways.size());
    for (int round = -1; round < plan.m_rounds; ++round)
    {
        for (std::size_t n = 0; n < ways.size(); ++n)
        {
            std::size_t const way = (n + static_cast<std::size_t>(round + 1)) % ways.size();
            SCost const cost = CostOf([&] { ways[way](plan.m_operations, inFlight); });
            if (round >= 0) // the one before opens the connections
            {
                costs[2 * way].push_back(cost.m_cpuSec * 1e6 / plan.m_operations);
                costs[2 * way + 1].push_back(cost.m_wallSec * 1e6 / plan.m_operations);
            }
        }
    }
    std::vector<double> medians;
    std::transform(costs.begin(), costs.end(), std::back_inserter(medians), Median);
    return medians;
}

void Print(std::string const& what, std::vector<double> const& costs)
{
    auto const print = [&](std::string const& name, std::size_t own, std::size_t bare, std::string const& wanted)
    {
        PrintRatio(what + name, "us CPU", costs[2 * own], costs[2 * bare], wanted);
        PrintRatio(what + name, "us wall", costs[2 * own + 1], costs[2 * bare + 1]);
    };
    print("(signed bare / bare)", 1, 0, "");
    print("(signed bare with async / bare)", 2, 0, "");
    print("tasks / signed bare with async", 3, 2, "<= 1.15");
    print("body of the task / signed bare", 4, 1, "<= 1.25");
    print("client of the factory / signed bare with a chain of four", 6, 5, "<= 1.10");
}

/// Connections and requests that the server has seen, this one included.
std::pair<long, long> ServerCounts(SS3Plan const& plan)
{
    std::istringstream status(CBareHandle(plan.m_plain, nullptr).GetText("/status"));
    std::string line;
    std::getline(status, line);
    std::getline(status, line);
    long connections = 0;
    long handled = 0;
    long requests = 0;
    status >> connections >> handled >> requests;
    return {connections, requests};
}

} // namespace

void SmallObjects(SS3Plan const& plan)
{
    for (int const inFlight : {1, 16})
    {
        PrintHeader("4 KiB, " + std::to_string(inFlight) + " in flight");
        for (bool const isPut : {true, false})
        {
            auto const result = InChild(
                [&]
                {
                    CBareSigner const signer(plan.m_plain);
                    CBarePool unsignedPool(plan.m_plain, nullptr);
                    CBarePool signedPool(plan.m_plain, &signer);
                    auto const client = MakeClient(plan.m_plain);
                    client.PutObject(Bucket, SmallKey, Content(), {}, {}, {}, {}, {}).get();
                    SBarePools const pools{unsignedPool, signedPool};
                    auto const stack = MakeStack(plan.m_plain);
                    return Measure(plan, isPut ? Puts(pools, client, stack) : Gets(pools, client, stack), inFlight);
                });
            Print(isPut ? "put, " : "get, ", result.m_numbers);
        }
    }
}

void Connections(SS3Plan const& plan)
{
    constexpr int operations = 5008; // 313 on each of 16 threads
    auto const [connections, requests] = ServerCounts(plan);
    InChild(
        [&]
        {
            auto const client = MakeClient(plan.m_plain);
            auto const content = Content();
            OnThreads(operations / 2, 16,
                      [&] { client.PutObject(Bucket, SmallKey, content, {}, {}, {}, {}, {}).get(); });
            OnThreads(operations / 2, 16, [&] { client.GetObject(Bucket, SmallKey, nullptr, 0, 0, "").get(); });
            return std::vector<double>();
        });
    auto const [connectionsAfter, requestsAfter] = ServerCounts(plan);
    std::printf("\n%d operations from 16 threads: %ld connections (wanted: <= 16), %ld requests\n", operations,
                connectionsAfter - connections - 1, requestsAfter - requests - 1);
}

} // namespace bench
