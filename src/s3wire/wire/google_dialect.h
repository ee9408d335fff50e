// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/wire/request.h"

/// What Google's store calls otherwise than S3 where it speaks the protocol of S3: versions are generations, and
/// headers of the store's own begin with "x-goog-". https://cloud.google.com/storage/docs/xml-api/reference-headers
namespace bucketry::s3wire::wire
{

/// Names versions as generations, in the query and in a copy source, and asks for lists of versions in the form of S3.
void ToGoogle(SWireRequest& request);

/// Gives each "x-goog-" header its name with "x-amz-", unless that one is there. The generation becomes the version's
/// id only if `keepsVersions`: the store numbers the objects of all buckets.
void FromGoogle(transport::SHttpResponse& answer, bool keepsVersions);

/// Whether a bucket keeps the former versions of its objects.
SWireRequest MakeGetBucketVersioning(std::string const& bucket);
bool ReadGetBucketVersioning(transport::SHttpResponse const& answer);

} // namespace bucketry::s3wire::wire
