#include "observation/statistics_versioning.h"

namespace bucketry
{

namespace
{

using namespace details;

/// A client that is counted. What it hands out counts into the same item.
class CCloudClientStatisticsWrapper final : public ICloudClient
{
public:
    CCloudClientStatisticsWrapper(std::shared_ptr<ICloudClient> client, CCloudStatisticsManager::CWriter writer)
        : m_counting(std::move(client), std::move(writer))
    {
    }

    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool) override
    {
        return m_counting.Download(SlotOf("DownloadFile"), bufs,
                                   [&](ICloudClient& inner) { return inner.DownloadFileAsync(path, bufs, pool); });
    }
    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool, unsigned long offset,
                             unsigned long length) override
    {
        return m_counting.Download(SlotOf("DownloadFile"), bufs,
                                   [&](ICloudClient& inner)
                                   { return inner.DownloadFileAsync(path, bufs, pool, offset, length); });
    }
    task_t UploadFileAsync(std::string const& path, bufs_t bufs) override
    {
        return m_counting.Upload(SlotOf("UploadFile"), bufs,
                                 [&](ICloudClient& inner) { return inner.UploadFileAsync(path, bufs); });
    }
    task_t CopyFileAsync(std::string const& itemPath, std::string const& newPath) override
    {
        return m_counting.Counted(SlotOf("CopyFile"),
                                  [&](ICloudClient& inner) { return inner.CopyFileAsync(itemPath, newPath); });
    }
    task_t DeleteFileAsync(std::string const& path) override
    {
        return m_counting.Counted(SlotOf("DeleteFile"),
                                  [&](ICloudClient& inner) { return inner.DeleteFileAsync(path); });
    }
    task_t DeleteFileListAsync(std::vector<std::string> const& paths) override
    {
        return m_counting.Counted(SlotOf("DeleteFileList"),
                                  [&](ICloudClient& inner) { return inner.DeleteFileListAsync(paths); });
    }
    std::uint64_t GetFileSize(std::string const& path) override
    {
        return m_counting.Counted(SlotOf("GetFileSize"), [&](ICloudClient& inner) { return inner.GetFileSize(path); });
    }
    bool IsFileExist(std::string const& path) override
    {
        return m_counting.Counted(SlotOf("IsObjectExist"),
                                  [&](ICloudClient& inner) { return inner.IsFileExist(path); });
    }
    task_t IsFileExistAsync(std::string const& path, std::shared_ptr<bool> flag) override
    {
        return m_counting.Counted(SlotOf("IsFileExistAsync"),
                                  [&](ICloudClient& inner) { return inner.IsFileExistAsync(path, flag); });
    }
    task_t CreateFolderAsync(std::string const& path) override
    {
        return m_counting.Counted(SlotOf("CreateFolder"),
                                  [&](ICloudClient& inner) { return inner.CreateFolderAsync(path); });
    }
    task_t DeleteFolderAsync(std::string const& path, std::shared_ptr<progress::progress_base_t> progress) override
    {
        return m_counting.Counted(SlotOf("DeleteFolder"),
                                  [&](ICloudClient& inner) { return inner.DeleteFolderAsync(path, progress); });
    }
    std::uint64_t GetFolderSize(std::string const& path) override
    {
        return m_counting.Counted(SlotOf("GetFolderSize"),
                                  [&](ICloudClient& inner) { return inner.GetFolderSize(path); });
    }
    bool IsFolderExist(std::string const& path) override
    {
        return m_counting.Counted(SlotOf("IsFolderExist"),
                                  [&](ICloudClient& inner) { return inner.IsFolderExist(path); });
    }
    std::vector<SCloudObjectInfo> QueryFolder(std::string const& path) override
    {
        return m_counting.Counted(SlotOf("QueryFolder"), [&](ICloudClient& inner) { return inner.QueryFolder(path); });
    }
    task_t QueryFolderAsync(std::string const& path, std::shared_ptr<std::vector<SCloudObjectInfo>> objects) override
    {
        return m_counting.Counted(SlotOf("QueryFolder"),
                                  [&](ICloudClient& inner) { return inner.QueryFolderAsync(path, objects); });
    }
    task_t QueryFolderAsync(std::string const& path,
                            std::function<void(std::vector<SCloudObjectInfo> const&)> onPage) override
    {
        return m_counting.Counted(SlotOf("QueryFolder"),
                                  [&](ICloudClient& inner) { return inner.QueryFolderAsync(path, std::move(onPage)); });
    }
    std::uint64_t GetObjectCount(std::string const& path) override
    {
        return m_counting.Counted(SlotOf("GetObjectCount"),
                                  [&](ICloudClient& inner) { return inner.GetObjectCount(path); });
    }
    std::int64_t GetStorageQuota() override
    {
        return m_counting.Counted(SlotOf("GetStorageQuota"),
                                  [&](ICloudClient& inner) { return inner.GetStorageQuota(); });
    }
    std::uint32_t GetConcurrentTaskLimit() override
    {
        return m_counting.Counted(SlotOf("GetConcurrentTaskLimit"),
                                  [&](ICloudClient& inner) { return inner.GetConcurrentTaskLimit(); });
    }
    std::string GetCloudContainerName() override
    {
        return m_counting.Counted(SlotOf("GetCloudContainerName"),
                                  [&](ICloudClient& inner) { return inner.GetCloudContainerName(); });
    }
    std::string GetAbsolutePath(std::string const& path) override { return m_counting.m_inner->GetAbsolutePath(path); }
    std::shared_ptr<task::IAsyncTaskUtils> CreateAsyncTaskUtils() override
    {
        return m_counting.Counted(SlotOf("CreateAsyncTaskUtils"),
                                  [&](ICloudClient& inner) { return inner.CreateAsyncTaskUtils(); });
    }
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path) override
    {
        return std::make_shared<CCloudDownloadStatistics>(
            m_counting.Counted(SlotOf("StartDownload"), [&](ICloudClient& inner) { return inner.StartDownload(path); }),
            m_counting.m_writer);
    }
    std::shared_ptr<ICloudUpload> StartUpload(std::string const& path, unsigned long size) override
    {
        return std::make_shared<CCloudUploadStatistics>(m_counting.Counted(SlotOf("StartUpload"),
                                                                           [&](ICloudClient& inner)
                                                                           { return inner.StartUpload(path, size); }),
                                                        m_counting.m_writer);
    }
    std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() override
    {
        return std::make_shared<CCloudVersioningUtilsStatistics>(
            m_counting.Counted(SlotOf("GetVersioningUtils"),
                               [&](ICloudClient& inner) { return inner.GetVersioningUtils(); }),
            m_counting.m_writer);
    }
    bool IsVersioningEnabled() const override
    {
        return m_counting.Counted(SlotOf("IsVersioningEnabled"),
                                  [&](ICloudClient& inner) { return inner.IsVersioningEnabled(); });
    }
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path) override
    {
        return m_counting.m_inner->GetFileInterRegionSource(path);
    }
    bool IsFileInterRegionSourceCompatible(std::shared_ptr<ICloudInterRegionSource> source) override
    {
        return m_counting.m_inner->IsFileInterRegionSourceCompatible(source);
    }
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> source,
                                    std::string const& targetPath) override
    {
        return m_counting.Counted(SlotOf("CopyFileInterRegionAsync"),
                                  [&](ICloudClient& inner)
                                  { return inner.CopyFileInterRegionAsync(source, targetPath); });
    }
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& targetPath,
                                SRetrieveArchiveOptions const& options) override
    {
        return m_counting.Counted(SlotOf("RetrieveArchive"),
                                  [&](ICloudClient& inner)
                                  { return inner.RetrieveArchiveAsync(sourcePath, targetPath, options); });
    }
    task_t GetArchiveRetrievalStatusAsync(std::string const& path,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override
    {
        return m_counting.Counted(SlotOf("GetArchiveRetrievalStatus"),
                                  [&](ICloudClient& inner)
                                  { return inner.GetArchiveRetrievalStatusAsync(path, status); });
    }
    EArchiveRetrievalBehavior GetArchiveRetrievalBehavior() const override
    {
        return m_counting.m_inner->GetArchiveRetrievalBehavior();
    }
    std::shared_ptr<ICloudLock> Lock(std::string const& path, SCloudLockParams const& params,
                                     std::shared_ptr<synch::completion_port_t> port) override
    {
        return m_counting.Counted(SlotOf("Lock"), [&](ICloudClient& inner) { return inner.Lock(path, params, port); });
    }
    std::shared_ptr<CServerTime> GetServerTime() override
    {
        return m_counting.Counted(SlotOf("GetServerTime"), [&](ICloudClient& inner) { return inner.GetServerTime(); });
    }
    SBatchJobInfo StartBatchRestoreJob(SBatchManifestInfo const& manifest,
                                       SRetrieveArchiveOptions const& options) override
    {
        return m_counting.Counted(SlotOf("StartBatchRestoreJob"),
                                  [&](ICloudClient& inner) { return inner.StartBatchRestoreJob(manifest, options); });
    }
    SBatchJobStatus GetBatchJobStatus(SBatchJobInfo const& job) override
    {
        return m_counting.Counted(SlotOf("GetBatchJobStatus"),
                                  [&](ICloudClient& inner) { return inner.GetBatchJobStatus(job); });
    }

private:
    CCounting<ICloudClient> m_counting;
};

} // namespace

std::shared_ptr<ICloudClient> WrapCloudClientInStatistics(std::string const& name, std::shared_ptr<ICloudClient> client)
{
    return std::make_shared<CCloudClientStatisticsWrapper>(std::move(client),
                                                           CCloudStatisticsManager::Instance().AddWriter(name));
}

} // namespace bucketry
