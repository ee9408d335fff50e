// SPDX-License-Identifier: Apache-2.0
// The exclusive lock without contention, against its bare storage calls, on a store in memory. The pause of 200 ms is
// left out of the figures.
//
// --rounds=N   how often to acquire and release (2000)

#include "measure.h"

#include "bucketry/base/logging.h"

#include "locks/timing.h"
#include "support/memory_client.h"

#include <cstdio>

namespace
{

using namespace bucketry;
using bench::SCost;
using testing::CMemoryClient;
using testing::CMemoryStore;

locks::SLockInfo Record()
{
    locks::SLockInfo info = locks::SLockInfo::Create(guid::guid_t::CreateNew().ToAStr(), "bench", std::nullopt);
    info.ValidTillUtc = datetime::CDateTime::currentUtcTime();
    return info;
}

/// The twelve calls of one acquisition and release, each waited for. A missing object fails the read, as for the lock.
void BareCalls(CMemoryClient& client, ICloudClient::bufs_t const& record)
{
    auto const pool = io::block::bufs_pool_t::GetInst();
    auto const versioning = client.GetVersioningUtils();
    auto const read = [&](char const* path)
    {
        try
        {
            client.DownloadFileAsync(path, std::make_shared<io::block::CPooledBuf>(0, pool), pool)->Wait();
        }
        catch (CObjectStorageException const&)
        {
        }
    };
    auto const put = [&](char const* path) -> std::string
    {
        auto const version = std::make_shared<std::string>();
        client.IsVersioningEnabled() ? versioning->UploadFileAsync(path, record, version, std::nullopt)->Wait()
                                     : client.UploadFileAsync(path, record)->Wait();
        return *version;
    };
    auto const remove = [&](char const* path, std::string const& version)
    {
        client.IsVersioningEnabled() ? versioning->DeleteFileVersionAsync(path, version)->Wait()
                                     : client.DeleteFileAsync(path)->Wait();
    };
    read("f/lock");
    read("f/declare");
    std::string const declared = put("f/declare");
    read("f/try");
    std::string const tried = put("f/try");
    read("f/declare");
    read("f/try");
    read("f/lock");
    std::string const locked = put("f/lock");
    remove("f/declare", declared);
    remove("f/try", tried);
    remove("f/lock", locked);
}

void Measure(bool versioned, int rounds)
{
    CMemoryClient client(std::make_shared<CMemoryStore>(versioned));
    auto const timing = std::make_shared<locks::details::SLockTiming>();
    timing->m_sleep = [](int) {};
    locks::details::OverrideTiming(timing);
    synch::completion_port_t port;
    auto const record = Record().Serialize();
    locks::CCloudOptimisticLock lock(client, "f", {}, client.GetServerTime());
    auto const repeat = [&](auto&& work)
    {
        return bench::CostOf(
            [&]
            {
                for (int round = 0; round < rounds; ++round)
                {
                    work();
                }
            });
    };
    SCost const bare = repeat([&] { BareCalls(client, record); });
    SCost const own = repeat(
        [&]
        {
            lock.Lock(0, port);
            lock.Unlock();
        });
    bench::PrintHeader(versioned ? "with versions" : "without versions");
    bench::PrintRatio("lock and unlock, wall", "us", own.m_wallSec * 1e6 / rounds, bare.m_wallSec * 1e6 / rounds);
    bench::PrintRatio("lock and unlock, CPU", "us", own.m_cpuSec * 1e6 / rounds, bare.m_cpuSec * 1e6 / rounds);
}

} // namespace

int main(int argc, char** argv)
{
    int const rounds = std::stoi(bench::Option(argc, argv, "rounds").value_or("2000"));
    logging::SetSink([](logging::ELevel, std::string const&, std::string const&) {});
    Measure(false, rounds);
    Measure(true, rounds);
}
