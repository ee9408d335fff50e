// SPDX-License-Identifier: Apache-2.0
// Peak memory of a listing, page by page, of a store of many keys:
// examples/on_simulator.sh TOOL bench_listing [--keys=N] SPECIFICATION-FILE
//
// --keys=N  how many empty objects are put there before (1000000)
//
// On a store that keeps versions (on_simulator.sh --object-lock) their versions are listed.

#include "measure.h"

#include "bucketry/client.h"
#include "bucketry/s3.h"
#include "bucketry/tasks.h"

#include <cstdio>
#include <deque>
#include <fstream>
#include <iterator>

namespace
{

using namespace bucketry;

constexpr std::size_t InFlight = 16;

std::shared_ptr<ICloudClient> OpenStore(char const* file)
{
    std::ifstream input(file);
    std::string const text{std::istreambuf_iterator<char>(input), {}};
    return s3::CS3CompatibleClientFactory::Create(s3::SS3ClientConnSpec::Deserialize(text), "bench", nullptr);
}

void Put(ICloudClient& client, int count)
{
    auto const nothing = io::block::CPooledBuf::Alloc(0, nullptr);
    std::deque<ICloudClient::task_t> running;
    for (int n = 0; n < count; ++n)
    {
        if (running.size() == InFlight)
        {
            running.front()->Wait();
            running.pop_front();
        }
        running.push_back(client.UploadFileAsync("keys/object-" + std::to_string(n), nothing));
    }
    for (auto const& rest : running)
    {
        rest->Wait();
    }
}

/// The number of entries.
double List(ICloudClient& client, std::string const& folder)
{
    double count = 0;
    auto const take = [&count](auto const& page) -> void { count += static_cast<double>(page.size()); };
    auto const task = client.IsVersioningEnabled()
        ? client.GetVersioningUtils()->QueryFolderVersionsAsync(
              folder, std::function<void(std::vector<SCloudObjectPathVersionPair> const&)>(take))
        : client.QueryFolderAsync(folder, std::function<void(std::vector<SCloudObjectInfo> const&)>(take));
    task->Wait();
    return count;
}

} // namespace

int main(int argc, char** argv)
try
{
    int const keys = std::stoi(bench::Option(argc, argv, "keys").value_or("1000000"));
    char const* const specification = argv[argc - 1];
    bench::InChild(
        [=]
        {
            Put(*OpenStore(specification), keys);
            return std::vector<double>();
        });
    auto const listing = [=](char const* folder)
    {
        return [=]
        {
            std::vector<double> found(1);
            bench::SCost const cost = bench::CostOf([&] { found[0] = List(*OpenStore(specification), folder); });
            found.push_back(cost.m_wallSec);
            found.push_back(cost.m_cpuSec);
            return found;
        };
    };
    bench::SChildResult const nothing = bench::InChild(listing("nothing"));
    bench::SChildResult const all = bench::InChild(listing("keys"));
    std::printf(
        "%.0f entries listed: %.1f s, %.1f s CPU, peak %.1f MiB, of an empty folder %.1f MiB (wanted: below 64)\n",
        all.m_numbers.at(0), all.m_numbers.at(1), all.m_numbers.at(2), all.m_peakMiB, nothing.m_peakMiB);
}
catch (std::exception const& error)
{
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
