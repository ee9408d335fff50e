#pragma once

#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/s3wire/records.h"
#include "s3wire/operations/lock_assurance.h"
#include "s3wire/wire/multipart_requests.h"
#include "s3wire/wire/object_requests.h"
#include "s3wire/wire/service_requests.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace bucketry::s3wire
{

/// What is known of a store before it has answered.
struct SStoreTraits
{
    bool m_google = false;                      ///< Google's dialect of listings of versions
    bool m_givesChecksums = false;              ///< gives the checksum of an object when it is asked to
    std::uint64_t m_maxCopySize = 5UL << 30;    ///< bytes that one request may copy, where the store refuses more
    std::uint64_t m_copyPartSize = 256UL << 20; ///< bytes of a part of a larger copy, at least
};

/// The S3 operations, blocking: what runs on a task's thread, or on a stream's. One object is shared by all copies of a client,
/// with what it has learned about the store's buckets. Any number of threads at once.
///
/// All throw CS3WireException for a refused request and web::http::http_exception for no answer, or for one that cannot be used.
class COperations
{
public:
    COperations(std::shared_ptr<wire::IWireSender> sender, SStoreTraits traits);

    /// Sends a request and reads the answer; a failure to read it names the operation.
    template <class TReader>
    auto Exchange(wire::SWireRequest const& request, TReader&& read) const
    {
        transport::SHttpResponse const answer = m_sender->Send(request);
        try
        {
            return read(answer);
        }
        catch (web::http::http_exception const& error)
        {
            exc::RegenExc("Failed to read the answer to %1", request.m_operation, error);
        }
    }
    /// The same for an answer that says nothing.
    void Exchange(wire::SWireRequest const& request) const { m_sender->Send(request); }
    /// The same for a request that is not to be done twice. Where a failure leaves open whether the store has done it, `look`
    /// is asked for the result; it gives an optional and never throws.
    template <class TReader, class TLook>
    auto ExchangeOnce(wire::SWireRequest request, TReader&& read, TLook&& look) const
    {
        std::invoke_result_t<TLook> found;
        request.m_isDone = [&]
        {
            found = look();
            return found.has_value();
        };
        return Exchange(
            request, [&](transport::SHttpResponse const& answer) { return found ? std::move(*found) : read(answer); });
    }
    SStoreTraits const& GetTraits() const { return m_traits; }

    s3::SObjectData GetObject(wire::SObjectRef const& object, std::shared_ptr<io::block::bufs_pool_t> pool,
                              wire::SByteRange const& range) const;
    /// Reads into memory of the caller's and gives the number of bytes; `eTag` as in MakeGetObject.
    std::size_t ReadObject(wire::SObjectRef const& object, wire::SByteRange const& range, unsigned char* data,
                           std::string& eTag) const;
    s3::SObjectData HeadObject(wire::SObjectRef const& object) const;
    bool IsObjectExist(wire::SObjectRef const& object) const;
    s3::SPutObjectResult PutObject(wire::SObjectRef const& object, wire::SNewObject const& properties,
                                   std::shared_ptr<io::block::CPooledBuf const> const& content);
    /// What is too large for one request, by the store's own refusal, is copied in parts.
    s3::SCopyObjectResult CopyObject(wire::SObjectRef const& source, wire::SObjectRef const& target,
                                     s3::CObjectStorageClass const& storageClass, s3::SObjectLockConfig const& lock,
                                     std::string const& metadataDirective);

    /// That the object is not there is a failure where the store says so.
    void DeleteObject(wire::SObjectRef const& object) const;
    s3::EPostObjectRestoreResponse RestoreObject(wire::SObjectRef const& object, unsigned days,
                                                 s3::EGlacierRetrievalTier tier) const;

    /// Completes an upload of `size` bytes. If the answer is lost, or says that the upload is gone, the object is looked at.
    s3::SMultipartUploadResult CompleteUpload(wire::SUploadRef const& upload, std::vector<std::string> const& eTags,
                                              std::uint64_t size) const;
    /// That the upload is gone already is no failure.
    void AbortUpload(wire::SUploadRef const& upload) const;
    /// As CLockAssurance::Ensure.
    void EnsureLock(ELockRoute route, wire::SObjectRef const& object, s3::SObjectLockConfig const& lock)
    {
        m_locks.Ensure(*this, route, object, lock);
    }

    s3::SBucketRegion GetBucketRegion(std::string const& bucket) const;
    std::string GetServerTimeUtc(std::string const& bucket) const;

    void SetBatchParameters(std::string const& controlEndpoint, std::string const& accountId);
    /// The one of the batch parameters; else the caller's own, asked for once.
    std::string GetAccountId();
    wire::SControlAddress GetControlAddress();

private:
    s3::SCopyObjectResult CopyWhole(wire::SObjectRef const& source, wire::SObjectRef const& target,
                                    s3::CObjectStorageClass const& storageClass, s3::SObjectLockConfig const& lock,
                                    std::string const& metadataDirective) const;
    using start_t = std::chrono::steady_clock::time_point;
    std::optional<s3::SObjectData> HeadIfNew(wire::SObjectRef const& object, start_t start) const;
    std::optional<s3::SMultipartUploadResult> FindCompleted(wire::SUploadRef const& upload,
                                                            std::vector<std::string> const& eTags,
                                                            std::uint64_t size) const;
    std::string VersionOfCopy(wire::SObjectRef const& target, std::string const& eTag);

    std::shared_ptr<wire::IWireSender> const m_sender;
    SStoreTraits const m_traits;
    CLockAssurance m_locks;

    std::mutex m_mutex;                  ///< guards what follows
    std::set<std::string> m_unversioned; ///< buckets that gave no version id for an object that was looked at

    std::mutex m_accountMutex; ///< guards what follows, and lets one thread ask for the account
    wire::SControlAddress m_batch;
    std::string m_ownAccount;
};

} // namespace bucketry::s3wire
