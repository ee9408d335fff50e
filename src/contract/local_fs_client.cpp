// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/files.h"
#include "bucketry/client.h"

#include <utility>

namespace bucketry
{

namespace
{

/// A lock that holds nothing: a local directory serves one process.
class CFakeLock final : public ICloudLock
{
public:
    void Unlock() override {}
    guid::guid_t GetLockId() const override { return m_lockId; }

private:
    guid::guid_t const m_lockId = guid::guid_t::CreateNew();
};

std::shared_ptr<task::IAsyncTask> Start(std::function<void()> body)
{
    return CPplxTaskUtils().CreateTask(std::move(body));
}

/// Runs a read; whatever goes wrong there counts as "not there".
template <class TRead>
void ReadOr404(TRead&& read)
{
    try
    {
        read();
    }
    catch (std::exception const& error)
    {
        throw CObjectStorageException(error, 404);
    }
}

/// Fills the buffer with `length` bytes from the file's current position.
void ReadInto(io::block::CPooledBuf& buffer, posix::posix_file_t& file, unsigned long length)
{
    buffer.SetCount(length);
    if (length > 0)
    {
        file.Read(buffer.GetData(), length);
    }
}

[[noreturn]] void Refuse(char const* operation)
{
    throw exc::CRuntimeExc("CLocalFsCloudClient::%1 not supported.", operation);
}

} // namespace

std::string GetCanonicalPath(std::string const& path)
{
    std::string canonical = util::str_replace(path, "\\", "/");
    if (canonical.starts_with('/'))
    {
        canonical.erase(0, 1);
    }
    return canonical;
}

std::shared_ptr<CLocalFsCloudClient> CLocalFsCloudClient::Create(std::string const& rootPath)
{
    std::string const merged = util::fs_merge_path(rootPath, "");
    util::fs_make_directory(merged);
    return std::make_shared<CLocalFsCloudClient>(merged);
}

CLocalFsCloudClient::CLocalFsCloudClient(std::string const& rootPath) : m_rootPath(rootPath) {}

std::string CLocalFsCloudClient::GetFullPath(std::string const& path) const
{
    return util::fs_merge_path(m_rootPath, GetCanonicalPath(path));
}

ICloudClient::task_t CLocalFsCloudClient::DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t)
{
    return Start(
        [this, path, bufs = std::move(bufs)]
        {
            ReadOr404(
                [&]
                {
                    auto file = posix::posix_file_t::Open4Read(GetFullPath(path), false);
                    ReadInto(*bufs, file, file.GetSize());
                });
        });
}

ICloudClient::task_t CLocalFsCloudClient::DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t,
                                                            unsigned long offset, unsigned long length)
{
    return Start(
        [this, path, bufs = std::move(bufs), offset, length]
        {
            ReadOr404(
                [&]
                {
                    auto file = posix::posix_file_t::Open4Read(GetFullPath(path), false);
                    std::uint64_t const size = file.GetSize();
                    if (offset > size || length > size - offset)
                    {
                        throw exc::CRuntimeExc("Invalid length in the download request.");
                    }
                    file.SeekFromBegin(offset);
                    ReadInto(*bufs, file, length);
                });
        });
}

ICloudClient::task_t CLocalFsCloudClient::UploadFileAsync(std::string const& path, bufs_t bufs)
{
    return Start(
        [this, path, bufs = std::move(bufs)]
        {
            std::string const full = GetFullPath(path);
            util::fs_make_directory(full);
            auto file = posix::posix_file_t::CreateNew(full, bufs->GetCount());
            if (bufs->GetCount() > 0)
            {
                file.Write(bufs->GetData(), bufs->GetCount());
            }
            file.Close();
        });
}

ICloudClient::task_t CLocalFsCloudClient::CopyFileAsync(std::string const& itemPath, std::string const& newPath)
{
    return Start([this, itemPath, newPath] { util::fs_file_copy(GetFullPath(itemPath), GetFullPath(newPath), true); });
}

ICloudClient::task_t CLocalFsCloudClient::DeleteFileAsync(std::string const& path)
{
    return Start([this, path] { util::fs_file_delete(GetFullPath(path)); });
}

ICloudClient::task_t CLocalFsCloudClient::DeleteFileListAsync(std::vector<std::string> const& paths)
{
    return Start(
        [this, paths]
        {
            for (std::string const& path : paths)
            {
                util::fs_file_delete(GetFullPath(path));
            }
        });
}

std::uint64_t CLocalFsCloudClient::GetFileSize(std::string const& path)
{
    return util::fs_file_size(GetFullPath(path));
}

bool CLocalFsCloudClient::IsFileExist(std::string const& path)
{
    return util::fs_is_exists(GetFullPath(path));
}

ICloudClient::task_t CLocalFsCloudClient::IsFileExistAsync(std::string const& path, std::shared_ptr<bool> flag)
{
    return Start([this, path, flag = std::move(flag)] { *flag = IsFileExist(path); });
}

ICloudClient::task_t CLocalFsCloudClient::CreateFolderAsync(std::string const& path)
{
    return Start([this, path] { util::fs_make_directory(util::fs_merge_path(GetFullPath(path), "")); });
}

ICloudClient::task_t CLocalFsCloudClient::DeleteFolderAsync(std::string const& path,
                                                            std::shared_ptr<progress::progress_base_t>)
{
    return Start([this, path] { util::fs_directory_delete(GetFullPath(path)); });
}

std::uint64_t CLocalFsCloudClient::GetFolderSize(std::string const&)
{
    Refuse("GetFolderSize");
}

bool CLocalFsCloudClient::IsFolderExist(std::string const& path)
{
    return util::fs_is_directory_exists(GetFullPath(path));
}

std::vector<SCloudObjectInfo> CLocalFsCloudClient::QueryFolder(std::string const& path)
{
    filesys::browser::CFsDirectoryInfo const directory(GetFullPath(path));
    std::vector<SCloudObjectInfo> children;
    for (auto const& file : directory.EnumFiles(true))
    {
        children.emplace_back(file.GetName(), util::fs_file_size(file.GetPath()), false);
    }
    for (auto const& folder : directory.EnumSubDirectories(true, false, true, false))
    {
        children.emplace_back(folder.GetName(), 0, true);
    }
    return children;
}

ICloudClient::task_t CLocalFsCloudClient::QueryFolderAsync(std::string const&,
                                                           std::shared_ptr<std::vector<SCloudObjectInfo>>)
{
    Refuse("QueryFolderAsync");
}

ICloudClient::task_t CLocalFsCloudClient::QueryFolderAsync(std::string const&,
                                                           std::function<void(std::vector<SCloudObjectInfo> const&)>)
{
    Refuse("QueryFolderAsync");
}

std::uint64_t CLocalFsCloudClient::GetObjectCount(std::string const&)
{
    Refuse("GetObjectCount");
}

std::int64_t CLocalFsCloudClient::GetStorageQuota()
{
    Refuse("GetStorageQuota");
}

std::uint32_t CLocalFsCloudClient::GetConcurrentTaskLimit()
{
    return 1;
}

std::string CLocalFsCloudClient::GetCloudContainerName()
{
    return m_rootPath;
}

std::string CLocalFsCloudClient::GetAbsolutePath(std::string const& path)
{
    return path;
}

std::shared_ptr<task::IAsyncTaskUtils> CLocalFsCloudClient::CreateAsyncTaskUtils()
{
    return std::make_shared<CPplxTaskUtils>();
}

std::shared_ptr<ICloudDownload> CLocalFsCloudClient::StartDownload(std::string const&)
{
    Refuse("StartDownload");
}

std::shared_ptr<ICloudUpload> CLocalFsCloudClient::StartUpload(std::string const&, unsigned long)
{
    Refuse("StartUpload");
}

std::shared_ptr<ICloudVersioningUtils> CLocalFsCloudClient::GetVersioningUtils()
{
    Refuse("GetVersioningUtils");
}

bool CLocalFsCloudClient::IsVersioningEnabled() const
{
    return false;
}

std::shared_ptr<ICloudInterRegionSource> CLocalFsCloudClient::GetFileInterRegionSource(std::string const&)
{
    return nullptr;
}

bool CLocalFsCloudClient::IsFileInterRegionSourceCompatible(std::shared_ptr<ICloudInterRegionSource>)
{
    return false;
}

ICloudClient::task_t CLocalFsCloudClient::CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource>,
                                                                   std::string const&)
{
    return nullptr;
}

ICloudClient::task_t CLocalFsCloudClient::RetrieveArchiveAsync(std::string const&, std::string const&,
                                                               SRetrieveArchiveOptions const&)
{
    Refuse("RetrieveArchiveAsync");
}

ICloudClient::task_t CLocalFsCloudClient::GetArchiveRetrievalStatusAsync(std::string const&,
                                                                         std::shared_ptr<SArchiveRetrievalStatus>)
{
    Refuse("GetArchiveRetrievalStatusAsync");
}

EArchiveRetrievalBehavior CLocalFsCloudClient::GetArchiveRetrievalBehavior() const
{
    return EArchiveRetrievalBehavior::NotNeeded;
}

std::shared_ptr<ICloudLock> CLocalFsCloudClient::Lock(std::string const&, SCloudLockParams const&,
                                                      std::shared_ptr<synch::completion_port_t>)
{
    return std::make_shared<CFakeLock>();
}

std::shared_ptr<CServerTime> CLocalFsCloudClient::GetServerTime()
{
    return std::make_shared<CServerTime>();
}

SBatchJobInfo CLocalFsCloudClient::StartBatchRestoreJob(SBatchManifestInfo const&, SRetrieveArchiveOptions const&)
{
    throw exc::CNotImplExc("StartBatchRestoreJob");
}

SBatchJobStatus CLocalFsCloudClient::GetBatchJobStatus(SBatchJobInfo const&)
{
    throw exc::CNotImplExc("GetBatchJobStatus");
}

} // namespace bucketry
