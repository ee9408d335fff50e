// SPDX-License-Identifier: Apache-2.0
#include "protocol/signature.h"

#include "protocol/digest.h"
#include "protocol/text.h"

#include <algorithm>

namespace bucketry::simulator
{

namespace
{

constexpr std::string_view Scheme = "AWS4-HMAC-SHA256";

struct SAuthorization
{
    std::string m_keyId, m_date, m_region, m_service;
    std::vector<std::string> m_signedHeaders;
    std::string m_signature;
    std::string Scope() const { return m_date + "/" + m_region + "/" + m_service + "/aws4_request"; }
};

CStoreError MalformedHeader(std::string const& reason)
{
    return {400, "AuthorizationHeaderMalformed", "The authorization header is malformed; " + reason};
}

std::vector<std::string> Split(std::string_view text, char separator)
{
    std::vector<std::string> parts(1);
    for (char const c : text)
    {
        if (c == separator)
        {
            parts.emplace_back();
        }
        else
        {
            parts.back() += c;
        }
    }
    return parts;
}

std::string_view Trim(std::string_view text)
{
    auto const first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

void ReadCredential(std::string_view value, SAuthorization& authorization)
{
    auto const parts = Split(value, '/');
    if (parts.size() < 5 || parts.back() != "aws4_request")
    {
        throw MalformedHeader("the Credential is mal-formed; expecting "
                              "\"<YOUR-AKID>/YYYYMMDD/REGION/SERVICE/aws4_request\".");
    }
    auto const scope = parts.end() - 4;
    authorization.m_keyId = parts[0];
    authorization.m_date = scope[0];
    authorization.m_region = scope[1];
    authorization.m_service = scope[2];
}

SAuthorization ReadAuthorization(SRequest const& request)
{
    std::string const header = request.Header("authorization");
    if (header.empty())
    {
        throw CStoreError(403, "AccessDenied", "Access Denied");
    }
    if (!header.starts_with(Scheme))
    {
        throw CStoreError(400, "InvalidRequest",
                          "The authorization mechanism you have provided is not supported. "
                          "Please use AWS4-HMAC-SHA256.");
    }
    std::map<std::string, std::string> fields;
    for (auto const& field : Split(std::string_view(header).substr(Scheme.size()), ','))
    {
        auto const equals = field.find('=');
        if (equals == std::string::npos)
        {
            throw MalformedHeader("a field has no value.");
        }
        fields[std::string(Trim(std::string_view(field).substr(0, equals)))] = Trim(field.substr(equals + 1));
    }
    SAuthorization authorization;
    ReadCredential(fields["Credential"], authorization);
    authorization.m_signedHeaders = Split(fields["SignedHeaders"], ';');
    std::sort(authorization.m_signedHeaders.begin(), authorization.m_signedHeaders.end());
    authorization.m_signature = fields["Signature"];
    if (authorization.m_signature.empty())
    {
        throw MalformedHeader("the authorization header requires three components: Credential, SignedHeaders, and "
                              "Signature.");
    }
    return authorization;
}

SAccessKey DemandKey(SRequest const& request, SAuthorization const& authorization, find_key_t const& findKey,
                     time_point_t now)
{
    auto key = findKey(authorization.m_keyId);
    std::string const token = request.Header("x-amz-security-token");
    if (!key || (token.empty() && !key->m_sessionToken.empty()))
    {
        throw CStoreError(403, "InvalidAccessKeyId",
                          "The AWS Access Key Id you provided does not exist in our records.")
            .With("AWSAccessKeyId", authorization.m_keyId);
    }
    if (token != key->m_sessionToken)
    {
        throw CStoreError(400, "InvalidToken", "The provided token is malformed or otherwise invalid.")
            .With("Token-0", token);
    }
    if (!token.empty() && key->m_expires && now >= *key->m_expires)
    {
        throw CStoreError(400, "ExpiredToken", "The provided token has expired.").With("Token-0", token);
    }
    return std::move(*key);
}

void CheckScope(SAuthorization const& authorization, SExpectedScope const& expected, STraits const& traits)
{
    if (authorization.m_service != expected.m_service)
    {
        throw MalformedHeader("incorrect service \"" + authorization.m_service + "\". This endpoint belongs to \"" +
                              expected.m_service + "\".");
    }
    if (traits.m_checksSignedRegion && authorization.m_region != expected.m_region)
    {
        throw MalformedHeader("the region '" + authorization.m_region + "' is wrong; expecting '" + expected.m_region +
                              "'")
            .With("Region", expected.m_region)
            .Header("x-amz-bucket-region", expected.m_region);
    }
}

/// The time of signing, as text. Throws if it is missing, off, or of another day than the scope.
std::string CheckTime(SRequest const& request, SAuthorization const& authorization, STraits const& traits,
                      time_point_t now)
{
    std::string text = request.Header(request.HasHeader("x-amz-date") ? "x-amz-date" : "date");
    auto const time = ParseIsoBasicTime(text);
    if (!time)
    {
        throw CStoreError(403, "AccessDenied", "AWS authentication requires a valid Date or x-amz-date header");
    }
    if (authorization.m_date != text.substr(0, 8))
    {
        throw MalformedHeader("Invalid credential date \"" + authorization.m_date +
                              "\". This date is not the same as X-Amz-Date: \"" + text.substr(0, 8) + "\".");
    }
    if (std::chrono::ceil<std::chrono::seconds>(std::chrono::abs(*time - now)) > traits.m_maxSkew)
    {
        throw CStoreError(403, "RequestTimeTooSkewed",
                          "The difference between the request time and the current time is too large.")
            .With("RequestTime", text)
            .With("ServerTime", IsoTime(now))
            .With("MaxAllowedSkewMilliseconds", std::to_string(std::chrono::milliseconds(traits.m_maxSkew).count()));
    }
    return text;
}

void CheckSignedHeaders(SRequest const& request, SAuthorization const& authorization, STraits const& traits)
{
    auto const& names = authorization.m_signedHeaders;
    auto const isSigned = [&](std::string const& name)
    { return std::find(names.begin(), names.end(), name) != names.end(); };
    std::string missing = isSigned("host") ? "" : "host";
    for (auto const& [name, value] : request.m_headers)
    {
        bool const ofContent = name == "content-md5" || name == "content-type";
        bool const demanded = name.starts_with("x-amz-") || name.starts_with(traits.m_headerPrefix) ||
            (ofContent && traits.m_demandsContentHeadersSigned);
        if (demanded && !isSigned(name))
        {
            missing += (missing.empty() ? "" : ", ") + name;
        }
    }
    if (!missing.empty())
    {
        throw CStoreError(403, "AccessDenied", "There were headers present in the request which were not signed")
            .With("HeadersNotSigned", missing);
    }
}

std::string CanonicalQuery(SRequest const& request)
{
    pairs_t encoded;
    for (auto const& [name, value] : request.m_query)
    {
        encoded.emplace_back(PercentEncode(name, false), PercentEncode(value, false));
    }
    std::sort(encoded.begin(), encoded.end());
    std::string text;
    for (auto const& [name, value] : encoded)
    {
        text.append(text.empty() ? "" : "&").append(name).append("=").append(value);
    }
    return text;
}

/// Trimmed, with inner runs of blanks made one, read as Latin-1.
std::string CanonicalValue(std::string_view value)
{
    std::string text;
    for (char const c : Trim(value))
    {
        if (c != ' ' || text.back() != ' ')
        {
            text += c;
        }
    }
    return Latin1ToUtf8(text);
}

std::string CanonicalHeader(SRequest const& request, std::string const& name, STraits const& traits)
{
    std::string values;
    bool isFirst = true;
    for (auto const& [header, value] : request.m_headers)
    {
        if (header != name)
        {
            continue;
        }
        values += (isFirst ? "" : ",") + CanonicalValue(value);
        isFirst = false;
    }
    if (name == "accept-encoding" && traits.m_changesAcceptEncoding)
    {
        values += ",gzip(gfe)";
    }
    return name + ":" + values + "\n";
}

std::string CanonicalRequest(SRequest const& request, SAuthorization const& authorization, STraits const& traits)
{
    std::string const reencoded = PercentEncode(PercentDecode(request.m_path, false).value_or(""), true);
    std::string text = request.m_method + "\n";
    text += (traits.m_canonicalPathIsDecodedFirst ? reencoded : request.m_path) + "\n";
    text += CanonicalQuery(request) + "\n";
    std::string names;
    for (auto const& name : authorization.m_signedHeaders)
    {
        text += CanonicalHeader(request, name, traits);
        names += (names.empty() ? "" : ";") + name;
    }
    std::string const hash = request.Header("x-amz-content-sha256");
    text += "\n" + names + "\n" + (hash.empty() ? Hex(Sha256(request.m_body)) : hash);
    if (traits.m_demandsCanonicalPath && request.m_path != reencoded)
    {
        text += " (the path isn't encoded as it has to be signed)";
    }
    return text;
}

} // namespace

void CheckSignature(SRequest const& request, find_key_t const& findKey, SExpectedScope const& expected,
                    STraits const& traits, time_point_t now)
{
    SAuthorization const authorization = ReadAuthorization(request);
    SAccessKey const key = DemandKey(request, authorization, findKey, now);
    CheckScope(authorization, expected, traits);
    std::string const time = CheckTime(request, authorization, traits, now);
    CheckSignedHeaders(request, authorization, traits);

    std::string const canonical = CanonicalRequest(request, authorization, traits);
    std::string const toSign =
        std::string(Scheme) + "\n" + time + "\n" + authorization.Scope() + "\n" + Hex(Sha256(canonical));
    std::string signingKey = "AWS4" + key.m_secret;
    for (std::string const& part :
         {authorization.m_date, authorization.m_region, authorization.m_service, std::string("aws4_request"), toSign})
    {
        signingKey = HmacSha256(signingKey, part);
    }
    if (Hex(signingKey) != authorization.m_signature)
    {
        throw CStoreError(403, "SignatureDoesNotMatch",
                          "The request signature we calculated does not match the signature you provided. Check your "
                          "key and signing method.")
            .With("AWSAccessKeyId", key.m_id)
            .With("StringToSign", toSign)
            .With("SignatureProvided", authorization.m_signature)
            .With("CanonicalRequest", canonical);
    }
}

} // namespace bucketry::simulator
