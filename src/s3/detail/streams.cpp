// SPDX-License-Identifier: Apache-2.0
#include "s3/detail/streams.h"

namespace bucketry::s3::detail
{

void CheckIsAmazonS3(s3wire::s3::CObjectStorageClass const& storageClass)
{
    if (!storageClass.IsAmazonS3())
    {
        throw exc::CRuntimeExc("storage class %1 is not supported by AWS", storageClass.Description());
    }
}

std::string CS3UploadVersioned::FinishVersioned()
{
    auto const result = m_stream.Finish();
    if (!result)
    {
        throw exc::CRuntimeExc("[S3UploadVersioning] Failed to finish upload: stream did not return object version");
    }
    return result->m_versionId;
}

} // namespace bucketry::s3::detail
