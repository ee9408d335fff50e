// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/cloud_client.h"

#include "bucketry/base/http.h"
#include "bucketry/base/logging.h"
#include "bucketry/base/options.h"
#include "bucketry/locks.h"
#include "bucketry/s3/file_limit.h"
#include "bucketry/s3/paths.h"
#include "s3/detail/adapt.h"
#include "s3/detail/content.h"
#include "s3/detail/store_clock.h"
#include "s3wire/codec/arn.h"

#include <limits>

namespace bucketry::s3
{

using detail::AdaptPplxTaskS3;
using detail::ConvertObjectPath;
using detail::Start;
using task_t = ICloudClient::task_t;

// ---- Construction ---------------------------------------------------------------------------------------------------

CS3CloudClient::CS3CloudClient(std::shared_ptr<SS3Context> context, std::string const& region)
    : m_context(std::move(context)),
      m_clock(std::make_unique<detail::CStoreClock>(
          [this] { return m_context->m_client.GetServerTimeUtc(m_context->m_container); },
          detail::ENoDate::NoDifference)),
      m_region(region)
{
    detail::SafeIncreaseFileLimit();
    std::string const cloudName = GetContext()->m_cloudName;
    try
    {
        logging::trace_fail_t trace(stg_log, "Validating %1 cloud client. Bucket: [%2]", cloudName,
                                    m_context->m_container);
        CheckRegion();
        detail::SafeIncreaseFileLimit();
        trace.ok();
    }
    catch (web::http::http_exception const&)
    {
        throw;
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("Failed to validate %1 client", cloudName, error);
    }
}

CS3CloudClient::~CS3CloudClient() = default;

void CS3CloudClient::CheckRegion() const
{
    std::string const& container = m_context->m_container;
    if (m_context->m_cloudName != "S3" || m_region.empty() || s3wire::CS3Arn(container).m_isArn)
    {
        return;
    }
    try
    {
        std::string const region = m_context->m_client.GetBucketRegion(container).get().m_region;
        if (region != m_region)
        {
            stg_log.warn("Bucket [%1] should be addressed using region [%2] instead of [%3]", container, region,
                         m_region);
        }
    }
    catch (std::exception const& error)
    {
        stg_log.warn(util::str_format("Cannot validate region [%1] for bucket [%2]", m_region, container), error);
    }
}

std::shared_ptr<SS3Context> CS3CloudClient::GetContext() const
{
    if (!m_context)
    {
        throw exc::CRuntimeExc("S3 or S3 compatible cloud client is not initialised");
    }
    return m_context;
}

// ---- Objects --------------------------------------------------------------------------------------------------------

task_t CS3CloudClient::DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool)
{
    auto const context = GetContext();
    return Start([&] { return DownloadFileAsyncImpl(path, bufs, pool, 0, 0); },
                 "Failed to download %1 object. Path: [%2]", context->m_cloudName, path);
}

task_t CS3CloudClient::DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool, unsigned long offset,
                                         unsigned long length)
{
    auto const context = GetContext();
    return Start([&] { return DownloadFileAsyncImpl(path, bufs, pool, offset, length); },
                 "Failed to download %1 object. Path: [%2], Offset: [%3], Length: [%4]", context->m_cloudName, path,
                 offset, length);
}

task_t CS3CloudClient::DownloadFileAsyncImpl(std::string const& path, bufs_t bufs, pool_t pool, unsigned long offset,
                                             unsigned long length)
{
    auto const context = GetContext();
    return AdaptPplxTaskS3(
        context->m_client.GetObject(context->m_container, ConvertObjectPath(path), pool, offset, length, "")
            .then<void>(detail::MoveContentTo(bufs)),
        "CS3CloudClient::DownloadFileAsyncImpl async task has failed, path [%1], offset [%2], length [%3]", path,
        offset, length);
}

task_t CS3CloudClient::UploadFileAsync(std::string const& path, bufs_t bufs)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            return AdaptPplxTaskS3(context->m_client
                                       .PutObject(context->m_container, ConvertObjectPath(path), bufs,
                                                  context->m_objectMetadata, {}, context->m_storageClass, {}, {})
                                       .then<void>([](s3wire::s3::SPutObjectResult const&) {}),
                                   "CS3CloudClient::UploadFileAsync async task has failed, path [%1]", path);
        },
        "Failed to upload %1 object. Path: [%2]", context->m_cloudName, path);
}

task_t CS3CloudClient::CopyFileAsync(std::string const& itemPath, std::string const& newPath)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            return AdaptPplxTaskS3(
                context->m_client
                    .CopyObject(context->m_container, context->m_container, ConvertObjectPath(itemPath),
                                ConvertObjectPath(newPath), context->m_storageClass, "", {}, "")
                    .then<void>([](s3wire::s3::SCopyObjectResult const&) {}),
                "CS3CloudClient::CopyFileAsync async task has failed, itemPath [%1], newPath [%2]", itemPath, newPath);
        },
        "Failed to copy %1 object. Source path: [%2], Target path: [%3]", context->m_cloudName, itemPath, newPath);
}

task_t CS3CloudClient::DeleteFileAsync(std::string const& path)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            return AdaptPplxTaskS3(context->m_client.DeleteObject(context->m_container, ConvertObjectPath(path), ""),
                                   "CS3CloudClient::DeleteFileAsync async task has failed, path [%1].", path);
        },
        "Failed to delete %1 object. Path: [%2]", context->m_cloudName, path);
}

task_t CS3CloudClient::DeleteFileListAsync(std::vector<std::string> const& paths)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            s3wire::s3::SMultiObjectDeleteRequest request;
            request.m_objects.reserve(paths.size());
            for (std::string const& path : paths)
            {
                request.m_objects.push_back({ConvertObjectPath(path), {}});
            }
            return AdaptPplxTaskS3(context->m_client.DeleteObjects(context->m_container, request, nullptr),
                                   "CS3CloudClient::DeleteFileListAsync async task has failed, items count [%1]",
                                   paths.size());
        },
        "Failed to delete objects on %1.", context->m_cloudName);
}

task_t CS3CloudClient::IsFileExistAsync(std::string const& path, std::shared_ptr<bool> flag)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            return AdaptPplxTaskS3(context->m_client.IsObjectExist(context->m_container, ConvertObjectPath(path), "")
                                       .then<void>([flag](bool exists) { *flag = exists; }),
                                   "CS3CloudClient::IsFileExistAsync async task has failed, path [%1]", path);
        },
        "Failed to check whether %1 object exists. Path: [%2]", context->m_cloudName, path);
}

bool CS3CloudClient::IsFileExist(std::string const& path)
{
    auto const context = GetContext();
    return Start([&]
                 { return context->m_client.IsObjectExist(context->m_container, ConvertObjectPath(path), "").get(); },
                 "Failed to check whether %1 object exists. Path: [%2]", context->m_cloudName, path);
}

std::uint64_t CS3CloudClient::GetFileSize(std::string const& path)
{
    auto const context = GetContext();
    return Start(
        [&] {
            return context->m_client.GetObjectHead(context->m_container, ConvertObjectPath(path), "")
                .get()
                .m_contentLength;
        },
        "Failed to read %1 object size. Path: [%2]", context->m_cloudName, path);
}

// ---- Properties -----------------------------------------------------------------------------------------------------

std::int64_t CS3CloudClient::GetStorageQuota()
{
    return std::numeric_limits<std::int64_t>::max();
}

std::uint32_t CS3CloudClient::GetConcurrentTaskLimit()
{
    return options_t::GetInst().GetS3ConcurrentTaskLimit();
}

std::string CS3CloudClient::GetCloudContainerName()
{
    auto const context = GetContext();
    s3wire::CS3Arn const arn(context->m_container);
    return arn.m_isArn ? arn.GetAccessPointName() : context->m_container;
}

std::string CS3CloudClient::GetAbsolutePath(std::string const& path)
{
    return path;
}

std::shared_ptr<task::IAsyncTaskUtils> CS3CloudClient::CreateAsyncTaskUtils()
{
    return std::make_shared<CPplxTaskUtils>();
}

bool CS3CloudClient::IsVersioningEnabled() const
{
    return m_context && m_context->m_objectLockEnabled;
}

std::shared_ptr<ICloudVersioningUtils> CS3CloudClient::GetVersioningUtils()
{
    return m_context ? m_context->m_versioningUtils : nullptr;
}

// ---- Server time and locks ------------------------------------------------------------------------------------------

std::shared_ptr<CServerTime> CS3CloudClient::GetServerTime()
{
    return m_clock->GetServerTime();
}

std::shared_ptr<ICloudLock> CS3CloudClient::Lock(std::string const& path, SCloudLockParams const& params,
                                                 std::shared_ptr<synch::completion_port_t> port)
{
    try
    {
        return locks::CCloudOptimisticLock::Lock(*this, path, params, port, m_clock->GetServerTime());
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("Failed to acquire S3 cloud lock [%1].", path, error);
    }
}

} // namespace bucketry::s3
