#pragma once

#include "bucketry/client.h"

#include <memory>
#include <utility>

/// What processing leaves as it is, passed on to the inner object. The operations that move whole bodies stay abstract.
namespace bucketry::details
{

class CForwardingVersioning : public ICloudVersioningUtils
{
public:
    explicit CForwardingVersioning(std::shared_ptr<ICloudVersioningUtils> inner) : m_inner(std::move(inner)) {}

    task_t CopyFileVersionAsync(std::string const& sourcePath, std::string const& sourceVersion,
                                std::string const& targetPath, version_out_t version,
                                immutable_till_t immutableTill) override
    {
        return m_inner->CopyFileVersionAsync(sourcePath, sourceVersion, targetPath, version, immutableTill);
    }
    task_t UpdateFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                              datetime::CDateTime immutableTill) override
    {
        return m_inner->UpdateFileVersionImmutabilityAsync(path, version, immutableTill);
    }
    task_t GetFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                           std::shared_ptr<std::optional<datetime::CDateTime>> immutableTill) override
    {
        return m_inner->GetFileVersionImmutabilityAsync(path, version, immutableTill);
    }
    task_t GetFileVersionMetadataAsync(std::string const& path, std::string const& version,
                                       std::shared_ptr<object_metadata_t> metadata) override
    {
        return m_inner->GetFileVersionMetadataAsync(path, version, metadata);
    }
    task_t DeleteFileVersionAsync(std::string const& path, std::string const& version) override
    {
        return m_inner->DeleteFileVersionAsync(path, version);
    }
    task_t DeleteFileVersionListAsync(std::vector<SCloudObjectPathVersionPair> const& versions) override
    {
        return m_inner->DeleteFileVersionListAsync(versions);
    }
    task_t DeleteFolderAllVersionsAsync(std::string const& path) override
    {
        return m_inner->DeleteFolderAllVersionsAsync(path);
    }
    task_t QueryFileVersionsAsync(std::string const& path,
                                  std::shared_ptr<std::vector<SCloudObjectVersion>> versions) override
    {
        return m_inner->QueryFileVersionsAsync(path, versions);
    }
    task_t QueryFolderVersionsAsync(std::string const& path,
                                    std::shared_ptr<std::vector<SCloudObjectPathVersionPair>> versions) override
    {
        return m_inner->QueryFolderVersionsAsync(path, versions);
    }
    task_t QueryFolderVersionsAsync(
        std::string const& path, std::function<void(std::vector<SCloudObjectPathVersionPair> const&)> onPage) override
    {
        return m_inner->QueryFolderVersionsAsync(path, onPage);
    }
    task_t QuerySubfoldersAsync(std::string const& path, std::shared_ptr<std::vector<std::string>> subfolders) override
    {
        return m_inner->QuerySubfoldersAsync(path, subfolders);
    }
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path, std::string const& version) override
    {
        return m_inner->StartDownload(path, version);
    }
    std::shared_ptr<ICloudUploadVersioned> StartUpload(std::string const& path, unsigned long size,
                                                       immutable_till_t immutableTill) override
    {
        return m_inner->StartUpload(path, size, immutableTill);
    }
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& version,
                                std::string const& targetPath, SRetrieveArchiveOptions const& options) override
    {
        return m_inner->RetrieveArchiveAsync(sourcePath, version, targetPath, options);
    }
    task_t GetArchiveRetrievalStatusAsync(std::string const& path, std::string const& version,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override
    {
        return m_inner->GetArchiveRetrievalStatusAsync(path, version, status);
    }
    std::uint64_t GetFileVersionSize(std::string const& path, std::string const& version) override
    {
        return m_inner->GetFileVersionSize(path, version);
    }
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> const& source,
                                    std::string const& targetPath, version_out_t version,
                                    immutable_till_t immutableTill) override
    {
        return m_inner->CopyFileInterRegionAsync(source, targetPath, version, immutableTill);
    }
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path,
                                                                      std::string const& version) override
    {
        return m_inner->GetFileInterRegionSource(path, version);
    }
    task_t CheckAndUpdateImmutabilityAsync(std::string const& path, std::string const& version,
                                           datetime::CDateTime const& immutableTill) override
    {
        return m_inner->CheckAndUpdateImmutabilityAsync(path, version, immutableTill);
    }
    task_t DeleteFileVersionIgnoreImmutabilityAsync(std::string const& path, std::string const& version) override
    {
        return m_inner->DeleteFileVersionIgnoreImmutabilityAsync(path, version);
    }

protected:
    std::shared_ptr<ICloudVersioningUtils> const m_inner;
};

class CForwardingClient : public ICloudClient
{
public:
    explicit CForwardingClient(std::shared_ptr<ICloudClient> inner) : m_inner(std::move(inner)) {}

    task_t CopyFileAsync(std::string const& itemPath, std::string const& newPath) override
    {
        return m_inner->CopyFileAsync(itemPath, newPath);
    }
    task_t DeleteFileAsync(std::string const& path) override { return m_inner->DeleteFileAsync(path); }
    task_t DeleteFileListAsync(std::vector<std::string> const& paths) override
    {
        return m_inner->DeleteFileListAsync(paths);
    }
    bool IsFileExist(std::string const& path) override { return m_inner->IsFileExist(path); }
    task_t IsFileExistAsync(std::string const& path, std::shared_ptr<bool> flag) override
    {
        return m_inner->IsFileExistAsync(path, flag);
    }
    task_t CreateFolderAsync(std::string const& path) override { return m_inner->CreateFolderAsync(path); }
    task_t DeleteFolderAsync(std::string const& path, std::shared_ptr<progress::progress_base_t> progress) override
    {
        return m_inner->DeleteFolderAsync(path, progress);
    }
    std::uint64_t GetFolderSize(std::string const& path) override { return m_inner->GetFolderSize(path); }
    bool IsFolderExist(std::string const& path) override { return m_inner->IsFolderExist(path); }
    std::vector<SCloudObjectInfo> QueryFolder(std::string const& path) override { return m_inner->QueryFolder(path); }
    task_t QueryFolderAsync(std::string const& path, std::shared_ptr<std::vector<SCloudObjectInfo>> objects) override
    {
        return m_inner->QueryFolderAsync(path, objects);
    }
    task_t QueryFolderAsync(std::string const& path,
                            std::function<void(std::vector<SCloudObjectInfo> const&)> onPage) override
    {
        return m_inner->QueryFolderAsync(path, onPage);
    }
    std::uint64_t GetObjectCount(std::string const& path) override { return m_inner->GetObjectCount(path); }
    std::int64_t GetStorageQuota() override { return m_inner->GetStorageQuota(); }
    std::uint32_t GetConcurrentTaskLimit() override { return m_inner->GetConcurrentTaskLimit(); }
    std::string GetCloudContainerName() override { return m_inner->GetCloudContainerName(); }
    std::string GetAbsolutePath(std::string const& path) override { return m_inner->GetAbsolutePath(path); }
    std::shared_ptr<task::IAsyncTaskUtils> CreateAsyncTaskUtils() override { return m_inner->CreateAsyncTaskUtils(); }
    std::shared_ptr<ICloudUpload> StartUpload(std::string const& path, unsigned long size) override
    {
        return m_inner->StartUpload(path, size);
    }
    bool IsVersioningEnabled() const override { return m_inner->IsVersioningEnabled(); }
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path) override
    {
        return m_inner->GetFileInterRegionSource(path);
    }
    bool IsFileInterRegionSourceCompatible(std::shared_ptr<ICloudInterRegionSource> source) override
    {
        return m_inner->IsFileInterRegionSourceCompatible(source);
    }
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> source,
                                    std::string const& targetPath) override
    {
        return m_inner->CopyFileInterRegionAsync(source, targetPath);
    }
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& targetPath,
                                SRetrieveArchiveOptions const& options) override
    {
        return m_inner->RetrieveArchiveAsync(sourcePath, targetPath, options);
    }
    task_t GetArchiveRetrievalStatusAsync(std::string const& path,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override
    {
        return m_inner->GetArchiveRetrievalStatusAsync(path, status);
    }
    EArchiveRetrievalBehavior GetArchiveRetrievalBehavior() const override
    {
        return m_inner->GetArchiveRetrievalBehavior();
    }
    std::shared_ptr<ICloudLock> Lock(std::string const& path, SCloudLockParams const& params,
                                     std::shared_ptr<synch::completion_port_t> port) override
    {
        return m_inner->Lock(path, params, port);
    }
    std::shared_ptr<CServerTime> GetServerTime() override { return m_inner->GetServerTime(); }
    SBatchJobInfo StartBatchRestoreJob(SBatchManifestInfo const& manifest,
                                       SRetrieveArchiveOptions const& options) override
    {
        return m_inner->StartBatchRestoreJob(manifest, options);
    }
    SBatchJobStatus GetBatchJobStatus(SBatchJobInfo const& job) override { return m_inner->GetBatchJobStatus(job); }

protected:
    std::shared_ptr<ICloudClient> const m_inner;
};

} // namespace bucketry::details
