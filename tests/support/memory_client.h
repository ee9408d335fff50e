#pragma once

#include "bucketry/client.h"
#include "support/bufs.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::testing
{

/// A bucket in memory, shared by the clients over it. Times come from CCurrentTimeAccessor. Any thread.
class CMemoryStore
{
public:
    struct SVersion
    {
        std::string m_id;
        std::string m_body{};
        bool m_isDeleteMarker = false;
        datetime::CDateTime m_lastModified{true};
        std::optional<datetime::CDateTime> m_immutableTill{};
        object_metadata_t m_metadata{};
    };

    /// Runs around each storage call, on the thread that does the work, with its text, as "UploadFileAsync(a/b)". What `before`
    /// throws fails the call with nothing done; what `after` throws fails it although the work was done. Either may block.
    struct SHooks
    {
        std::function<void(std::string const& call)> m_before;
        std::function<void(std::string const& call)> m_after;
    };

    explicit CMemoryStore(bool keepsVersions) : m_keepsVersions(keepsVersions) {}

    /// Set before any call is under way.
    void SetHooks(SHooks hooks) { m_hooks = std::move(hooks); }
    /// The storage calls so far, in the order in which they began.
    std::vector<std::string> Calls() const;
    void ClearCalls();

    /// The current bodies by key.
    std::map<std::string, std::string> Objects() const;
    /// Every version of one key, delete markers among them, the oldest first.
    std::vector<SVersion> Versions(std::string const& path) const;
    void Put(std::string const& path, std::string const& body);

private:
    friend class CMemoryClient;
    friend class CMemoryVersioning;
    friend class CMemoryUpload;

    /// Runs one storage call with its hooks, the work under the mutex.
    void Do(std::string const& call, std::function<void()> const& work);
    SVersion const& Current(std::string const& key) const;
    SVersion const& Exactly(std::string const& key, std::string const& version) const;
    std::string Add(std::string const& key, SVersion version);
    void Remove(std::string const& key);
    void RemoveVersion(std::string const& key, std::string const& version, bool evenImmutable);
    std::vector<std::string> KeysBelow(std::string const& prefix) const;

    bool const m_keepsVersions;
    SHooks m_hooks;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_calls;
    std::map<std::string, std::vector<SVersion>> m_objects; ///< the oldest version first
    unsigned long m_lastId = 0;
};

/// A client over a CMemoryStore. Its tasks hold the store, not the client. Takes no real locks.
class CMemoryClient final : public ICloudClient
{
public:
    explicit CMemoryClient(std::shared_ptr<CMemoryStore> store, std::uint32_t concurrentTaskLimit = 16,
                           std::size_t pageSize = 1000);

    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool) override;
    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool, unsigned long offset,
                             unsigned long length) override;
    task_t UploadFileAsync(std::string const& path, bufs_t bufs) override;
    task_t CopyFileAsync(std::string const& itemPath, std::string const& newPath) override;
    task_t DeleteFileAsync(std::string const& path) override;
    task_t DeleteFileListAsync(std::vector<std::string> const& paths) override;
    std::uint64_t GetFileSize(std::string const& path) override;
    bool IsFileExist(std::string const& path) override;
    task_t IsFileExistAsync(std::string const& path, std::shared_ptr<bool> flag) override;
    task_t CreateFolderAsync(std::string const& path) override;
    task_t DeleteFolderAsync(std::string const& path, std::shared_ptr<progress::progress_base_t> progress) override;
    std::uint64_t GetFolderSize(std::string const& path) override;
    bool IsFolderExist(std::string const& path) override;
    std::vector<SCloudObjectInfo> QueryFolder(std::string const& path) override;
    task_t QueryFolderAsync(std::string const& path, std::shared_ptr<std::vector<SCloudObjectInfo>> objects) override;
    task_t QueryFolderAsync(std::string const& path,
                            std::function<void(std::vector<SCloudObjectInfo> const&)> onPage) override;
    std::uint64_t GetObjectCount(std::string const& path) override;
    std::int64_t GetStorageQuota() override;
    std::uint32_t GetConcurrentTaskLimit() override;
    std::string GetCloudContainerName() override;
    std::string GetAbsolutePath(std::string const& path) override;
    std::shared_ptr<task::IAsyncTaskUtils> CreateAsyncTaskUtils() override;
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path) override;
    std::shared_ptr<ICloudUpload> StartUpload(std::string const& path, unsigned long size) override;
    std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() override;
    bool IsVersioningEnabled() const override;
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path) override;
    bool IsFileInterRegionSourceCompatible(std::shared_ptr<ICloudInterRegionSource> source) override;
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> source,
                                    std::string const& targetPath) override;
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& targetPath,
                                SRetrieveArchiveOptions const& options) override;
    task_t GetArchiveRetrievalStatusAsync(std::string const& path,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override;
    EArchiveRetrievalBehavior GetArchiveRetrievalBehavior() const override;
    std::shared_ptr<ICloudLock> Lock(std::string const& path, SCloudLockParams const& params,
                                     std::shared_ptr<synch::completion_port_t> port) override;
    std::shared_ptr<CServerTime> GetServerTime() override;
    SBatchJobInfo StartBatchRestoreJob(SBatchManifestInfo const& manifest,
                                       SRetrieveArchiveOptions const& options) override;
    SBatchJobStatus GetBatchJobStatus(SBatchJobInfo const& job) override;

private:
    std::shared_ptr<CMemoryStore> const m_store;
    std::uint32_t const m_concurrentTaskLimit;
    std::size_t const m_pageSize;
    std::shared_ptr<CServerTime> const m_serverTime = std::make_shared<CServerTime>();
};

} // namespace bucketry::testing
