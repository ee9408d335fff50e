// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3/versions/versioning_utils.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace bucketry::google
{

/// The versions of a bucket of Google Cloud Storage, its generations. As on S3, but for deletions, which go one by one,
/// and for archives, which there are none of: those two operations throw exc::CNotImplExc from the call.
class CGoogleVersioningUtils final : public s3::detail::CS3VersioningUtils
{
public:
    /// \param client  not null
    CGoogleVersioningUtils(std::shared_ptr<s3wire::s3::CS3WireClient> const& client, std::string const& bucket,
                           s3wire::s3::CObjectStorageClass const& storageClass,
                           std::map<std::string, std::string> const& metadata);
    ~CGoogleVersioningUtils() override;

    task_t DeleteFileVersionAsync(std::string const& path, std::string const& version) override;
    task_t DeleteFileVersionListAsync(std::vector<SCloudObjectPathVersionPair> const& versions) override;
    task_t DeleteFolderAllVersionsAsync(std::string const& path) override;
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& version,
                                std::string const& targetPath, SRetrieveArchiveOptions const& options) override;
    task_t GetArchiveRetrievalStatusAsync(std::string const& path, std::string const& version,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override;

private:
    std::shared_ptr<s3wire::s3::CS3WireClient> const m_googleClient;
    std::string const m_googleBucket;
};

} // namespace bucketry::google
