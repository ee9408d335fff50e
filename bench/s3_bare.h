// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// What the REST layer is measured against: loops over reused libcurl easy handles, with libcurl's own settings.
namespace bench
{

/// The store of s3_server.sh.
struct SBareStore
{
    std::string m_endpoint;
    std::string m_ca; ///< path of the certificate to trust

    std::string Url(std::string const& path) const { return m_endpoint + path; }
};

/// AWS Signature Version 4 of a request with nothing but the headers that it needs.
/// https://docs.aws.amazon.com/AmazonS3/latest/API/sig-v4-header-based-auth.html
class CBareSigner
{
public:
    explicit CBareSigner(SBareStore const& store);

    /// The three header lines, each ended by a zero.
    std::array<std::string, 3> Sign(std::string_view method, std::string_view path, void const* data,
                                    std::size_t size) const;

private:
    std::string m_host;
    std::array<unsigned char, 32> m_key{}; ///< derived once, for today
    std::string m_day;
};

/// One easy handle. For one thread at a time. Everything throws std::runtime_error unless the answer is a 2xx.
class CBareHandle
{
public:
    /// Signs nothing if `signer` is null.
    CBareHandle(SBareStore const& store, CBareSigner const* signer);

    void Put(std::string const& path, unsigned char const* data, std::size_t size);
    /// Sends `block` over and over until `size` bytes are out.
    void PutRepeated(std::string const& path, std::vector<unsigned char> const& block, std::size_t size);
    /// Takes the body into the memory and gives its size.
    std::size_t Get(std::string const& path, unsigned char* data, std::size_t capacity);
    std::string GetText(std::string const& path);
    void Post(std::string const& path, std::string const& body, std::vector<std::string> const& headers);

private:
    struct SFree
    {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };
    void Perform(std::string_view method, std::string const& path, void const* data, std::size_t size,
                 std::vector<std::string> const& headers = {});
    void SetUpload(curl_read_callback callback, void* state, std::size_t size);

    SBareStore const m_store;
    CBareSigner const* const m_signer;
    std::unique_ptr<CURL, SFree> m_curl;
};

/// Handles that several threads share.
class CBarePool
{
public:
    CBarePool(SBareStore store, CBareSigner const* signer) : m_store(std::move(store)), m_signer(signer) {}

    /// Runs `work` with a handle of its own.
    void With(std::function<void(CBareHandle&)> const& work);

private:
    SBareStore const m_store;
    CBareSigner const* const m_signer;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<CBareHandle>> m_idle;
};

/// SHA-256 in hexadecimal digits, and MD5 in base64.
std::string BareSha256(void const* data, std::size_t size);
std::string BareMd5(std::string_view text);

} // namespace bench
