// SPDX-License-Identifier: Apache-2.0
// A small backup host: stores three objects compressed and encrypted, many at a time, under a lock, and again when they
// have changed; reads both backups back; and tells what it asked of the store: backup_host SPECIFICATION-FILE
//
// Where the bucket keeps versions, a backup is a list of versions, and the store keeps each of them for two hours,
// whoever wants to delete it. Elsewhere the second backup replaces the first.
#include <bucketry/client.h>
#include <bucketry/parallel.h>
#include <bucketry/processing.h>
#include <bucketry/s3.h>
#include <bucketry/statistics.h>
#include <bucketry/transfer.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

using namespace bucketry;

namespace
{

using bodies_t = std::map<std::string, std::string>;   // by path
using versions_t = std::map<std::string, std::string>; // version ids by path; empty from a bucket without versions

constexpr char const* Name = "backup_host"; // under which the store's requests are counted

std::shared_ptr<ICloudClient> OpenStore(char const* file)
{
    std::ifstream input(file);
    std::string const text{std::istreambuf_iterator<char>(input), {}};
    return s3::CS3CompatibleClientFactory::Create(s3::SS3ClientConnSpec::Deserialize(text), Name, nullptr);
}

versions_t Store(std::shared_ptr<ICloudClient> const& client, bodies_t const& bodies)
{
    auto const now = datetime::CDateTime::currentUtcTime().toUnixTime();
    auto const keptUntil = datetime::CDateTime::fromUnixTime(now + 2L * 3600, true);
    CObjectVersionsQueue written;
    CCloudParallelWriter writer(client);
    for (auto const& [path, text] : bodies)
    {
        writer.Write(path, io::block::CPooledBuf::FromText(text), written.CreateVersionSink(path), keptUntil);
    }
    writer.Flush(); // throws the first failure
    versions_t versions;
    while (auto const version = written.PopVersion())
    {
        versions.insert(*version);
    }
    return versions;
}

bool AreAsTheyWere(std::shared_ptr<ICloudClient> const& client, bodies_t const& bodies, versions_t versions)
{
    auto const isAsItWas = [&](bodies_t::value_type const& entry)
    {
        auto const body = Download(client, entry.first, versions[entry.first], io::block::bufs_pool_t::GetInst());
        return body->GetText() == entry.second;
    };
    return std::all_of(bodies.begin(), bodies.end(), isAsItWas);
}

} // namespace

int main(int argc, char** argv)
try
{
    std::shared_ptr<ICloudClient> const store = OpenStore(argc > 1 ? argv[1] : "store.xml");
    // A real host keeps its key: see crypto::CKeySet::FromRaw and FromPassword.
    auto const context = CreateProcessingContext(io::block::EBufTransformType::Zstd, crypto::CKeySet::Generate(),
                                                 std::make_shared<crypto::CKeySetCollection>());
    std::shared_ptr<ICloudClient> const client = context->CreateProcessingCloudClient(store);

    bodies_t const monday{{"backup/1", std::string(100'000, 'x')}, {"backup/2", ""}, {"backup/3", "three"}};
    bodies_t const tuesday{{"backup/1", std::string(100'000, 'y')}, {"backup/2", "no longer empty"}, {"backup/3", ""}};
    SCloudLockParams params;
    params.m_reason = "an example";
    std::shared_ptr<ICloudLock> const lock =
        client->Lock("backup", params, std::make_shared<synch::completion_port_t>());
    versions_t const ofMonday = Store(client, monday);
    versions_t const ofTuesday = Store(client, tuesday);
    lock->Unlock();

    bool const hasBoth = client->IsVersioningEnabled();
    bool const isWhole =
        AreAsTheyWere(client, tuesday, ofTuesday) && (!hasBoth || AreAsTheyWere(client, monday, ofMonday));
    std::cout << (hasBoth ? "2 backups" : "1 backup") << " of " << tuesday.size()
              << (isWhole ? " objects, all as they were\n" : " objects, some changed\n");
    std::cerr << CCloudStatisticsManager::Instance().GetCloudStatisticsValues(Name)->m_uploadedBytes
              << " bytes went to the store\n";
    return isWhole ? 0 : 1;
}
catch (std::exception const& error)
{
    std::cerr << error.what() << '\n';
    return 1;
}
