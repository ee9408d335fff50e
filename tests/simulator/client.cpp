// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <openssl/evp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace bucketry::simulator::tests
{

namespace
{

std::size_t AppendBody(char* data, std::size_t, std::size_t size, void* answer)
{
    static_cast<SAnswer*>(answer)->m_body.append(data, size);
    return size;
}

std::size_t AddHeader(char* data, std::size_t, std::size_t size, void* answer)
{
    std::string const line(data, size);
    auto const colon = line.find(':');
    if (colon != std::string::npos)
    {
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
        auto const last = line.find_last_not_of("\r\n");
        static_cast<SAnswer*>(answer)->m_headers[name] =
            last < colon + 2 ? "" : line.substr(colon + 2, last - colon - 1);
    }
    return size;
}

std::string Unescape(std::string text)
{
    for (auto const& [entity, plain] :
         std::map<std::string, std::string>{{"&quot;", "\""}, {"&lt;", "<"}, {"&gt;", ">"}, {"&#xa;", "\n"}})
    {
        for (auto at = text.find(entity); at != std::string::npos; at = text.find(entity))
        {
            text.replace(at, entity.size(), plain);
        }
    }
    for (auto at = text.find("&amp;"); at != std::string::npos; at = text.find("&amp;", at + 1))
    {
        text.erase(at + 1, 4);
    }
    return text;
}

std::string Digest(EVP_MD const* kind, std::string const& body)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    EVP_Digest(body.data(), body.size(), digest, &size, kind, nullptr);
    return {reinterpret_cast<char const*>(digest), size};
}

/// libcurl hashes the body for the signature, but leaves it to its caller to send the hash.
std::string HashHeader(std::string const& body)
{
    std::string header = "x-amz-content-sha256: ";
    for (char const byte : Digest(EVP_sha256(), body))
    {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
        header += digits;
    }
    return header;
}

} // namespace

std::string SAnswer::Header(std::string const& name) const
{
    auto const found = m_headers.find(name);
    return found == m_headers.end() ? std::string() : found->second;
}

std::string SAnswer::Element(std::string const& name) const
{
    auto const all = Elements(name);
    return all.empty() ? std::string() : all.front();
}

std::vector<std::string> SAnswer::Elements(std::string const& name) const
{
    std::string const open = "<" + name + ">", close = "</" + name + ">";
    std::vector<std::string> texts;
    for (auto at = m_body.find(open); at != std::string::npos; at = m_body.find(open, at + 1))
    {
        auto const start = at + open.size();
        texts.push_back(Unescape(m_body.substr(start, m_body.find(close, start) - start)));
    }
    return texts;
}

SAnswer CClient::Send(std::string const& method, std::string const& target, std::string const& body,
                      headers_t headers) const
{
    SAnswer answer;
    CURL* const curl = curl_easy_init();
    std::string const url = m_endpoint + target, scope = "aws:amz:" + m_region + ":" + m_service;
    std::string const user = m_key.m_id + ":" + m_key.m_secret;
    if (!m_key.m_sessionToken.empty())
    {
        headers.push_back("x-amz-security-token: " + m_key.m_sessionToken);
    }
    auto const has = [&](std::string const& name)
    {
        return std::any_of(headers.begin(), headers.end(),
                           [&](std::string const& header) { return header.starts_with(name); });
    };
    if (m_signs && m_service != "sts" && !has("x-amz-content-sha256"))
    {
        headers.push_back(HashHeader(body));
    }
    if (!has("Content-Type"))
    {
        headers.push_back("Content-Type:");
    }
    headers.push_back("Expect:");
    curl_slist* lines = nullptr;
    for (auto const& header : headers)
    {
        lines = curl_slist_append(lines, header.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl, CURLOPT_NOBODY, method == "HEAD" ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, lines);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 20L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    if (method == "PUT" || method == "POST" || !body.empty())
    {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
    }
    if (m_signs)
    {
        curl_easy_setopt(curl, CURLOPT_AWS_SIGV4, scope.c_str());
        curl_easy_setopt(curl, CURLOPT_USERPWD, user.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, AppendBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, AddHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &answer);
    answer.m_curlCode = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.m_status);
    curl_slist_free_all(lines);
    curl_easy_cleanup(curl);
    return answer;
}

std::string Md5Header(std::string const& body)
{
    unsigned char text[64];
    std::string const digest = Digest(EVP_md5(), body);
    EVP_EncodeBlock(text, reinterpret_cast<unsigned char const*>(digest.data()), static_cast<int>(digest.size()));
    return std::string("Content-MD5: ") + reinterpret_cast<char const*>(text);
}

std::string Escaped(std::string const& text)
{
    char* const escaped = curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size()));
    std::string const copy = escaped;
    curl_free(escaped);
    return copy;
}

std::string RawExchange(std::uint16_t port, std::string const& bytes, std::string const& enough)
{
    int const handle = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string answer;
    if (::connect(handle, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
    {
        ::send(handle, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        ::shutdown(handle, SHUT_WR);
        char block[4096];
        for (ssize_t size = 1; size > 0 && answer.find(enough) == std::string::npos;)
        {
            size = ::recv(handle, block, sizeof block, 0);
            answer.append(block, size > 0 ? static_cast<std::size_t>(size) : 0);
        }
    }
    ::close(handle);
    return answer;
}

} // namespace bucketry::simulator::tests
