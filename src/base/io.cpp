// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/io.h"

#include <algorithm>

namespace bucketry::io
{

namespace
{

using std::chrono::nanoseconds;

// What a user that comes late may catch up on: without it, oversleeping would lower the rate.
constexpr nanoseconds MaxCredit = std::chrono::milliseconds(100);

// Keeps the arithmetic in range for absurd rates.
constexpr nanoseconds MaxDebt = std::chrono::hours(24 * 365);

nanoseconds TimeFor(unsigned long bytes, unsigned long bytesPerSec)
{
    __extension__ using wide_t = unsigned __int128;
    wide_t const time = wide_t{bytes} * std::nano::den / bytesPerSec;
    return nanoseconds(static_cast<nanoseconds::rep>(std::min(time, static_cast<wide_t>(MaxDebt.count()))));
}

} // namespace

io_dev_t::~io_dev_t() = default;

closeable_dev_t::~closeable_dev_t() = default;

void CNetworkTrottlingCtx::SetLimitBytesPerSec(unsigned long bytesPerSec)
{
    std::lock_guard const lock(m_mutex);
    m_bytesPerSec = bytesPerSec;
    m_freeAt =
        std::min(m_freeAt, std::chrono::steady_clock::now()); // what was taken before is not held against the new rate
}

unsigned long CNetworkTrottlingCtx::GetLimitBytesPerSec() const
{
    return m_bytesPerSec;
}

nanoseconds CNetworkTrottlingCtx::Acquire(unsigned long bytes)
{
    if (m_bytesPerSec == 0)
    {
        return nanoseconds::zero();
    }
    auto const now = std::chrono::steady_clock::now();
    std::lock_guard const lock(m_mutex);
    unsigned long const bytesPerSec = m_bytesPerSec;
    if (bytesPerSec == 0)
    {
        return nanoseconds::zero();
    }
    auto const start = std::max(m_freeAt, now - MaxCredit);
    m_freeAt = std::min(start + TimeFor(bytes, bytesPerSec), now + MaxDebt);
    return std::max(start - now, nanoseconds::zero());
}

} // namespace bucketry::io
