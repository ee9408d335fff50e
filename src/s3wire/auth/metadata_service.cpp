// SPDX-License-Identifier: Apache-2.0
#include "s3wire/auth/metadata_service.h"

#include "bucketry/base/datetime.h"
#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/base/text.h"

#include <array>
#include <charconv>
#include <utility>

namespace bucketry::s3wire
{

namespace
{

using transport::EHttpMethod;
using transport::SHttpRequest;
using transport::SHttpResponse;

constexpr unsigned Attempts = 3;
constexpr std::chrono::milliseconds PauseBetween{200};
constexpr std::time_t TokenSeconds = 21600;
constexpr std::time_t TokenReserve = 60;
constexpr char const* RolePath = "/latest/meta-data/iam/security-credentials/";

std::string_view Trimmed(std::string_view text)
{
    std::size_t const first = text.find_first_not_of(" \t\r\n");
    std::size_t const last = text.find_last_not_of(" \t\r\n");
    return first == std::string::npos ? std::string_view() : text.substr(first, last - first + 1);
}

/// Steps over one JSON value after the other, without a tree: secrets are copied once, to where they are wiped.
class CJsonScanner
{
public:
    explicit CJsonScanner(std::string_view text) : m_text(text) {}

    bool Skip(char expected)
    {
        m_at = std::min(m_text.find_first_not_of(" \t\r\n", m_at), m_text.size());
        bool const found = m_at < m_text.size() && m_text[m_at] == expected;
        m_at += found ? 1 : 0;
        return found;
    }

    /// The next value, if it is a string.
    std::optional<std::string> Text()
    {
        if (!Skip('"'))
        {
            return std::nullopt;
        }
        std::string text;
        text.reserve(m_text.size() - m_at); // never moved, so no copy of a secret stays behind
        while (m_at < m_text.size() && m_text[m_at] != '"')
        {
            TakeCharacter(text);
        }
        return m_at++ < m_text.size() ? std::optional(std::move(text)) : std::nullopt;
    }

    /// Steps over a number, true, false or null.
    void SkipWord() { m_at = std::min(m_text.find_first_of(",}", m_at), m_text.size()); }

private:
    void TakeCharacter(std::string& text)
    {
        char const c = m_text[m_at++];
        if (c != '\\' || m_at == m_text.size())
        {
            text.push_back(c);
            return;
        }
        constexpr std::string_view names = "bfnrt";
        constexpr std::string_view meanings = "\b\f\n\r\t";
        char const name = m_text[m_at++];
        if (name == 'u')
        {
            unsigned codePoint = 0;
            std::string_view const digits = m_text.substr(m_at, 4);
            std::from_chars(digits.data(), digits.data() + digits.size(), codePoint, 16);
            m_at += digits.size();
            util::AppendUtf8(text, codePoint);
            return;
        }
        std::size_t const known = names.find(name);
        text.push_back(known == std::string_view::npos ? name : meanings[known]);
    }

    std::string_view const m_text;
    std::size_t m_at = 0;
};

} // namespace

std::optional<std::string> ReadJsonText(std::string_view json, std::string_view member)
{
    CJsonScanner scanner(json);
    if (!scanner.Skip('{'))
    {
        return std::nullopt;
    }
    do
    {
        auto const name = scanner.Text();
        if (!name || !scanner.Skip(':'))
        {
            return std::nullopt;
        }
        auto value = scanner.Text();
        if (*name == member)
        {
            return value;
        }
        if (value)
        {
            Wipe(*value);
        }
        else
        {
            scanner.SkipWord();
        }
    } while (scanner.Skip(','));
    return std::nullopt;
}

CMetadataService::CMetadataService(std::string url, std::shared_ptr<transport::IHttpTransport> transport,
                                   SSurroundings surroundings)
    : m_url(std::move(url)), m_transport(std::move(transport)), m_surroundings(std::move(surroundings))
{
}

SHttpResponse CMetadataService::Exchange(SHttpRequest const& request)
{
    for (unsigned attempt = 1;; ++attempt)
    {
        try
        {
            SHttpResponse answer = m_transport->Exchange(request);
            if (answer.m_status < 500 || attempt == Attempts)
            {
                return answer;
            }
        }
        catch (web::http::http_exception const& failure)
        {
            if (attempt == Attempts)
            {
                exc::RegenExc("The instance metadata service at %1 gives no answer.", m_url, failure);
            }
        }
        m_surroundings.m_sleep(PauseBetween);
    }
}

std::string_view CMetadataService::SessionToken()
{
    if (m_surroundings.m_now() < m_tokenEnd)
    {
        return m_sessionToken.View();
    }
    SHttpRequest request{EHttpMethod::Put, m_url + "/latest/api/token", {}, {}, nullptr, 0};
    request.m_headers.Add("x-aws-ec2-metadata-token-ttl-seconds", std::to_string(TokenSeconds));
    SHttpResponse answer = Exchange(request);
    CWipeAtEnd const wiped(answer.m_text);
    bool const versionOne = answer.m_status == 403 || answer.m_status == 404 || answer.m_status == 405;
    if (answer.m_status != 200 && !versionOne)
    {
        throw exc::CRuntimeExc("The instance metadata service at %1 refuses a session token with status %2.", m_url,
                               answer.m_status);
    }
    m_sessionToken = CSecret(versionOne ? std::string_view() : Trimmed(answer.m_text));
    m_tokenEnd = m_surroundings.m_now() + TokenSeconds - TokenReserve;
    return m_sessionToken.View();
}

SHttpResponse CMetadataService::Ask(std::string const& path)
{
    for (bool again = false;; again = true)
    {
        SHttpRequest request{EHttpMethod::Get, m_url + path, {}, {}, nullptr, 0};
        if (std::string_view const token = SessionToken(); !token.empty())
        {
            request.m_headers.Add("x-aws-ec2-metadata-token", token);
        }
        SHttpResponse answer = Exchange(request);
        if (answer.m_status == 200)
        {
            return answer;
        }
        if (answer.m_status != 401 || again)
        {
            throw exc::CRuntimeExc("The instance metadata service at %1 has no keys of a role: status %2 for %3.",
                                   m_url, answer.m_status, path);
        }
        m_tokenEnd = 0; // the token has run out early
    }
}

SRoleKeys CMetadataService::FetchRoleKeys(std::string const& roleName)
{
    std::string const role = roleName.empty() ? std::string(Trimmed(Ask(RolePath).m_text)) : roleName;
    std::string answer = std::move(Ask(RolePath + role).m_text);
    CWipeAtEnd const answerWiped(answer);
    std::string const code = ReadJsonText(answer, "Code").value_or("Success");
    std::array<std::string, 4> fields;
    CWipeAtEnd const fieldsWiped[] = {CWipeAtEnd(fields[1]), CWipeAtEnd(fields[2])};
    bool complete = code == "Success";
    std::size_t index = 0;
    for (char const* name : {"AccessKeyId", "SecretAccessKey", "Token", "Expiration"})
    {
        fields[index] = ReadJsonText(answer, name).value_or("");
        complete = complete && !fields[index++].empty();
    }
    if (!complete)
    {
        throw exc::CRuntimeExc("The instance metadata service at %1 gives no keys for the role %2: %3 %4", m_url, role,
                               code, ReadJsonText(answer, "Message").value_or(""));
    }
    auto const& [accessKeyId, secret, token, expiration] = fields;
    return {std::make_shared<CSigningKeys const>(accessKeyId, CSecret(secret), CSecret(token)),
            datetime::CDateTime::fromString(expiration, "%Y-%m-%dT%H:%M:%SZ", true).toUnixTime()};
}

} // namespace bucketry::s3wire
