// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/task.h"
#include "bucketry/client.h"
#include "bucketry/s3wire/client.h"
#include "bucketry/s3wire/storage_class.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::s3::detail
{

/// Until when the store keeps a version immutable; none if it has no lock.
web::Task<std::optional<datetime::CDateTime>> CreateGetFileVersionImmutabilityAsyncTask(
    std::string const& path, std::string const& version, std::string const& bucket,
    std::shared_ptr<s3wire::s3::CS3WireClient> client);

/// Versions and their locks on a store of the S3 kind. Works on any bucket: one without versions is noticed by a write
/// that gives no version id although the caller wants it.
///
/// Throws exc::CRuntimeExc from the call without a REST client. A date of immutability that lies too near is left out,
/// with a warning, the first time. Tasks may outlive this object; streams for writing may not.
class CS3VersioningUtils : public ICloudVersioningUtils
{
public:
    /// `metadata`: put on every object that is not streamed.
    CS3VersioningUtils(std::shared_ptr<s3wire::s3::CS3WireClient> client, std::string const& bucket,
                       s3wire::s3::CObjectStorageClass const& storageClass,
                       std::map<std::string, std::string> const& metadata);
    ~CS3VersioningUtils() override;

    task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs,
                                    pool_t pool) override;
    /// A length of 0 reaches to the end.
    task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs, pool_t pool,
                                    unsigned long offset, unsigned long length) override;
    task_t UploadFileAsync(std::string const& path, bufs_t bufs, version_out_t version,
                           immutable_till_t immutableTill) override;
    task_t UploadFileWithMetadataAsync(std::string const& path, bufs_t bufs, object_metadata_t const& metadata,
                                       version_out_t version, immutable_till_t immutableTill) override;
    task_t CopyFileVersionAsync(std::string const& sourcePath, std::string const& sourceVersion,
                                std::string const& targetPath, version_out_t version,
                                immutable_till_t immutableTill) override;
    task_t UpdateFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                              datetime::CDateTime immutableTill) override;
    task_t GetFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                           std::shared_ptr<std::optional<datetime::CDateTime>> immutableTill) override;
    task_t GetFileVersionMetadataAsync(std::string const& path, std::string const& version,
                                       std::shared_ptr<object_metadata_t> metadata) override;
    task_t DeleteFileVersionAsync(std::string const& path, std::string const& version) override;
    task_t DeleteFileVersionListAsync(std::vector<SCloudObjectPathVersionPair> const& versions) override;
    task_t DeleteFolderAllVersionsAsync(std::string const& path) override;
    task_t QueryFileVersionsAsync(std::string const& path,
                                  std::shared_ptr<std::vector<SCloudObjectVersion>> versions) override;
    task_t QueryFolderVersionsAsync(std::string const& path,
                                    std::shared_ptr<std::vector<SCloudObjectPathVersionPair>> versions) override;
    task_t QueryFolderVersionsAsync(
        std::string const& path, std::function<void(std::vector<SCloudObjectPathVersionPair> const&)> onPage) override;
    task_t QuerySubfoldersAsync(std::string const& path, std::shared_ptr<std::vector<std::string>> subfolders) override;
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path, std::string const& version) override;
    std::shared_ptr<ICloudUploadVersioned> StartUpload(std::string const& path, unsigned long size,
                                                       immutable_till_t immutableTill) override;
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& version,
                                std::string const& targetPath, SRetrieveArchiveOptions const& options) override;
    task_t GetArchiveRetrievalStatusAsync(std::string const& path, std::string const& version,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override;
    std::uint64_t GetFileVersionSize(std::string const& path, std::string const& version) override;
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> const& source,
                                    std::string const& targetPath, version_out_t version,
                                    immutable_till_t immutableTill) override;
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path,
                                                                      std::string const& version) override;
    task_t CheckAndUpdateImmutabilityAsync(std::string const& path, std::string const& version,
                                           datetime::CDateTime const& immutableTill) override;
    task_t DeleteFileVersionIgnoreImmutabilityAsync(std::string const& path, std::string const& version) override;

    /// For an operation that is done with the client when it returns.
    s3wire::s3::CS3WireClient& GetClient() const;
    /// For one that keeps it in a continuation.
    std::shared_ptr<s3wire::s3::CS3WireClient> GetPtrClient() const;

    /// The date that the store gets: the requested one, or none if there is none or it lies too near, which is warned
    ///                               of once.
    std::optional<datetime::CDateTime> GetEffectiveImmutableTillUtc(
        std::optional<datetime::CDateTime> const& requested);
    /// The same; with a date it also fills `lock`.
    std::optional<datetime::CDateTime> FillObjectLockAndEffectiveImmutableTill(
        std::optional<datetime::CDateTime> const& requested, s3wire::s3::SObjectLockConfig& lock);

protected:
    /// Key and version id of each, in order.
    static s3wire::s3::SMultiObjectDeleteRequest DeleteRequestOf(
        std::vector<SCloudObjectPathVersionPair> const& versions);

private:
    task_t Put(std::string const& path, bufs_t const& bufs, std::map<std::string, std::string> const& metadata,
               version_out_t const& version, immutable_till_t const& immutableTill, std::string const& failureText);

    std::shared_ptr<s3wire::s3::CS3WireClient> const m_client;
    std::string const m_bucket;
    s3wire::s3::CObjectStorageClass const m_storageClass; ///< of all that is written
    std::map<std::string, std::string> const m_metadata;
    std::atomic<bool> m_immutabilityWarned{false};
};

} // namespace bucketry::s3::detail
