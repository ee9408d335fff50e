// A small backup host: stores three objects compressed and encrypted, many at a time, under a lock, reads them back, and
// tells what it asked of the store: backup_host SPECIFICATION-FILE
#include <bucketry/client.h>
#include <bucketry/parallel.h>
#include <bucketry/processing.h>
#include <bucketry/s3.h>
#include <bucketry/statistics.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

using namespace bucketry;

namespace
{

using bodies_t = std::map<std::string, std::string>; // by path

constexpr char const* Name = "backup_host"; // under which the store's requests are counted

std::shared_ptr<ICloudClient> OpenStore(char const* file)
{
    std::ifstream input(file);
    std::string const text{std::istreambuf_iterator<char>(input), {}};
    return s3::CS3CompatibleClientFactory::Create(s3::SS3ClientConnSpec::Deserialize(text), Name, nullptr);
}

std::shared_ptr<io::block::CPooledBuf> BodyOf(std::string const& text)
{
    auto body = io::block::CPooledBuf::Alloc(text.size(), io::block::bufs_pool_t::GetInst());
    body->SetCount(text.size());
    std::copy(text.begin(), text.end(), body->GetData());
    return body;
}

void Store(std::shared_ptr<ICloudClient> const& client, bodies_t const& bodies)
{
    CCloudParallelWriter writer(client);
    for (auto const& [path, text] : bodies)
    {
        writer.Write(path, BodyOf(text), std::nullopt);
    }
    writer.Flush(); // throws the first failure
}

bool AreAsTheyWere(ICloudClient& client, bodies_t const& bodies)
{
    for (auto const& [path, text] : bodies)
    {
        auto const body = BodyOf("");
        client.DownloadFileAsync(path, body, io::block::bufs_pool_t::GetInst())->Wait();
        if (std::string_view(reinterpret_cast<char const*>(body->GetData()), body->GetCount()) != text)
        {
            return false;
        }
    }
    return true;
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

    bodies_t const bodies{{"backup/1", std::string(100'000, 'x')}, {"backup/2", ""}, {"backup/3", "three"}};
    SCloudLockParams params;
    params.m_reason = "an example";
    std::shared_ptr<ICloudLock> const lock =
        client->Lock("backup", params, std::make_shared<synch::completion_port_t>());
    Store(client, bodies);
    bool const isWhole = AreAsTheyWere(*client, bodies);
    lock->Unlock();

    std::cout << bodies.size() << (isWhole ? " objects, all as they were\n" : " objects, some changed\n");
    std::cerr << CCloudStatisticsManager::Instance().GetCloudStatisticsValues(Name)->m_uploadedBytes
              << " bytes went to the store\n";
    return isWhole ? 0 : 1;
}
catch (std::exception const& error)
{
    std::cerr << error.what() << '\n';
    return 1;
}
