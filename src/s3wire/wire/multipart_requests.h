// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/records.h"
#include "s3wire/wire/object_requests.h"

#include <memory>
#include <string>
#include <vector>

/// The upload of one object in parts.
namespace bucketry::s3wire::wire
{

inline constexpr unsigned MaxPartNumber = 10000;

struct SUploadRef
{
    std::string m_bucket;
    std::string m_key;
    std::string m_uploadId;
};

SWireRequest MakeCreateMultipartUpload(SObjectRef const& object, SNewObject const& properties);
/// The upload id.
std::string ReadCreateMultipartUpload(transport::SHttpResponse const& answer);

/// Parts count from 1; both throw exc::CRuntimeExc beyond 10000. `contentMd5` for uploads with a lock.
SWireRequest MakeUploadPart(SUploadRef const& upload, unsigned partNumber,
                            std::shared_ptr<io::block::CPooledBuf const> const& content, bool contentMd5);
/// The part's ETag.
std::string ReadUploadPart(transport::SHttpResponse const& answer);

/// A part from a range of another object, if that still has this ETag.
SWireRequest MakeUploadPartCopy(SUploadRef const& upload, unsigned partNumber, SObjectRef const& source,
                                std::string const& eTag, SByteRange const& range);
std::string ReadUploadPartCopy(transport::SHttpResponse const& answer);

/// `eTags` of all parts, the first part first.
SWireRequest MakeCompleteMultipartUpload(SUploadRef const& upload, std::vector<std::string> const& eTags);
s3::SMultipartUploadResult ReadCompleteMultipartUpload(transport::SHttpResponse const& answer);

SWireRequest MakeAbortMultipartUpload(SUploadRef const& upload);

/// The ETag that S3 and most stores give an object made of parts with these ETags: the MD5 of their MD5s, "-", their
/// number, in quotes. Empty if one of them is no MD5.
std::string MultipartETag(std::vector<std::string> const& eTags);

} // namespace bucketry::s3wire::wire
