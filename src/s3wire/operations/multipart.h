// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/operations/exchange.h"
#include "s3wire/wire/multipart_requests.h"

#include <string>
#include <vector>

namespace bucketry::s3wire
{

/// Completes an upload of `size` bytes. If the answer is lost, or says that the upload is gone, the object is looked
/// at.
s3::SMultipartUploadResult CompleteUpload(CExchange const& exchange, wire::SUploadRef const& upload,
                                          std::vector<std::string> const& eTags, std::uint64_t size);
/// That the upload is gone already is no failure.
void AbortUpload(CExchange const& exchange, wire::SUploadRef const& upload);

} // namespace bucketry::s3wire
