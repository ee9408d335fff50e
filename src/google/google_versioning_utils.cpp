// SPDX-License-Identifier: Apache-2.0
#include "google/google_versioning_utils.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/s3/paths.h"
#include "s3/detail/adapt.h"

namespace bucketry::google
{

namespace
{

using s3::detail::AdaptPplxTaskS3;
using s3::detail::ConvertObjectPath;
using s3::detail::ConvertPathToPrefix;
using task_t = ICloudVersioningUtils::task_t;

} // namespace

CGoogleVersioningUtils::CGoogleVersioningUtils(std::shared_ptr<s3wire::s3::CS3WireClient> const& client,
                                               std::string const& bucket,
                                               s3wire::s3::CObjectStorageClass const& storageClass,
                                               std::map<std::string, std::string> const& metadata)
    : CS3VersioningUtils(client, bucket, storageClass, metadata), m_googleClient(client), m_googleBucket(bucket)
{
}

CGoogleVersioningUtils::~CGoogleVersioningUtils() = default;

task_t CGoogleVersioningUtils::DeleteFileVersionAsync(std::string const& path, std::string const& version)
{
    return AdaptPplxTaskS3(
        m_googleClient->CompatibleDeleteObject(m_googleBucket, ConvertObjectPath(path), version),
        "CGoogleVersioningUtils::DeleteFileVersionAsync async task has failed, path [%1], version [%2]", path, version);
}

task_t CGoogleVersioningUtils::DeleteFileVersionListAsync(std::vector<SCloudObjectPathVersionPair> const& versions)
{
    return AdaptPplxTaskS3(
        m_googleClient->CompatibleDeleteObjects(m_googleBucket, DeleteRequestOf(versions), nullptr),
        "CGoogleVersioningUtils::DeleteFileVersionListAsync async task has failed, objects count [%1]",
        versions.size());
}

task_t CGoogleVersioningUtils::DeleteFolderAllVersionsAsync(std::string const& path)
{
    return AdaptPplxTaskS3(
        m_googleClient->CompatibleDeleteObjectsAllVersions(m_googleBucket, ConvertPathToPrefix(path), nullptr),
        "CGoogleVersioningUtils::DeleteFolderAllVersionsAsync async task has failed, path [%1]", path);
}

task_t CGoogleVersioningUtils::RetrieveArchiveAsync(std::string const&, std::string const&, std::string const&,
                                                    SRetrieveArchiveOptions const&)
{
    throw exc::CNotImplExc("CGoogleVersioningUtils", "RetrieveArchiveAsync");
}

task_t CGoogleVersioningUtils::GetArchiveRetrievalStatusAsync(std::string const&, std::string const&,
                                                              std::shared_ptr<SArchiveRetrievalStatus>)
{
    throw exc::CNotImplExc("CGoogleVersioningUtils", "GetArchiveRetrievalStatusAsync");
}

} // namespace bucketry::google
