#include "observation/perf_events.h"

#include "bucketry/statistics.h"

#include <boost/enable_shared_from_this.hpp>

namespace bucketry
{

namespace
{

using namespace details;

class CDownloadPerfWrapper final : public ICloudDownload
{
public:
    CDownloadPerfWrapper(std::shared_ptr<ICloudDownload> download, std::string path)
        : m_download(std::move(download)), m_path(std::move(path))
    {
    }
    CDownloadPerfWrapper(CDownloadPerfWrapper const&) = delete;
    CDownloadPerfWrapper& operator=(CDownloadPerfWrapper const&) = delete;
    ~CDownloadPerfWrapper() override { perf::OnEventEx(7741, m_path); }

    void Read(unsigned char* buffer, unsigned long offset, unsigned long length) override
    {
        Blocking(EventsFrom(7742), {m_path, offset, length}, [&] { m_download->Read(buffer, offset, length); });
    }
    std::uint64_t ObjectSize() override
    {
        return Blocking(
            EventsFrom(7745), {m_path}, [&] { return m_download->ObjectSize(); },
            [&](std::uint64_t size) {
                return args_t{m_path, size};
            });
    }

private:
    std::shared_ptr<ICloudDownload> const m_download;
    std::string const m_path;
};

class CUploadPerfWrapper final : public ICloudUpload
{
public:
    CUploadPerfWrapper(std::shared_ptr<ICloudUpload> upload, std::string path)
        : m_upload(std::move(upload)), m_path(std::move(path))
    {
    }
    CUploadPerfWrapper(CUploadPerfWrapper const&) = delete;
    CUploadPerfWrapper& operator=(CUploadPerfWrapper const&) = delete;
    ~CUploadPerfWrapper() override { perf::OnEventEx(7761, m_path); }

    void Write(unsigned char const* data, unsigned long size) override
    {
        Blocking(EventsFrom(7762), {m_path, size}, [&] { m_upload->Write(data, size); });
    }
    void WriteZeroes(unsigned long size) override
    {
        Blocking(EventsFrom(7762), {m_path, size}, [&] { m_upload->WriteZeroes(size); });
    }
    void Flush() override
    {
        Blocking(EventsFrom(7765), {m_path}, [&] { m_upload->Flush(); });
    }
    std::optional<std::string> Finish() override
    {
        return Blocking(
            EventsFrom(7768), {m_path}, [&] { return m_upload->Finish(); },
            [&](auto const&) { return args_t{m_path}; });
    }

private:
    std::shared_ptr<ICloudUpload> const m_upload;
    std::string const m_path;
};

/// A client whose operations are reported. The versioning operations are handed out as they are.
class CloudClientPerfWrapper final : public ICloudClient, public boost::enable_shared_from_this<CloudClientPerfWrapper>
{
public:
    explicit CloudClientPerfWrapper(std::shared_ptr<ICloudClient> client) : m_client(std::move(client)) {}

    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool) override
    {
        return Async(EventsFrom(7681), {path}, {path, bufs->GetCount()},
                     [&] { return m_client->DownloadFileAsync(path, bufs, pool); });
    }
    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool, unsigned long offset,
                             unsigned long length) override
    {
        return Async(EventsFrom(7684), {path, offset, length}, {path, offset, length},
                     [&] { return m_client->DownloadFileAsync(path, bufs, pool, offset, length); });
    }
    task_t UploadFileAsync(std::string const& path, bufs_t bufs) override
    {
        return Async(EventsFrom(7687), {path, bufs->GetCount()}, {path},
                     [&] { return m_client->UploadFileAsync(path, bufs); });
    }
    task_t CopyFileAsync(std::string const& itemPath, std::string const& newPath) override
    {
        return Async(EventsFrom(7690), {itemPath, newPath}, {itemPath},
                     [&] { return m_client->CopyFileAsync(itemPath, newPath); });
    }
    task_t DeleteFileAsync(std::string const& path) override
    {
        return Async(EventsFrom(7693), {path}, {path}, [&] { return m_client->DeleteFileAsync(path); });
    }
    task_t DeleteFileListAsync(std::vector<std::string> const& paths) override
    {
        return Async(EventsFrom(7773), {paths.size()}, {paths.size()},
                     [&] { return m_client->DeleteFileListAsync(paths); });
    }
    std::uint64_t GetFileSize(std::string const& path) override
    {
        return Blocking(
            EventsFrom(7699), {path}, [&] { return m_client->GetFileSize(path); },
            [&](auto const& result) {
                return args_t{path, result};
            });
    }
    bool IsFileExist(std::string const& path) override
    {
        return Blocking(
            EventsFrom(7705), {path}, [&] { return m_client->IsFileExist(path); },
            [&](auto const& result) {
                return args_t{path, static_cast<int>(result)};
            });
    }
    task_t IsFileExistAsync(std::string const& path, std::shared_ptr<bool> flag) override
    {
        return Async(EventsFrom(7705), {path}, {path, static_cast<int>(*flag)},
                     [&] { return m_client->IsFileExistAsync(path, flag); });
    }
    task_t CreateFolderAsync(std::string const& path) override
    {
        return Async(EventsFrom(7711), {path}, {path}, [&] { return m_client->CreateFolderAsync(path); });
    }
    task_t DeleteFolderAsync(std::string const& path, std::shared_ptr<progress::progress_base_t> progress) override
    {
        return Async(EventsFrom(7696), {path}, {path}, [&] { return m_client->DeleteFolderAsync(path, progress); });
    }
    std::uint64_t GetFolderSize(std::string const& path) override
    {
        return Blocking(
            EventsFrom(7702), {path}, [&] { return m_client->GetFolderSize(path); },
            [&](auto const& result) {
                return args_t{path, result};
            });
    }
    bool IsFolderExist(std::string const& path) override
    {
        return Blocking(
            EventsFrom(7708), {path}, [&] { return m_client->IsFolderExist(path); },
            [&](auto const& result) {
                return args_t{path, static_cast<int>(result)};
            });
    }
    std::vector<SCloudObjectInfo> QueryFolder(std::string const& path) override
    {
        return Blocking(
            EventsFrom(7714), {path}, [&] { return m_client->QueryFolder(path); },
            [&](auto const& result) {
                return args_t{path, result.size()};
            });
    }
    task_t QueryFolderAsync(std::string const& path, std::shared_ptr<std::vector<SCloudObjectInfo>> objects) override
    {
        return Async(EventsFrom(7782), {path}, {path}, [&] { return m_client->QueryFolderAsync(path, objects); });
    }
    task_t QueryFolderAsync(std::string const& path,
                            std::function<void(std::vector<SCloudObjectInfo> const&)> onPage) override
    {
        return Async(EventsFrom(7782), {path}, {path},
                     [&] { return m_client->QueryFolderAsync(path, std::move(onPage)); });
    }
    std::uint64_t GetObjectCount(std::string const& path) override { return m_client->GetObjectCount(path); }
    std::int64_t GetStorageQuota() override
    {
        bool const isOn = perf::IsPerfLogEnabled();
        if (isOn)
        {
            perf::OnEvent(7717);
        }
        std::int64_t const quota = m_client->GetStorageQuota();
        if (isOn)
        {
            perf::OnEvent(7718);
        }
        return quota;
    }
    std::uint32_t GetConcurrentTaskLimit() override
    {
        return Blocking(
            EventsFrom(7720), {}, [&] { return m_client->GetConcurrentTaskLimit(); },
            [&](auto const& result) { return args_t{perf::CPerfEventArg(static_cast<unsigned long>(result))}; });
    }
    std::string GetCloudContainerName() override { return m_client->GetCloudContainerName(); }
    std::string GetAbsolutePath(std::string const& path) override { return m_client->GetAbsolutePath(path); }
    std::shared_ptr<task::IAsyncTaskUtils> CreateAsyncTaskUtils() override { return m_client->CreateAsyncTaskUtils(); }
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path) override
    {
        perf::OnEventEx(7740, path);
        return std::make_shared<CDownloadPerfWrapper>(m_client->StartDownload(path), path);
    }
    std::shared_ptr<ICloudUpload> StartUpload(std::string const& path, unsigned long size) override
    {
        perf::OnEventEx(7760, path);
        return std::make_shared<CUploadPerfWrapper>(m_client->StartUpload(path, size), path);
    }
    std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() override { return m_client->GetVersioningUtils(); }
    bool IsVersioningEnabled() const override { return m_client->IsVersioningEnabled(); }
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path) override
    {
        return m_client->GetFileInterRegionSource(path);
    }
    bool IsFileInterRegionSourceCompatible(std::shared_ptr<ICloudInterRegionSource> source) override
    {
        return m_client->IsFileInterRegionSourceCompatible(source);
    }
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> source,
                                    std::string const& targetPath) override
    {
        return Async(EventsFrom(7776), {targetPath}, {targetPath},
                     [&] { return m_client->CopyFileInterRegionAsync(source, targetPath); });
    }
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& targetPath,
                                SRetrieveArchiveOptions const& options) override
    {
        return Async(EventsFrom(7723), {sourcePath}, {sourcePath, 0},
                     [&] { return m_client->RetrieveArchiveAsync(sourcePath, targetPath, options); });
    }
    task_t GetArchiveRetrievalStatusAsync(std::string const& path,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override
    {
        return Async(EventsFrom(7726), {path}, {path, static_cast<int>(status->m_isRetrievalInProgress)},
                     [&] { return m_client->GetArchiveRetrievalStatusAsync(path, status); });
    }
    EArchiveRetrievalBehavior GetArchiveRetrievalBehavior() const override
    {
        return m_client->GetArchiveRetrievalBehavior();
    }
    std::shared_ptr<ICloudLock> Lock(std::string const& path, SCloudLockParams const& params,
                                     std::shared_ptr<synch::completion_port_t> port) override
    {
        return Blocking(
            EventsFrom(7779), {path}, [&] { return m_client->Lock(path, params, port); },
            [&](auto const&) { return args_t{path}; });
    }
    std::shared_ptr<CServerTime> GetServerTime() override { return m_client->GetServerTime(); }
    SBatchJobInfo StartBatchRestoreJob(SBatchManifestInfo const& manifest,
                                       SRetrieveArchiveOptions const& options) override
    {
        return m_client->StartBatchRestoreJob(manifest, options);
    }
    SBatchJobStatus GetBatchJobStatus(SBatchJobInfo const& job) override { return m_client->GetBatchJobStatus(job); }

private:
    std::shared_ptr<ICloudClient> m_client;
};

} // namespace

std::shared_ptr<ICloudClient> WrapCloudClientIfPerfEnabled(std::shared_ptr<ICloudClient> client)
{
    if (!perf::IsPerfLogEnabled())
    {
        return client;
    }
    return std::make_shared<CloudClientPerfWrapper>(std::move(client));
}

} // namespace bucketry
