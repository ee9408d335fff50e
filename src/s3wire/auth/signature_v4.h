// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/codec/digest.h"
#include "s3wire/codec/secret.h"
#include "s3wire/transport/http.h"

#include <ctime>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// AWS Signature Version 4 in the header form.
/// https://docs.aws.amazon.com/AmazonS3/latest/API/sig-v4-header-based-auth.html
namespace bucketry::s3wire
{

/// What a signature is for: "20260314T150926Z", a region and a service. The empty region is us-east-1.
struct SSigningScope
{
    std::string m_amzDate;
    std::string_view m_region;
    std::string_view m_service;

    std::string_view Day() const { return std::string_view(m_amzDate).substr(0, 8); }
    std::string_view Region() const { return m_region.empty() ? "us-east-1" : m_region; }
};

/// A request as it goes over the wire. Path and query are encoded, the query is in canonical order.
struct SSignedParts
{
    std::string_view m_method;
    std::string_view m_path;
    std::string_view m_query;
    transport::CHeaders const& m_headers; ///< with the host; those that must not be signed are left out
    std::string_view m_payloadHash;
};

/// The time in the form of x-amz-date.
std::string ToAmzDate(std::time_t time);

/// The key that signs for one day, region and service.
sha256_t DeriveSigningKey(std::string_view secret, SSigningScope const& scope);

struct SCanonicalRequest
{
    std::string m_text;
    std::string m_signedHeaders; ///< "host;x-amz-date"
};
SCanonicalRequest MakeCanonicalRequest(SSignedParts const& parts);

/// The value of the Authorization header.
std::string MakeAuthorization(SSignedParts const& parts, SSigningScope const& scope, std::string_view accessKeyId,
                              sha256_t const& signingKey);

/// An access key with its secret. Keeps the signing keys it has derived. Any number of threads at once.
class CSigningKeys
{
public:
    CSigningKeys(std::string accessKeyId, CSecret secret, CSecret sessionToken);
    CSigningKeys(CSigningKeys const&) = delete;
    CSigningKeys& operator=(CSigningKeys const&) = delete;
    ~CSigningKeys();

    std::string const& AccessKeyId() const { return m_accessKeyId; }
    /// Empty for keys that don't run out.
    std::string_view SessionToken() const { return m_sessionToken.View(); }
    sha256_t SigningKey(SSigningScope const& scope) const;

private:
    struct SDerived
    {
        std::string m_day;
        std::string m_region;
        std::string m_service;
        sha256_t m_key;
    };

    std::string const m_accessKeyId;
    CSecret const m_secret;
    CSecret const m_sessionToken;
    mutable std::mutex m_mutex;
    mutable std::vector<SDerived> m_derived; ///< guarded by m_mutex
};

} // namespace bucketry::s3wire
