// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "faults/faults.h"
#include "server/log.h"
#include "server/service.h"

#include <memory>

namespace bucketry::simulator
{

/// What a connection works with; outlives the server.
struct SServerParts
{
    SSimulatorOptions const& m_options;
    CService& m_service;
    CFaults& m_faults;
    CRequestLog& m_log;
};

/// The socket: one thread accepts, one serves each connection.
class CServer
{
public:
    /// Listens at once. Throws std::runtime_error if it can't. With `isTls` the options name certificate and key.
    CServer(SServerParts const& parts, std::uint16_t port, bool isTls);
    /// Ends all connections and joins their threads.
    ~CServer();

    /// Where it listens.
    std::uint16_t Port() const;

private:
    class CImpl;
    std::unique_ptr<CImpl> m_impl;
};

} // namespace bucketry::simulator
