// SPDX-License-Identifier: Apache-2.0
#include "s3_bare.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace bench
{

namespace
{

using digest_t = std::array<unsigned char, 32>;
constexpr std::string_view Region = "us-east-1";
constexpr std::string_view AccessKey = "AKIDEXAMPLE";

std::string Hex(digest_t const& bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (unsigned char const byte : bytes)
    {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 15]);
    }
    return text;
}

digest_t Hmac(void const* key, std::size_t keySize, std::string_view text)
{
    digest_t digest{};
    HMAC(EVP_sha256(), key, static_cast<int>(keySize), reinterpret_cast<unsigned char const*>(text.data()), text.size(),
         digest.data(), nullptr);
    return digest;
}

std::string Now()
{
    std::time_t const now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[20];
    return {text, std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts)};
}

void Check(CURLcode code)
{
    if (code != CURLE_OK)
    {
        throw std::runtime_error(curl_easy_strerror(code));
    }
}

struct SMemoryIn
{
    unsigned char const* m_data;
    std::size_t m_left;
};

std::size_t ReadMemory(char* to, std::size_t, std::size_t room, void* context)
{
    auto& from = *static_cast<SMemoryIn*>(context);
    std::size_t const count = std::min(room, from.m_left);
    std::memcpy(to, from.m_data, count);
    from.m_data += count;
    from.m_left -= count;
    return count;
}

struct SRepeatedIn
{
    std::vector<unsigned char> const& m_block;
    std::size_t m_left;
    std::size_t m_at = 0;
};

std::size_t ReadRepeated(char* to, std::size_t, std::size_t room, void* context)
{
    auto& from = *static_cast<SRepeatedIn*>(context);
    std::size_t const count = std::min({room, from.m_left, from.m_block.size() - from.m_at});
    std::memcpy(to, from.m_block.data() + from.m_at, count);
    from.m_at = (from.m_at + count) % from.m_block.size();
    from.m_left -= count;
    return count;
}

struct SMemoryOut
{
    unsigned char* m_data;
    std::size_t m_capacity;
    std::size_t m_size = 0;
};

std::size_t WriteMemory(char* data, std::size_t, std::size_t size, void* context)
{
    auto& to = *static_cast<SMemoryOut*>(context);
    if (size > to.m_capacity - to.m_size)
    {
        return 0;
    }
    std::memcpy(to.m_data + to.m_size, data, size);
    to.m_size += size;
    return size;
}

std::size_t WriteText(char* data, std::size_t, std::size_t size, void* context)
{
    static_cast<std::string*>(context)->append(data, size);
    return size;
}

} // namespace

std::string BareSha256(void const* data, std::size_t size)
{
    digest_t digest{};
    EVP_Digest(data, size, digest.data(), nullptr, EVP_sha256(), nullptr);
    return Hex(digest);
}

std::string BareMd5(std::string_view text)
{
    unsigned char digest[16];
    EVP_Digest(text.data(), text.size(), digest, nullptr, EVP_md5(), nullptr);
    unsigned char base64[25];
    EVP_EncodeBlock(base64, digest, sizeof digest);
    return reinterpret_cast<char const*>(base64);
}

CBareSigner::CBareSigner(SBareStore const& store)
    : m_host(store.m_endpoint.substr(store.m_endpoint.find("//") + 2)), m_day(Now().substr(0, 8))
{
    std::string const start = "AWS4secret";
    m_key = Hmac(start.data(), start.size(), m_day);
    for (std::string_view const step : {Region, std::string_view("s3"), std::string_view("aws4_request")})
    {
        m_key = Hmac(m_key.data(), m_key.size(), step);
    }
}

std::array<std::string, 3> CBareSigner::Sign(std::string_view method, std::string_view path, void const* data,
                                             std::size_t size) const
{
    std::string const time = Now();
    std::string const hash = BareSha256(data, size);
    constexpr std::string_view names = "host;x-amz-content-sha256;x-amz-date";
    std::string canonical;
    canonical.append(method).append("\n").append(path).append("\n\nhost:").append(m_host);
    canonical.append("\nx-amz-content-sha256:").append(hash).append("\nx-amz-date:").append(time);
    canonical.append("\n\n").append(names).append("\n").append(hash);
    std::string scope = m_day;
    scope.append("/").append(Region).append("/s3/aws4_request");
    std::string toSign = "AWS4-HMAC-SHA256\n";
    toSign.append(time).append("\n").append(scope).append("\n");
    toSign.append(BareSha256(canonical.data(), canonical.size()));

    std::string authorization = "Authorization: AWS4-HMAC-SHA256 Credential=";
    authorization.append(AccessKey).append("/").append(scope).append(", SignedHeaders=").append(names);
    authorization.append(", Signature=").append(Hex(Hmac(m_key.data(), m_key.size(), toSign)));
    return {"x-amz-date: " + time, "x-amz-content-sha256: " + hash, std::move(authorization)};
}

CBareHandle::CBareHandle(SBareStore const& store, CBareSigner const* signer)
    : m_store(store), m_signer(signer), m_curl(curl_easy_init())
{
    curl_easy_setopt(m_curl.get(), CURLOPT_CAINFO, store.m_ca.c_str());
    curl_easy_setopt(m_curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_curl.get(), CURLOPT_FAILONERROR, 1L);
}

void CBareHandle::SetUpload(curl_read_callback callback, void* state, std::size_t size)
{
    curl_easy_setopt(m_curl.get(), CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(m_curl.get(), CURLOPT_READFUNCTION, callback);
    curl_easy_setopt(m_curl.get(), CURLOPT_READDATA, state);
    curl_easy_setopt(m_curl.get(), CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(size));
}

void CBareHandle::Perform(std::string_view method, std::string const& path, void const* data, std::size_t size,
                          std::vector<std::string> const& headers)
{
    curl_slist* list = nullptr;
    auto const add = [&list](std::string const& line) { list = curl_slist_append(list, line.c_str()); };
    std::for_each(headers.begin(), headers.end(), add);
    if (m_signer)
    {
        auto const lines = m_signer->Sign(method, path, data, size);
        std::for_each(lines.begin(), lines.end(), add);
    }
    curl_easy_setopt(m_curl.get(), CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(m_curl.get(), CURLOPT_URL, m_store.Url(path).c_str());
    CURLcode const code = curl_easy_perform(m_curl.get());
    curl_slist_free_all(list);
    Check(code);
}

void CBareHandle::Put(std::string const& path, unsigned char const* data, std::size_t size)
{
    SMemoryIn from{data, size};
    SetUpload(ReadMemory, &from, size);
    Perform("PUT", path, data, size);
}

void CBareHandle::PutRepeated(std::string const& path, std::vector<unsigned char> const& block, std::size_t size)
{
    SRepeatedIn from{block, size};
    SetUpload(ReadRepeated, &from, size);
    Perform("PUT", path, nullptr, 0);
}

std::size_t CBareHandle::Get(std::string const& path, unsigned char* data, std::size_t capacity)
{
    SMemoryOut to{data, capacity};
    curl_easy_setopt(m_curl.get(), CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(m_curl.get(), CURLOPT_WRITEFUNCTION, WriteMemory);
    curl_easy_setopt(m_curl.get(), CURLOPT_WRITEDATA, &to);
    Perform("GET", path, nullptr, 0);
    return to.m_size;
}

std::string CBareHandle::GetText(std::string const& path)
{
    std::string text;
    curl_easy_setopt(m_curl.get(), CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(m_curl.get(), CURLOPT_WRITEFUNCTION, WriteText);
    curl_easy_setopt(m_curl.get(), CURLOPT_WRITEDATA, &text);
    Perform("GET", path, nullptr, 0);
    return text;
}

void CBareHandle::Post(std::string const& path, std::string const& body, std::vector<std::string> const& headers)
{
    std::string answer;
    curl_easy_setopt(m_curl.get(), CURLOPT_POST, 1L);
    curl_easy_setopt(m_curl.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(m_curl.get(), CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(m_curl.get(), CURLOPT_WRITEFUNCTION, WriteText);
    curl_easy_setopt(m_curl.get(), CURLOPT_WRITEDATA, &answer);
    Perform("POST", path, body.data(), body.size(), headers);
}

void CBarePool::With(std::function<void(CBareHandle&)> const& work)
{
    std::unique_ptr<CBareHandle> handle;
    {
        std::lock_guard const lock(m_mutex);
        if (!m_idle.empty())
        {
            handle = std::move(m_idle.back());
            m_idle.pop_back();
        }
    }
    if (!handle)
    {
        handle = std::make_unique<CBareHandle>(m_store, m_signer);
    }
    work(*handle);
    std::lock_guard const lock(m_mutex);
    m_idle.push_back(std::move(handle));
}

} // namespace bench
