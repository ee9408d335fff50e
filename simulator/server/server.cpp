// SPDX-License-Identifier: Apache-2.0
#include "server/server.h"

#include "protocol/text.h"

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <sys/socket.h>

#include <condition_variable>
#include <list>
#include <thread>

namespace bucketry::simulator
{

namespace asio = boost::asio;
namespace http = boost::beast::http;
using tcp_t = asio::ip::tcp;
using boost::system::error_code;

namespace
{

constexpr std::uint32_t MaxHeaderSize = 16u * 1024;
constexpr std::uint64_t BodySlack = 64ull * 1024; ///< beyond the largest object, for chunks and documents
constexpr std::size_t DrainBlock = 64u * 1024;
constexpr std::uint64_t MaxDrained = 64ull * 1024 * 1024;

/// Ends waits when the server stops. Any number of threads.
class CStopSignal
{
public:
    void Stop()
    {
        std::lock_guard const lock(m_mutex);
        m_stopped = true;
        m_wake.notify_all();
    }
    void WaitFor(std::chrono::milliseconds time)
    {
        std::unique_lock lock(m_mutex);
        m_wake.wait_for(lock, time, [this] { return m_stopped; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stopped = false; // guarded by m_mutex
};

using parser_t = http::request_parser<http::string_body>;

/// One request on its way through: what is known about it, and what is logged.
struct SExchange
{
    SRequest m_request;
    SRoute m_route;
    SFaultHit m_hit;
};

/// Serves one connection until it ends.
template <class TStream>
class CConnection
{
public:
    CConnection(TStream& stream, bool isTls, SServerParts const& parts, CStopSignal& stop)
        : m_stream(stream), m_isTls(isTls), m_parts(parts), m_stop(stop)
    {
    }

    void Run()
    {
        while (ServeOne())
        {
        }
    }

private:
    /// False when the connection has to be closed.
    bool ServeOne()
    {
        parser_t parser;
        parser.header_limit(MaxHeaderSize);
        parser.body_limit(m_parts.m_options.m_maxPutSize + BodySlack);
        error_code error;
        http::read_header(m_stream, m_buffer, parser, error);
        if (error)
        {
            return RefuseUnreadable(error);
        }

        SExchange exchange = Begin(parser);
        m_stop.WaitFor(exchange.m_hit.m_delay);
        if (!ReadBody(parser, exchange))
        {
            return false;
        }
        SResponse const response = Answer(exchange);
        return Send(exchange, response) && parser.get().keep_alive();
    }

    SExchange Begin(parser_t& parser)
    {
        SExchange exchange;
        SRequest& request = exchange.m_request;
        request.m_method = parser.get().method_string();
        request.m_target = parser.get().target();
        request.m_isTls = m_isTls;
        for (auto const& field : parser.get())
        {
            request.m_headers.emplace_back(ToLower(field.name_string()), field.value());
        }
        exchange.m_route = m_parts.m_service.Route(request);
        exchange.m_hit = m_parts.m_faults.Pick(exchange.m_route, m_parts.m_service.Now());
        return exchange;
    }

    /// Reads the body as far as the fault lets it come. False if there will be no answer.
    bool ReadBody(parser_t& parser, SExchange& exchange)
    {
        SFaultHit const& hit = exchange.m_hit;
        if (hit.Is(EFaultAction::CutBeforeBody))
        {
            return LogCut(exchange);
        }
        error_code error;
        if (boost::beast::iequals(parser.get()[http::field::expect], "100-continue"))
        {
            asio::write(m_stream, asio::buffer(std::string_view("HTTP/1.1 100 Continue\r\n\r\n")), error);
        }
        if (hit.Is(EFaultAction::CutInBody))
        {
            ReadHalf(parser);
            return LogCut(exchange);
        }
        if (!error)
        {
            http::read(m_stream, m_buffer, parser, error);
        }
        if (error == http::error::body_limit)
        {
            return SendLast(exchange, RefusalOf(error));
        }
        if (error)
        {
            return LogCut(exchange);
        }
        exchange.m_request.m_body = std::move(parser.get().body());
        m_bodySize = exchange.m_request.m_body.size();
        return !hit.Is(EFaultAction::CutAfterBody) || LogCut(exchange);
    }

    void ReadHalf(parser_t& parser)
    {
        std::uint64_t const half = parser.content_length().value_or(0) / 2;
        std::vector<char> block(DrainBlock);
        error_code error;
        for (std::uint64_t read = m_buffer.size(); read < half && !error;)
        {
            read += m_stream.read_some(asio::buffer(block), error);
        }
    }

    SResponse Answer(SExchange& exchange)
    {
        CService& service = m_parts.m_service;
        SFaultHit const& hit = exchange.m_hit;
        auto const refusal = hit.m_fault ? FaultRefusal(*hit.m_fault, exchange.m_request) : std::nullopt;
        if (refusal)
        {
            SResponse response = service.Refuse(*refusal, exchange.m_request, exchange.m_route);
            service.Finish(response, exchange.m_request);
            return response;
        }
        if (hit.Is(EFaultAction::Duplicate))
        {
            service.Handle(exchange.m_request, exchange.m_route);
        }
        auto const skew = std::chrono::seconds(hit.Is(EFaultAction::ClockSkew) ? hit.m_fault->m_amount : 0);
        // The body is handed on; the rest is still needed to log the request.
        SRequest request = exchange.m_request;
        std::swap(request.m_body, exchange.m_request.m_body);
        return service.Handle(std::move(request), exchange.m_route, skew);
    }

    /// Logs the request, then sends its answer as far as the fault lets it go. False if the connection ends.
    bool Send(SExchange const& exchange, SResponse const& response)
    {
        SFaultHit const& hit = exchange.m_hit;
        bool const isLost = hit.Is(EFaultAction::LostAnswer);
        Log(exchange, isLost ? 0 : response.m_status, response.m_errorCode);
        if (isLost)
        {
            return false;
        }
        std::string_view body = response.m_isHead || IsBodiless(response) ? std::string_view() : response.Body();
        auto const amount = hit.m_fault ? hit.m_fault->m_amount : 0;
        if (hit.Is(EFaultAction::TruncateAnswer))
        {
            body = body.substr(0, amount == 0 ? body.size() / 2 : static_cast<std::size_t>(amount));
        }
        if (hit.Is(EFaultAction::Stall))
        {
            body = body.substr(0, static_cast<std::size_t>(amount));
        }
        std::string const head = Head(response, hit.Is(EFaultAction::WrongLength) ? amount : 0);
        std::array<asio::const_buffer, 2> const parts{asio::buffer(head), asio::buffer(body)};
        error_code error;
        asio::write(m_stream, parts, error);
        if (hit.Is(EFaultAction::Stall))
        {
            WaitForClose();
        }
        bool const ends = hit.Is(EFaultAction::TruncateAnswer) || hit.Is(EFaultAction::WrongLength) ||
            hit.Is(EFaultAction::Stall) || hit.Is(EFaultAction::Close);
        return !error && !ends;
    }

    /// Until the client gives up or the server stops.
    void WaitForClose()
    {
        error_code error;
        std::array<char, 1024> block;
        while (!error)
        {
            m_stream.read_some(asio::buffer(block), error);
        }
    }

    static bool IsBodiless(SResponse const& response) { return response.m_status == 204 || response.m_status == 304; }

    static std::string Head(SResponse const& response, std::int64_t wrongBy)
    {
        std::string head = "HTTP/1.1 " + std::to_string(response.m_status) + " ";
        head += http::obsolete_reason(static_cast<http::status>(response.m_status));
        head += "\r\n";
        for (auto const& [name, value] : response.m_headers)
        {
            head.append(name).append(": ").append(value).append("\r\n");
        }
        auto const length = static_cast<std::int64_t>(response.Body().size()) + wrongBy;
        if (!IsBodiless(response))
        {
            head += "Content-Length: " + std::to_string(std::max<std::int64_t>(length, 0)) + "\r\n";
        }
        return head + "\r\n";
    }

    bool LogCut(SExchange const& exchange)
    {
        Log(exchange, 0, {});
        return false;
    }

    void Log(SExchange const& exchange, unsigned status, std::string const& code)
    {
        SRequest const& request = exchange.m_request;
        m_parts.m_log.Add({.m_method = request.m_method,
                           .m_target = request.m_target,
                           .m_operation = exchange.m_route.m_operation,
                           .m_bucket = exchange.m_route.m_bucket,
                           .m_key = exchange.m_route.m_key,
                           .m_headers = request.m_headers,
                           .m_bodySize = std::exchange(m_bodySize, 0),
                           .m_status = status,
                           .m_errorCode = code,
                           .m_fault = exchange.m_hit.Name()});
    }

    /// The answer to what isn't HTTP; silence where the client has gone. Always false.
    bool RefuseUnreadable(error_code const& error)
    {
        bool const isSyntax = error.category() == make_error_code(http::error::bad_method).category() &&
            error != http::error::end_of_stream && error != http::error::partial_message;
        if (!isSyntax)
        {
            return false;
        }
        SExchange exchange;
        exchange.m_request.m_method = "?";
        exchange.m_route.m_operation = "Unknown";
        return SendLast(exchange, RefusalOf(error));
    }

    static CStoreError RefusalOf(error_code const& error)
    {
        if (error == http::error::body_limit)
        {
            return {400, "EntityTooLarge", "Your proposed upload exceeds the maximum allowed size"};
        }
        bool const isTooLong = error == http::error::header_limit;
        return {400, isTooLong ? "RequestHeaderSectionTooLarge" : "BadRequest",
                "An error occurred when parsing the HTTP request."};
    }

    /// Answers, and reads what still comes, so that the client sees the answer and not a reset. Always false.
    bool SendLast(SExchange const& exchange, CStoreError const& refusal)
    {
        SResponse response = m_parts.m_service.Refuse(refusal, exchange.m_request, exchange.m_route);
        m_parts.m_service.Finish(response, exchange.m_request);
        response.Add("Connection", "close");
        Send(exchange, response);
        error_code error;
        boost::beast::get_lowest_layer(m_stream).shutdown(tcp_t::socket::shutdown_send, error);
        std::vector<char> block(DrainBlock);
        for (std::uint64_t read = 0; read < MaxDrained && !error;)
        {
            read += boost::beast::get_lowest_layer(m_stream).read_some(asio::buffer(block), error);
        }
        return false;
    }

    TStream& m_stream;
    bool const m_isTls;
    SServerParts const& m_parts;
    CStopSignal& m_stop;
    boost::beast::flat_buffer m_buffer;
    std::uint64_t m_bodySize = 0; ///< of the request in hand
};

} // namespace

class CServer::CImpl
{
public:
    CImpl(SServerParts const& parts, std::uint16_t port, bool isTls)
        : m_parts(parts), m_tls(asio::ssl::context::tls_server), m_isTls(isTls), m_acceptor(m_context)
    {
        if (isTls)
        {
            m_tls.use_certificate_chain_file(parts.m_options.m_certificateFile);
            m_tls.use_private_key_file(parts.m_options.m_privateKeyFile, asio::ssl::context::pem);
        }
        tcp_t::endpoint const endpoint(asio::ip::make_address(parts.m_options.m_address), port);
        m_acceptor.open(endpoint.protocol());
        m_acceptor.set_option(asio::socket_base::reuse_address(true));
        m_acceptor.bind(endpoint);
        m_acceptor.listen();
        m_port = m_acceptor.local_endpoint().port();
        m_thread = std::thread([this] { Accept(); });
    }

    ~CImpl()
    {
        m_stop.Stop();
        // Wakes the thread in accept, which closing would not.
        ::shutdown(m_acceptor.native_handle(), SHUT_RDWR);
        m_thread.join();
        for (auto& line : m_lines)
        {
            std::lock_guard const lock(line.m_mutex);
            if (line.m_socket != nullptr)
            {
                ::shutdown(line.m_socket->native_handle(), SHUT_RDWR);
            }
        }
        for (auto& line : m_lines)
        {
            line.m_thread.join();
        }
    }

    std::uint16_t Port() const { return m_port; }

private:
    /// One connection and its thread.
    struct SLine
    {
        std::mutex m_mutex;
        tcp_t::socket* m_socket = nullptr; // guarded by m_mutex; null once the connection has ended
        std::thread m_thread;
    };

    void Accept()
    {
        for (;;)
        {
            error_code error;
            auto socket = std::make_shared<tcp_t::socket>(m_context);
            m_acceptor.accept(*socket, error);
            if (error)
            {
                return;
            }
            RemoveEnded();
            SLine& line = m_lines.emplace_back();
            line.m_socket = socket.get();
            line.m_thread = std::thread([this, socket, &line] { Serve(*socket, line); });
        }
    }

    void RemoveEnded()
    {
        for (auto line = m_lines.begin(); line != m_lines.end();)
        {
            bool isEnded = false;
            {
                std::lock_guard const lock(line->m_mutex);
                isEnded = line->m_socket == nullptr;
            }
            if (isEnded)
            {
                line->m_thread.join();
            }
            line = isEnded ? m_lines.erase(line) : std::next(line);
        }
    }

    void Serve(tcp_t::socket& socket, SLine& line)
    {
        error_code error;
        socket.set_option(tcp_t::no_delay(true), error);
        if (m_isTls)
        {
            ServeTls(socket);
        }
        else
        {
            CConnection<tcp_t::socket>(socket, false, m_parts, m_stop).Run();
        }
        std::lock_guard const lock(line.m_mutex);
        line.m_socket = nullptr;
        socket.close(error);
    }

    void ServeTls(tcp_t::socket& socket)
    {
        asio::ssl::stream<tcp_t::socket&> stream(socket, m_tls);
        error_code error;
        stream.handshake(asio::ssl::stream_base::server, error);
        if (!error)
        {
            CConnection<decltype(stream)>(stream, true, m_parts, m_stop).Run();
        }
    }

    SServerParts const m_parts;
    asio::io_context m_context;
    asio::ssl::context m_tls;
    bool const m_isTls;
    tcp_t::acceptor m_acceptor;
    std::uint16_t m_port = 0;
    CStopSignal m_stop;
    std::list<SLine> m_lines; // of the accepting thread, and of the destructor once that has ended
    std::thread m_thread;
};

CServer::CServer(SServerParts const& parts, std::uint16_t port, bool isTls)
    : m_impl(std::make_unique<CImpl>(parts, port, isTls))
{
}

CServer::~CServer() = default;

std::uint16_t CServer::Port() const
{
    return m_impl->Port();
}

} // namespace bucketry::simulator
