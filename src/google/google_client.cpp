// SPDX-License-Identifier: Apache-2.0
#include "bucketry/google.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/locks.h"
#include "bucketry/s3/paths.h"
#include "s3/detail/adapt.h"
#include "s3/detail/store_clock.h"
#include "s3wire/sending/store_record.h"

#include <limits>
#include <utility>

namespace bucketry::google
{

namespace
{

using s3::detail::AdaptPplxTaskS3;
using s3::detail::ConvertObjectPath;
using s3::detail::ConvertPathToPrefix;
using s3::detail::Start;
using task_t = ICloudClient::task_t;

constexpr auto NotInitialised = "Google cloud client is not initialised";

[[noreturn]] void ThrowNotOffered(char const* operation)
{
    throw exc::CNotImplExc("CGoogleCloudClient", operation);
}

} // namespace

ICloudClient& CInnerClient::GetImpl() const
{
    return m_impl ? *m_impl : throw exc::CRuntimeExc(NotInitialised);
}

bool CGoogleCloudClient::IsGoogleCloudStorageApiEndpoint(s3::SS3BucketAddr const& address)
{
    return s3wire::IsGoogleEndpoint(address.ApiEndpoint);
}

CGoogleCloudClient::CGoogleCloudClient(std::shared_ptr<s3::SS3Context> context, std::shared_ptr<ICloudClient> impl)
    : CClientAround(std::move(impl)),
      m_context(std::move(context)),
      m_clock(std::make_unique<s3::detail::CStoreClock>(
          [this] { return GetClient().GetServerTimeUtc(GetContext()->m_container); }, s3::detail::ENoDate::Failure))
{
}

CGoogleCloudClient::~CGoogleCloudClient() = default;

std::shared_ptr<s3::SS3Context> CGoogleCloudClient::GetContext() const
{
    return m_context ? m_context : throw exc::CRuntimeExc(NotInitialised);
}

s3wire::s3::CS3WireClient& CGoogleCloudClient::GetClient() const
{
    return GetContext()->m_client;
}

// ---- Deletion
// --------------------------------------------------------------------------------------------------------

task_t CGoogleCloudClient::DeleteFileAsync(std::string const& path)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            return AdaptPplxTaskS3(
                context->m_client.CompatibleDeleteObject(context->m_container, ConvertObjectPath(path), ""),
                "CGoogleCloudClient::DeleteFileAsync async has failed, itemPath [%1]", path);
        },
        "Failed to delete google object. Path: [%1]", path);
}

task_t CGoogleCloudClient::DeleteFolderAsync(std::string const& path,
                                             std::shared_ptr<progress::progress_base_t> progress)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            return AdaptPplxTaskS3(
                context->m_client.CompatibleDeleteObjects(context->m_container, ConvertPathToPrefix(path), progress),
                "CGoogleCloudClient::DeleteFolderAsync async task has failed, path [%1]", path);
        },
        "Failed to delete folder on google. Path: [%1]", path);
}

task_t CGoogleCloudClient::DeleteFileListAsync(std::vector<std::string> const& paths)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            std::vector<std::string> keys;
            keys.reserve(paths.size());
            for (std::string const& path : paths)
            {
                if (!path.empty())
                {
                    keys.push_back(ConvertObjectPath(path));
                }
            }
            return AdaptPplxTaskS3(context->m_client.CompatibleDeleteObjects(context->m_container, keys, nullptr),
                                   "CGoogleCloudClient::DeleteFileListAsync async task has failed, items count [%1]",
                                   paths.size());
        },
        "Failed to delete items on %1.", context->m_cloudName);
}

// ---- Questions
// -------------------------------------------------------------------------------------------------------

std::uint64_t CGoogleCloudClient::GetObjectCount(std::string const& path)
{
    auto const context = GetContext();
    return context->m_client.CompatibleGetBucket(context->m_container, ConvertPathToPrefix(path), "", "", 0)
        .get()
        .m_contents.size();
}

std::int64_t CGoogleCloudClient::GetStorageQuota()
{
    return std::numeric_limits<std::int64_t>::max();
}

std::string CGoogleCloudClient::GetCloudContainerName()
{
    return GetContext()->m_container;
}

std::string CGoogleCloudClient::GetAbsolutePath(std::string const& path)
{
    return path;
}

std::shared_ptr<ICloudVersioningUtils> CGoogleCloudClient::GetVersioningUtils()
{
    if (!IsVersioningEnabled())
    {
        throw exc::CRuntimeExc("Cannot get Google versioning utils: versioning is not enabled");
    }
    auto const& utils = GetContext()->m_versioningUtils;
    return utils ? utils : throw exc::CRuntimeExc("Cannot get Google versioning utils: not initialized");
}

bool CGoogleCloudClient::IsVersioningEnabled() const
{
    return m_context && m_context->m_objectLockEnabled;
}

EArchiveRetrievalBehavior CGoogleCloudClient::GetArchiveRetrievalBehavior() const
{
    return EArchiveRetrievalBehavior::NotNeeded;
}

// ---- Not offered
// -----------------------------------------------------------------------------------------------------

task_t CGoogleCloudClient::RetrieveArchiveAsync(std::string const&, std::string const&, SRetrieveArchiveOptions const&)
{
    ThrowNotOffered("RetrieveArchiveAsync");
}

task_t CGoogleCloudClient::GetArchiveRetrievalStatusAsync(std::string const&, std::shared_ptr<SArchiveRetrievalStatus>)
{
    ThrowNotOffered("GetArchiveRetrievalStatusAsync");
}

SBatchJobInfo CGoogleCloudClient::StartBatchRestoreJob(SBatchManifestInfo const&, SRetrieveArchiveOptions const&)
{
    ThrowNotOffered("StartBatchRestoreJob");
}

SBatchJobStatus CGoogleCloudClient::GetBatchJobStatus(SBatchJobInfo const&)
{
    ThrowNotOffered("GetBatchJobStatus");
}

// ---- Server time and locks
// -------------------------------------------------------------------------------------------

std::shared_ptr<CServerTime> CGoogleCloudClient::GetServerTime()
{
    return m_clock->GetServerTime();
}

/// Over this client and not the inner one, so that the lock deletes as this one does.
std::shared_ptr<ICloudLock> CGoogleCloudClient::Lock(std::string const& path, SCloudLockParams const& params,
                                                     std::shared_ptr<synch::completion_port_t> port)
{
    auto const serverTime = GetServerTime();
    return locks::CCloudOptimisticLock::Lock(*this, path, params, std::move(port), serverTime);
}

} // namespace bucketry::google
