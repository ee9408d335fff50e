// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/base/datetime.h"
#include "bucketry/base/exceptions.h"
#include "bucketry/base/export.h"
#include "bucketry/base/guid.h"
#include "bucketry/base/progress.h"
#include "bucketry/base/sync.h"
#include "bucketry/base/text.h"
#include "bucketry/locks.h"
#include "bucketry/tasks.h"

#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/mutex.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The contract of every backend and decorator: objects and folders under paths, asynchronous tasks, records, failures.
///
/// A path names an object or a folder in the client's container. The delimiter is "/"; one leading delimiter carries no
/// meaning, and a folder may be named with or without a trailing one. The empty path and "/" name the root.
namespace bucketry
{

// ---- Records
// ---------------------------------------------------------------------------------------------------------

/// One entry of a folder listing.
struct BUCKETRY_API SCloudObjectInfo
{
    SCloudObjectInfo(std::string name, std::uint64_t size, bool isFolder);

    std::string m_name;                       ///< relative to the queried folder; only a marker below it ends in "/"
    std::uint64_t m_size;                     ///< bytes; 0 for a folder
    bool m_isFolder;                          ///< a subfolder or a folder marker
    datetime::CDateTime m_lastModified{true}; ///< no backend fills it in a folder listing
};

/// One stored version of one object. Delete markers are no versions.
struct BUCKETRY_API SCloudObjectVersion
{
    std::string m_versionId;                  ///< the store's own, opaque
    std::uint64_t m_size = 0;                 ///< bytes of this version
    bool m_isFolder = false;                  ///< a folder marker: size 0 and a key that ends in the delimiter
    datetime::CDateTime m_lastModified{true}; ///< UTC, as the store reports it; the sort key
};

/// One version of some object in a folder.
struct BUCKETRY_API SCloudObjectPathVersionPair
{
    SCloudObjectPathVersionPair(std::string path, std::string versionId);
    SCloudObjectPathVersionPair(std::string path, SCloudObjectVersion version);
    SCloudObjectPathVersionPair(std::string path, std::string versionId, std::uint64_t size, bool isFolder,
                                datetime::CDateTime lastModified);

    std::string m_path; ///< the key relative to the queried folder
    SCloudObjectVersion m_version;
};

/// A result row of the folder enumerations.
struct BUCKETRY_API SObjectPath
{
    std::string m_fullPath;  ///< folder, "/", relative name
    std::string m_name;      ///< relative to the enumerated folder
    std::string m_versionId; ///< empty if the client has no versioning
    bool m_isFolder = false;
};

enum class ECloudObjectVersionSortOrder : std::uint32_t
{
    NewestFirst = 0,
    OldestFirst = 1
};

/// The speed of a restore from an archive storage class.
enum class ArchiveRetrievalTier : std::uint32_t
{
    Default = 0, ///< as Standard; batch jobs refuse it
    Standard = 1,
    Bulk = 2,
    Expedited = 3
};

/// Whether archived objects have to be asked for before they can be read.
enum class EArchiveRetrievalBehavior : std::uint32_t
{
    RestoreOnRequest = 0,
    NotNeeded = 2
};

struct BUCKETRY_API SRetrieveArchiveOptions
{
    std::uint32_t m_days = 0; ///< how long the restored copy stays available
    ArchiveRetrievalTier m_tier = ArchiveRetrievalTier::Default;
    std::string m_roleName; ///< under which a batch restore job runs; not read by a plain restore
};

struct BUCKETRY_API SArchiveRetrievalStatus
{
    bool m_isRetrievalInProgress = false;
    datetime::CDateTime m_expiryDate{true}; ///< until when the restored copy stays; null if the store names no time
};

/// Where the manifest of a batch restore job lies.
struct BUCKETRY_API SBatchManifestInfo
{
    std::string m_manifestPath; ///< for the host; the library does not read it
    std::string m_objectArn;
    std::string m_eTag;
};

struct BUCKETRY_API SBatchJobInfo
{
    std::string m_jobId;
};

struct BUCKETRY_API SBatchJobStatus
{
    enum Status : std::uint32_t
    {
        Pending = 0,
        InProgress = 1,
        Finished = 2, ///< completed, cancelled or failed: m_statusName tells
        Unknown = 3
    };

    Status m_status = Unknown;
    std::string m_statusName; ///< the store's word as it came
};

/// User metadata of an object; keys compare without regard to case.
using object_metadata_t = std::map<std::string, std::string, util::str_case_insensitive_less_operator>;

// ---- Failure of the storage
// ------------------------------------------------------------------------------------------

/// A failure of the storage itself, as opposed to a fault of the caller. Keeps class and status across threads.
class BUCKETRY_API CObjectStorageException : public exc::exc_base_t
{
public:
    /// Takes over the message lines.
    CObjectStorageException(exc::exc_base_t const& source, unsigned short statusCode);
    /// Takes what() as the message.
    CObjectStorageException(std::exception const& source, unsigned short statusCode);
    ~CObjectStorageException() override;

    std::shared_ptr<exc::exc_base_t> Clone() const override;
    [[noreturn]] void Generate() const override;

    std::shared_ptr<exc::exc_base_t> m_inner; ///< a copy of the exception that it stands for; shared between copies
    std::uint16_t m_statusCode;               ///< HTTP-style; 404: the object or version is not there
};

// ---- Clock
// -----------------------------------------------------------------------------------------------------------

/// The one place where the library reads the local clock for comparisons with a store's clock.
class BUCKETRY_API CCurrentTimeAccessor
{
public:
    static datetime::CDateTime CurrentTime();
    /// Replaces the clock; takes no lock, so call it before any user of the clock runs.
    static void OverrideTimeAccess(std::function<datetime::CDateTime()> access);
};

/// The time as the store sees it, to the second: the local time less a measured difference. Held by std::shared_ptr;
/// any thread. Without a difference it gives the local time.
class BUCKETRY_API CServerTime
{
public:
    bool IsInitialized() const;
    datetime::CDateTime GetServerUtcNow() const;
    /// Takes a new measurement. Throws exc::CRuntimeExc, and keeps the former difference, if the clocks are more than
    /// 900 seconds apart.
    void UpdateServerDiff(datetime::CDateTime serverTime);

private:
    void LogNewDiff(long diffSec, datetime::CDateTime serverTime);

    mutable boost::mutex m_mutex;        ///< guards all fields
    std::optional<long> m_serverDiffSec; ///< local time minus server time
    std::optional<long> m_lastLoggedDiffSec;
    mutable bool m_notAvailableLogged = false;
};

// ---- Companions of the client
// ----------------------------------------------------------------------------------------

/// A streamed upload: writes one object in order. One caller at a time; blocks. A stream that is dropped without Finish
/// leaves no object.
class BUCKETRY_API ICloudUpload
{
public:
    virtual ~ICloudUpload() = default;
    virtual void Write(unsigned char const* data, unsigned long size) = 0;
    /// Appends `size` zero bytes.
    virtual void WriteZeroes(unsigned long size) = 0;
    /// Pushes out what is buffered.
    virtual void Flush() = 0;
    /// Completes the object; the store's result text, if it gave one.
    virtual std::optional<std::string> Finish() = 0;
};

/// A streamed upload of a version.
class BUCKETRY_API ICloudUploadVersioned : public ICloudUpload
{
public:
    /// Completes the object; its version id. Fails with "[S3UploadVersioning] Failed to finish upload: stream did not
    /// return object version" if the store gave none.
    virtual std::string FinishVersioned() = 0;
};

/// A streamed download with positioned reads. One caller at a time; blocks.
class BUCKETRY_API ICloudDownload
{
public:
    virtual ~ICloudDownload() = default;
    /// Fills `buffer` with `length` bytes from `offset` of the object.
    virtual void Read(unsigned char* buffer, unsigned long offset, unsigned long length) = 0;
    /// In bytes.
    virtual std::uint64_t ObjectSize() = 0;
};

/// An opaque token for a copy between clients; a client recognises its own kind.
class BUCKETRY_API ICloudInterRegionSource
{
public:
    virtual ~ICloudInterRegionSource() = default;
};

/// Says which failures are worth another attempt, and when.
class BUCKETRY_API ICloudRetryStrategy
{
public:
    virtual ~ICloudRetryStrategy() = default;
    /// True: try again, not before `retryAt`, which has been set. `attempt` counts the failed attempts from 0.
    virtual bool ShouldRetry(std::exception& error, unsigned int attempt,
                             boost::chrono::steady_clock::time_point& retryAt) = 0;
};

/// The versioning operations of a client. A version is addressed by path and version id.
///
/// Results:      through the shared out-parameters, which may be read when the task has ended. A null version
///               out-parameter means that the caller does not want the id.
/// Failures:     as ICloudClient says; 404 if there is no such object or version.
/// Immutability: an absent `immutableTill` asks for no retention.
/// Threads:      any, without a lock of the caller's.
class BUCKETRY_API ICloudVersioningUtils
{
public:
    using task_t = std::shared_ptr<task::IAsyncTask>;
    using bufs_t = std::shared_ptr<io::block::CPooledBuf>;
    using pool_t = std::shared_ptr<io::block::bufs_pool_t>;
    using version_out_t = std::shared_ptr<std::string>;
    using immutable_till_t = std::optional<datetime::CDateTime>;

    virtual ~ICloudVersioningUtils() = default;
    virtual task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs,
                                            pool_t pool) = 0;
    /// `length` bytes from `offset`.
    virtual task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs,
                                            pool_t pool, unsigned long offset, unsigned long length) = 0;
    virtual task_t UploadFileAsync(std::string const& path, bufs_t bufs, version_out_t version,
                                   immutable_till_t immutableTill) = 0;
    virtual task_t UploadFileWithMetadataAsync(std::string const& path, bufs_t bufs, object_metadata_t const& metadata,
                                               version_out_t version, immutable_till_t immutableTill) = 0;
    virtual task_t CopyFileVersionAsync(std::string const& sourcePath, std::string const& sourceVersion,
                                        std::string const& targetPath, version_out_t version,
                                        immutable_till_t immutableTill) = 0;
    /// Sets the retention of a version to a date that is shown in UTC. One that lies too near takes no effect, see
    /// CImmutabilityUtils; the store refuses an earlier one than the version has, with status 403.
    virtual task_t UpdateFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                                      datetime::CDateTime immutableTill) = 0;
    /// \param immutableTill  reset if the version has no retention
    virtual task_t GetFileVersionImmutabilityAsync(
        std::string const& path, std::string const& version,
        std::shared_ptr<std::optional<datetime::CDateTime>> immutableTill) = 0;
    /// \param metadata  what it holds already is kept, and wins
    virtual task_t GetFileVersionMetadataAsync(std::string const& path, std::string const& version,
                                               std::shared_ptr<object_metadata_t> metadata) = 0;
    /// Removes the version for good, without a delete marker. 403 if it is locked.
    virtual task_t DeleteFileVersionAsync(std::string const& path, std::string const& version) = 0;
    /// The others are deleted all the same if the store refuses some of them.
    virtual task_t DeleteFileVersionListAsync(std::vector<SCloudObjectPathVersionPair> const& versions) = 0;
    virtual task_t DeleteFolderAllVersionsAsync(std::string const& path) = 0;
    /// The versions of one object, in the store's order: see SortCloudObjectVersions. None if there is no object.
    /// \param versions  emptied at the call, as by the other queries
    virtual task_t QueryFileVersionsAsync(std::string const& path,
                                          std::shared_ptr<std::vector<SCloudObjectVersion>> versions) = 0;
    /// The versions of the objects directly in a folder, and its subfolders, which have an empty version id; per page
    /// of the listing the versions come first.
    virtual task_t QueryFolderVersionsAsync(std::string const& path,
                                            std::shared_ptr<std::vector<SCloudObjectPathVersionPair>> versions) = 0;
    /// Calls back once per page, on a task thread, one page after the other.
    virtual task_t QueryFolderVersionsAsync(
        std::string const& path, std::function<void(std::vector<SCloudObjectPathVersionPair> const&)> onPage) = 0;
    virtual task_t QuerySubfoldersAsync(std::string const& path,
                                        std::shared_ptr<std::vector<std::string>> subfolders) = 0;
    virtual std::shared_ptr<ICloudDownload> StartDownload(std::string const& path, std::string const& version) = 0;
    /// `size`: the announced total size in bytes.
    virtual std::shared_ptr<ICloudUploadVersioned> StartUpload(std::string const& path, unsigned long size,
                                                               immutable_till_t immutableTill) = 0;
    virtual task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& version,
                                        std::string const& targetPath, SRetrieveArchiveOptions const& options) = 0;
    virtual task_t GetArchiveRetrievalStatusAsync(std::string const& path, std::string const& version,
                                                  std::shared_ptr<SArchiveRetrievalStatus> status) = 0;
    /// Blocks. In bytes.
    virtual std::uint64_t GetFileVersionSize(std::string const& path, std::string const& version) = 0;
    virtual task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> const& source,
                                            std::string const& targetPath, version_out_t version,
                                            immutable_till_t immutableTill) = 0;
    virtual std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path,
                                                                              std::string const& version) = 0;
    /// As UpdateFileVersionImmutabilityAsync, but only ever to a later date: done if the version has that date or a
    /// later one.
    virtual task_t CheckAndUpdateImmutabilityAsync(std::string const& path, std::string const& version,
                                                   datetime::CDateTime const& immutableTill) = 0;
    /// As DeleteFileVersionAsync, but a locked version stays without a failure.
    virtual task_t DeleteFileVersionIgnoreImmutabilityAsync(std::string const& path, std::string const& version) = 0;
};

// ---- The client
// ------------------------------------------------------------------------------------------------------

/// Objects and folders of one container. Purely abstract: every backend and decorator implements every operation.
///
/// Fails from the call:  what is found while an operation is set up; exc::CRuntimeExc for a fault of the caller,
///                       exc::CRuntimeExc or exc::CNotImplExc for an operation that a backend does not offer.
/// Fails from Wait():    CObjectStorageException with the store's status, 404 if the object is not there;
///                       web::http::http_exception if no answer came. Blocking operations throw what their backend's
///                       header says.
/// Threads:              any, without a lock of the caller's. An operation that returns a task runs on the task's
///                       threads; all others block on the caller's.
/// Keeps alive:          buffers, pools and out-parameters until the task has ended; do not read them before. Whether a
///                       task keeps the client alive is said in each backend's header.
class BUCKETRY_API ICloudClient
{
public:
    using task_t = std::shared_ptr<task::IAsyncTask>;
    using bufs_t = std::shared_ptr<io::block::CPooledBuf>;
    using pool_t = std::shared_ptr<io::block::bufs_pool_t>;

    virtual ~ICloudClient() = default;

    /// Downloads a whole object.
    /// \param bufs  on success holds exactly the object
    /// \param pool  where the blocks of `bufs` come from
    virtual task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool) = 0;

    /// Downloads a range of an object.
    /// \param offset  first byte, counted from 0
    /// \param length  in bytes; what 0 means, and a range that ends beyond the object, is said in each backend's header
    virtual task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool, unsigned long offset,
                                     unsigned long length) = 0;

    /// Stores the buffer's content under the path, replacing what was there.
    virtual task_t UploadFileAsync(std::string const& path, bufs_t bufs) = 0;

    /// Copies an object inside the container.
    virtual task_t CopyFileAsync(std::string const& itemPath, std::string const& newPath) = 0;

    virtual task_t DeleteFileAsync(std::string const& path) = 0;

    /// Deletes all the objects, through as few requests as the store allows.
    virtual task_t DeleteFileListAsync(std::vector<std::string> const& paths) = 0;

    /// In bytes. Blocks.
    virtual std::uint64_t GetFileSize(std::string const& path) = 0;

    /// Blocks.
    virtual bool IsFileExist(std::string const& path) = 0;

    /// \param flag  on success holds the answer
    virtual task_t IsFileExistAsync(std::string const& path, std::shared_ptr<bool> flag) = 0;

    /// Makes a folder; on a store this is a zero-length marker object.
    virtual task_t CreateFolderAsync(std::string const& path) = 0;

    /// Deletes a folder with all its content.
    /// \param progress  may be null; a backend may ignore it
    virtual task_t DeleteFolderAsync(std::string const& path, std::shared_ptr<progress::progress_base_t> progress) = 0;

    /// Bytes of all objects below the folder, at every depth. Blocks.
    virtual std::uint64_t GetFolderSize(std::string const& path) = 0;

    /// Blocks.
    virtual bool IsFolderExist(std::string const& path) = 0;

    /// The direct children of a folder without its own marker: per page of the listing first the files, then the
    /// subfolders. A missing folder of a store has none. Blocks.
    virtual std::vector<SCloudObjectInfo> QueryFolder(std::string const& path) = 0;

    /// The same.
    /// \param objects  must not be null; entries are appended, and are complete when the task has ended
    virtual task_t QueryFolderAsync(std::string const& path,
                                    std::shared_ptr<std::vector<SCloudObjectInfo>> objects) = 0;

    /// The same, page by page.
    /// \param onPage  called once per page, on a task thread, one page after the other; what it throws fails the task
    virtual task_t QueryFolderAsync(std::string const& path,
                                    std::function<void(std::vector<SCloudObjectInfo> const&)> onPage) = 0;

    /// The number of keys below the folder, at every depth, folder markers included. Blocks.
    virtual std::uint64_t GetObjectCount(std::string const& path) = 0;

    /// Bytes that may be stored; the largest value where there is no quota.
    virtual std::int64_t GetStorageQuota() = 0;

    /// How many tasks a caller should keep in flight on this client.
    virtual std::uint32_t GetConcurrentTaskLimit() = 0;

    /// The name a human knows the container by: bucket, access point or root directory.
    virtual std::string GetCloudContainerName() = 0;

    /// The path unchanged: paths are absolute in the container already.
    virtual std::string GetAbsolutePath(std::string const& path) = 0;

    virtual std::shared_ptr<task::IAsyncTaskUtils> CreateAsyncTaskUtils() = 0;

    virtual std::shared_ptr<ICloudDownload> StartDownload(std::string const& path) = 0;

    /// \param size  the announced total size in bytes
    virtual std::shared_ptr<ICloudUpload> StartUpload(std::string const& path, unsigned long size) = 0;

    /// The versioning operations. Ask IsVersioningEnabled first: the result alone does not tell whether it can be used.
    virtual std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() = 0;

    /// Whether the client was set up for versions. No request asks the store.
    virtual bool IsVersioningEnabled() const = 0;

    /// A token for copying this object from another client, on the server side.
    virtual std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path) = 0;

    /// Whether CopyFileInterRegionAsync of this client can use the token.
    virtual bool IsFileInterRegionSourceCompatible(std::shared_ptr<ICloudInterRegionSource> source) = 0;

    /// Copies from another client's object to `targetPath` of this one.
    virtual task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> source,
                                            std::string const& targetPath) = 0;

    /// Asks the store to restore an archived object.
    virtual task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& targetPath,
                                        SRetrieveArchiveOptions const& options) = 0;

    /// \param status  filled when the task has ended
    virtual task_t GetArchiveRetrievalStatusAsync(std::string const& path,
                                                  std::shared_ptr<SArchiveRetrievalStatus> status) = 0;

    virtual EArchiveRetrievalBehavior GetArchiveRetrievalBehavior() const = 0;

    /// Takes a lock on the path; blocks until it is held or has failed.
    /// \param port  cancels the acquisition; may be null
    virtual std::shared_ptr<ICloudLock> Lock(std::string const& path, SCloudLockParams const& params,
                                             std::shared_ptr<synch::completion_port_t> port) = 0;

    /// The store's clock: use it wherever a time must agree with the store.
    virtual std::shared_ptr<CServerTime> GetServerTime() = 0;

    /// Blocks.
    virtual SBatchJobInfo StartBatchRestoreJob(SBatchManifestInfo const& manifest,
                                               SRetrieveArchiveOptions const& options) = 0;

    /// Blocks.
    virtual SBatchJobStatus GetBatchJobStatus(SBatchJobInfo const& job) = 0;
};

// ---- The local backend
// -----------------------------------------------------------------------------------------------

/// The path with each "\" as "/", without one leading "/".
BUCKETRY_API std::string GetCanonicalPath(std::string const& path);

/// A local directory in the shape of a bucket: objects are files, folders are directories. No versions, archive,
/// streams, copies between clients or real locks.
///
/// Reads that fail, a missing file and a bad range among them, are CObjectStorageException with status 404; all other
/// failures come as the file layer raises them. A range must lie within the file; a length of 0 gives an empty buffer.
/// An upload writes to the file itself, so that a failed one may leave a part. Paths are not checked for "..".
/// Tasks hold a plain pointer to the client: it must outlive them.
class BUCKETRY_API CLocalFsCloudClient final : public ICloudClient
{
public:
    /// Makes the root directory if it is missing.
    static std::shared_ptr<CLocalFsCloudClient> Create(std::string const& rootPath);
    /// Touches nothing on disk.
    explicit CLocalFsCloudClient(std::string const& rootPath);

    /// The file's path on disk.
    std::string GetFullPath(std::string const& path) const;

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
    std::string m_rootPath;
};

} // namespace bucketry
