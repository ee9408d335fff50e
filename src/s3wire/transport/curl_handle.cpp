// SPDX-License-Identifier: Apache-2.0
#include "s3wire/transport/curl_handle.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/io.h"
#include "s3wire/transport/failure.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <mutex>
#include <new>
#include <thread>

namespace bucketry::s3wire::transport
{

namespace
{

constexpr long SmallBuffer = 16L * 1024;
/// For an answer of unknown size: the allocator still has such a block at hand, a larger one is mapped anew each time.
constexpr long MiddleBuffer = 64L * 1024;
constexpr long LargeBuffer = 512L * 1024;
/// A body up to this size goes out together with the headers, in one system call.
constexpr std::uint64_t InlineBody = 60UL * 1024;
constexpr std::size_t TextLimit = 64u << 20;

void Pause(io::CNetworkTrottlingCtx* throttling, std::size_t bytes)
{
    if (throttling && throttling->GetLimitBytesPerSec() != 0)
    {
        std::this_thread::sleep_for(throttling->Acquire(bytes));
    }
}

/// The state of one exchange, which libcurl's callbacks see.
class CExchange
{
public:
    CExchange(SHttpRequest const& request, io::CNetworkTrottlingCtx* throttling, CGathering& gathering)
        : m_request(request), m_throttling(throttling), m_gathering(gathering)
    {
    }

    SHttpResponse m_response;
    std::exception_ptr m_failure; ///< what a callback threw
    bool m_sendsAgain = false;    ///< libcurl was about to

    /// Asked before a request goes out on a connection. libcurl sends by itself once more what it sent on a kept connection that
    /// closes without a byte.
    bool MaySend();
    void TakeHeader(std::string_view line);
    void TakeBody(char const* data, std::size_t size);
    std::size_t GiveBody(char* buffer, std::size_t size);
    bool SeekBody(curl_off_t offset);

    /// Whether the head of the answer has come to its end.
    bool HasAnswer() const { return m_headEnded; }

    /// Runs a callback's work; false if it threw.
    template <class TWork>
    bool Guarded(TWork&& work) noexcept
    {
        try
        {
            work();
            return true;
        }
        catch (...)
        {
            m_failure = std::current_exception();
            return false;
        }
    }

private:
    void BeginAnswer(std::string_view statusLine);
    void EndHeaders();
    bool Sinks() const { return m_request.m_sink && m_response.m_status / 100 == 2; }

    SHttpRequest const& m_request;
    io::CNetworkTrottlingCtx* m_throttling;
    CGathering& m_gathering;
    std::optional<std::uint64_t> m_length; ///< of the answer's body
    std::uint64_t m_sent = 0;
    bool m_headEnded = false;
    bool m_isOut = false; ///< the request has gone out, and nothing has come back since
};

bool CExchange::MaySend()
{
    bool const onlyReads = m_request.m_method == EHttpMethod::Get || m_request.m_method == EHttpMethod::Head;
    m_sendsAgain = m_isOut && !onlyReads && !m_request.m_isRepeatable;
    m_isOut = true;
    return !m_sendsAgain;
}

void CExchange::BeginAnswer(std::string_view statusLine)
{
    m_isOut = false;
    m_response = {};
    m_length.reset();
    m_headEnded = false;
    std::size_t const at = std::min(statusLine.find(' '), statusLine.size() - 1) + 1;
    std::from_chars(statusLine.data() + at, statusLine.data() + statusLine.size(), m_response.m_status);
}

void CExchange::EndHeaders()
{
    m_headEnded = m_response.m_status / 100 != 1;
    if (!m_headEnded || m_request.m_method == EHttpMethod::Head)
    {
        return;
    }
    if (auto const text = m_response.m_headers.Find("Content-Length"))
    {
        std::uint64_t value = 0;
        std::from_chars(text->data(), text->data() + text->size(), value);
        m_length = value;
    }
    if (Sinks())
    {
        m_request.m_sink->Prepare(m_response.m_status, m_length);
    }
    else
    {
        m_response.m_text.reserve(std::min<std::uint64_t>(m_length.value_or(0), TextLimit));
    }
}

void CExchange::TakeHeader(std::string_view line)
{
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n' || line.back() == ' ' || line.back() == '\t'))
    {
        line.remove_suffix(1);
    }
    if (line.empty())
    {
        EndHeaders();
        return;
    }
    std::size_t const colon = line.find(':');
    if (line.starts_with("HTTP/"))
    {
        BeginAnswer(line);
    }
    else if (colon != std::string_view::npos)
    {
        std::size_t const start = std::min(line.find_first_not_of(" \t", colon + 1), line.size());
        m_response.m_headers.Add(line.substr(0, colon), line.substr(start));
    }
}

void CExchange::TakeBody(char const* data, std::size_t size)
{
    Pause(m_throttling, size);
    m_response.m_receivedBytes += size;
    if (Sinks())
    {
        m_gathering.StillDue(m_length.value_or(0) - std::min(m_length.value_or(0), m_response.m_receivedBytes));
        m_request.m_sink->Write(reinterpret_cast<unsigned char const*>(data), size);
        return;
    }
    if (m_response.m_text.size() + size > TextLimit)
    {
        throw CTransportFailure(EFailure::Settings, "The answer is larger than any that the store should give.");
    }
    m_response.m_text.append(data, size);
}

std::size_t CExchange::GiveBody(char* buffer, std::size_t size)
{
    auto const count = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_request.m_body.m_size - m_sent));
    Pause(m_throttling, count);
    std::copy_n(m_request.m_body.m_data + m_sent, count, buffer);
    m_sent += count;
    return count;
}

bool CExchange::SeekBody(curl_off_t offset)
{
    m_sent = static_cast<std::uint64_t>(offset);
    return offset >= 0 && m_sent <= m_request.m_body.m_size;
}

std::size_t OnHeader(char* data, std::size_t, std::size_t size, void* context)
{
    auto& exchange = *static_cast<CExchange*>(context);
    return exchange.Guarded([&] { exchange.TakeHeader({data, size}); }) ? size : 0;
}

std::size_t OnBody(char* data, std::size_t, std::size_t size, void* context)
{
    auto& exchange = *static_cast<CExchange*>(context);
    return exchange.Guarded([&] { exchange.TakeBody(data, size); }) ? size : 0;
}

std::size_t OnSend(char* buffer, std::size_t, std::size_t size, void* context)
{
    auto& exchange = *static_cast<CExchange*>(context);
    std::size_t count = CURL_READFUNC_ABORT;
    exchange.Guarded([&] { count = exchange.GiveBody(buffer, size); });
    return count;
}

int OnSeek(void* context, curl_off_t offset, int)
{
    return static_cast<CExchange*>(context)->SeekBody(offset) ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

int OnRequest(void* context, char*, char*, int, int)
{
    return static_cast<CExchange*>(context)->MaySend() ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

int OnProgress(void* context, curl_off_t, curl_off_t received, curl_off_t, curl_off_t)
{
    static_cast<CGathering*>(context)->HasReceived(received, std::chrono::steady_clock::now());
    return 0;
}

int OnOpened(void* context, curl_socket_t socket, curlsocktype)
{
    static_cast<CGathering*>(context)->Opened(socket);
    return CURL_SOCKOPT_OK;
}

int OnClosed(void* context, curl_socket_t socket)
{
    static_cast<CGathering*>(context)->Closed(socket);
    return close(socket);
}

/// Where the system keeps the certificates it trusts. libcurl's own idea of it belongs to the distribution it was built
/// on.
struct SSystemTrust
{
    std::string m_file;
    std::string m_directory;
};

SSystemTrust FindSystemTrust()
{
    auto const environment = [](char const* name)
    {
        char const* const value = std::getenv(name);
        return std::string(value ? value : "");
    };
    SSystemTrust trust{environment("SSL_CERT_FILE"), environment("SSL_CERT_DIR")};
    if (trust.m_file.empty() && trust.m_directory.empty())
    {
        std::error_code ignored;
        for (char const* file : {"/etc/ssl/certs/ca-certificates.crt", "/etc/pki/tls/certs/ca-bundle.crt",
                                 "/etc/ssl/ca-bundle.pem", "/etc/ssl/cert.pem"})
        {
            if (std::filesystem::exists(file, ignored))
            {
                trust.m_file = file;
                break;
            }
        }
    }
    return trust;
}

/// Why there is no answer, by libcurl's code. Anything that is not listed may have reached the store.
EFailure KindOfCode(CURLcode code)
{
    switch (code)
    {
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
        return EFailure::Settings;
    case CURLE_COULDNT_CONNECT:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PROXY:
        return EFailure::NotSent;
    default:
        return EFailure::Lost;
    }
}

} // namespace

void InitHttpLibrary()
{
    static std::once_flag once;
    std::call_once(once,
                   []
                   {
                       if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK)
                       {
                           throw exc::CRuntimeExc("The HTTP library can't be initialised.");
                       }
                   });
}

CCurlHandle::CCurlHandle(std::shared_ptr<STransportSettings const> settings) : m_settings(std::move(settings))
{
    m_curl.reset(curl_easy_init());
    if (!m_curl)
    {
        throw std::bad_alloc();
    }
    SetUpOnce();
}

template <class T>
void CCurlHandle::Set(CURLoption option, T value)
{
    CURLcode const code = curl_easy_setopt(m_curl.get(), option, value);
    if (code == CURLE_OUT_OF_MEMORY)
    {
        throw std::bad_alloc();
    }
    if (code != CURLE_OK)
    {
        throw exc::CRuntimeExc("The HTTP library refuses option %1: %2", static_cast<int>(option),
                               curl_easy_strerror(code));
    }
}

void CCurlHandle::SetUpOnce()
{
    STransportSettings const& settings = *m_settings;
    Set(CURLOPT_ERRORBUFFER, m_errorText.data());
    Set(CURLOPT_NOSIGNAL, 1L);
    Set(CURLOPT_TCP_NODELAY, 1L);
    Set(CURLOPT_TCP_KEEPALIVE, 1L);
    Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    Set(CURLOPT_PATH_AS_IS, 1L);
    Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    Set(CURLOPT_MAXAGE_CONN, static_cast<long>(settings.m_idle.count()));
    Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings.m_limits.m_connect.count()));
    Set(CURLOPT_TIMEOUT_MS, static_cast<long>(settings.m_limits.m_total.count()));
    Set(CURLOPT_LOW_SPEED_LIMIT, 1L);
    Set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(settings.m_limits.m_stall.count()));
    Set(CURLOPT_EXPECT_100_TIMEOUT_MS, static_cast<long>(settings.m_expectWait.count()));
    Set(CURLOPT_PROXY, settings.m_proxyUrl.c_str());
    Set(CURLOPT_NOPROXY, "");
    if (!settings.m_proxyUser.empty())
    {
        Set(CURLOPT_PROXYUSERNAME, settings.m_proxyUser.c_str());
        std::string password(settings.m_proxyPassword.View());
        CWipeAtEnd const wiped(password);
        Set(CURLOPT_PROXYPASSWORD, password.c_str());
    }
    Set(CURLOPT_HEADERFUNCTION, OnHeader);
    Set(CURLOPT_WRITEFUNCTION, OnBody);
    Set(CURLOPT_READFUNCTION, OnSend);
    Set(CURLOPT_SEEKFUNCTION, OnSeek);
    Set(CURLOPT_PREREQFUNCTION, OnRequest);
    Set(CURLOPT_XFERINFOFUNCTION, OnProgress);
    Set(CURLOPT_XFERINFODATA, &m_gathering);
    Set(CURLOPT_SOCKOPTFUNCTION, OnOpened);
    Set(CURLOPT_SOCKOPTDATA, &m_gathering);
    Set(CURLOPT_CLOSESOCKETFUNCTION, OnClosed);
    Set(CURLOPT_CLOSESOCKETDATA, &m_gathering);
    SetUpTrust();
}

void CCurlHandle::SetUpTrust()
{
    Set(CURLOPT_SSL_VERIFYPEER, 1L);
    Set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (auto const& trusted = m_settings->m_trustedPem)
    {
        Set(CURLOPT_CAINFO, static_cast<char const*>(nullptr));
        Set(CURLOPT_CAPATH, static_cast<char const*>(nullptr));
        curl_blob blob{const_cast<char*>(trusted->data()), trusted->size(), CURL_BLOB_NOCOPY};
        Set(CURLOPT_CAINFO_BLOB, &blob);
        return;
    }
    static SSystemTrust const system = FindSystemTrust();
    if (!system.m_file.empty())
    {
        Set(CURLOPT_CAINFO, system.m_file.c_str());
    }
    if (!system.m_directory.empty())
    {
        Set(CURLOPT_CAPATH, system.m_directory.c_str());
    }
}

void CCurlHandle::SetMethod(SHttpRequest const& request, void* exchange)
{
    Set(CURLOPT_HTTPGET, 1L); // clears what the exchange before has left
    Set(CURLOPT_CUSTOMREQUEST, static_cast<char const*>(nullptr));
    if (request.m_method == EHttpMethod::Head)
    {
        Set(CURLOPT_NOBODY, 1L);
        return;
    }
    if (request.m_method == EHttpMethod::Get)
    {
        return;
    }
    Set(CURLOPT_CUSTOMREQUEST, ToText(request.m_method).data());
    if (request.m_method == EHttpMethod::Delete)
    {
        return;
    }
    if (request.m_body.m_size <= InlineBody)
    {
        Set(CURLOPT_POST, 1L);
        Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.m_body.m_size));
        Set(CURLOPT_POSTFIELDS, request.m_body.m_size ? reinterpret_cast<char const*>(request.m_body.m_data) : "");
        return;
    }
    Set(CURLOPT_UPLOAD, 1L);
    Set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.m_body.m_size));
    Set(CURLOPT_READDATA, exchange);
    Set(CURLOPT_SEEKDATA, exchange);
}

void CCurlHandle::SetHeaders(SHttpRequest const& request)
{
    m_headerText.clear();
    m_headerLines.clear();
    std::vector<std::size_t> starts;
    starts.reserve(request.m_headers.size() + 3);
    auto const add = [&](std::string_view name, std::string_view end, std::string_view value)
    {
        starts.push_back(m_headerText.size());
        m_headerText.append(name).append(end).append(value).push_back('\0');
    };
    for (auto const [name, value] : request.m_headers)
    {
        add(name, value.empty() ? ";" : ": ", value); // the semicolon sends a header without a value
    }
    if (!request.m_headers.Find("Content-Type"))
    {
        add("Content-Type", ":", ""); // the colon alone keeps libcurl's own header away
    }
    bool const asks = m_settings->m_expectFromBytes != 0 && request.m_body.m_size >= m_settings->m_expectFromBytes;
    add("Expect", ":", asks ? " 100-continue" : "");
    m_headerLines.resize(starts.size());
    for (std::size_t i = 0; i < starts.size(); ++i)
    {
        m_headerLines[i].data = m_headerText.data() + starts[i];
        m_headerLines[i].next = i + 1 < starts.size() ? &m_headerLines[i + 1] : nullptr;
    }
    Set(CURLOPT_HTTPHEADER, m_headerLines.data());
}

long CCurlHandle::BufferFor(std::uint64_t expectedSize) const
{
    // Objects of one job are mostly alike, so the last one tells about the next whose size is not known.
    std::uint64_t const likely =
        expectedSize != 0 ? expectedSize : std::max<std::uint64_t>(m_lastReceived, MiddleBuffer);
    return likely <= SmallBuffer ? SmallBuffer : likely <= 4 * MiddleBuffer ? MiddleBuffer : LargeBuffer;
}

void CCurlHandle::SetBuffers(SHttpRequest const& request, bool throttled)
{
    Set(CURLOPT_BUFFERSIZE, throttled || !request.m_sink ? SmallBuffer : BufferFor(request.m_expectedSize));
    std::uint64_t const size = request.m_body.m_size;
    long const wanted = throttled ? SmallBuffer : size <= LargeBuffer ? MiddleBuffer : LargeBuffer;
    if (size > InlineBody && wanted != m_uploadBuffer)
    {
        Set(CURLOPT_UPLOAD_BUFFERSIZE, wanted);
        m_uploadBuffer = wanted;
    }
}

SHttpResponse CCurlHandle::Perform(SHttpRequest const& request, io::CNetworkTrottlingCtx* throttling)
{
    CExchange exchange(request, throttling, m_gathering);
    SetMethod(request, &exchange);
    SetHeaders(request);
    Set(CURLOPT_URL, request.m_url.c_str());
    Set(CURLOPT_HEADERDATA, &exchange);
    Set(CURLOPT_PREREQDATA, &exchange);
    Set(CURLOPT_WRITEDATA, &exchange);
    bool const throttled = throttling && throttling->GetLimitBytesPerSec() != 0;
    SetBuffers(request, throttled);
    Set(CURLOPT_NOPROGRESS, request.m_sink ? 0L : 1L);
    if (request.m_body.m_size <= InlineBody)
    {
        Pause(throttling, request.m_body.m_size);
    }

    m_errorText[0] = '\0';
    CURLcode const code = curl_easy_perform(m_curl.get());
    m_gathering.End();
    if (exchange.m_failure)
    {
        std::rethrow_exception(exchange.m_failure);
    }
    if (exchange.m_sendsAgain)
    {
        throw CTransportFailure(EFailure::Lost,
                                "No answer from " + m_settings->m_origin + " to " +
                                    std::string(ToText(request.m_method)) + " " + request.m_url +
                                    ": the connection, which was kept from earlier, closed without a byte.");
    }
    if (code != CURLE_OK || !exchange.HasAnswer())
    {
        Raise(code == CURLE_OK ? CURLE_GOT_NOTHING : code, request);
    }
    if (exchange.m_response.m_status == 407)
    {
        throw CTransportFailure(EFailure::Settings, "The proxy asks for other credentials (407): " + request.m_url);
    }
    m_lastReceived = request.m_sink ? exchange.m_response.m_receivedBytes : m_lastReceived;
    long connections = 0;
    curl_easy_getinfo(m_curl.get(), CURLINFO_NUM_CONNECTS, &connections);
    exchange.m_response.m_connections = static_cast<unsigned>(connections);
    return std::move(exchange.m_response);
}

void CCurlHandle::Raise(CURLcode code, SHttpRequest const& request)
{
    long proxyStatus = 0;
    curl_easy_getinfo(m_curl.get(), CURLINFO_HTTP_CONNECTCODE, &proxyStatus);
    EFailure kind = KindOfCode(code);
    if (proxyStatus >= 300)
    {
        kind = proxyStatus == 407 ? EFailure::Settings : EFailure::NotSent;
    }
    curl_off_t ready = 0;
    curl_easy_getinfo(m_curl.get(), CURLINFO_PRETRANSFER_TIME_T, &ready);
    if (code == CURLE_OPERATION_TIMEDOUT && ready == 0)
    {
        kind = EFailure::NotSent;
    }
    // A certificate whose issuer has the name of a trusted one, but another key, is told as a failed computation only.
    if (code == CURLE_SSL_CONNECT_ERROR && std::string_view(m_errorText.data()).find("asn1") != std::string_view::npos)
    {
        kind = EFailure::Settings;
        std::strcpy(m_errorText.data(), "the certificate is not signed by a trusted one");
    }
    std::string message = "No answer from " + m_settings->m_origin + " to " + std::string(ToText(request.m_method)) +
        " " + request.m_url + ": " + curl_easy_strerror(code);
    if (m_errorText[0] != '\0')
    {
        message.append(" (").append(m_errorText.data()).append(")");
    }
    throw CTransportFailure(kind, message);
}

} // namespace bucketry::s3wire::transport
