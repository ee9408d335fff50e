// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"
#include "bucketry/forwarding.h"
#include "bucketry/s3/connection_spec.h"
#include "bucketry/s3/context.h"

#include <memory>
#include <string>
#include <vector>

namespace bucketry::s3::detail
{
class CStoreClock;
}

namespace bucketry::google
{

/// What a client of Google Cloud Storage leaves to the client on S3 inside it.
class BUCKETRY_API CInnerClient : public ICloudClient
{
public:
    explicit CInnerClient(std::shared_ptr<ICloudClient> impl) : m_impl(std::move(impl)) {}

    /// The inner client. Throws exc::CRuntimeExc if there is none.
    ICloudClient& GetImpl() const;

protected:
    template <class TResult, class TCall, class... TArgs>
    TResult Around(char const*, TCall const& call, TArgs const&...) const
    {
        return call(GetImpl());
    }

private:
    std::shared_ptr<ICloudClient> const m_impl;
};

/// A bucket of Google Cloud Storage, reached through the store's XML API in its S3-compatible form with HMAC keys
/// (https://cloud.google.com/storage/docs/interoperability). s3::CS3CompatibleClientFactory makes it for an endpoint of
/// that store.
///
/// As s3::CS3CloudClient, with these differences:
/// Versions:  are generations, numbers that grow; IsVersioningEnabled says what the connection was told. There are no
///            delete markers: a deletion without a generation keeps the object as a former one, and one that names the
///            live generation removes it and brings no former one back.
/// Deletion:  one request for each object, a few at a time, since not every such store takes lists. What is gone
///            already is no failure, except to DeleteFileVersionIgnoreImmutabilityAsync: status 404.
/// Listings:  in the older form of the protocol, which every such store has.
/// Archive:   objects of every class are read at once. RetrieveArchiveAsync, GetArchiveRetrievalStatusAsync and the
///            batch jobs throw exc::CNotImplExc from the call.
/// Streams:   StartUpload takes the default storage class only.
/// Threads:   any.
class BUCKETRY_API CGoogleCloudClient final : public details::CClientAround<CInnerClient>
{
public:
    /// Whether an address is one of this store: its ApiEndpoint contains options_t::GetGoogleStorageHost(). Any thread.
    static bool IsGoogleCloudStorageApiEndpoint(s3::SS3BucketAddr const& address);

    /// Sends nothing.
    CGoogleCloudClient(std::shared_ptr<s3::SS3Context> context, std::shared_ptr<ICloudClient> impl);
    CGoogleCloudClient(CGoogleCloudClient const&) = delete;
    CGoogleCloudClient& operator=(CGoogleCloudClient const&) = delete;
    ~CGoogleCloudClient() override;

    /// The context that the client shares with the inner one. Throws exc::CRuntimeExc if there is none.
    std::shared_ptr<s3::SS3Context> GetContext() const;
    /// The REST client of the context.
    s3wire::s3::CS3WireClient& GetClient() const;

    task_t DeleteFileAsync(std::string const& path) override;
    /// Empty paths are left out.
    task_t DeleteFileListAsync(std::vector<std::string> const& paths) override;
    task_t DeleteFolderAsync(std::string const& path, std::shared_ptr<progress::progress_base_t> progress) override;
    /// Holds the whole listing.
    std::uint64_t GetObjectCount(std::string const& path) override;
    std::int64_t GetStorageQuota() override;
    std::string GetCloudContainerName() override;
    std::string GetAbsolutePath(std::string const& path) override;
    /// Throws exc::CRuntimeExc for a bucket without versions.
    std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() override;
    bool IsVersioningEnabled() const override;
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& targetPath,
                                SRetrieveArchiveOptions const& options) override;
    task_t GetArchiveRetrievalStatusAsync(std::string const& path,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override;
    EArchiveRetrievalBehavior GetArchiveRetrievalBehavior() const override;
    /// Must outlive the lock.
    std::shared_ptr<ICloudLock> Lock(std::string const& path, SCloudLockParams const& params,
                                     std::shared_ptr<synch::completion_port_t> port) override;
    /// Asks the store at the first call. If that fails, the answer has no date, or the clocks are more than 900 seconds
    /// apart, this call throws, and later ones give a time without a difference, which is the local one.
    std::shared_ptr<CServerTime> GetServerTime() override;
    SBatchJobInfo StartBatchRestoreJob(SBatchManifestInfo const& manifest,
                                       SRetrieveArchiveOptions const& options) override;
    SBatchJobStatus GetBatchJobStatus(SBatchJobInfo const& job) override;

private:
    std::shared_ptr<s3::SS3Context> const m_context;
    std::unique_ptr<s3::detail::CStoreClock> const m_clock;
};

} // namespace bucketry::google
