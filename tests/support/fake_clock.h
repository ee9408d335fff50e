// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"

#include <atomic>

namespace bucketry::testing
{

/// Stands in for the library's clock while it lives; stands still unless it is advanced. One at a time, and made before
/// any thread reads the time.
class CFakeClock
{
public:
    explicit CFakeClock(long unixTime = 1'800'000'000) : m_now(unixTime)
    {
        CCurrentTimeAccessor::OverrideTimeAccess([this] { return Now(); });
    }
    CFakeClock(CFakeClock const&) = delete;
    CFakeClock& operator=(CFakeClock const&) = delete;
    ~CFakeClock() { CCurrentTimeAccessor::OverrideTimeAccess(&datetime::CDateTime::currentUtcTime); }

    datetime::CDateTime Now() const { return datetime::CDateTime::fromUnixTime(m_now.load(), true); }
    void Advance(long seconds) { m_now += seconds; }

private:
    std::atomic<long> m_now;
};

} // namespace bucketry::testing
