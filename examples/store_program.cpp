// SPDX-License-Identifier: Apache-2.0
// Puts an object into a store, reads it back and lists its folder: store_program SPECIFICATION-FILE
#include <bucketry/client.h>
#include <bucketry/s3.h>

#include <fstream>
#include <iostream>
#include <iterator>

using namespace bucketry;

namespace
{

std::shared_ptr<ICloudClient> OpenStore(char const* file)
{
    std::ifstream input(file);
    std::string const text{std::istreambuf_iterator<char>(input), {}};
    return s3::CS3CompatibleClientFactory::Create(s3::SS3ClientConnSpec::Deserialize(text), "store_program", nullptr);
}

} // namespace

int main(int argc, char** argv)
try
{
    std::shared_ptr<ICloudClient> const client = OpenStore(argc > 1 ? argv[1] : "store.xml");
    auto const pool = io::block::bufs_pool_t::GetInst();

    client->UploadFileAsync("greetings/hello.txt", io::block::CPooledBuf::FromText("hello, store\n", pool))->Wait();

    auto const fetched = io::block::CPooledBuf::Alloc(0, pool);
    client->DownloadFileAsync("greetings/hello.txt", fetched, pool)->Wait();
    std::cout << fetched->GetText();

    for (SCloudObjectInfo const& object : client->QueryFolder("greetings"))
    {
        std::cout << object.m_name << ", " << object.m_size << " bytes\n";
    }
}
catch (std::exception const& error)
{
    std::cerr << error.what() << '\n';
    return 1;
}
