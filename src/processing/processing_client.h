// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/processing.h"

#include "bucketry/forwarding.h"

#include <mutex>

namespace bucketry
{

/// Compresses and encrypts whole bodies on their way to the inner client, and undoes it on the way back.
class CProcessingCloudClient final : public details::CForwardingClient
{
public:
    /// The pair of processors, with the two operations on whole objects. Shared by closures.
    struct SProcessor
    {
        SProcessor(std::shared_ptr<ICloudClientProcessor> compressor, std::shared_ptr<ICloudClientProcessor> crypter);

        /// A new buffer with header and body; `data` stays as it is.
        std::shared_ptr<io::block::CPooledBuf> EncodeData(std::string const& path,
                                                          std::shared_ptr<io::block::CPooledBuf> const& data) const;
        /// Replaces stored bytes, whose body has `size` bytes from `offset`, by the plain body. On a failure `data`
        /// stays as it is.
        void DecodeData(std::string const& path, std::shared_ptr<io::block::CPooledBuf> const& data,
                        unsigned long offset, unsigned long size) const;

        std::shared_ptr<ICloudClientProcessor> m_compressor;
        std::shared_ptr<ICloudClientProcessor> m_crypter;
    };

    CProcessingCloudClient(std::shared_ptr<ICloudClient> client, std::shared_ptr<ICloudClientProcessor> compressor,
                           std::shared_ptr<ICloudClientProcessor> crypter);

    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool) override;
    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool, unsigned long offset,
                             unsigned long length) override;
    task_t UploadFileAsync(std::string const& path, bufs_t bufs) override;
    std::uint64_t GetFileSize(std::string const& path) override;
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path) override;
    std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() override;

private:
    std::shared_ptr<SProcessor> const m_processor;
    std::once_flag m_versioningOnce;
    std::shared_ptr<ICloudVersioningUtils> m_versioningUtils; ///< written once, under m_versioningOnce
};

} // namespace bucketry
