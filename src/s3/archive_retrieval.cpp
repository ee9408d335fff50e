// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/cloud_client.h"
#include "bucketry/s3/paths.h"
#include "s3/detail/adapt.h"
#include "s3/detail/archive.h"

namespace bucketry::s3
{

ICloudClient::task_t CS3CloudClient::RetrieveArchiveAsync(std::string const& sourcePath, std::string const& targetPath,
                                                          SRetrieveArchiveOptions const& options)
{
    std::shared_ptr<SS3Context> const context = GetContext();
    return detail::Start(
        [&]
        {
            std::string const key = detail::ConvertObjectPath(sourcePath);
            auto const asked = context->m_client.PostObjectRestore(context->m_container, key, options.m_days,
                                                                   detail::ToGlacierRetrievalTier(options.m_tier), "");
            std::string const& cloud = context->m_cloudName;
            detail::SRestoreTexts texts = {
                util::str_format("Failed to retrieve archive from %1. Path: [%2]", cloud, key),
                util::str_format("Attempted to retrieve non-archived object from %1. Path: [%2]", cloud, key)};
            return detail::AdaptPplxTaskS3(
                asked.then<void>(
                    [texts = std::move(texts)](web::Task<s3wire::s3::EPostObjectRestoreResponse> const& finished)
                    { detail::JudgeRestore(finished, texts); }),
                "CS3CloudClient::RetrieveArchiveAsync async task has failed, source path [%1], target path [%2], "
                "days [%3], tier [%4]",
                sourcePath, targetPath, options.m_days, static_cast<int>(options.m_tier));
        },
        "Failed to init async task for retrieve archive from %1. Path: [%2]", context->m_cloudName, sourcePath);
}

ICloudClient::task_t CS3CloudClient::GetArchiveRetrievalStatusAsync(std::string const& path,
                                                                    std::shared_ptr<SArchiveRetrievalStatus> status)
{
    detail::Reset(*status);
    std::shared_ptr<SS3Context> const context = GetContext();
    return detail::Start(
        [&]
        {
            std::string const key = detail::ConvertObjectPath(path);
            auto const badDateText = [cloud = context->m_cloudName, key](std::string const& date)
            {
                return util::str_format(
                    "GetArchiveRetrievalStatus: Failed to parse %1 object expiration date [%2] for path [%3]", cloud,
                    date, key);
            };
            return detail::AdaptPplxTaskS3(
                context->m_client.GetObjectHead(context->m_container, key, "")
                    .then<void>([status, badDateText](s3wire::s3::SObjectData const& head)
                                { detail::Fill(*status, head, badDateText); }),
                "CS3CloudClient::GetArchiveRetrievalStatusAsync async task has failed, path [%1]", path);
        },
        "Failed to init async task for %1 object archive retrieval status. Path: [%2]", context->m_cloudName, path);
}

EArchiveRetrievalBehavior CS3CloudClient::GetArchiveRetrievalBehavior() const
{
    return EArchiveRetrievalBehavior::RestoreOnRequest;
}

} // namespace bucketry::s3
