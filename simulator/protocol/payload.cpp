// SPDX-License-Identifier: Apache-2.0
#include "protocol/digest.h"
#include "protocol/signature.h"
#include "protocol/text.h"

#include <algorithm>
#include <charconv>

namespace bucketry::simulator
{

namespace
{

constexpr std::string_view ChecksumPrefix = "x-amz-checksum-";
constexpr std::string_view StreamingTrailer = "STREAMING-UNSIGNED-PAYLOAD-TRAILER";

CStoreError Incomplete()
{
    return {400, "IncompleteBody", "The request body terminated unexpectedly"};
}

/// The next line of a chunked body, without its end.
std::string_view TakeLine(std::string_view& rest)
{
    auto const end = rest.find("\r\n");
    if (end == std::string_view::npos)
    {
        throw Incomplete();
    }
    auto const line = rest.substr(0, end);
    rest.remove_prefix(end + 2);
    return line;
}

/// Replaces a body in aws-chunked form by its content; trailers become headers.
void Unchunk(SRequest& request)
{
    std::string_view rest = request.m_body;
    std::string content;
    for (;;)
    {
        auto const line = TakeLine(rest);
        std::size_t size = 0;
        auto const [end, error] = std::from_chars(line.data(), line.data() + line.size(), size, 16);
        if (error != std::errc() || (end != line.data() + line.size() && *end != ';'))
        {
            throw Incomplete();
        }
        if (size == 0)
        {
            break;
        }
        if (rest.size() < size)
        {
            throw Incomplete();
        }
        content.append(rest.substr(0, size));
        rest.remove_prefix(size);
        if (!TakeLine(rest).empty())
        {
            throw Incomplete();
        }
    }
    for (auto line = TakeLine(rest); !line.empty(); line = TakeLine(rest))
    {
        auto const colon = line.find(':');
        if (colon == std::string_view::npos)
        {
            throw CStoreError(400, "MalformedTrailerError",
                              "The request contained trailing data that was not well-formed.");
        }
        auto const value = line.substr(colon + 1);
        request.m_headers.emplace_back(ToLower(line.substr(0, colon)),
                                       value.substr(std::min(value.find_first_not_of(' '), value.size())));
    }
    if (request.Header("x-amz-decoded-content-length") != std::to_string(content.size()))
    {
        throw Incomplete();
    }
    request.m_body = std::move(content);
}

void CheckHash(SRequest& request, STraits const& traits, bool demandsHash)
{
    std::string const hash = request.Header("x-amz-content-sha256");
    if (hash.empty() && !demandsHash)
    {
        return;
    }
    if (hash.empty())
    {
        throw CStoreError(400, "InvalidRequest", "Missing required header for this request: x-amz-content-sha256");
    }
    if (hash == "UNSIGNED-PAYLOAD" && (request.m_isTls || traits.m_takesUnsignedPayloadOverHttp))
    {
        return;
    }
    if (hash == StreamingTrailer && traits.m_knowsChecksumHeaders &&
        (request.m_isTls || traits.m_takesUnsignedPayloadOverHttp))
    {
        return Unchunk(request);
    }
    if (hash.starts_with("STREAMING-AWS4-"))
    {
        throw CStoreError(501, "NotImplemented", "Chunks with signatures of their own are not implemented.");
    }
    std::string const computed = Hex(Sha256(request.m_body));
    if (hash != computed)
    {
        throw CStoreError(400, "XAmzContentSHA256Mismatch",
                          "The provided 'x-amz-content-sha256' header does not match what was computed.")
            .With("ClientComputedContentSHA256", hash)
            .With("S3ComputedContentSHA256", computed);
    }
}

/// Those that come with a body, and those that announce one behind it.
bool HasChecksumHeader(SRequest const& request)
{
    return std::any_of(request.m_headers.begin(), request.m_headers.end(),
                       [](auto const& header)
                       {
                           std::string const& name = header.first;
                           return (name.starts_with(ChecksumPrefix) && name != "x-amz-checksum-mode") ||
                               name == "x-amz-sdk-checksum-algorithm" || name == "x-amz-trailer";
                       });
}

void CheckMd5(SRequest const& request, SPayload& payload)
{
    if (!request.HasHeader("content-md5"))
    {
        return;
    }
    std::string const text = request.Header("content-md5");
    auto const md5 = FromBase64(text);
    if (!md5 || md5->size() != payload.m_md5.size())
    {
        throw CStoreError(400, "InvalidDigest", "The Content-MD5 you specified was invalid.").With("Content-MD5", text);
    }
    if (*md5 != payload.m_md5)
    {
        throw CStoreError(400, "BadDigest", "The Content-MD5 you specified did not match what we received.")
            .With("ExpectedDigest", Hex(*md5))
            .With("CalculatedDigest", Base64(payload.m_md5));
    }
    payload.m_hasIntegrity = true;
}

void CheckChecksums(SRequest const& request, SPayload& payload)
{
    for (auto const& [name, value] : request.m_headers)
    {
        if (!name.starts_with(ChecksumPrefix))
        {
            continue;
        }
        std::string const algorithm = name.substr(ChecksumPrefix.size());
        if (!IsChecksumAlgorithm(algorithm))
        {
            continue;
        }
        auto const given = FromBase64(value);
        std::string const computed = Checksum(algorithm, request.m_body);
        if (!given || given->size() != computed.size())
        {
            throw CStoreError(400, "InvalidRequest", "Value for " + name + " header is invalid.");
        }
        if (*given != computed)
        {
            throw CStoreError(400, "BadDigest",
                              "The " + algorithm + " you specified did not match the calculated checksum.");
        }
        payload.m_checksums[algorithm] = value;
    }
    if (payload.m_checksums.size() > 1)
    {
        throw CStoreError(400, "InvalidRequest",
                          "Expecting a single x-amz-checksum- header. Multiple checksum Types are "
                          "not allowed.");
    }
    payload.m_hasIntegrity = payload.m_hasIntegrity || !payload.m_checksums.empty();
}

} // namespace

SPayload CheckPayload(SRequest& request, STraits const& traits, bool demandsHash)
{
    if (traits.m_refusesChecksumHeaders && HasChecksumHeader(request))
    {
        throw CStoreError(400, "InvalidArgument", "A header names a checksum that the store doesn't know.");
    }
    CheckHash(request, traits, demandsHash);
    SPayload payload{.m_md5 = Md5(request.m_body)};
    CheckMd5(request, payload);
    if (traits.m_knowsChecksumHeaders)
    {
        CheckChecksums(request, payload);
    }
    return payload;
}

} // namespace bucketry::simulator
