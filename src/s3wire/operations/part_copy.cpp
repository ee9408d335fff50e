// SPDX-License-Identifier: Apache-2.0
#include "s3wire/operations/part_copy.h"

#include "bucketry/base/logging.h"
#include "s3wire/operations/multipart.h"
#include "s3wire/operations/parallel.h"

#include <algorithm>

namespace bucketry::s3wire
{
namespace
{

constexpr std::size_t PartsInFlight = 4;

void AbortQuietly(CExchange const& exchange, wire::SUploadRef const& upload)
{
    try
    {
        AbortUpload(exchange, upload);
    }
    catch (std::exception const& error)
    {
        s3wire_log.err("Failed to abort an unfinished copy, its parts may stay", error);
    }
}

/// The ETags of the parts.
std::vector<std::string> CopyParts(CExchange const& exchange, wire::SUploadRef const& upload,
                                   wire::SObjectRef const& source, s3::SObjectData const& head)
{
    std::uint64_t const size = head.m_contentLength;
    std::uint64_t const partSize =
        std::max(exchange.Store().Traits().m_copyPartSize, (size + wire::MaxPartNumber - 1) / wire::MaxPartNumber);
    std::vector<std::string> eTags((size + partSize - 1) / partSize);
    ForEachInParallel(eTags.size(), PartsInFlight,
                      [&](std::size_t index)
                      {
                          wire::SByteRange const range{index * partSize, std::min(partSize, size - index * partSize)};
                          eTags[index] =
                              exchange.Exchange(wire::MakeUploadPartCopy(upload, static_cast<unsigned>(index + 1),
                                                                         source, head.m_eTag, range),
                                                wire::ReadUploadPartCopy);
                      });
    return eTags;
}

} // namespace

s3::SMultipartUploadResult CopyInParts(CExchange const& exchange, wire::SObjectRef source, s3::SObjectData const& head,
                                       wire::SObjectRef const& target, s3::CObjectStorageClass const& storageClass,
                                       s3::SObjectLockConfig const& lock, std::string const& metadataDirective)
{
    source.m_versionId = head.m_versionId.empty() ? source.m_versionId : head.m_versionId;
    wire::SNewObject properties{{}, {}, lock, storageClass};
    if (metadataDirective != "REPLACE") // the store takes nothing over by itself
    {
        properties.m_metadata = head.m_metadata;
        properties.m_headers.emplace("Content-Type", head.m_contentType);
    }
    wire::SUploadRef upload{target.m_bucket, target.m_key, ""};
    upload.m_uploadId =
        exchange.Exchange(wire::MakeCreateMultipartUpload(target, properties), wire::ReadCreateMultipartUpload);
    try
    {
        return CompleteUpload(exchange, upload, CopyParts(exchange, upload, source, head), head.m_contentLength);
    }
    catch (...)
    {
        AbortQuietly(exchange, upload);
        throw;
    }
}

} // namespace bucketry::s3wire
