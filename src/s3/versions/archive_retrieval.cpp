// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/paths.h"
#include "s3/detail/adapt.h"
#include "s3/detail/archive.h"
#include "s3/versions/versioning_utils.h"

namespace bucketry::s3::detail
{

using task_t = ICloudVersioningUtils::task_t;

task_t CS3VersioningUtils::RetrieveArchiveAsync(std::string const& sourcePath, std::string const& version,
                                                std::string const& targetPath, SRetrieveArchiveOptions const& options)
{
    return Start(
        [&]
        {
            std::string const key = ConvertObjectPath(sourcePath);
            auto const asked = GetClient().PostObjectRestore(m_bucket, key, options.m_days,
                                                             ToGlacierRetrievalTier(options.m_tier), version);
            SRestoreTexts texts = {
                util::str_format("Failed to retrieve archive from S3. Path: [%1], Version: [%2]", key, version),
                util::str_format("Attempted to retrieve non-archived object from S3. Path: [%1], Version: [%2]", key,
                                 version)};
            return AdaptPplxTaskS3(
                asked.then<void>(
                    [texts = std::move(texts)](web::Task<s3wire::s3::EPostObjectRestoreResponse> const& finished)
                    { JudgeRestore(finished, texts); }),
                "CS3VersioningUtils::RetrieveArchiveAsync async task has failed, source path [%1], version [%2], "
                "target path [%3], days [%4], tier [%5]",
                sourcePath, version, targetPath, options.m_days, static_cast<int>(options.m_tier));
        },
        "Failed to init async task for retrieve archive from S3. Path: [%1], Version: [%2]", sourcePath, version);
}

task_t CS3VersioningUtils::GetArchiveRetrievalStatusAsync(std::string const& path, std::string const& version,
                                                          std::shared_ptr<SArchiveRetrievalStatus> status)
{
    Reset(*status);
    return Start(
        [&]
        {
            std::string const key = ConvertObjectPath(path);
            auto const badDateText = [key, version](std::string const& date)
            {
                return util::str_format("GetArchiveRetrievalStatus: Failed to parse object expiration date [%1]: "
                                        "path [%2] version [%3]",
                                        date, key, version);
            };
            return AdaptPplxTaskS3(
                GetClient()
                    .GetObjectHead(m_bucket, key, version)
                    .then<void>([status, badDateText](s3wire::s3::SObjectData const& head)
                                { Fill(*status, head, badDateText); }),
                "CS3VersioningUtils::GetArchiveRetrievalStatusAsync async task has failed, path [%1], version [%2]",
                path, version);
        },
        "Failed to init async task for S3 object archive retrieval status. Path: [%1], version: [%2]", path, version);
}

} // namespace bucketry::s3::detail
