// SPDX-License-Identifier: Apache-2.0
#include "bucketry/transfer.h"

#include <utility>

namespace bucketry
{

std::shared_ptr<task::IAsyncTask> UploadAsync(ICloudClient& client, std::string const& path,
                                              std::shared_ptr<io::block::CPooledBuf> const& data,
                                              std::optional<datetime::CDateTime> const& immutableTill,
                                              std::string& versionId)
{
    if (!client.IsVersioningEnabled())
    {
        versionId.clear();
        return client.UploadFileAsync(path, data);
    }
    auto const newVersion = std::make_shared<std::string>();
    return client.GetVersioningUtils()
        ->UploadFileAsync(path, data, newVersion, immutableTill)
        ->Then([newVersion, &versionId] { versionId = *newVersion; });
}

void Upload(ICloudClient& client, std::string const& path, std::shared_ptr<io::block::CPooledBuf> const& data,
            std::optional<datetime::CDateTime> const& immutableTill, std::string& versionId)
{
    UploadAsync(client, path, data, immutableTill, versionId)->Wait();
}

void Upload(std::shared_ptr<ICloudClient> const& client, std::string const& path,
            std::shared_ptr<io::block::CPooledBuf> const& data, std::optional<datetime::CDateTime> const& immutableTill,
            std::string& versionId)
{
    Upload(*client, path, data, immutableTill, versionId);
}

std::shared_ptr<task::IAsyncTask> DownloadAsync(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                                                std::string const& versionId,
                                                std::shared_ptr<io::block::CPooledBuf> data,
                                                std::shared_ptr<io::block::bufs_pool_t> pool)
{
    if (client->IsVersioningEnabled())
    {
        return client->GetVersioningUtils()->DownloadFileVersionAsync(path, versionId, std::move(data),
                                                                      std::move(pool));
    }
    return client->DownloadFileAsync(path, std::move(data), std::move(pool));
}

std::shared_ptr<io::block::CPooledBuf> Download(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                                                std::string const& versionId,
                                                std::shared_ptr<io::block::bufs_pool_t> pool)
{
    auto data = std::make_shared<io::block::CPooledBuf>(0, pool);
    DownloadAsync(client, path, versionId, data, std::move(pool))->Wait();
    return data;
}

} // namespace bucketry
