// SPDX-License-Identifier: Apache-2.0
#include "s3wire/transport/gathering.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace bucketry::s3wire::transport
{
namespace
{

using namespace std::chrono_literals;

constexpr std::uint64_t Large = 100 << 20;

struct Gathering : ::testing::Test
{
    Gathering() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, m_ends.data()), 0); }
    ~Gathering() override
    {
        close(m_ends[0]);
        close(m_ends[1]);
    }

    bool Gathers() const
    {
        int bytes = 0;
        socklen_t size = sizeof(bytes);
        getsockopt(m_ends[0], SOL_SOCKET, SO_RCVLOWAT, &bytes, &size);
        return bytes > 1;
    }

    std::array<int, 2> m_ends{};
    CGathering m_gathering;
    std::chrono::steady_clock::time_point m_now{};
};

TEST_F(Gathering, WaitsForMoreOnlyWhileMuchIsDue)
{
    m_gathering.StillDue(Large); // no socket known
    m_gathering.Opened(m_ends[0]);
    m_gathering.StillDue(1 << 20);
    EXPECT_FALSE(Gathers());
    m_gathering.StillDue(Large);
    EXPECT_TRUE(Gathers());
    m_gathering.StillDue(1 << 20);
    EXPECT_FALSE(Gathers());
    m_gathering.StillDue(Large);
    m_gathering.End(); // as after a transfer that broke off
    EXPECT_FALSE(Gathers());
    m_gathering.Closed(m_ends[0]);
    m_gathering.StillDue(Large);
    EXPECT_FALSE(Gathers()) << "a number that may belong to another file by now";
}

TEST_F(Gathering, ReadsASlowLinkAsItComesUntilTheNextBody)
{
    m_gathering.Opened(m_ends[0]);
    m_gathering.StillDue(Large);
    m_gathering.HasReceived(0, m_now);
    m_gathering.HasReceived(1, m_now += 900ms);
    m_gathering.HasReceived(1, m_now += 900ms);
    EXPECT_TRUE(Gathers());
    m_gathering.HasReceived(1, m_now += 100ms);
    EXPECT_FALSE(Gathers());
    m_gathering.StillDue(Large);
    EXPECT_FALSE(Gathers());
    m_gathering.End();
    m_gathering.StillDue(Large);
    EXPECT_TRUE(Gathers());
}

} // namespace
} // namespace bucketry::s3wire::transport
