// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"

#include <memory>
#include <utility>

/// What decorators and doubles stand on: every operation of both interfaces, spelt once. There are no default bodies in
/// the interfaces themselves: an operation that is missing here does not compile.
///
/// `TAround` derives from the interface and says what happens around each operation:
///
///     template <class TResult, class TCall, class... TArgs>
///     TResult Around(TName operation, TCall const& call, TArgs const&... arguments) const;
///
/// `operation` is the operation's name as a literal, so that a TName with a consteval constructor looks it up in a
/// table when it is compiled; overloads share a name. call(inner) does the same operation with the same arguments on
/// another object.
namespace bucketry::details
{

#define BUCKETRY_OPERATION(TResult, Name, Parameters, ...)                                                             \
    TResult Name Parameters override                                                                                   \
    {                                                                                                                  \
        return this->template Around<TResult>(                                                                         \
            #Name, [&](auto& inner) -> TResult { return inner.Name(__VA_ARGS__); } __VA_OPT__(, ) __VA_ARGS__);        \
    }

template <class TAround>
class CClientAround : public TAround
{
public:
    using TAround::TAround;
    using path_t = std::string const&;
    using task_t = ICloudClient::task_t;
    using bufs_t = ICloudClient::bufs_t;
    using pool_t = ICloudClient::pool_t;
    using objects_t = std::vector<SCloudObjectInfo>;
    using on_page_t = std::function<void(objects_t const&)>;
    using progress_t = std::shared_ptr<progress::progress_base_t>;
    using source_t = std::shared_ptr<ICloudInterRegionSource>;
    using port_t = std::shared_ptr<synch::completion_port_t>;

    BUCKETRY_OPERATION(task_t, DownloadFileAsync, (path_t path, bufs_t bufs, pool_t pool), path, bufs, pool)
    BUCKETRY_OPERATION(task_t, DownloadFileAsync,
                       (path_t path, bufs_t bufs, pool_t pool, unsigned long offset, unsigned long length), path, bufs,
                       pool, offset, length)
    BUCKETRY_OPERATION(task_t, UploadFileAsync, (path_t path, bufs_t bufs), path, bufs)
    BUCKETRY_OPERATION(task_t, CopyFileAsync, (path_t itemPath, path_t newPath), itemPath, newPath)
    BUCKETRY_OPERATION(task_t, DeleteFileAsync, (path_t path), path)
    BUCKETRY_OPERATION(task_t, DeleteFileListAsync, (std::vector<std::string> const& paths), paths)
    BUCKETRY_OPERATION(std::uint64_t, GetFileSize, (path_t path), path)
    BUCKETRY_OPERATION(bool, IsFileExist, (path_t path), path)
    BUCKETRY_OPERATION(task_t, IsFileExistAsync, (path_t path, std::shared_ptr<bool> flag), path, flag)
    BUCKETRY_OPERATION(task_t, CreateFolderAsync, (path_t path), path)
    BUCKETRY_OPERATION(task_t, DeleteFolderAsync, (path_t path, progress_t progress), path, progress)
    BUCKETRY_OPERATION(std::uint64_t, GetFolderSize, (path_t path), path)
    BUCKETRY_OPERATION(bool, IsFolderExist, (path_t path), path)
    BUCKETRY_OPERATION(objects_t, QueryFolder, (path_t path), path)
    BUCKETRY_OPERATION(task_t, QueryFolderAsync, (path_t path, std::shared_ptr<objects_t> objects), path, objects)
    BUCKETRY_OPERATION(task_t, QueryFolderAsync, (path_t path, on_page_t onPage), path, onPage)
    BUCKETRY_OPERATION(std::uint64_t, GetObjectCount, (path_t path), path)
    BUCKETRY_OPERATION(std::int64_t, GetStorageQuota, ())
    BUCKETRY_OPERATION(std::uint32_t, GetConcurrentTaskLimit, ())
    BUCKETRY_OPERATION(std::string, GetCloudContainerName, ())
    BUCKETRY_OPERATION(std::string, GetAbsolutePath, (path_t path), path)
    BUCKETRY_OPERATION(std::shared_ptr<task::IAsyncTaskUtils>, CreateAsyncTaskUtils, ())
    BUCKETRY_OPERATION(std::shared_ptr<ICloudDownload>, StartDownload, (path_t path), path)
    BUCKETRY_OPERATION(std::shared_ptr<ICloudUpload>, StartUpload, (path_t path, unsigned long size), path, size)
    BUCKETRY_OPERATION(std::shared_ptr<ICloudVersioningUtils>, GetVersioningUtils, ())
    BUCKETRY_OPERATION(bool, IsVersioningEnabled, () const)
    BUCKETRY_OPERATION(source_t, GetFileInterRegionSource, (path_t path), path)
    BUCKETRY_OPERATION(bool, IsFileInterRegionSourceCompatible, (source_t source), source)
    BUCKETRY_OPERATION(task_t, CopyFileInterRegionAsync, (source_t source, path_t targetPath), source, targetPath)
    BUCKETRY_OPERATION(task_t, RetrieveArchiveAsync,
                       (path_t sourcePath, path_t targetPath, SRetrieveArchiveOptions const& options), sourcePath,
                       targetPath, options)
    BUCKETRY_OPERATION(task_t, GetArchiveRetrievalStatusAsync,
                       (path_t path, std::shared_ptr<SArchiveRetrievalStatus> status), path, status)
    BUCKETRY_OPERATION(EArchiveRetrievalBehavior, GetArchiveRetrievalBehavior, () const)
    BUCKETRY_OPERATION(std::shared_ptr<ICloudLock>, Lock, (path_t path, SCloudLockParams const& params, port_t port),
                       path, params, port)
    BUCKETRY_OPERATION(std::shared_ptr<CServerTime>, GetServerTime, ())
    BUCKETRY_OPERATION(SBatchJobInfo, StartBatchRestoreJob,
                       (SBatchManifestInfo const& manifest, SRetrieveArchiveOptions const& options), manifest, options)
    BUCKETRY_OPERATION(SBatchJobStatus, GetBatchJobStatus, (SBatchJobInfo const& job), job)
};

template <class TAround>
class CVersioningAround : public TAround
{
public:
    using TAround::TAround;
    using path_t = std::string const&;
    using id_t = std::string const&;
    using task_t = ICloudVersioningUtils::task_t;
    using bufs_t = ICloudVersioningUtils::bufs_t;
    using pool_t = ICloudVersioningUtils::pool_t;
    using version_out_t = ICloudVersioningUtils::version_out_t;
    using immutable_till_t = ICloudVersioningUtils::immutable_till_t;
    using versions_t = std::vector<SCloudObjectPathVersionPair>;
    using on_page_t = std::function<void(versions_t const&)>;
    using source_t = std::shared_ptr<ICloudInterRegionSource>;

    BUCKETRY_OPERATION(task_t, DownloadFileVersionAsync, (path_t path, id_t version, bufs_t bufs, pool_t pool), path,
                       version, bufs, pool)
    BUCKETRY_OPERATION(task_t, DownloadFileVersionAsync,
                       (path_t path, id_t version, bufs_t bufs, pool_t pool, unsigned long offset,
                        unsigned long length),
                       path, version, bufs, pool, offset, length)
    BUCKETRY_OPERATION(task_t, UploadFileAsync,
                       (path_t path, bufs_t bufs, version_out_t version, immutable_till_t immutableTill), path, bufs,
                       version, immutableTill)
    BUCKETRY_OPERATION(task_t, UploadFileWithMetadataAsync,
                       (path_t path, bufs_t bufs, object_metadata_t const& metadata, version_out_t version,
                        immutable_till_t immutableTill),
                       path, bufs, metadata, version, immutableTill)
    BUCKETRY_OPERATION(task_t, CopyFileVersionAsync,
                       (path_t sourcePath, id_t sourceVersion, path_t targetPath, version_out_t version,
                        immutable_till_t immutableTill),
                       sourcePath, sourceVersion, targetPath, version, immutableTill)
    BUCKETRY_OPERATION(task_t, UpdateFileVersionImmutabilityAsync,
                       (path_t path, id_t version, datetime::CDateTime immutableTill), path, version, immutableTill)
    BUCKETRY_OPERATION(task_t, GetFileVersionImmutabilityAsync,
                       (path_t path, id_t version, std::shared_ptr<immutable_till_t> immutableTill), path, version,
                       immutableTill)
    BUCKETRY_OPERATION(task_t, GetFileVersionMetadataAsync,
                       (path_t path, id_t version, std::shared_ptr<object_metadata_t> metadata), path, version,
                       metadata)
    BUCKETRY_OPERATION(task_t, DeleteFileVersionAsync, (path_t path, id_t version), path, version)
    BUCKETRY_OPERATION(task_t, DeleteFileVersionListAsync, (versions_t const& versions), versions)
    BUCKETRY_OPERATION(task_t, DeleteFolderAllVersionsAsync, (path_t path), path)
    BUCKETRY_OPERATION(task_t, QueryFileVersionsAsync,
                       (path_t path, std::shared_ptr<std::vector<SCloudObjectVersion>> versions), path, versions)
    BUCKETRY_OPERATION(task_t, QueryFolderVersionsAsync, (path_t path, std::shared_ptr<versions_t> versions), path,
                       versions)
    BUCKETRY_OPERATION(task_t, QueryFolderVersionsAsync, (path_t path, on_page_t onPage), path, onPage)
    BUCKETRY_OPERATION(task_t, QuerySubfoldersAsync,
                       (path_t path, std::shared_ptr<std::vector<std::string>> subfolders), path, subfolders)
    BUCKETRY_OPERATION(std::shared_ptr<ICloudDownload>, StartDownload, (path_t path, id_t version), path, version)
    BUCKETRY_OPERATION(std::shared_ptr<ICloudUploadVersioned>, StartUpload,
                       (path_t path, unsigned long size, immutable_till_t immutableTill), path, size, immutableTill)
    BUCKETRY_OPERATION(task_t, RetrieveArchiveAsync,
                       (path_t sourcePath, id_t version, path_t targetPath, SRetrieveArchiveOptions const& options),
                       sourcePath, version, targetPath, options)
    BUCKETRY_OPERATION(task_t, GetArchiveRetrievalStatusAsync,
                       (path_t path, id_t version, std::shared_ptr<SArchiveRetrievalStatus> status), path, version,
                       status)
    BUCKETRY_OPERATION(std::uint64_t, GetFileVersionSize, (path_t path, id_t version), path, version)
    BUCKETRY_OPERATION(task_t, CopyFileInterRegionAsync,
                       (source_t const& source, path_t targetPath, version_out_t version,
                        immutable_till_t immutableTill),
                       source, targetPath, version, immutableTill)
    BUCKETRY_OPERATION(source_t, GetFileInterRegionSource, (path_t path, id_t version), path, version)
    BUCKETRY_OPERATION(task_t, CheckAndUpdateImmutabilityAsync,
                       (path_t path, id_t version, datetime::CDateTime const& immutableTill), path, version,
                       immutableTill)
    BUCKETRY_OPERATION(task_t, DeleteFileVersionIgnoreImmutabilityAsync, (path_t path, id_t version), path, version)
};

#undef BUCKETRY_OPERATION

/// Leaves every operation to an inner object.
template <class TInterface>
class CPassingOn : public TInterface
{
public:
    explicit CPassingOn(std::shared_ptr<TInterface> inner) : m_inner(std::move(inner)) {}

protected:
    template <class TResult, class TCall, class... TArgs>
    TResult Around(char const*, TCall const& call, TArgs const&...) const
    {
        return call(*m_inner);
    }

    std::shared_ptr<TInterface> const m_inner;
};

class CForwardingClient : public CClientAround<CPassingOn<ICloudClient>>
{
public:
    using CClientAround::CClientAround;
};

class CForwardingVersioning : public CVersioningAround<CPassingOn<ICloudVersioningUtils>>
{
public:
    using CVersioningAround::CVersioningAround;
};

} // namespace bucketry::details
