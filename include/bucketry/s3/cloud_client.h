// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"
#include "bucketry/s3/connection_spec.h"
#include "bucketry/s3/context.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bucketry::s3::detail
{

class CStoreClock;

} // namespace bucketry::s3::detail

namespace bucketry::s3
{

/// A bucket on Amazon S3 or on a store that speaks its protocol. CS3CompatibleClientFactory makes it.
///
/// Paths:     the key is the path without one leading "/". Folders are key prefixes; CreateFolderAsync writes a marker,
///            an empty object whose key ends in "/", and IsFolderExist asks for that marker only. A listing names a
///            folder's marker that the store lists as a key with its "/".
/// Failures:  tasks fail with CObjectStorageException and the store's status, and so does QueryFolder; that of
///            RetrieveArchiveAsync with exc::CRuntimeExc. Other blocking operations and streams throw
///            s3wire::CS3WireException, with a line on top that names the path, if there is one to name; GetObjectCount
///            throws it without. A read beyond the object's end throws exc::CRuntimeExc.
/// Ranges:    a length of 0 reaches to the end; a range that ends beyond the object is cut there.
/// Versions:  GetVersioningUtils gives the same operations whether IsVersioningEnabled or not. They work on any bucket;
///            on one without versions a write that wants a version id fails once the object is stored.
/// Lifetime:  a task does not need the client any more; a stream of StartUpload needs the client's context, or the
///            versioning operations that it came from; a handle of Lock needs the client itself.
/// Threads:   any.
class BUCKETRY_API CS3CloudClient : public ICloudClient
{
public:
    /// Raises the limit of open files of the process, and asks the store for the bucket's region, unless `region` is
    /// empty or the container is an ARN. A region that differs, or that cannot be asked for, is logged and no failure.
    /// Throws exc::CRuntimeExc for a null context.
    CS3CloudClient(std::shared_ptr<SS3Context> context, std::string const& region);
    CS3CloudClient(CS3CloudClient const&) = delete;
    CS3CloudClient& operator=(CS3CloudClient const&) = delete;
    ~CS3CloudClient() override;

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
    /// Asks the store at the first call. If that fails, or the clocks are more than 900 seconds apart, this call
    /// throws, and later ones give a time without a difference, which is the local one.
    std::shared_ptr<CServerTime> GetServerTime() override;
    SBatchJobInfo StartBatchRestoreJob(SBatchManifestInfo const& manifest,
                                       SRetrieveArchiveOptions const& options) override;
    SBatchJobStatus GetBatchJobStatus(SBatchJobInfo const& job) override;

    /// Puts address and keys into the process's credential store, under a client id; what the id stood for is replaced.
    /// Gives credentials that hold the id only, so that the caller can drop the keys. Throws std::bad_optional_access
    /// without keys. Any thread.
    static SS3Credentials StoreCredentials(guid::guid_t const& id, SS3BucketAddr const& address,
                                           SS3Credentials const& credentials, bool isVirtualHostedStyle);
    /// The reverse: fills endpoint, region, ARN and proxy of the address, keys and creation time of the credentials,
    /// and the style. False, with an error logged, for an unknown id. Any thread.
    static bool RetrieveCredentials(guid::guid_t const& id, SS3BucketAddr& address, SS3Credentials& credentials,
                                    bool& isVirtualHostedStyle);

private:
    std::shared_ptr<SS3Context> GetContext() const;
    task_t DownloadFileAsyncImpl(std::string const& path, bufs_t bufs, pool_t pool, unsigned long offset,
                                 unsigned long length);
    void CheckRegion() const;

    std::shared_ptr<SS3Context> const m_context;
    std::unique_ptr<detail::CStoreClock> const m_clock;
    std::string const m_region; ///< that the specification names
};

} // namespace bucketry::s3
