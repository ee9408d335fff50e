#pragma once

#include "observation/statistics_counting.h"
#include "observation/statistics_streams.h"

namespace bucketry::details
{

/// Versioning operations that are counted. Plain uploads count as "UploadFile".
class CCloudVersioningUtilsStatistics final : public ICloudVersioningUtils
{
public:
    CCloudVersioningUtilsStatistics(std::shared_ptr<ICloudVersioningUtils> versioning,
                                    CCloudStatisticsManager::CWriter writer)
        : m_counting(std::move(versioning), std::move(writer))
    {
    }

    task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs,
                                    pool_t pool) override
    {
        return m_counting.Download(SlotOf("DownloadFileVersion"), bufs,
                                   [&](ICloudVersioningUtils& inner)
                                   { return inner.DownloadFileVersionAsync(path, version, bufs, pool); });
    }
    task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs, pool_t pool,
                                    unsigned long offset, unsigned long length) override
    {
        return m_counting.Download(SlotOf("DownloadFileVersion"), bufs,
                                   [&](ICloudVersioningUtils& inner) {
                                       return inner.DownloadFileVersionAsync(path, version, bufs, pool, offset, length);
                                   });
    }
    task_t UploadFileAsync(std::string const& path, bufs_t bufs, version_out_t version,
                           immutable_till_t immutableTill) override
    {
        return m_counting.Upload(SlotOf("UploadFile"), bufs,
                                 [&](ICloudVersioningUtils& inner)
                                 { return inner.UploadFileAsync(path, bufs, version, immutableTill); });
    }
    task_t UploadFileWithMetadataAsync(std::string const& path, bufs_t bufs, object_metadata_t const& metadata,
                                       version_out_t version, immutable_till_t immutableTill) override
    {
        return m_counting.Upload(
            SlotOf("UploadFileWithMetadata"), bufs,
            [&](ICloudVersioningUtils& inner)
            { return inner.UploadFileWithMetadataAsync(path, bufs, metadata, version, immutableTill); });
    }
    task_t CopyFileVersionAsync(std::string const& sourcePath, std::string const& sourceVersion,
                                std::string const& targetPath, version_out_t version,
                                immutable_till_t immutableTill) override
    {
        return m_counting.Counted(
            SlotOf("CopyFileVersion"),
            [&](ICloudVersioningUtils& inner)
            { return inner.CopyFileVersionAsync(sourcePath, sourceVersion, targetPath, version, immutableTill); });
    }
    task_t UpdateFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                              datetime::CDateTime immutableTill) override
    {
        return m_counting.Counted(SlotOf("UpdateFileVersionImmutability"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.UpdateFileVersionImmutabilityAsync(path, version, immutableTill); });
    }
    task_t GetFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                           std::shared_ptr<immutable_till_t> immutableTill) override
    {
        return m_counting.Counted(SlotOf("GetFileVersionImmutability"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.GetFileVersionImmutabilityAsync(path, version, immutableTill); });
    }
    task_t GetFileVersionMetadataAsync(std::string const& path, std::string const& version,
                                       std::shared_ptr<object_metadata_t> metadata) override
    {
        return m_counting.Counted(SlotOf("GetFileVersionMetadata"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.GetFileVersionMetadataAsync(path, version, metadata); });
    }
    task_t DeleteFileVersionAsync(std::string const& path, std::string const& version) override
    {
        return m_counting.Counted(SlotOf("DeleteFileVersion"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.DeleteFileVersionAsync(path, version); });
    }
    task_t DeleteFileVersionListAsync(std::vector<SCloudObjectPathVersionPair> const& versions) override
    {
        return m_counting.Counted(SlotOf("DeleteFileVersionList"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.DeleteFileVersionListAsync(versions); });
    }
    task_t DeleteFolderAllVersionsAsync(std::string const& path) override
    {
        return m_counting.Counted(SlotOf("DeleteFolderAllVersions"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.DeleteFolderAllVersionsAsync(path); });
    }
    task_t QueryFileVersionsAsync(std::string const& path,
                                  std::shared_ptr<std::vector<SCloudObjectVersion>> versions) override
    {
        return m_counting.Counted(SlotOf("QueryFileVersions"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.QueryFileVersionsAsync(path, versions); });
    }
    task_t QueryFolderVersionsAsync(std::string const& path,
                                    std::shared_ptr<std::vector<SCloudObjectPathVersionPair>> versions) override
    {
        return m_counting.Counted(SlotOf("QueryFolderVersions"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.QueryFolderVersionsAsync(path, versions); });
    }
    task_t QueryFolderVersionsAsync(
        std::string const& path, std::function<void(std::vector<SCloudObjectPathVersionPair> const&)> onPage) override
    {
        return m_counting.Counted(SlotOf("QueryFolderVersions"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.QueryFolderVersionsAsync(path, std::move(onPage)); });
    }
    task_t QuerySubfoldersAsync(std::string const& path, std::shared_ptr<std::vector<std::string>> subfolders) override
    {
        return m_counting.Counted(SlotOf("QuerySubfolders"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.QuerySubfoldersAsync(path, subfolders); });
    }
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path, std::string const& version) override
    {
        return std::make_shared<CCloudDownloadStatistics>(
            m_counting.Counted(SlotOf("StartDownload"),
                               [&](ICloudVersioningUtils& inner) { return inner.StartDownload(path, version); }),
            m_counting.m_writer);
    }
    std::shared_ptr<ICloudUploadVersioned> StartUpload(std::string const& path, unsigned long size,
                                                       immutable_till_t immutableTill) override
    {
        return std::make_shared<CCloudUploadVersionedStatistics>(
            m_counting.Counted(SlotOf("StartUpload"),
                               [&](ICloudVersioningUtils& inner)
                               { return inner.StartUpload(path, size, immutableTill); }),
            m_counting.m_writer);
    }
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& version,
                                std::string const& targetPath, SRetrieveArchiveOptions const& options) override
    {
        return m_counting.Counted(SlotOf("RetrieveArchive"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.RetrieveArchiveAsync(sourcePath, version, targetPath, options); });
    }
    task_t GetArchiveRetrievalStatusAsync(std::string const& path, std::string const& version,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override
    {
        return m_counting.Counted(SlotOf("GetArchiveRetrievalStatus"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.GetArchiveRetrievalStatusAsync(path, version, status); });
    }
    std::uint64_t GetFileVersionSize(std::string const& path, std::string const& version) override
    {
        return m_counting.Counted(SlotOf("GetFileVersionSize"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.GetFileVersionSize(path, version); });
    }
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> const& source,
                                    std::string const& targetPath, version_out_t version,
                                    immutable_till_t immutableTill) override
    {
        return m_counting.Counted(SlotOf("CopyFileInterRegionAsync"),
                                  [&](ICloudVersioningUtils& inner) {
                                      return inner.CopyFileInterRegionAsync(source, targetPath, version, immutableTill);
                                  });
    }
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path,
                                                                      std::string const& version) override
    {
        return m_counting.Counted(SlotOf("GetFileInterRegionSource"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.GetFileInterRegionSource(path, version); });
    }
    task_t CheckAndUpdateImmutabilityAsync(std::string const& path, std::string const& version,
                                           datetime::CDateTime const& immutableTill) override
    {
        m_counting.m_writer.CountRequest(SlotOf("GetFileVersionImmutability"));
        return m_counting.Counted(SlotOf("UpdateFileVersionImmutability"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.CheckAndUpdateImmutabilityAsync(path, version, immutableTill); });
    }
    task_t DeleteFileVersionIgnoreImmutabilityAsync(std::string const& path, std::string const& version) override
    {
        return m_counting.Counted(SlotOf("DeleteFileVersion"),
                                  [&](ICloudVersioningUtils& inner)
                                  { return inner.DeleteFileVersionIgnoreImmutabilityAsync(path, version); });
    }

private:
    CCounting<ICloudVersioningUtils> m_counting;
};

} // namespace bucketry::details
