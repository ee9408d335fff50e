// SPDX-License-Identifier: Apache-2.0
// Stores an object in an archive, asks for it, waits until it can be read, and reads it:
// restore_from_archive SECONDS-BETWEEN-QUESTIONS SPECIFICATION-FILE
#include <bucketry/client.h>
#include <bucketry/s3.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <iterator>
#include <thread>

using namespace bucketry;

namespace
{

/// A client whose new objects go into the archive.
std::shared_ptr<ICloudClient> OpenArchive(char const* file)
{
    std::ifstream input(file);
    std::string const text{std::istreambuf_iterator<char>(input), {}};
    auto spec = s3::SS3ClientConnSpec::Deserialize(text);
    spec.Options.StorageClass = s3wire::s3::CObjectStorageClass(s3wire::s3::EAmazonS3StorageClass::Glacier);
    return s3::CS3CompatibleClientFactory::Create(spec, "restore_from_archive", nullptr);
}

void Restore(ICloudClient& client, std::string const& path, std::chrono::seconds pause)
{
    SRetrieveArchiveOptions options;
    options.m_days = 3;
    options.m_tier = ArchiveRetrievalTier::Expedited;
    client.RetrieveArchiveAsync(path, path, options)->Wait();
    auto const status = std::make_shared<SArchiveRetrievalStatus>();
    client.GetArchiveRetrievalStatusAsync(path, status)->Wait();
    while (status->m_isRetrievalInProgress)
    {
        std::this_thread::sleep_for(pause);
        client.GetArchiveRetrievalStatusAsync(path, status)->Wait();
    }
    std::cout << "Restored until " << status->m_expiryDate.toStdString("%Y-%m-%d") << '\n';
}

} // namespace

int main(int argc, char** argv)
try
{
    std::chrono::seconds const pause(argc > 1 ? std::stoul(argv[1]) : 60);
    auto const client = OpenArchive(argc > 2 ? argv[2] : "store.xml");
    std::string const path = "letters/2026.txt";
    client->UploadFileAsync(path, io::block::CPooledBuf::FromText("worth keeping\n"))->Wait();
    Restore(*client, path, pause);

    auto const pool = io::block::bufs_pool_t::GetInst();
    auto const body = io::block::CPooledBuf::Alloc(0, pool);
    client->DownloadFileAsync(path, body, pool)->Wait();
    std::cout << body->GetText();
}
catch (std::exception const& error)
{
    std::cerr << error.what() << '\n';
    return 1;
}
