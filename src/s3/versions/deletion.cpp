// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/paths.h"
#include "bucketry/s3wire/exception.h"
#include "s3/detail/adapt.h"
#include "s3/versions/versioning_utils.h"

namespace bucketry::s3::detail
{

using task_t = ICloudVersioningUtils::task_t;

task_t CS3VersioningUtils::DeleteFileVersionAsync(std::string const& path, std::string const& version)
{
    return AdaptPplxTaskS3(GetClient().DeleteObject(m_bucket, ConvertObjectPath(path), version),
                           "CS3VersioningUtils::DeleteFileVersionAsync async task has failed, path [%1], version [%2]",
                           path, version);
}

task_t CS3VersioningUtils::DeleteFileVersionIgnoreImmutabilityAsync(std::string const& path, std::string const& version)
{
    auto const judge = [client = GetPtrClient(), bucket = m_bucket, path, version](web::Task<void> const& deleted)
    {
        try
        {
            deleted.get();
        }
        catch (s3wire::CS3WireException const& refusal)
        {
            if (refusal.GetStatusCode() != 403)
            {
                throw;
            }
            auto const lockedTill = CreateGetFileVersionImmutabilityAsyncTask(path, version, bucket, client).get();
            if (!lockedTill || *lockedTill <= datetime::CDateTime::currentUtcTime())
            {
                throw; // no lock explains the refusal
            }
        }
    };
    return AdaptPplxTaskS3(GetClient().DeleteObject(m_bucket, ConvertObjectPath(path), version).then<void>(judge),
                           "CS3VersioningUtils::DeleteFileVersionAsync async task has failed, path [%1], version [%2]",
                           path, version);
}

s3wire::s3::SMultiObjectDeleteRequest CS3VersioningUtils::DeleteRequestOf(
    std::vector<SCloudObjectPathVersionPair> const& versions)
{
    s3wire::s3::SMultiObjectDeleteRequest request;
    request.m_objects.reserve(versions.size());
    for (SCloudObjectPathVersionPair const& pair : versions)
    {
        request.m_objects.push_back({ConvertObjectPath(pair.m_path), pair.m_version.m_versionId});
    }
    return request;
}

task_t CS3VersioningUtils::DeleteFileVersionListAsync(std::vector<SCloudObjectPathVersionPair> const& versions)
{
    return AdaptPplxTaskS3(GetClient().DeleteObjects(m_bucket, DeleteRequestOf(versions), nullptr),
                           "CS3VersioningUtils::DeleteFileVersionListAsync async task has failed, objects count [%1]",
                           versions.size());
}

task_t CS3VersioningUtils::DeleteFolderAllVersionsAsync(std::string const& path)
{
    return AdaptPplxTaskS3(GetClient().DeleteObjectsAllVersions(m_bucket, ConvertPathToPrefix(path), nullptr),
                           "CS3VersioningUtils::DeleteFolderAllVersionsAsync async task has failed, path [%1]", path);
}

} // namespace bucketry::s3::detail
