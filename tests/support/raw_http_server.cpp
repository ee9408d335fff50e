// SPDX-License-Identifier: Apache-2.0
#include "support/raw_http_server.h"

#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

namespace bucketry::testing
{

namespace
{

std::shared_ptr<void> MakeTls(SIdentity const& identity)
{
    std::shared_ptr<SSL_CTX> const context(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free);
    auto const bioOf = [](std::string const& text)
    {
        return std::unique_ptr<BIO, decltype(&BIO_free)>(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())),
                                                         &BIO_free);
    };
    std::unique_ptr<X509, decltype(&X509_free)> const certificate(
        PEM_read_bio_X509(bioOf(identity.m_certificate).get(), nullptr, nullptr, nullptr), &X509_free);
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> const key(
        PEM_read_bio_PrivateKey(bioOf(identity.m_key).get(), nullptr, nullptr, nullptr), &EVP_PKEY_free);
    if (SSL_CTX_use_certificate(context.get(), certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1)
    {
        throw std::runtime_error("can't use the identity");
    }
    return context;
}

std::size_t BodySize(std::string const& head)
{
    std::size_t const at = head.find("Content-Length: ");
    return at == std::string::npos ? 0 : std::stoul(head.substr(at + 16));
}

} // namespace

struct CRawHttpServer::SConnection
{
    int m_socket = -1;
    std::unique_ptr<SSL, decltype(&SSL_free)> m_ssl{nullptr, &SSL_free};
    std::thread m_thread;

    bool ReadMore(std::string& text)
    {
        std::array<char, 65536> block;
        long const count = m_ssl ? SSL_read(m_ssl.get(), block.data(), static_cast<int>(block.size()))
                                 : recv(m_socket, block.data(), block.size(), 0);
        text.append(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        return count > 0;
    }

    bool Write(std::string const& text)
    {
        for (std::size_t sent = 0; sent < text.size();)
        {
            long const count = m_ssl ? SSL_write(m_ssl.get(), text.data() + sent, static_cast<int>(text.size() - sent))
                                     : send(m_socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (count <= 0)
            {
                return false;
            }
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }
};

SRawAnswer Answer(int status, std::string const& body, std::string const& headers)
{
    return {"HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
            headers + "\r\n" + body};
}

CRawHttpServer::CRawHttpServer(script_t script, std::optional<SIdentity> identity)
    : m_script(std::move(script)), m_tls(identity ? MakeTls(*identity) : nullptr)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(m_listener, 64) != 0 ||
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
    {
        throw std::runtime_error("can't listen on loopback");
    }
    m_port = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { Listen(); });
}

CRawHttpServer::~CRawHttpServer()
{
    {
        std::lock_guard const lock(m_mutex);
        m_stopped = true;
    }
    m_changed.notify_all();
    shutdown(m_listener, SHUT_RDWR);
    m_acceptor.join();
    for (auto const& connection : m_connections)
    {
        shutdown(connection->m_socket, SHUT_RDWR);
        connection->m_thread.join();
        close(connection->m_socket);
    }
    close(m_listener);
}

std::string CRawHttpServer::Url(std::string const& host) const
{
    return (m_tls ? "https://" : "http://") + host + ":" + std::to_string(m_port);
}

unsigned CRawHttpServer::ConnectionCount() const
{
    std::lock_guard const lock(m_mutex);
    return static_cast<unsigned>(m_connections.size());
}

std::vector<std::string> CRawHttpServer::Requests() const
{
    std::lock_guard const lock(m_mutex);
    return m_requests;
}

void CRawHttpServer::Listen()
{
    for (;;)
    {
        int const client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        std::lock_guard const lock(m_mutex);
        if (client < 0 || m_stopped)
        {
            close(client);
            return;
        }
        m_connections.push_back(std::make_unique<SConnection>());
        SConnection& connection = *m_connections.back();
        connection.m_socket = client;
        connection.m_thread = std::thread([this, &connection] { Serve(connection); });
    }
}

void CRawHttpServer::Serve(SConnection& connection)
{
    sigset_t pipe; // what OpenSSL writes to a closed socket must not end the test
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    if (m_tls)
    {
        connection.m_ssl.reset(SSL_new(static_cast<SSL_CTX*>(m_tls.get())));
        SSL_set_fd(connection.m_ssl.get(), connection.m_socket);
        if (SSL_accept(connection.m_ssl.get()) != 1)
        {
            shutdown(connection.m_socket, SHUT_RDWR);
            return;
        }
    }
    std::string text;
    for (bool more = true; more;)
    {
        std::size_t const headEnd = text.find("\r\n\r\n");
        std::size_t const end =
            headEnd == std::string::npos ? headEnd : headEnd + 4 + BodySize(text.substr(0, headEnd));
        if (end == std::string::npos || text.size() < end)
        {
            bool const asks = text.size() == headEnd + 4 && text.find("Expect: 100-continue") != std::string::npos;
            if (asks)
            {
                connection.Write("HTTP/1.1 100 Continue\r\n\r\n");
            }
            more = connection.ReadMore(text);
            continue;
        }
        more = Reply(connection, text.substr(0, end));
        text.erase(0, end);
    }
    shutdown(connection.m_socket, SHUT_RDWR);
}

bool CRawHttpServer::Reply(SConnection& connection, std::string const& request)
{
    {
        std::lock_guard const lock(m_mutex);
        m_requests.push_back(request);
    }
    SRawAnswer const answer = m_script(request);
    bool const written = connection.Write(answer.m_text);
    if (answer.m_hang)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_stopped; });
    }
    return written && !answer.m_close && !answer.m_hang;
}

} // namespace bucketry::testing
