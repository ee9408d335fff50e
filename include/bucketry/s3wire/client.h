// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/base/certificate.h"
#include "bucketry/base/export.h"
#include "bucketry/base/io.h"
#include "bucketry/base/progress.h"
#include "bucketry/base/task.h"
#include "bucketry/s3wire/records.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::s3wire
{

class COperations;
class CS3Arn;
class IS3WireAuth;

/// What all clients of the S3 REST layer have: the store that they talk to, and whose batch jobs they start.
class BUCKETRY_API CS3WireClientBase
{
public:
    virtual ~CS3WireClientBase();

    /// For batch jobs: the endpoint of the control API (empty: the one of the region) and the account. Seen by all
    ///                 copies.
    void SetBatchParameters(std::string const& controlEndpoint, std::string const& accountId);
    /// The account of the batch parameters if there is one; else the caller's own, which the store is asked for once.
    /// Blocks.
    std::string GetAccountId() const;

    std::shared_ptr<COperations> const& GetOperations() const { return m_operations; }

protected:
    explicit CS3WireClientBase(std::shared_ptr<COperations> operations);
    CS3WireClientBase(CS3WireClientBase const&) = default;
    CS3WireClientBase& operator=(CS3WireClientBase const&) = default;

    std::shared_ptr<COperations> m_operations;
};

} // namespace bucketry::s3wire

namespace bucketry::s3wire::s3
{

/// The operations of an S3 store. A cheap value: a copy talks to the same store over the same connections.
///
/// Bucket is a bucket name or the ARN of an access point, key an object key as the store has it, without a leading
/// delimiter; an empty version means the current one.
///
/// Each Task has one thread. Fails from the call: exc::CRuntimeExc for an empty key or one over 1024 bytes, and for an
/// ARN that cannot be served; nothing has been sent. Fails from the task: CS3WireException for a refused request,
/// web::http::http_exception if no usable answer came. Any number of threads; a task outlives the client.
class BUCKETRY_API CS3WireClient final : public CS3WireClientBase
{
public:
    using metadata_t = std::map<std::string, std::string>;
    using certificates_t = std::optional<std::vector<sockets::ssl::CX509CertBlob>>;
    using progress_t = std::shared_ptr<progress::progress_base_t>;

    /// A store that is addressed by its endpoint. Throws exc::CRuntimeExc for an endpoint that is no URL.
    CS3WireClient(std::string const& endpoint, std::string const& region, SProxyConfig const& proxy,
                  std::shared_ptr<IS3WireAuth> const& auth, certificates_t const& trustList,
                  std::shared_ptr<io::CNetworkTrottlingCtx> throttling, bool useVirtualHostedStyle);
    /// A store that is addressed by an ARN. Throws exc::CRuntimeExc for one that cannot be served.
    CS3WireClient(CS3Arn const& arn, SProxyConfig const& proxy, std::shared_ptr<IS3WireAuth> const& auth,
                  certificates_t const& trustList, std::shared_ptr<io::CNetworkTrottlingCtx> throttling);
    CS3WireClient(CS3WireClient const&) = default;
    CS3WireClient& operator=(CS3WireClient const&) = default;
    ~CS3WireClient() override;

    /// The bytes [offset, offset + length), in one block from `pool`. A length of 0 reaches to the end. A range that
    /// ends beyond the object is cut there; one that begins there is refused with status 416. The content is checked
    /// against its announced length, and against its checksum where the store gives one.
    web::Task<SObjectData> GetObject(std::string const& bucket, std::string const& key,
                                     std::shared_ptr<io::block::bufs_pool_t> pool, unsigned long offset,
                                     unsigned long length, std::string const& version) const;
    web::Task<SObjectData> GetObjectHead(std::string const& bucket, std::string const& key,
                                         std::string const& version) const;
    /// False for status 404 only.
    web::Task<bool> IsObjectExist(std::string const& bucket, std::string const& key, std::string const& version) const;
    /// Keeps `content`, which may be null for an empty object, alive; nobody may change it before the task has ended.
    web::Task<SPutObjectResult> PutObject(std::string const& bucket, std::string const& key,
                                          std::shared_ptr<io::block::CPooledBuf> content, metadata_t const& metadata,
                                          SObjectLockConfig const& lock, CObjectStorageClass const& storageClass,
                                          metadata_t const& headers, SPutObjectExtraAgruments const& extra) const;
    /// `metadataDirective`: "COPY", "REPLACE", or empty for the store's default, COPY. What the store refuses to copy
    /// in one piece, from 5 GiB on, is copied in parts; such a copy takes over metadata and content type, and no other
    /// header.
    web::Task<SCopyObjectResult> CopyObject(std::string const& sourceBucket, std::string const& targetBucket,
                                            std::string const& sourceKey, std::string const& targetKey,
                                            CObjectStorageClass const& storageClass, std::string const& sourceVersion,
                                            SObjectLockConfig const& lock, std::string const& metadataDirective) const;
    web::Task<void> DeleteObject(std::string const& bucket, std::string const& key, std::string const& version) const;
    /// `retainUntil` in ISO 8601, UTC.
    web::Task<void> PutObjectRetention(std::string const& bucket, std::string const& key, EObjectLockMode mode,
                                       std::string const& retainUntil, std::string const& version) const;
    web::Task<EPostObjectRestoreResponse> PostObjectRestore(std::string const& bucket, std::string const& key,
                                                            unsigned int days, EGlacierRetrievalTier tier,
                                                            std::string const& version) const;

    web::Task<SBucketRegion> GetBucketRegion(std::string const& bucket) const;
    /// The Date header of the store, "%a, %d %b %Y %H:%M:%S GMT", of whatever answer comes; empty if none. Blocks.
    std::string GetServerTimeUtc(std::string const& bucket) const;

    /// Listings. They go on to the end of the bucket; `marker`: start behind that key; `count`: keys on a page, 0 for
    /// the store's choice.
    web::Task<SBucket> GetBucket(std::string const& bucket, std::string const& prefix, std::string const& delimiter,
                                 std::string const& marker, unsigned long count) const;
    /// Calls `onPage` for one page after the other, on the task's thread; only one page is in memory. What it throws
    /// fails the task.
    web::Task<void> GetBucket(std::function<void(SBucketContents const&)> onPage, std::string const& bucket,
                              std::string const& prefix, std::string const& delimiter, std::string const& marker,
                              unsigned long count) const;
    web::Task<void> GetBucketObjectVersions(std::function<void(SBucketObjectVersions const&)> onPage,
                                            std::string const& bucket, std::string const& prefix,
                                            std::string const& delimiter, std::string const& keyMarker,
                                            std::string const& versionMarker, unsigned long count) const;
    /// With the older of the two listings.
    web::Task<SBucket> CompatibleGetBucket(std::string const& bucket, std::string const& prefix,
                                           std::string const& delimiter, std::string const& marker,
                                           unsigned long count) const;

    /// Deletes. An object that is not there is no failure. If the store refuses objects, the others are deleted all the
    /// same, and the task fails with code and status of the first refusal and the number of all. `progress` may be
    /// null. A prefix is deleted at every depth; an empty one is the whole bucket.
    web::Task<void> DeleteObjects(std::string const& bucket, SMultiObjectDeleteRequest const& request,
                                  progress_t progress) const;
    web::Task<void> DeleteObjects(std::string const& bucket, std::string const& prefix, progress_t progress) const;
    web::Task<void> DeleteObjectsAllVersions(std::string const& bucket, std::string const& prefix,
                                             progress_t progress) const;

    /// The same for stores without batch deletes: one request for each object, a few at a time.
    web::Task<void> CompatibleDeleteObject(std::string const& bucket, std::string const& key,
                                           std::string const& version) const;
    web::Task<void> CompatibleDeleteObjects(std::string const& bucket, std::vector<std::string> const& keys,
                                            progress_t progress) const;
    web::Task<void> CompatibleDeleteObjects(std::string const& bucket, SMultiObjectDeleteRequest const& request,
                                            progress_t progress) const;
    web::Task<void> CompatibleDeleteObjects(std::string const& bucket, std::string const& prefix,
                                            progress_t progress) const;
    web::Task<void> CompatibleDeleteObjectsAllVersions(std::string const& bucket, std::string const& prefix,
                                                       progress_t progress) const;

    web::Task<SCreateJobResult> CreateBatchJob(SCreateJobRequest const& request) const;
    web::Task<SDescribeJobResult> DescribeJob(std::string const& jobId) const;

private:
    friend CS3WireClient ClientOver(std::shared_ptr<COperations> operations);
    explicit CS3WireClient(std::shared_ptr<COperations> operations);
};

} // namespace bucketry::s3wire::s3
