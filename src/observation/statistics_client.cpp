// SPDX-License-Identifier: Apache-2.0
#include "observation/statistics_counting.h"
#include "observation/statistics_streams.h"

namespace bucketry
{

namespace details
{

/// Versioning operations that are counted. Plain uploads count as "UploadFile".
class CCloudVersioningUtilsStatistics final : public CVersioningAround<CCounting<ICloudVersioningUtils>>
{
public:
    using CVersioningAround::CVersioningAround;

    task_t DownloadFileVersionAsync(path_t path, id_t version, bufs_t bufs, pool_t pool) override
    {
        return Downloaded(CVersioningAround::DownloadFileVersionAsync(path, version, bufs, pool), bufs);
    }
    task_t DownloadFileVersionAsync(path_t path, id_t version, bufs_t bufs, pool_t pool, unsigned long offset,
                                    unsigned long length) override
    {
        return Downloaded(CVersioningAround::DownloadFileVersionAsync(path, version, bufs, pool, offset, length), bufs);
    }
    task_t UploadFileAsync(path_t path, bufs_t bufs, version_out_t version, immutable_till_t immutableTill) override
    {
        return Uploaded(CVersioningAround::UploadFileAsync(path, bufs, version, immutableTill), bufs);
    }
    task_t UploadFileWithMetadataAsync(path_t path, bufs_t bufs, object_metadata_t const& metadata,
                                       version_out_t version, immutable_till_t immutableTill) override
    {
        return Uploaded(CVersioningAround::UploadFileWithMetadataAsync(path, bufs, metadata, version, immutableTill),
                        bufs);
    }
    std::shared_ptr<ICloudDownload> StartDownload(path_t path, id_t version) override
    {
        return std::make_shared<CCloudDownloadStatistics>(CVersioningAround::StartDownload(path, version), m_writer);
    }
    std::shared_ptr<ICloudUploadVersioned> StartUpload(path_t path, unsigned long size,
                                                       immutable_till_t immutableTill) override
    {
        return std::make_shared<CCloudUploadVersionedStatistics>(
            CVersioningAround::StartUpload(path, size, immutableTill), m_writer);
    }
    /// Two requests.
    task_t CheckAndUpdateImmutabilityAsync(path_t path, id_t version, datetime::CDateTime const& immutableTill) override
    {
        Count("GetFileVersionImmutability");
        return CVersioningAround::CheckAndUpdateImmutabilityAsync(path, version, immutableTill);
    }
};

} // namespace details

namespace
{

using namespace details;

/// A client that is counted. What it hands out counts into the same item.
class CCloudClientStatisticsWrapper final : public CClientAround<CCounting<ICloudClient>>
{
public:
    using CClientAround::CClientAround;

    task_t DownloadFileAsync(path_t path, bufs_t bufs, pool_t pool) override
    {
        return Downloaded(CClientAround::DownloadFileAsync(path, bufs, pool), bufs);
    }
    task_t DownloadFileAsync(path_t path, bufs_t bufs, pool_t pool, unsigned long offset, unsigned long length) override
    {
        return Downloaded(CClientAround::DownloadFileAsync(path, bufs, pool, offset, length), bufs);
    }
    task_t UploadFileAsync(path_t path, bufs_t bufs) override
    {
        return Uploaded(CClientAround::UploadFileAsync(path, bufs), bufs);
    }
    std::shared_ptr<ICloudDownload> StartDownload(path_t path) override
    {
        return std::make_shared<CCloudDownloadStatistics>(CClientAround::StartDownload(path), m_writer);
    }
    std::shared_ptr<ICloudUpload> StartUpload(path_t path, unsigned long size) override
    {
        return std::make_shared<CCloudUploadStatistics>(CClientAround::StartUpload(path, size), m_writer);
    }
    std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() override
    {
        return std::make_shared<CCloudVersioningUtilsStatistics>(CClientAround::GetVersioningUtils(), m_writer);
    }
    /// Not counted, other than that of a version.
    source_t GetFileInterRegionSource(path_t path) override { return m_inner->GetFileInterRegionSource(path); }
};

} // namespace

std::shared_ptr<ICloudClient> WrapCloudClientInStatistics(std::string const& name, std::shared_ptr<ICloudClient> client)
{
    return std::make_shared<CCloudClientStatisticsWrapper>(std::move(client),
                                                           CCloudStatisticsManager::Instance().AddWriter(name));
}

} // namespace bucketry
