// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/certificates.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace bucketry::testing
{

/// What the server does about one request.
struct SRawAnswer
{
    std::string m_text;   ///< sent as it is
    bool m_close = false; ///< the connection, after the text
    bool m_hang = false;  ///< says no more until the server goes
};

/// "HTTP/1.1 200 OK" with Content-Length and body.
SRawAnswer Answer(int status, std::string const& body = "", std::string const& headers = "");

/// A server on loopback that says what it is told, right or wrong. One thread for each connection.
class CRawHttpServer
{
public:
    /// `request` is the whole request, head and body.
    using script_t = std::function<SRawAnswer(std::string const& request)>;

    /// Speaks TLS if there is an identity.
    explicit CRawHttpServer(script_t script, std::optional<SIdentity> identity = std::nullopt);
    ~CRawHttpServer();

    int Port() const { return m_port; }
    std::string Url(std::string const& host = "localhost") const;
    /// Connections accepted so far.
    unsigned ConnectionCount() const;
    /// Every request so far.
    std::vector<std::string> Requests() const;

private:
    struct SConnection;

    void Listen();
    void Serve(SConnection& connection);
    bool Reply(SConnection& connection, std::string const& request);

    script_t const m_script;
    std::shared_ptr<void> m_tls;
    int m_listener = -1;
    int m_port = 0;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_stopped = false;
    std::vector<std::string> m_requests;
    std::vector<std::unique_ptr<SConnection>> m_connections;
    std::thread m_acceptor; ///< last, so that it sees all the rest
};

} // namespace bucketry::testing
