// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/transport/gathering.h"
#include "s3wire/transport/http.h"
#include "s3wire/transport/settings.h"

#include <curl/curl.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace bucketry::io
{
class CNetworkTrottlingCtx;
}

namespace bucketry::s3wire::transport
{

/// Gets libcurl and what is below it ready, once. What is made afterwards goes before their own work at the end of the
/// process.
void InitHttpLibrary();

/// One libcurl easy handle with its connections, set up for one store. For one thread at a time.
class CCurlHandle
{
public:
    explicit CCurlHandle(std::shared_ptr<STransportSettings const> settings);
    CCurlHandle(CCurlHandle const&) = delete;
    CCurlHandle& operator=(CCurlHandle const&) = delete;

    STransportSettings const& Settings() const { return *m_settings; }

    /// Throws as IHttpTransport::Exchange. `throttling` may be null.
    SHttpResponse Perform(SHttpRequest const& request, io::CNetworkTrottlingCtx* throttling);

private:
    struct SFree
    {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };

    template <class T>
    void Set(CURLoption option, T value);
    void SetUpOnce();
    void SetUpTrust();
    void SetMethod(SHttpRequest const& request, void* exchange);
    void SetHeaders(SHttpRequest const& request);
    void SetBuffers(SHttpRequest const& request, bool throttled);
    long BufferFor(std::uint64_t expectedSize) const;
    [[noreturn]] void Raise(CURLcode code, SHttpRequest const& request);

    std::shared_ptr<STransportSettings const> m_settings;
    CGathering m_gathering; ///< before the handle, which tells it of sockets until its own end
    std::unique_ptr<CURL, SFree> m_curl;
    std::array<char, CURL_ERROR_SIZE> m_errorText{};
    std::uint64_t m_lastReceived = 0; ///< by the last sink
    long m_uploadBuffer = 0;          ///< its size; libcurl throws the buffer away when it is set, also to the same
    std::string m_headerText;         ///< the header lines of the running exchange, each with its end mark
    std::vector<curl_slist> m_headerLines; ///< point into m_headerText
};

} // namespace bucketry::s3wire::transport
