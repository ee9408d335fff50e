// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/records.h"
#include "s3wire/operations/exchange.h"
#include "s3wire/wire/object_requests.h"
#include "s3wire/wire/service_requests.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace bucketry::s3wire
{

/// The S3 operations, blocking: what runs on a task's thread, or on a stream's. One object is shared by all copies of a
/// client, with what is known about the store. Throws as CExchange does. Any number of threads at once.
class COperations : public CExchange
{
public:
    using CExchange::CExchange;

    s3::SObjectData GetObject(wire::SObjectRef const& object, std::shared_ptr<io::block::bufs_pool_t> pool,
                              wire::SByteRange const& range) const;
    /// Reads into memory of the caller's and gives the number of bytes; `eTag` as in MakeGetObject.
    std::size_t ReadObject(wire::SObjectRef const& object, wire::SByteRange const& range, unsigned char* data,
                           std::string& eTag) const;
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
    std::string VersionOfCopy(wire::SObjectRef const& target, std::string const& eTag);

    std::mutex m_accountMutex; ///< guards what follows, and lets one thread ask for the account
    wire::SControlAddress m_batch;
    std::string m_ownAccount;
};

} // namespace bucketry::s3wire
