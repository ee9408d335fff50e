// SPDX-License-Identifier: Apache-2.0
#include "s3wire/operations/multipart.h"

#include "bucketry/s3wire/exception.h"

#include <exception>
#include <optional>

namespace bucketry::s3wire
{
namespace
{

/// Whether the object is there, of this size and made of these parts. Size alone would take an older object for the new
/// one.
std::optional<s3::SMultipartUploadResult> FindCompleted(CExchange const& exchange, wire::SUploadRef const& upload,
                                                        std::vector<std::string> const& eTags, std::uint64_t size)
{
    auto const head = UnlessFailing(
        [&] {
            return std::optional(exchange.HeadObject({upload.m_bucket, upload.m_key, ""}));
        });
    std::string const expected = wire::MultipartETag(eTags);
    bool const isThis = head && head->m_contentLength == size && !expected.empty() && head->m_eTag == expected;
    return isThis
        ? std::optional<s3::SMultipartUploadResult>({upload.m_bucket, upload.m_key, head->m_eTag, head->m_versionId})
        : std::nullopt;
}

} // namespace

s3::SMultipartUploadResult CompleteUpload(CExchange const& exchange, wire::SUploadRef const& upload,
                                          std::vector<std::string> const& eTags, std::uint64_t size)
{
    std::exception_ptr failure;
    try
    {
        return exchange.Exchange(wire::MakeCompleteMultipartUpload(upload, eTags), wire::ReadCompleteMultipartUpload);
    }
    catch (CS3WireException const& error)
    {
        if (error.GetStatusCode() < 500 && error.GetAmazonErrorCode() != "NoSuchUpload")
        {
            throw;
        }
        failure = std::current_exception();
    }
    catch (web::http::http_exception const&)
    {
        failure = std::current_exception();
    }
    if (std::optional<s3::SMultipartUploadResult> found = FindCompleted(exchange, upload, eTags, size))
    {
        return std::move(*found);
    }
    std::rethrow_exception(failure);
}

void AbortUpload(CExchange const& exchange, wire::SUploadRef const& upload)
{
    try
    {
        exchange.Exchange(wire::MakeAbortMultipartUpload(upload));
    }
    catch (CS3WireException const& error)
    {
        if (error.GetStatusCode() != 404)
        {
            throw;
        }
    }
}

} // namespace bucketry::s3wire
