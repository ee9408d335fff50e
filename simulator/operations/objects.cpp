// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "protocol/digest.h"
#include "protocol/text.h"
#include "protocol/xml.h"

#include <algorithm>

namespace bucketry::simulator
{

namespace
{

struct SRange
{
    std::uint64_t m_offset;
    std::uint64_t m_length;
};

CStoreError UnsatisfiableRange(std::uint64_t size, std::string const& asked)
{
    return CStoreError(416, "InvalidRange", "The requested range is not satisfiable")
        .With("RangeRequested", asked)
        .With("ActualObjectSize", std::to_string(size))
        .Header("Content-Range", "bytes */" + std::to_string(size));
}

/// Nothing for a header that isn't one range in bytes: then the whole object is meant.
std::optional<SRange> ReadRange(std::string const& header, std::uint64_t size)
{
    auto const dash = header.find('-');
    if (!header.starts_with("bytes=") || dash == std::string::npos)
    {
        return std::nullopt;
    }
    std::string const firstText = header.substr(6, dash - 6), lastText = header.substr(dash + 1);
    auto const first = ParseNumber(firstText), last = ParseNumber(lastText);
    if ((!first && !firstText.empty()) || (!last && !lastText.empty()) || (!first && !last))
    {
        return std::nullopt;
    }
    if (first && last && *first > *last)
    {
        return std::nullopt;
    }
    if (!first)
    {
        if (size == 0 || *last == 0)
        {
            throw UnsatisfiableRange(size, header);
        }
        std::uint64_t const length = std::min(*last, size);
        return SRange{size - length, length};
    }
    if (*first >= size)
    {
        throw UnsatisfiableRange(size, header);
    }
    std::uint64_t const end = last ? std::min(*last, size - 1) : size - 1;
    return SRange{*first, end - *first + 1};
}

/// The bytes of one part of a multipart upload.
SRange PartRange(SVersion const& version, std::string const& text)
{
    auto const number = ParseNumber(text);
    std::size_t const count = std::max<std::size_t>(version.m_partSizes.size(), 1);
    if (!number || *number < 1 || *number > 10000)
    {
        throw CStoreError(400, "InvalidArgument", "Part number must be an integer between 1 and 10000, inclusive")
            .With("ArgumentName", "partNumber");
    }
    if (*number > count)
    {
        throw CStoreError(416, "InvalidPartNumber", "The requested partnumber is not satisfiable");
    }
    if (version.m_partSizes.empty())
    {
        return {0, version.m_data->size()};
    }
    SRange range{0, version.m_partSizes[*number - 1]};
    for (std::size_t i = 0; i + 1 < *number; ++i)
    {
        range.m_offset += version.m_partSizes[i];
    }
    return range;
}

bool ListsETag(std::string const& header, std::string const& etag)
{
    return header == "*" || header.find("\"" + etag + "\"") != std::string::npos || header == etag;
}

/// The four conditions with one prefix of their header names.
struct SConditions
{
    bool m_fails = false;       ///< of if-match and if-unmodified-since
    bool m_isUnchanged = false; ///< of if-none-match and if-modified-since
};

SConditions ReadConditions(SRequest const& request, std::string const& prefix, SVersion const& version)
{
    SConditions result;
    auto const modified = std::chrono::floor<std::chrono::seconds>(version.m_modified);
    auto const match = request.Header(prefix + "if-match"), noneMatch = request.Header(prefix + "if-none-match");
    auto const since = ParseHttpTime(request.Header(prefix + "if-modified-since"));
    auto const unchangedSince = ParseHttpTime(request.Header(prefix + "if-unmodified-since"));
    result.m_fails = match.empty() ? unchangedSince && modified > *unchangedSince : !ListsETag(match, version.m_etag);
    result.m_isUnchanged = noneMatch.empty() ? since && modified <= *since : ListsETag(noneMatch, version.m_etag);
    return result;
}

CStoreError FailedCondition()
{
    return {412, "PreconditionFailed", "At least one of the pre-conditions you specified did not hold"};
}

void AddLockHeaders(SResponse& response, SLock const& lock, std::string const& prefix)
{
    if (lock.m_retention)
    {
        response.Add(prefix + "object-lock-mode", lock.m_retention->m_compliance ? "COMPLIANCE" : "GOVERNANCE");
        response.Add(prefix + "object-lock-retain-until-date", IsoTime(lock.m_retention->m_until));
    }
    if (lock.m_legalHold)
    {
        response.Add(prefix + "object-lock-legal-hold", "ON");
    }
}

void AddArchiveHeaders(SResponse& response, SVersion const& version, time_point_t now)
{
    response.AddUnlessEmpty("x-amz-archive-status", version.m_restore ? "" : version.m_archiveTier);
    if (!version.m_restore)
    {
        return;
    }
    if (version.m_restore->IsOngoing(now))
    {
        response.Add("x-amz-restore", "ongoing-request=\"true\"");
    }
    else if (version.m_restore->m_expires && version.m_restore->IsReadable(now))
    {
        response.Add("x-amz-restore",
                     "ongoing-request=\"false\", expiry-date=\"" + HttpTime(*version.m_restore->m_expires) + "\"");
    }
}

/// What GET and HEAD tell of a version besides its bytes.
void AddObjectHeaders(SResponse& response, SCall const& call, SBucket const& bucket, SVersion const& version)
{
    auto const& attributes = version.m_attributes;
    response.Add("Last-Modified", HttpTime(version.m_modified));
    response.Add("ETag", "\"" + version.m_etag + "\"");
    response.Add("Accept-Ranges", "bytes");
    if (!attributes.m_headers.contains("content-type"))
    {
        response.Add("Content-Type", "binary/octet-stream");
    }
    for (auto const& [name, value] : attributes.m_headers)
    {
        response.Add(name, value);
    }
    for (auto const& [name, value] : attributes.m_metadata)
    {
        response.Add("x-amz-meta-" + name, value);
    }
    std::string const prefix = call.m_traits.m_headerPrefix;
    if (attributes.m_storageClass != "STANDARD" || call.m_traits.m_hasGenerations)
    {
        response.Add(prefix + "storage-class", attributes.m_storageClass);
    }
    AddLockHeaders(response, attributes.m_lock, prefix);
    AddArchiveHeaders(response, version, call.m_now);
    AddVersionId(response, call, bucket, version);
}

/// The checksums of the whole object, to whoever asks; a store with generations tells one unasked.
void AddChecksums(SResponse& response, SCall const& call, SVersion const& version)
{
    if (call.m_traits.m_hasGenerations)
    {
        response.Add("x-amz-checksum-crc32c", Base64(Crc32c(*version.m_data)));
    }
    if (ToLower(call.m_request.Header("x-amz-checksum-mode")) != "enabled" || version.m_checksums.empty())
    {
        return;
    }
    for (auto const& [algorithm, value] : version.m_checksums)
    {
        response.Add("x-amz-checksum-" + algorithm, value);
    }
    response.Add("x-amz-checksum-type", version.m_checksumType);
}

void CheckArchived(SCall const& call, SVersion const& version)
{
    if (!call.m_traits.m_hasArchive || version.IsReadable(call.m_now) || call.m_request.m_method == "HEAD")
    {
        return;
    }
    CStoreError refusal(403, "InvalidObjectState", "The operation is not valid for the object's storage class");
    refusal.m_elements.emplace_back("StorageClass", version.m_attributes.m_storageClass);
    if (!version.m_archiveTier.empty())
    {
        refusal.m_elements.emplace_back("AccessTier", version.m_archiveTier);
    }
    throw refusal;
}

std::optional<SRange> SelectRange(SCall const& call, SVersion const& version, SResponse& response)
{
    auto const part = call.m_request.Query("partNumber");
    if (!part || !call.m_traits.m_readsParts)
    {
        return ReadRange(call.m_request.Header("range"), version.m_data->size());
    }
    if (!version.m_partSizes.empty())
    {
        response.Add("x-amz-mp-parts-count", std::to_string(version.m_partSizes.size()));
    }
    return PartRange(version, *part);
}

bool IsReplaced(SCall const& call)
{
    std::string const directive = call.m_request.Header("x-amz-metadata-directive");
    if (!directive.empty() && directive != "COPY" && directive != "REPLACE")
    {
        throw CStoreError(400, "InvalidArgument", "Unknown metadata directive.")
            .With("ArgumentName", "x-amz-metadata-directive")
            .With("ArgumentValue", directive);
    }
    return directive == "REPLACE";
}

/// A copy of the source's version with what the request says about the target.
SVersion MakeCopy(SCall const& call, SBucket const& bucket, SVersion const& source)
{
    SVersion copy;
    copy.m_data = source.m_data;
    copy.m_etag = Hex(Md5(*source.m_data));
    copy.m_modified = call.m_now;
    copy.m_attributes = ReadAttributes(call, bucket, call.m_traits.m_copyTakesLockHeaders);
    if (!call.m_traits.m_copyTakesLockHeaders && source.m_attributes.m_lock.m_retention && bucket.m_objectLock)
    {
        copy.m_attributes.m_lock.m_retention = source.m_attributes.m_lock.m_retention;
    }
    if (!IsReplaced(call))
    {
        copy.m_attributes.m_metadata = source.m_attributes.m_metadata;
        copy.m_attributes.m_headers = source.m_attributes.m_headers;
    }
    std::string const algorithm = ToLower(call.m_request.Header("x-amz-checksum-algorithm"));
    if (call.m_traits.m_knowsChecksumHeaders && IsChecksumAlgorithm(algorithm))
    {
        copy.m_checksums[algorithm] = Base64(Checksum(algorithm, *source.m_data));
    }
    else if (source.m_checksumType == "FULL_OBJECT")
    {
        copy.m_checksums = source.m_checksums;
    }
    return copy;
}

} // namespace

SResponse PutObject(SCall& call)
{
    SBucket& bucket = call.Bucket();
    CheckWriteConditions(call, bucket);
    SVersion version;
    version.m_attributes = ReadAttributes(call, bucket, true);
    if (version.m_attributes.m_lock.m_retention || version.m_attributes.m_lock.m_legalHold)
    {
        DemandIntegrity(call,
                        "Content-MD5 OR x-amz-checksum- HTTP header is required for Put Object requests with "
                        "Object Lock parameters");
    }
    version.m_data = std::make_shared<std::string const>(std::move(call.m_request.m_body));
    version.m_etag = Hex(call.m_payload.m_md5);
    version.m_checksums = call.m_payload.m_checksums;
    version.m_modified = call.m_now;
    SVersion const& written = call.m_store.Write(bucket, call.Key(), std::move(version));
    SResponse response;
    response.Add("ETag", "\"" + written.m_etag + "\"");
    AddVersionHeaders(response, call, bucket, written);
    return response;
}

SResponse GetObject(SCall& call)
{
    SBucket& bucket = call.Bucket();
    SVersion const& version = DemandVersion(call, bucket);
    SResponse response;
    AddObjectHeaders(response, call, bucket, version);
    auto const conditions = ReadConditions(call.m_request, "", version);
    if (conditions.m_fails)
    {
        throw FailedCondition();
    }
    if (conditions.m_isUnchanged)
    {
        response.m_status = 304;
        return response;
    }
    CheckArchived(call, version);
    auto const range = SelectRange(call, version, response);
    response.m_blob = version.m_data;
    response.m_offset = range ? range->m_offset : 0;
    response.m_length = range ? range->m_length : version.m_data->size();
    if (range && response.m_length > 0)
    {
        response.m_status = 206;
        response.Add("Content-Range",
                     "bytes " + std::to_string(response.m_offset) + "-" +
                         std::to_string(response.m_offset + response.m_length - 1) + "/" +
                         std::to_string(version.m_data->size()));
    }
    if (!range)
    {
        AddChecksums(response, call, version);
    }
    return response;
}

SResponse CopyObject(SCall& call)
{
    SBucket& bucket = call.Bucket();
    SCopySource const source = FindCopySource(call);
    SVersion const& from = *source.m_version;
    bool const changes = IsReplaced(call) || call.m_request.HasHeader("x-amz-storage-class");
    if (source.m_isSameObject && !changes && !call.m_traits.m_copiesOntoItself)
    {
        throw CStoreError(400, "InvalidRequest",
                          "This copy request is illegal because it is trying to copy an object "
                          "to itself without changing the object's metadata, storage class, "
                          "website redirect location or encryption attributes.");
    }
    if (call.m_traits.m_limitsCopies && from.m_data->size() > call.m_options.m_maxPutSize)
    {
        throw CStoreError(400, "InvalidRequest",
                          "The specified copy source is larger than the maximum allowable size "
                          "for a copy source: " +
                              std::to_string(call.m_options.m_maxPutSize));
    }
    auto const conditions = ReadConditions(call.m_request, "x-amz-copy-source-", from);
    if (call.m_traits.m_copyKnowsConditions && (conditions.m_fails || conditions.m_isUnchanged))
    {
        throw FailedCondition();
    }
    CheckWriteConditions(call, bucket);

    std::string const sourceId = source.m_bucket->m_versioning == EVersioning::Off ? "" : from.m_id;
    SVersion const& written = call.m_store.Write(bucket, call.Key(), MakeCopy(call, bucket, from));
    SResponse response;
    if (call.m_traits.m_copyTellsVersions)
    {
        AddVersionHeaders(response, call, bucket, written);
        response.AddUnlessEmpty("x-amz-copy-source-version-id", call.m_traits.m_hasGenerations ? "" : sourceId);
    }
    std::string const quote = call.m_traits.m_copyQuotesETag ? "\"" : "";
    CXmlWriter xml("CopyObjectResult", call.m_traits.m_xmlNamespace);
    xml.Text("LastModified", IsoTime(written.m_modified)).Text("ETag", quote + written.m_etag + quote);
    response.SetXml(xml.Finish());
    return response;
}

} // namespace bucketry::simulator
