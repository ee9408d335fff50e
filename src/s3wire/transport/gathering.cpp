// SPDX-License-Identifier: Apache-2.0
#include "s3wire/transport/gathering.h"

#include <sys/socket.h>

namespace bucketry::s3wire::transport
{
namespace
{

constexpr int Gathered = 256 * 1024;
/// What libcurl has read ahead is no longer in the socket: never wait for more than is still to come.
constexpr std::uint64_t LeastDue = 4UL * 1024 * 1024;

} // namespace

void CGathering::Opened(curl_socket_t socket)
{
    m_socket = socket;
}

void CGathering::Closed(curl_socket_t socket)
{
    m_socket = m_socket == socket ? CURL_SOCKET_BAD : m_socket;
    m_gathers = m_gathers == socket ? CURL_SOCKET_BAD : m_gathers;
}

void CGathering::WakeAt(int bytes)
{
    curl_socket_t const socket = bytes == 1 ? m_gathers : m_socket;
    bool const isSet = setsockopt(socket, SOL_SOCKET, SO_RCVLOWAT, &bytes, sizeof(bytes)) == 0;
    m_gathers = isSet && bytes != 1 ? socket : CURL_SOCKET_BAD;
}

void CGathering::StillDue(std::uint64_t bytes)
{
    if (m_gathers != CURL_SOCKET_BAD && bytes < LeastDue)
    {
        WakeAt(1);
    }
    else if (m_gathers == CURL_SOCKET_BAD && m_socket != CURL_SOCKET_BAD && bytes >= LeastDue && !m_isSlow)
    {
        m_received = -1; // whatever comes first is news
        WakeAt(Gathered);
        m_isSlow = m_gathers == CURL_SOCKET_BAD; // a system that can't do it is not asked again
    }
}

void CGathering::HasReceived(curl_off_t bytes, std::chrono::steady_clock::time_point now)
{
    if (bytes != m_received)
    {
        m_received = bytes;
        m_receivedAt = now;
    }
    else if (m_gathers != CURL_SOCKET_BAD && now - m_receivedAt >= std::chrono::seconds(1))
    {
        m_isSlow = true;
        WakeAt(1);
    }
}

void CGathering::End()
{
    m_isSlow = false;
    if (m_gathers != CURL_SOCKET_BAD)
    {
        WakeAt(1);
    }
}

} // namespace bucketry::s3wire::transport
