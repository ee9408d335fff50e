#include <bucketry/client.h>

#include <cstring>
#include <iostream>
#include <string_view>

int main(int argc, char** argv)
{
    auto const client = bucketry::CLocalFsCloudClient::Create(argc > 1 ? argv[1] : "first-bucket");

    std::string_view const text = "hello, bucket\n";
    auto const body = bucketry::io::block::CPooledBuf::Alloc(text.size(), bucketry::io::block::bufs_pool_t::GetInst());
    body->SetCount(text.size());
    std::memcpy(body->GetData(), text.data(), text.size());
    client->UploadFileAsync("greetings/hello.txt", body)->Wait();

    for (bucketry::SCloudObjectInfo const& object : client->QueryFolder("greetings"))
    {
        std::cout << object.m_name << ", " << object.m_size << " bytes\n";
    }
}
