// SPDX-License-Identifier: Apache-2.0
#include "operations/metadata.h"

#include "operations/call.h"
#include "protocol/digest.h"
#include "protocol/text.h"

namespace bucketry::simulator
{

namespace
{

constexpr std::uint64_t MaxTokenSeconds = 21600;

CStoreError Refusal(unsigned status)
{
    CStoreError refusal(status, std::to_string(status), "");
    refusal.m_hasBody = false;
    return refusal;
}

SResponse PlainText(std::string text)
{
    SResponse response{.m_body = std::move(text)};
    response.Add("Content-Type", "text/plain");
    return response;
}

void DemandToken(SCall const& call)
{
    std::string const token = call.m_request.Header("x-aws-ec2-metadata-token");
    bool const isNeeded = !token.empty() || call.m_options.m_metadataTokenRequired;
    if (isNeeded && !call.m_metadata.IsToken(token, call.m_now))
    {
        throw Refusal(401);
    }
    if (call.m_options.m_roleName.empty())
    {
        throw Refusal(404);
    }
}

} // namespace

CMetadataService::CMetadataService(add_key_t addKey) : m_addKey(std::move(addKey)) {}

std::string CMetadataService::NewToken(std::chrono::seconds lifetime, time_point_t now)
{
    std::string token = Base64(Sha256("token " + std::to_string(++m_issued)));
    m_tokens[token] = now + lifetime;
    return token;
}

bool CMetadataService::IsToken(std::string const& token, time_point_t now) const
{
    auto const found = m_tokens.find(token);
    return found != m_tokens.end() && now < found->second;
}

SAccessKey CMetadataService::NewKeys(std::chrono::seconds lifetime, time_point_t now)
{
    std::string const number = std::to_string(++m_issued);
    SAccessKey keys{"ASIA" + Hex(Sha256("id " + number)).substr(0, 16), Base64(Sha256("secret " + number)),
                    Base64(Sha256("session " + number)), now + lifetime};
    m_addKey(keys);
    return keys;
}

SAccessKey const& CMetadataService::Keys(std::chrono::seconds lifetime, time_point_t now)
{
    auto const early = std::min<std::chrono::seconds>(std::chrono::minutes(5), lifetime / 2);
    if (!m_keys.m_expires || now + early >= *m_keys.m_expires)
    {
        m_keys = NewKeys(lifetime, now);
    }
    return m_keys;
}

SResponse GetMetadataToken(SCall& call)
{
    auto const seconds = ParseNumber(call.m_request.Header("x-aws-ec2-metadata-token-ttl-seconds"));
    if (call.m_request.HasHeader("x-forwarded-for"))
    {
        throw Refusal(403);
    }
    if (!seconds || *seconds < 1 || *seconds > MaxTokenSeconds)
    {
        throw Refusal(400);
    }
    SResponse response = PlainText(call.m_metadata.NewToken(std::chrono::seconds(*seconds), call.m_now));
    response.Add("x-aws-ec2-metadata-token-ttl-seconds", std::to_string(*seconds));
    return response;
}

SResponse GetMetadataRole(SCall& call)
{
    DemandToken(call);
    return PlainText(call.m_options.m_roleName);
}

SResponse GetMetadataCredentials(SCall& call)
{
    DemandToken(call);
    if (call.Key() != call.m_options.m_roleName)
    {
        throw Refusal(404);
    }
    SAccessKey const& keys = call.m_metadata.Keys(call.m_options.m_roleKeysLifetime, call.m_now);
    return PlainText("{\n  \"Code\" : \"Success\",\n  \"LastUpdated\" : \"" + IsoSeconds(call.m_now) +
                     "\",\n  \"Type\" : \"AWS-HMAC\",\n  \"AccessKeyId\" : \"" + keys.m_id +
                     "\",\n  \"SecretAccessKey\" : \"" + keys.m_secret + "\",\n  \"Token\" : \"" + keys.m_sessionToken +
                     "\",\n  \"Expiration\" : \"" + IsoSeconds(*keys.m_expires) + "\"\n}");
}

} // namespace bucketry::simulator
