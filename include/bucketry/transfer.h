// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/io.h"
#include "bucketry/client.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Storing and fetching one object, whether or not the client keeps versions. These functions ask
/// ICloudClient::IsVersioningEnabled and add no failure of their own.
namespace bucketry
{

/// Uploads an object.
/// \param immutableTill  retention of the new version; ignored by a client without versions
/// \param versionId      set to the new version's id by the task, after success; set to empty at once by a client
///                       without versions. Must live until the task has ended, and may be read only then
BUCKETRY_API std::shared_ptr<task::IAsyncTask> UploadAsync(ICloudClient& client, std::string const& path,
                                                           std::shared_ptr<io::block::CPooledBuf> const& data,
                                                           std::optional<datetime::CDateTime> const& immutableTill,
                                                           std::string& versionId);
/// The same; blocks.
BUCKETRY_API void Upload(ICloudClient& client, std::string const& path,
                         std::shared_ptr<io::block::CPooledBuf> const& data,
                         std::optional<datetime::CDateTime> const& immutableTill, std::string& versionId);
BUCKETRY_API void Upload(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                         std::shared_ptr<io::block::CPooledBuf> const& data,
                         std::optional<datetime::CDateTime> const& immutableTill, std::string& versionId);

/// Downloads an object.
/// \param versionId  which version; not looked at by a client without versions
/// \param data       holds the object when the task has ended
BUCKETRY_API std::shared_ptr<task::IAsyncTask> DownloadAsync(std::shared_ptr<ICloudClient> const& client,
                                                             std::string const& path, std::string const& versionId,
                                                             std::shared_ptr<io::block::CPooledBuf> data,
                                                             std::shared_ptr<io::block::bufs_pool_t> pool);
/// The same; blocks.
BUCKETRY_API std::shared_ptr<io::block::CPooledBuf> Download(std::shared_ptr<ICloudClient> const& client,
                                                             std::string const& path, std::string const& versionId,
                                                             std::shared_ptr<io::block::bufs_pool_t> pool);

/// One object as a sequential device, for reading or for writing. One thread at a time. Failures of the streams pass
/// through.
class BUCKETRY_API CCloudObjectIoDev : public io::io_dev_t, public io::closeable_dev_t
{
public:
    static std::shared_ptr<CCloudObjectIoDev> CreateForRead(std::shared_ptr<ICloudDownload> download);
    static std::shared_ptr<CCloudObjectIoDev> CreateForWrite(std::shared_ptr<ICloudUpload> upload);
    /// Throw exc::CRuntimeExc for a null stream. The object's size is asked once, here.
    explicit CCloudObjectIoDev(std::shared_ptr<ICloudDownload> download);
    explicit CCloudObjectIoDev(std::shared_ptr<ICloudUpload> upload);

    /// An upload that was not closed is not finished.
    ~CCloudObjectIoDev() override;
    /// Appends; null data stands for a run of zero bytes. Throws exc::CRuntimeExc on a device for reading.
    unsigned long write(char const* data, unsigned long size) override;
    /// Throws exc::CRuntimeExc on a device for writing. A failed read does not move the position.
    unsigned long read(char* buffer, unsigned long size) override;
    /// Finishes the object, at each call; does nothing on a device for reading.
    void close() override;

private:
    void EnsureDownloadInitialized() const;
    void EnsureUploadInitialized() const;

    std::shared_ptr<ICloudDownload> m_download;
    std::shared_ptr<ICloudUpload> m_upload;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};

} // namespace bucketry
