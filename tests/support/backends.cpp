// SPDX-License-Identifier: Apache-2.0
#include "support/backends.h"

#include "support/memory_client.h"
#include "support/temp_dir.h"

namespace bucketry::testing
{

SBackend LocalBackend()
{
    struct SLocal
    {
        CTempDir m_directory;
        std::shared_ptr<CLocalFsCloudClient> m_client = CLocalFsCloudClient::Create(m_directory.Path() / "root/of it");
    };
    return {.name = "Local",
            .traits = {.walksFolders = false,
                       .hasStreams = false,
                       .hasRealFolders = true,
                       .checksDeletedExist = true,
                       .listingPage = 1,
                       .moreNames = "\x01\n\xff\x7f"},
            .make = []
            {
                auto const local = std::make_shared<SLocal>();
                return std::shared_ptr<ICloudClient>(local, local->m_client.get());
            }};
}

SBackend MemoryBackend(bool keepsVersions)
{
    constexpr std::size_t page = 3;
    return {.name = keepsVersions ? "MemoryWithVersions" : "Memory",
            .traits = {.keepsVersions = keepsVersions, .listingPage = page, .moreNames = "\x01\n\xff\x7f"},
            .make = [keepsVersions, page]
            { return std::make_shared<CMemoryClient>(std::make_shared<CMemoryStore>(keepsVersions), 16, page); }};
}

} // namespace bucketry::testing
