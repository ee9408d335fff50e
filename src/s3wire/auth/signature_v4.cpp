// SPDX-License-Identifier: Apache-2.0
#include "s3wire/auth/signature_v4.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>

namespace bucketry::s3wire
{

namespace
{

constexpr std::string_view Algorithm = "AWS4-HMAC-SHA256";
/// So many days, regions and services of one key are remembered.
constexpr std::size_t MaxDerived = 8;

/// What proxies and front ends change on the way, or what stands outside of the signature by definition.
bool IsSigned(std::string_view name)
{
    constexpr std::array<std::string_view, 11> never = {
        "authorization", "user-agent",        "expect",          "connection",     "keep-alive", "te", "trailer",
        "upgrade",       "transfer-encoding", "accept-encoding", "x-amzn-trace-id"};
    return !name.starts_with("proxy-") && !name.starts_with("sec-") &&
        std::find(never.begin(), never.end(), name) == never.end();
}

std::string ToLower(std::string_view name)
{
    std::string lower(name);
    for (char& c : lower)
    {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    return lower;
}

/// Without blanks at both ends, and with one for each run of them inside.
void AppendTrimmed(std::string& text, std::string_view value)
{
    auto const isBlank = [](char c) { return c == ' ' || c == '\t'; };
    bool pending = false;
    bool begun = false;
    for (char const c : value)
    {
        if (isBlank(c))
        {
            pending = begun;
            continue;
        }
        if (pending)
        {
            text.push_back(' ');
        }
        text.push_back(c);
        pending = false;
        begun = true;
    }
}

struct SSortedHeader
{
    std::string m_name;
    std::string_view m_value;
};

std::vector<SSortedHeader> SortedHeaders(transport::CHeaders const& headers)
{
    std::vector<SSortedHeader> sorted;
    sorted.reserve(headers.size());
    for (auto const [name, value] : headers)
    {
        if (std::string lower = ToLower(name); IsSigned(lower))
        {
            sorted.push_back({std::move(lower), value});
        }
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](SSortedHeader const& a, SSortedHeader const& b) { return a.m_name < b.m_name; });
    return sorted;
}

void AppendHeaders(SCanonicalRequest& canonical, transport::CHeaders const& headers)
{
    std::vector<SSortedHeader> const sorted = SortedHeaders(headers);
    for (std::size_t i = 0; i < sorted.size(); ++i)
    {
        if (i != 0 && sorted[i].m_name == sorted[i - 1].m_name)
        {
            canonical.m_text.back() = ',';
        }
        else
        {
            canonical.m_text.append(sorted[i].m_name).push_back(':');
            canonical.m_signedHeaders.append(i ? ";" : "").append(sorted[i].m_name);
        }
        AppendTrimmed(canonical.m_text, sorted[i].m_value);
        canonical.m_text.push_back('\n');
    }
}

std::string ScopeText(SSigningScope const& scope)
{
    std::string text;
    text.reserve(64);
    text.append(scope.Day()).append("/").append(scope.Region()).append("/").append(scope.m_service);
    return text.append("/aws4_request");
}

} // namespace

std::string ToAmzDate(std::time_t time)
{
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 20> text;
    return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%SZ", &parts)};
}

sha256_t DeriveSigningKey(std::string_view secret, SSigningScope const& scope)
{
    std::vector<unsigned char> start{'A', 'W', 'S', '4'};
    start.reserve(4 + secret.size());
    start.insert(start.end(), secret.begin(), secret.end());
    sha256_t key = HmacSha256(start, scope.Day());
    OPENSSL_cleanse(start.data(), start.size());
    for (std::string_view const step : {scope.Region(), scope.m_service, std::string_view("aws4_request")})
    {
        key = HmacSha256(key, step);
    }
    return key;
}

SCanonicalRequest MakeCanonicalRequest(SSignedParts const& parts)
{
    SCanonicalRequest canonical;
    std::string& text = canonical.m_text;
    text.reserve(1024);
    text.append(parts.m_method).append("\n");
    text.append(parts.m_path.empty() ? "/" : parts.m_path).append("\n");
    text.append(parts.m_query).append("\n");
    AppendHeaders(canonical, parts.m_headers);
    text.append("\n").append(canonical.m_signedHeaders).append("\n").append(parts.m_payloadHash);
    return canonical;
}

std::string MakeAuthorization(SSignedParts const& parts, SSigningScope const& scope, std::string_view accessKeyId,
                              sha256_t const& signingKey)
{
    SCanonicalRequest const canonical = MakeCanonicalRequest(parts);
    std::string const scopeText = ScopeText(scope);

    std::string toSign;
    toSign.reserve(192);
    toSign.append(Algorithm).append("\n").append(scope.m_amzDate).append("\n").append(scopeText).append("\n");
    toSign.append(ToHex(Sha256(canonical.m_text)));

    std::string value;
    value.reserve(320);
    value.append(Algorithm).append(" Credential=").append(accessKeyId).append("/").append(scopeText);
    value.append(", SignedHeaders=").append(canonical.m_signedHeaders);
    return value.append(", Signature=").append(ToHex(HmacSha256(signingKey, toSign)));
}

CSigningKeys::CSigningKeys(std::string accessKeyId, CSecret secret, CSecret sessionToken)
    : m_accessKeyId(std::move(accessKeyId)), m_secret(std::move(secret)), m_sessionToken(std::move(sessionToken))
{
    m_derived.reserve(MaxDerived);
}

CSigningKeys::~CSigningKeys()
{
    for (SDerived& derived : m_derived)
    {
        OPENSSL_cleanse(derived.m_key.data(), derived.m_key.size());
    }
}

sha256_t CSigningKeys::SigningKey(SSigningScope const& scope) const
{
    std::lock_guard const lock(m_mutex);
    for (SDerived const& derived : m_derived)
    {
        if (derived.m_day == scope.Day() && derived.m_region == scope.Region() && derived.m_service == scope.m_service)
        {
            return derived.m_key;
        }
    }
    if (m_derived.size() == MaxDerived)
    {
        m_derived.erase(m_derived.begin());
    }
    m_derived.push_back({std::string(scope.Day()), std::string(scope.Region()), std::string(scope.m_service),
                         DeriveSigningKey(m_secret.View(), scope)});
    return m_derived.back().m_key;
}

} // namespace bucketry::s3wire
