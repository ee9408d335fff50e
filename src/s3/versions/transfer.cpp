// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/paths.h"
#include "s3/detail/adapt.h"
#include "s3/detail/content.h"
#include "s3/detail/inter_region_source.h"
#include "s3/detail/streams.h"
#include "s3/versions/versioning_utils.h"

#include "bucketry/base/logging.h"

namespace bucketry::s3::detail
{
namespace
{

using s3wire::s3::SObjectLockConfig;
using task_t = ICloudVersioningUtils::task_t;
using version_out_t = ICloudVersioningUtils::version_out_t;

/// Continues a write: gives the new version's id to whoever wants it. `noVersionText` fails the task if there is none.
auto GiveVersionTo(version_out_t version, std::string noVersionText)
{
    return [version = std::move(version), text = std::move(noVersionText)](auto const& result) -> void
    {
        if (!version)
        {
            return;
        }
        if (result.m_versionId.empty())
        {
            throw exc::CRuntimeExc("%1", text);
        }
        *version = result.m_versionId;
    };
}

} // namespace

task_t CS3VersioningUtils::DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs,
                                                    pool_t pool)
{
    return DownloadFileVersionAsync(path, version, bufs, pool, 0, 0);
}

task_t CS3VersioningUtils::DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs,
                                                    pool_t pool, unsigned long offset, unsigned long length)
{
    return AdaptPplxTaskS3(GetClient()
                               .GetObject(m_bucket, ConvertObjectPath(path), pool, offset, length, version)
                               .then<void>(MoveContentTo(bufs)),
                           "CS3VersioningUtils::DownloadFileVersionAsync async task has failed, path [%1], "
                           "version [%2], offset [%3], length [%4]",
                           path, version, offset, length);
}

task_t CS3VersioningUtils::Put(std::string const& path, bufs_t const& bufs,
                               std::map<std::string, std::string> const& metadata, version_out_t const& version,
                               immutable_till_t const& immutableTill, std::string const& failureText)
{
    SObjectLockConfig lock;
    FillObjectLockAndEffectiveImmutableTill(immutableTill, lock);
    return AdaptTask(
        GetClient()
            .PutObject(m_bucket, ConvertObjectPath(path), bufs, metadata, lock, m_storageClass, {}, {})
            .then<void>(GiveVersionTo(version,
                                      util::str_format("S3 returned empty versionId for newly uploaded object "
                                                       "[%1], check that versioning is enabled on the bucket",
                                                       path))),
        failureText);
}

task_t CS3VersioningUtils::UploadFileAsync(std::string const& path, bufs_t bufs, version_out_t version,
                                           immutable_till_t immutableTill)
{
    return Put(path, bufs, m_metadata, version, immutableTill,
               util::str_format("CS3VersioningUtils::UploadFileAsync async task has failed, path [%1]", path));
}

task_t CS3VersioningUtils::UploadFileWithMetadataAsync(std::string const& path, bufs_t bufs,
                                                       object_metadata_t const& metadata, version_out_t version,
                                                       immutable_till_t immutableTill)
{
    std::map<std::string, std::string> all = m_metadata;
    all.insert(metadata.begin(), metadata.end());
    return Put(path, bufs, all, version, immutableTill,
               util::str_format("CS3VersioningUtils::UploadFileWithMetadataAsync async task has failed, path [%1], "
                                "buffer size [%2]",
                                path, bufs->GetCount()));
}

task_t CS3VersioningUtils::CopyFileVersionAsync(std::string const& sourcePath, std::string const& sourceVersion,
                                                std::string const& targetPath, version_out_t version,
                                                immutable_till_t immutableTill)
{
    SObjectLockConfig lock;
    auto const effective = FillObjectLockAndEffectiveImmutableTill(immutableTill, lock);
    return AdaptPplxTaskS3(
        GetClient()
            .CopyObject(m_bucket, m_bucket, ConvertObjectPath(sourcePath), ConvertObjectPath(targetPath),
                        m_storageClass, sourceVersion, lock, "")
            .then<void>(GiveVersionTo(version,
                                      util::str_format("S3 returned empty versionId for object copy [%1] -> "
                                                       "[%2], check that versioning is enabled on the bucket",
                                                       sourcePath, targetPath))),
        "CS3VersioningUtils::CopyFileVersionAsync async task has failed, sourcePath [%1], sourceVersion [%2], "
        "targetPath [%3], immutableTill [%4]",
        sourcePath, sourceVersion, targetPath, effective ? effective->toUtcTime().toStdString() : "-");
}

std::shared_ptr<ICloudDownload> CS3VersioningUtils::StartDownload(std::string const& path, std::string const& version)
{
    return std::make_shared<CS3Download>(GetClient(), m_bucket, ConvertObjectPath(path), version);
}

std::shared_ptr<ICloudUploadVersioned> CS3VersioningUtils::StartUpload(std::string const& path, unsigned long size,
                                                                       immutable_till_t immutableTill)
{
    SObjectLockConfig lock;
    FillObjectLockAndEffectiveImmutableTill(immutableTill, lock);
    return std::make_shared<CS3UploadVersioned>(GetClient(), m_bucket, ConvertObjectPath(path), size, m_storageClass,
                                                lock);
}

// ---- Between regions
// -------------------------------------------------------------------------------------------------

std::shared_ptr<ICloudInterRegionSource> CS3VersioningUtils::GetFileInterRegionSource(std::string const& path,
                                                                                      std::string const& version)
{
    return std::make_shared<SS3FileInterRegionSource>(m_bucket, ConvertObjectPath(path), version);
}

task_t CS3VersioningUtils::CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> const& source,
                                                    std::string const& targetPath, version_out_t version,
                                                    immutable_till_t immutableTill)
{
    SObjectLockConfig lock;
    FillObjectLockAndEffectiveImmutableTill(immutableTill, lock);
    SS3FileInterRegionSource const& object = AsS3Source(source);
    if (object.m_versionId.empty())
    {
        stg_log.warn("Version id is not set for file inter-region copy: [%1]", targetPath);
    }
    return AdaptPplxTaskS3(
        GetClient()
            .CopyObject(object.m_bucket, m_bucket, object.m_key, ConvertObjectPath(targetPath), m_storageClass,
                        object.m_versionId, lock, "")
            .then<void>(GiveVersionTo(version,
                                      util::str_format("S3 returned empty versionId for inter-region copy [%1] -> "
                                                       "[%2], check that versioning is enabled on the bucket",
                                                       object.m_key, targetPath))),
        "Failed to perform inter-region file copy, source path: [%1], target path: [%2]", object.m_key, targetPath);
}

} // namespace bucketry::s3::detail
