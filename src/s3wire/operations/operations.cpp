// SPDX-License-Identifier: Apache-2.0
#include "s3wire/operations/operations.h"

#include "bucketry/s3wire/exception.h"
#include "s3wire/codec/digest.h"
#include "s3wire/codec/http_date.h"
#include "s3wire/operations/download.h"
#include "s3wire/operations/lock_assurance.h"
#include "s3wire/operations/part_copy.h"

#include <utility>

namespace bucketry::s3wire
{
namespace
{

using transport::SHttpResponse;
using wire::SObjectRef;

/// Seconds by which the times of a store are coarse.
constexpr long ClockGrain = 2;

std::string_view WithoutQuotes(std::string_view eTag)
{
    return eTag.size() >= 2 && eTag.front() == '"' && eTag.back() == '"' ? eTag.substr(1, eTag.size() - 2) : eTag;
}

/// The ETag, without its quotes, that most stores give an object of this content.
std::string ETagOf(io::block::CPooledBuf const* content)
{
    return content ? Md5Hex(content->GetData(), content->GetCount()) : Md5Hex(nullptr, 0);
}

} // namespace

s3::SObjectData COperations::GetObject(SObjectRef const& object, std::shared_ptr<io::block::bufs_pool_t> pool,
                                       wire::SByteRange const& range) const
{
    CBlockSink sink(std::move(pool));
    wire::SWireRequest request =
        wire::MakeGetObject(object, range, "", Store().Traits().m_givesChecksums && range.IsWhole());
    request.m_sink = &sink;
    return Exchange(request,
                    [&](SHttpResponse const& answer)
                    {
                        std::shared_ptr<io::block::CPooledBuf> content = sink.Take();
                        CheckRange(answer, range.m_offset, range.m_length, content->GetCount());
                        CheckContent(answer, *content);
                        s3::SObjectData data = wire::ReadObjectData(answer, content->GetCount());
                        data.m_content = std::move(content);
                        return data;
                    });
}

std::size_t COperations::ReadObject(SObjectRef const& object, wire::SByteRange const& range, unsigned char* data,
                                    std::string& eTag) const
{
    CMemorySink sink(data, range.m_length);
    wire::SWireRequest request = wire::MakeGetObject(object, range, eTag, false);
    request.m_sink = &sink;
    return Exchange(request,
                    [&](SHttpResponse const& answer)
                    {
                        CheckRange(answer, range.m_offset, range.m_length, sink.GetSize());
                        eTag = wire::HeaderOf(answer, "ETag");
                        return sink.GetSize();
                    });
}

bool COperations::IsObjectExist(SObjectRef const& object) const
{
    try
    {
        Exchange(wire::MakeHeadObject(object));
        return true;
    }
    catch (CS3WireException const& error)
    {
        if (error.GetStatusCode() != 404)
        {
            throw;
        }
        return false;
    }
}

s3::SPutObjectResult COperations::PutObject(SObjectRef const& object, wire::SNewObject const& properties,
                                            std::shared_ptr<io::block::CPooledBuf const> const& content)
{
    auto const start = std::chrono::steady_clock::now();
    auto const look = [&]() -> std::optional<s3::SPutObjectResult>
    {
        auto const head = HeadIfNew(object, start);
        bool const isThis = head && WithoutQuotes(head->m_eTag) == ETagOf(content.get());
        return isThis && (!properties.m_lock.m_enabled || head->m_objectLock)
            ? std::optional<s3::SPutObjectResult>({head->m_versionId, head->m_eTag})
            : std::nullopt;
    };
    s3::SPutObjectResult result =
        ExchangeOnce(wire::MakePutObject(object, properties, content), wire::ReadPutObject, look);
    EnsureLock(*this, ELockRoute::Put, {object.m_bucket, object.m_key, result.m_versionId}, properties.m_lock);
    return result;
}

/// The object, if it was written after `start`: an older one says nothing about a request whose answer was lost. Both
/// times are the store's own.
std::optional<s3::SObjectData> COperations::HeadIfNew(SObjectRef const& object, start_t start) const
{
    auto const read = [start](SHttpResponse const& answer) -> std::optional<s3::SObjectData>
    {
        auto const now = ReadHttpDate(answer.m_headers.Get("Date"));
        auto const written = ReadHttpDate(answer.m_headers.Get("Last-Modified"));
        auto const elapsed = std::chrono::steady_clock::now() - start;
        auto const age = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count() + ClockGrain;
        return now && written && *now - *written <= age ? std::optional(wire::ReadObjectData(answer, std::nullopt))
                                                        : std::nullopt;
    };
    return UnlessFailing([&] { return Exchange(wire::MakeHeadObject(object), read); });
}

void COperations::DeleteObject(SObjectRef const& object) const
{
    wire::SWireRequest request = wire::MakeDeleteObject(object);
    request.m_goneIsDone = true;
    if (object.m_versionId.empty()) // with an id a second request deletes nothing more
    {
        request.m_isDone = [&]
        { return UnlessFailing([&] { return std::optional(!IsObjectExist(object)); }).value_or(false); };
    }
    Exchange(request);
}

s3::EPostObjectRestoreResponse COperations::RestoreObject(SObjectRef const& object, unsigned days,
                                                          s3::EGlacierRetrievalTier tier) const
{
    auto const look = [&]() -> std::optional<s3::EPostObjectRestoreResponse>
    {
        auto const head = UnlessFailing([&] { return std::optional(HeadObject(object)); });
        return head && head->m_restoreInProgress ? std::optional(s3::EPostObjectRestoreResponse::Accepted)
                                                 : std::nullopt;
    };
    return ExchangeOnce(wire::MakeRestoreObject(object, days, tier), wire::ReadRestoreObject, look);
}

s3::SCopyObjectResult COperations::CopyObject(SObjectRef const& source, SObjectRef const& target,
                                              s3::CObjectStorageClass const& storageClass,
                                              s3::SObjectLockConfig const& lock, std::string const& metadataDirective)
{
    s3::SCopyObjectResult result;
    ELockRoute route = ELockRoute::Copy;
    try
    {
        result = CopyWhole(source, target, storageClass, lock, metadataDirective);
    }
    catch (CS3WireException const& refusal)
    {
        auto const head = refusal.GetStatusCode() == 400
            ? UnlessFailing([&] { return std::optional(HeadObject(source)); })
            : std::nullopt;
        if (!head || head->m_contentLength <= Store().Traits().m_maxCopySize)
        {
            throw;
        }
        auto made = CopyInParts(*this, source, *head, target, storageClass, lock, metadataDirective);
        result = {std::move(made.m_versionId), std::move(made.m_result)};
        route = ELockRoute::Multipart;
    }
    if (result.m_versionId.empty())
    {
        result.m_versionId = VersionOfCopy(target, result.m_eTag);
    }
    EnsureLock(*this, route, {target.m_bucket, target.m_key, result.m_versionId}, lock);
    return result;
}

s3::SCopyObjectResult COperations::CopyWhole(SObjectRef const& source, SObjectRef const& target,
                                             s3::CObjectStorageClass const& storageClass,
                                             s3::SObjectLockConfig const& lock,
                                             std::string const& metadataDirective) const
{
    auto const start = std::chrono::steady_clock::now();
    bool const ontoItself = source.m_bucket == target.m_bucket && source.m_key == target.m_key;
    auto const look = [&]() -> std::optional<s3::SCopyObjectResult>
    {
        auto const made = ontoItself ? std::nullopt : HeadIfNew(target, start);
        if (!made)
        {
            return std::nullopt;
        }
        auto const original = UnlessFailing([&] { return std::optional(HeadObject(source)); });
        bool const isThis = original && made->m_contentLength == original->m_contentLength &&
            made->m_eTag == original->m_eTag && (!lock.m_enabled || made->m_objectLock);
        return isThis ? std::optional<s3::SCopyObjectResult>({made->m_versionId, made->m_eTag}) : std::nullopt;
    };
    return ExchangeOnce(wire::MakeCopyObject(source, target, storageClass, lock, metadataDirective),
                        wire::ReadCopyObject, look);
}

/// Some stores keep versions but don't name the one that a copy has made. Empty if it cannot be told: without versions,
/// without the right to look, or if another writer came between.
std::string COperations::VersionOfCopy(SObjectRef const& target, std::string const& eTag)
{
    if (Store().Bucket(target.m_bucket)->m_namesNoVersions)
    {
        return "";
    }
    try
    {
        s3::SObjectData const head = HeadObject(target);
        if (head.m_versionId.empty())
        {
            Store().Change(target.m_bucket, [](SBucketRecord& record) { record.m_namesNoVersions = true; });
        }
        return WithoutQuotes(head.m_eTag) == WithoutQuotes(eTag) ? head.m_versionId : "";
    }
    catch (exc::exc_base_t const&) // the copy is there, whatever answer came to the question
    {
        return "";
    }
}

s3::SBucketRegion COperations::GetBucketRegion(std::string const& bucket) const
{
    std::string const region =
        Exchange(wire::MakeHeadBucket(bucket),
                 [](SHttpResponse const& answer) { return wire::HeaderOf(answer, "x-amz-bucket-region"); });
    return region.empty() ? Exchange(wire::MakeGetBucketLocation(bucket), wire::ReadGetBucketLocation)
                          : s3::SBucketRegion{region};
}

std::string COperations::GetServerTimeUtc(std::string const& bucket) const
{
    return Exchange(wire::MakeHeadBucket(bucket),
                    [](SHttpResponse const& answer) { return wire::HeaderOf(answer, "Date"); });
}

void COperations::SetBatchParameters(std::string const& controlEndpoint, std::string const& accountId)
{
    std::lock_guard const lock(m_accountMutex);
    m_batch = {controlEndpoint, accountId};
}

std::string COperations::GetAccountId()
{
    return GetControlAddress().m_accountId;
}

wire::SControlAddress COperations::GetControlAddress()
{
    std::lock_guard const lock(m_accountMutex);
    if (!m_batch.m_accountId.empty())
    {
        return m_batch;
    }
    if (m_ownAccount.empty())
    {
        m_ownAccount = Exchange(wire::MakeGetCallerIdentity(), wire::ReadGetCallerIdentity);
    }
    return {m_batch.m_endpoint, m_ownAccount};
}

} // namespace bucketry::s3wire
