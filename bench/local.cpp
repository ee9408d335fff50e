// SPDX-License-Identifier: Apache-2.0
// The local client against cp, and against a plain read.
//
// --dir=PATH   where to work; a directory of its own is made there and removed (/tmp)
// --gib=N      size of the large object (1)
// --files=N    how many files of 4 KiB (10000)
// --rounds=N   rounds of the large object (5)

#include "measure.h"

#include "bucketry/client.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace
{

using namespace bucketry;
using bench::SCost;

constexpr unsigned long GiB = 1UL << 30;
constexpr unsigned long MiB = 1UL << 20;
constexpr unsigned long SmallSize = 4096;
auto const Pool = io::block::bufs_pool_t::GetInst();

struct SPlan
{
    std::filesystem::path m_directory;
    unsigned long m_bytes;
    int m_files;
    int m_rounds;

    std::string Path(std::string const& name) const { return m_directory / name; }
};

std::shared_ptr<io::block::CPooledBuf> Filled(unsigned long bytes)
{
    auto bufs = io::block::CPooledBuf::Alloc(bytes, Pool);
    bufs->SetCount(bytes);
    std::memset(bufs->GetData(), 'x', bytes);
    return bufs;
}

/// Rounds of cp and of the library in turn, each going first every other round, and each beginning with nothing left to
/// write to the disk: for each round cp's seconds and the library's, and the library's CPU.
std::vector<double> Rounds(SPlan const& plan, std::function<void()> const& own)
{
    auto const copy = [&] { bench::Run({"cp", plan.Path("big"), plan.Path("cp")}); };
    std::vector<double> numbers;
    for (int round = 0; round < plan.m_rounds; ++round)
    {
        SCost cost[2];
        for (int const way : {round % 2, 1 - round % 2})
        {
            ::sync();
            cost[way] = bench::CostOf(way == 0 ? std::function<void()>(copy) : own);
        }
        numbers.insert(numbers.end(), {cost[0].m_wallSec, cost[1].m_wallSec, cost[1].m_cpuSec});
    }
    return numbers;
}

std::vector<double> EveryThird(std::vector<double> const& numbers, std::size_t from)
{
    std::vector<double> some;
    for (std::size_t n = from; n < numbers.size(); n += 3)
    {
        some.push_back(numbers[n]);
    }
    return some;
}

void PrintRounds(SPlan const& plan, std::string const& what, bench::SChildResult const& result)
{
    double const gib = static_cast<double>(plan.m_bytes) / GiB;
    auto const& numbers = result.m_numbers;
    bench::PrintRatio(what + ", first round", "GiB/s", gib / numbers[1], gib / numbers[0]);
    bench::PrintRatio(what + ", later rounds", "GiB/s", gib / bench::Median(EveryThird(numbers, 4)),
                      gib / bench::Median(EveryThird(numbers, 3)), ">= 0.90");
    bench::PrintRatio(what + ", peak memory against the object", "MiB", result.m_peakMiB,
                      static_cast<double>(plan.m_bytes / MiB), "object + 16 MiB");
}

/// CPU seconds of a read into a fresh block of small pages.
double PlainReadCpu(SPlan const& plan)
{
    return bench::InChild(
               [&]
               {
                   void* const block =
                       mmap(nullptr, plan.m_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                   madvise(block, plan.m_bytes, MADV_NOHUGEPAGE);
                   int const file = open(plan.Path("big").c_str(), O_RDONLY);
                   SCost const cost = bench::CostOf(
                       [&]
                       {
                           for (unsigned long done = 0; done < plan.m_bytes;)
                           {
                               ssize_t const count = read(file, static_cast<char*>(block) + done, plan.m_bytes - done);
                               if (count <= 0)
                               {
                                   throw std::runtime_error("a plain read failed");
                               }
                               done += static_cast<unsigned long>(count);
                           }
                       });
                   return std::vector{cost.m_cpuSec};
               })
        .m_numbers.front();
}

void LargeObject(SPlan const& plan)
{
    bench::PrintHeader("one object of " + std::to_string(plan.m_bytes / GiB) + " GiB against cp");
    CLocalFsCloudClient client(plan.m_directory.string() + "/");
    bench::InChild(
        [&]
        {
            client.UploadFileAsync("big", Filled(plan.m_bytes))->Wait();
            return std::vector<double>();
        });
    auto const upload = bench::InChild(
        [&]
        {
            auto const bufs = Filled(plan.m_bytes);
            return Rounds(plan, [&] { client.UploadFileAsync("up", bufs)->Wait(); });
        });
    PrintRounds(plan, "upload", upload);
    auto const download = bench::InChild(
        [&]
        {
            auto const bufs = std::make_shared<io::block::CPooledBuf>(0, Pool);
            return Rounds(plan, [&] { client.DownloadFileAsync("big", bufs, Pool)->Wait(); });
        });
    PrintRounds(plan, "download", download);
    bench::PrintRatio("first download against a plain read", "CPU s", download.m_numbers[2], PlainReadCpu(plan),
                      "<= 0.50");
}

void SmallFiles(SPlan const& plan)
{
    std::string const count = std::to_string(plan.m_files);
    bench::PrintHeader(count + " files of 4 KiB against cp -r");
    CLocalFsCloudClient client(plan.m_directory.string() + "/");
    auto const forAll = [&](auto&& work)
    {
        for (int n = 0; n < plan.m_files; ++n)
        {
            work("small/" + std::to_string(n))->Wait();
        }
    };
    auto const result = bench::InChild(
        [&]
        {
            auto const bufs = Filled(SmallSize);
            SCost const up =
                bench::CostOf([&] { forAll([&](auto const& path) { return client.UploadFileAsync(path, bufs); }); });
            SCost const cp = bench::CostOf(
                [&] {
                    bench::Run({"cp", "-r", plan.Path("small"), plan.Path("small.cp")});
                });
            SCost const down = bench::CostOf(
                [&] { forAll([&](auto const& path) { return client.DownloadFileAsync(path, bufs, Pool); }); });
            return std::vector{up.m_wallSec, up.m_cpuSec, cp.m_wallSec, cp.m_cpuSec, down.m_wallSec, down.m_cpuSec};
        });
    auto const print = [&](std::string const& what, std::string const& unit, std::size_t own, std::size_t bare)
    {
        double const scale = 1e6 / plan.m_files;
        bench::PrintRatio(what, unit, result.m_numbers[own] * scale, result.m_numbers[bare] * scale);
    };
    print("upload", "us wall each", 0, 2);
    print("upload", "us CPU each", 1, 3);
    print("download", "us wall each", 4, 2);
    print("download", "us CPU each", 5, 3);
    std::printf("peak memory: %.1f MiB\n", result.m_peakMiB);
}

} // namespace

int main(int argc, char** argv)
{
    auto const number = [&](char const* name, char const* fallback)
    { return std::stoi(bench::Option(argc, argv, name).value_or(fallback)); };
    SPlan plan{bench::Option(argc, argv, "dir").value_or("/tmp"), static_cast<unsigned long>(number("gib", "1")) * GiB,
               number("files", "10000"), std::max(2, number("rounds", "5"))};
    plan.m_directory /= "bucketry-bench-" + std::to_string(getpid());
    std::filesystem::create_directories(plan.m_directory);
    try
    {
        LargeObject(plan);
        SmallFiles(plan);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "%s\n", error.what());
    }
    std::filesystem::remove_all(plan.m_directory);
}
