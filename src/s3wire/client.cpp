// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3wire/client.h"

#include "s3wire/codec/arn.h"
#include "s3wire/connection.h"
#include "s3wire/operations/bulk_delete.h"
#include "s3wire/operations/listing.h"
#include "s3wire/operations/operations.h"

#include <iterator>
#include <utility>

namespace bucketry::s3wire
{

CS3WireClientBase::CS3WireClientBase(std::shared_ptr<COperations> operations) : m_operations(std::move(operations)) {}

CS3WireClientBase::~CS3WireClientBase() = default;

void CS3WireClientBase::SetBatchParameters(std::string const& controlEndpoint, std::string const& accountId)
{
    m_operations->SetBatchParameters(controlEndpoint, accountId);
}

std::string CS3WireClientBase::GetAccountId() const
{
    return m_operations->GetAccountId();
}

} // namespace bucketry::s3wire

namespace bucketry::s3wire::s3
{
namespace
{

using wire::SObjectRef;

SObjectRef Object(std::string const& bucket, std::string const& key, std::string const& version)
{
    wire::CheckBucket(bucket);
    wire::CheckKey(key);
    return {bucket, key, version};
}

wire::SListing Listing(std::string const& bucket, std::string const& prefix, std::string const& delimiter,
                       unsigned long count)
{
    wire::CheckBucket(bucket);
    wire::SListing listing;
    listing.m_bucket = bucket;
    listing.m_prefix = prefix;
    listing.m_delimiter = delimiter;
    listing.m_pageSize = count;
    return listing;
}

template <class TItems>
void MoveTo(TItems& all, TItems& page)
{
    std::move(page.begin(), page.end(), std::back_inserter(all));
}

web::Task<SBucket> ListWhole(std::shared_ptr<COperations> operations, wire::SListing listing, std::string const& marker,
                             bool older)
{
    return web::Task<SBucket>(
        [operations = std::move(operations), listing = std::move(listing), marker, older]
        {
            std::optional<SBucket> all;
            ForEachObjectPage(*operations, listing, {"", marker, ""}, older,
                              [&](wire::SObjectPage&& page)
                              {
                                  if (!all)
                                  {
                                      all = std::move(page.m_header);
                                  }
                                  MoveTo(all->m_contents, page.m_contents.m_contents);
                                  MoveTo(all->m_commonPrefixes, page.m_contents.m_commonPrefixes);
                              });
            return std::move(*all);
        });
}

web::Task<void> DeleteItems(std::shared_ptr<COperations> operations, EDeleteStyle style, std::string const& bucket,
                            std::vector<wire::delete_item_t> const& items,
                            std::shared_ptr<progress::progress_base_t> progress)
{
    wire::CheckBucket(bucket);
    return web::Task<void>(
        [operations = std::move(operations), bucket, plan = PlanDeletes(style, bucket, items),
         progress = std::move(progress)]
        {
            CBulkDelete bulk(*operations, bucket, progress, plan.m_count);
            bulk.Delete(plan);
            bulk.Finish();
        });
}

web::Task<void> DeleteBelow(std::shared_ptr<COperations> operations, EDeleteStyle style, std::string const& bucket,
                            std::string const& prefix, bool allVersions,
                            std::shared_ptr<progress::progress_base_t> progress)
{
    wire::CheckBucket(bucket);
    return web::Task<void>(
        [operations = std::move(operations), style, bucket, prefix, allVersions, progress = std::move(progress)]
        { DeletePrefix(*operations, style, bucket, prefix, allVersions, progress); });
}

} // namespace

CS3WireClient::CS3WireClient(std::string const& endpoint, std::string const& region, SProxyConfig const& proxy,
                             std::shared_ptr<IS3WireAuth> const& auth, certificates_t const& trustList,
                             std::shared_ptr<io::CNetworkTrottlingCtx> throttling, bool useVirtualHostedStyle)
    : CS3WireClient(Connect({endpoint, region, proxy, auth, trustList, std::move(throttling), useVirtualHostedStyle}))
{
}

CS3WireClient::CS3WireClient(CS3Arn const& arn, SProxyConfig const& proxy, std::shared_ptr<IS3WireAuth> const& auth,
                             certificates_t const& trustList, std::shared_ptr<io::CNetworkTrottlingCtx> throttling)
    : CS3WireClient((arn.CheckIsValidS3ArnExc(),
                     Connect({"", arn.m_region, proxy, auth, trustList, std::move(throttling), true})))
{
}

CS3WireClient::CS3WireClient(std::shared_ptr<COperations> operations) : CS3WireClientBase(std::move(operations)) {}

CS3WireClient::~CS3WireClient() = default;

web::Task<SObjectData> CS3WireClient::GetObject(std::string const& bucket, std::string const& key,
                                                std::shared_ptr<io::block::bufs_pool_t> pool, unsigned long offset,
                                                unsigned long length, std::string const& version) const
{
    return web::Task<SObjectData>([operations = m_operations, object = Object(bucket, key, version),
                                   pool = std::move(pool), range = wire::SByteRange{offset, length}]
                                  { return operations->GetObject(object, pool, range); });
}

web::Task<SObjectData> CS3WireClient::GetObjectHead(std::string const& bucket, std::string const& key,
                                                    std::string const& version) const
{
    return web::Task<SObjectData>([operations = m_operations, object = Object(bucket, key, version)]
                                  { return operations->HeadObject(object); });
}

web::Task<bool> CS3WireClient::IsObjectExist(std::string const& bucket, std::string const& key,
                                             std::string const& version) const
{
    return web::Task<bool>([operations = m_operations, object = Object(bucket, key, version)]
                           { return operations->IsObjectExist(object); });
}

web::Task<SPutObjectResult> CS3WireClient::PutObject(std::string const& bucket, std::string const& key,
                                                     std::shared_ptr<io::block::CPooledBuf> content,
                                                     metadata_t const& metadata, SObjectLockConfig const& lock,
                                                     CObjectStorageClass const& storageClass, metadata_t const& headers,
                                                     SPutObjectExtraAgruments const&) const
{
    return web::Task<SPutObjectResult>(
        [operations = m_operations, object = Object(bucket, key, ""), content = std::move(content),
         properties = wire::SNewObject{metadata, headers, lock, storageClass}]
        { return operations->PutObject(object, properties, content); });
}

web::Task<SCopyObjectResult> CS3WireClient::CopyObject(std::string const& sourceBucket, std::string const& targetBucket,
                                                       std::string const& sourceKey, std::string const& targetKey,
                                                       CObjectStorageClass const& storageClass,
                                                       std::string const& sourceVersion, SObjectLockConfig const& lock,
                                                       std::string const& metadataDirective) const
{
    return web::Task<SCopyObjectResult>(
        [operations = m_operations, source = Object(sourceBucket, sourceKey, sourceVersion),
         target = Object(targetBucket, targetKey, ""), storageClass, lock, metadataDirective]
        { return operations->CopyObject(source, target, storageClass, lock, metadataDirective); });
}

web::Task<void> CS3WireClient::DeleteObject(std::string const& bucket, std::string const& key,
                                            std::string const& version) const
{
    return web::Task<void>([operations = m_operations, object = Object(bucket, key, version)]
                           { operations->DeleteObject(object); });
}

web::Task<void> CS3WireClient::PutObjectRetention(std::string const& bucket, std::string const& key,
                                                  EObjectLockMode mode, std::string const& retainUntil,
                                                  std::string const& version) const
{
    return web::Task<void>([operations = m_operations, object = Object(bucket, key, version), mode, retainUntil]
                           { operations->Exchange(wire::MakePutObjectRetention(object, mode, retainUntil)); });
}

web::Task<EPostObjectRestoreResponse> CS3WireClient::PostObjectRestore(std::string const& bucket,
                                                                       std::string const& key, unsigned int days,
                                                                       EGlacierRetrievalTier tier,
                                                                       std::string const& version) const
{
    return web::Task<EPostObjectRestoreResponse>(
        [operations = m_operations, object = Object(bucket, key, version), days, tier]
        { return operations->RestoreObject(object, days, tier); });
}

web::Task<SBucketRegion> CS3WireClient::GetBucketRegion(std::string const& bucket) const
{
    wire::CheckBucket(bucket);
    return web::Task<SBucketRegion>([operations = m_operations, bucket]
                                    { return operations->GetBucketRegion(bucket); });
}

std::string CS3WireClient::GetServerTimeUtc(std::string const& bucket) const
{
    return m_operations->GetServerTimeUtc(bucket);
}

web::Task<SBucket> CS3WireClient::GetBucket(std::string const& bucket, std::string const& prefix,
                                            std::string const& delimiter, std::string const& marker,
                                            unsigned long count) const
{
    return ListWhole(m_operations, Listing(bucket, prefix, delimiter, count), marker, false);
}

web::Task<SBucket> CS3WireClient::CompatibleGetBucket(std::string const& bucket, std::string const& prefix,
                                                      std::string const& delimiter, std::string const& marker,
                                                      unsigned long count) const
{
    return ListWhole(m_operations, Listing(bucket, prefix, delimiter, count), marker, true);
}

web::Task<void> CS3WireClient::GetBucket(std::function<void(SBucketContents const&)> onPage, std::string const& bucket,
                                         std::string const& prefix, std::string const& delimiter,
                                         std::string const& marker, unsigned long count) const
{
    return web::Task<void>(
        [operations = m_operations, onPage = std::move(onPage), marker,
         listing = Listing(bucket, prefix, delimiter, count)]
        {
            ForEachObjectPage(*operations, listing, {"", marker, ""}, false,
                              [&onPage](wire::SObjectPage&& page) { onPage(page.m_contents); });
        });
}

web::Task<void> CS3WireClient::GetBucketObjectVersions(std::function<void(SBucketObjectVersions const&)> onPage,
                                                       std::string const& bucket, std::string const& prefix,
                                                       std::string const& delimiter, std::string const& keyMarker,
                                                       std::string const& versionMarker, unsigned long count) const
{
    wire::SListing listing = Listing(bucket, prefix, delimiter, count);
    return web::Task<void>(
        [operations = m_operations, onPage = std::move(onPage), listing = std::move(listing),
         start = wire::SPagePosition{"", keyMarker, versionMarker}] {
            ForEachVersionPage(*operations, listing, start, [&onPage](SBucketObjectVersions&& page) { onPage(page); });
        });
}

web::Task<void> CS3WireClient::DeleteObjects(std::string const& bucket, SMultiObjectDeleteRequest const& request,
                                             progress_t progress) const
{
    return DeleteItems(m_operations, EDeleteStyle::Batch, bucket, request.m_objects, std::move(progress));
}

web::Task<void> CS3WireClient::DeleteObjects(std::string const& bucket, std::string const& prefix,
                                             progress_t progress) const
{
    return DeleteBelow(m_operations, EDeleteStyle::Batch, bucket, prefix, false, std::move(progress));
}

web::Task<void> CS3WireClient::DeleteObjectsAllVersions(std::string const& bucket, std::string const& prefix,
                                                        progress_t progress) const
{
    return DeleteBelow(m_operations, EDeleteStyle::Batch, bucket, prefix, true, std::move(progress));
}

web::Task<void> CS3WireClient::CompatibleDeleteObject(std::string const& bucket, std::string const& key,
                                                      std::string const& version) const
{
    return web::Task<void>([operations = m_operations, object = Object(bucket, key, version)]
                           { DeleteSingleObject(*operations, object); });
}

web::Task<void> CS3WireClient::CompatibleDeleteObjects(std::string const& bucket, std::vector<std::string> const& keys,
                                                       progress_t progress) const
{
    std::vector<wire::delete_item_t> items;
    items.reserve(keys.size());
    for (std::string const& key : keys)
    {
        items.push_back({key, ""});
    }
    return DeleteItems(m_operations, EDeleteStyle::Single, bucket, items, std::move(progress));
}

web::Task<void> CS3WireClient::CompatibleDeleteObjects(std::string const& bucket,
                                                       SMultiObjectDeleteRequest const& request,
                                                       progress_t progress) const
{
    return DeleteItems(m_operations, EDeleteStyle::Single, bucket, request.m_objects, std::move(progress));
}

web::Task<void> CS3WireClient::CompatibleDeleteObjects(std::string const& bucket, std::string const& prefix,
                                                       progress_t progress) const
{
    return DeleteBelow(m_operations, EDeleteStyle::Single, bucket, prefix, false, std::move(progress));
}

web::Task<void> CS3WireClient::CompatibleDeleteObjectsAllVersions(std::string const& bucket, std::string const& prefix,
                                                                  progress_t progress) const
{
    return DeleteBelow(m_operations, EDeleteStyle::Single, bucket, prefix, true, std::move(progress));
}

web::Task<SCreateJobResult> CS3WireClient::CreateBatchJob(SCreateJobRequest const& request) const
{
    return web::Task<SCreateJobResult>(
        [operations = m_operations, body = wire::MakeCreateJob(request)]() mutable
        {
            wire::AddControlAddress(body, operations->GetControlAddress());
            return operations->Exchange(body, wire::ReadCreateJob);
        });
}

web::Task<SDescribeJobResult> CS3WireClient::DescribeJob(std::string const& jobId) const
{
    return web::Task<SDescribeJobResult>(
        [operations = m_operations, request = wire::MakeDescribeJob(jobId)]() mutable
        {
            wire::AddControlAddress(request, operations->GetControlAddress());
            return operations->Exchange(request, wire::ReadDescribeJob);
        });
}

} // namespace bucketry::s3wire::s3
