// SPDX-License-Identifier: Apache-2.0
#include "observation/perf_events.h"

#include "bucketry/statistics.h"

#include "bucketry/forwarding.h"

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
        Blocking(7742, {m_path, offset, length}, [&] { m_download->Read(buffer, offset, length); });
    }
    std::uint64_t ObjectSize() override
    {
        return Blocking(7745, {m_path}, [&] { return m_download->ObjectSize(); });
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
        Blocking(7762, {m_path, size}, [&] { m_upload->Write(data, size); });
    }
    void WriteZeroes(unsigned long size) override
    {
        Blocking(7762, {m_path, size}, [&] { m_upload->WriteZeroes(size); });
    }
    void Flush() override
    {
        Blocking(7765, {m_path}, [&] { m_upload->Flush(); });
    }
    std::optional<std::string> Finish() override
    {
        return Blocking(7768, {m_path}, [&] { return m_upload->Finish(); });
    }

private:
    std::shared_ptr<ICloudUpload> const m_upload;
    std::string const m_path;
};

/// A client whose operations are reported; those that raise no events are only passed on. The versioning operations are
/// handed out as they are.
class CloudClientPerfWrapper final : public CForwardingClient,
                                     public boost::enable_shared_from_this<CloudClientPerfWrapper>
{
public:
    using CForwardingClient::CForwardingClient;

    task_t DownloadFileAsync(path_t path, bufs_t bufs, pool_t pool) override
    {
        return Async(7681, {path}, {path, bufs->GetCount()},
                     [&] { return m_inner->DownloadFileAsync(path, bufs, pool); });
    }
    task_t DownloadFileAsync(path_t path, bufs_t bufs, pool_t pool, unsigned long offset, unsigned long length) override
    {
        return Async(7684, {path, offset, length},
                     [&] { return m_inner->DownloadFileAsync(path, bufs, pool, offset, length); });
    }
    task_t UploadFileAsync(path_t path, bufs_t bufs) override
    {
        return Async(7687, {path, bufs->GetCount()}, {path}, [&] { return m_inner->UploadFileAsync(path, bufs); });
    }
    task_t CopyFileAsync(path_t itemPath, path_t newPath) override
    {
        return Async(7690, {itemPath, newPath}, {itemPath}, [&] { return m_inner->CopyFileAsync(itemPath, newPath); });
    }
    task_t DeleteFileAsync(path_t path) override
    {
        return Async(7693, {path}, [&] { return m_inner->DeleteFileAsync(path); });
    }
    task_t DeleteFileListAsync(std::vector<std::string> const& paths) override
    {
        return Async(7773, {paths.size()}, [&] { return m_inner->DeleteFileListAsync(paths); });
    }
    std::uint64_t GetFileSize(path_t path) override
    {
        return Blocking(7699, {path}, [&] { return m_inner->GetFileSize(path); });
    }
    bool IsFileExist(path_t path) override
    {
        return Blocking(7705, {path}, [&] { return m_inner->IsFileExist(path); });
    }
    task_t IsFileExistAsync(path_t path, std::shared_ptr<bool> flag) override
    {
        return Async(7705, {path}, {path, static_cast<int>(*flag)},
                     [&] { return m_inner->IsFileExistAsync(path, flag); });
    }
    task_t CreateFolderAsync(path_t path) override
    {
        return Async(7711, {path}, [&] { return m_inner->CreateFolderAsync(path); });
    }
    task_t DeleteFolderAsync(path_t path, progress_t progress) override
    {
        return Async(7696, {path}, [&] { return m_inner->DeleteFolderAsync(path, progress); });
    }
    std::uint64_t GetFolderSize(path_t path) override
    {
        return Blocking(7702, {path}, [&] { return m_inner->GetFolderSize(path); });
    }
    bool IsFolderExist(path_t path) override
    {
        return Blocking(7708, {path}, [&] { return m_inner->IsFolderExist(path); });
    }
    objects_t QueryFolder(path_t path) override
    {
        return Blocking(7714, {path}, [&] { return m_inner->QueryFolder(path); });
    }
    task_t QueryFolderAsync(path_t path, std::shared_ptr<objects_t> objects) override
    {
        return Async(7782, {path}, [&] { return m_inner->QueryFolderAsync(path, objects); });
    }
    task_t QueryFolderAsync(path_t path, on_page_t onPage) override
    {
        return Async(7782, {path}, [&] { return m_inner->QueryFolderAsync(path, std::move(onPage)); });
    }
    std::int64_t GetStorageQuota() override
    {
        bool const isOn = perf::IsPerfLogEnabled();
        if (isOn)
        {
            perf::OnEvent(7717);
        }
        std::int64_t const quota = m_inner->GetStorageQuota();
        if (isOn)
        {
            perf::OnEvent(7718);
        }
        return quota;
    }
    std::uint32_t GetConcurrentTaskLimit() override
    {
        return Blocking(7720, {}, [&] { return m_inner->GetConcurrentTaskLimit(); });
    }
    std::shared_ptr<ICloudDownload> StartDownload(path_t path) override
    {
        perf::OnEventEx(7740, path);
        return std::make_shared<CDownloadPerfWrapper>(m_inner->StartDownload(path), path);
    }
    std::shared_ptr<ICloudUpload> StartUpload(path_t path, unsigned long size) override
    {
        perf::OnEventEx(7760, path);
        return std::make_shared<CUploadPerfWrapper>(m_inner->StartUpload(path, size), path);
    }
    task_t CopyFileInterRegionAsync(source_t source, path_t targetPath) override
    {
        return Async(7776, {targetPath}, [&] { return m_inner->CopyFileInterRegionAsync(source, targetPath); });
    }
    task_t RetrieveArchiveAsync(path_t sourcePath, path_t targetPath, SRetrieveArchiveOptions const& options) override
    {
        return Async(7723, {sourcePath}, {sourcePath, 0},
                     [&] { return m_inner->RetrieveArchiveAsync(sourcePath, targetPath, options); });
    }
    task_t GetArchiveRetrievalStatusAsync(path_t path, std::shared_ptr<SArchiveRetrievalStatus> status) override
    {
        return Async(7726, {path}, {path, static_cast<int>(status->m_isRetrievalInProgress)},
                     [&] { return m_inner->GetArchiveRetrievalStatusAsync(path, status); });
    }
    std::shared_ptr<ICloudLock> Lock(path_t path, SCloudLockParams const& params, port_t port) override
    {
        return Blocking(7779, {path}, [&] { return m_inner->Lock(path, params, port); });
    }
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
