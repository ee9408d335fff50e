// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>

namespace bucketry::s3wire::transport
{

/// Lets what arrives of a large body gather in its socket before the reader is woken: over a fast link a wake-up for
/// each packet costs more than the copy of what came. It gathers only while far more is due than it waits for, and no
/// longer once nothing came for a second: a slow link is read as it comes, and a stall is seen as one. For one thread
/// at a time.
///
/// Source: SO_RCVLOWAT in socket(7).
class CGathering
{
public:
    void Opened(curl_socket_t socket);
    void Closed(curl_socket_t socket);

    /// Tells how much of the body is still to come, what libcurl has read ahead among it.
    void StillDue(std::uint64_t bytes);
    /// Tells how much has come at all, again and again while nothing comes.
    void HasReceived(curl_off_t bytes, std::chrono::steady_clock::time_point now);
    /// The body has come, or never will.
    void End();

private:
    void WakeAt(int bytes);

    curl_socket_t m_socket = CURL_SOCKET_BAD; ///< the last one opened, until it is closed
    curl_socket_t m_gathers = CURL_SOCKET_BAD;
    bool m_isSlow = false;
    curl_off_t m_received = -1;
    std::chrono::steady_clock::time_point m_receivedAt;
};

} // namespace bucketry::s3wire::transport
