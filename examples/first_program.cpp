// SPDX-License-Identifier: Apache-2.0
#include <bucketry/client.h>

#include <iostream>

int main(int argc, char** argv)
{
    auto const client = bucketry::CLocalFsCloudClient::Create(argc > 1 ? argv[1] : "first-bucket");

    auto const body = bucketry::io::block::CPooledBuf::FromText("hello, bucket\n");
    client->UploadFileAsync("greetings/hello.txt", body)->Wait();

    for (bucketry::SCloudObjectInfo const& object : client->QueryFolder("greetings"))
    {
        std::cout << object.m_name << ", " << object.m_size << " bytes\n";
    }
}
