// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/operations/exchange.h"
#include "s3wire/wire/multipart_requests.h"

namespace bucketry::s3wire
{

/// Copies an object that is too large for one request, range by range, a few at a time; nothing of it passes through
/// here. `head` is what the store says of the source: metadata and type go to the copy unless the directive is REPLACE,
/// and a source that is replaced meanwhile fails with status 412. After a failure the upload is aborted.
s3::SMultipartUploadResult CopyInParts(CExchange const& exchange, wire::SObjectRef source, s3::SObjectData const& head,
                                       wire::SObjectRef const& target, s3::CObjectStorageClass const& storageClass,
                                       s3::SObjectLockConfig const& lock, std::string const& metadataDirective);

} // namespace bucketry::s3wire
