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

CS3Upload::CS3Upload(s3wire::s3::CS3WireClient& client, std::string const& bucket, std::string const& key,
                     unsigned long size, s3wire::s3::CObjectStorageClass const& storageClass,
                     s3wire::s3::CS3WireClient::metadata_t const& metadata,
                     s3wire::s3::CS3WireClient::metadata_t const& headers,
                     s3wire::s3::SPutObjectExtraAgruments const& extra)
    : m_stream(client, bucket, key, size, storageClass, {}, metadata, headers, extra)
{
    CheckIsAmazonS3(storageClass);
}

std::optional<std::string> CS3Upload::Finish()
{
    auto const result = m_stream.Finish();
    return result ? std::optional(result->m_result) : std::nullopt;
}

} // namespace bucketry::s3::detail
