// SPDX-License-Identifier: Apache-2.0
#include "s3wire/counters/counters.h"

#include <array>
#include <atomic>

namespace bucketry::s3wire
{

namespace
{

using s3::SS3Stats;

constexpr std::uint64_t SS3Stats::*Fields[] = {
    &SS3Stats::m_getRequests,    &SS3Stats::m_headRequests, &SS3Stats::m_putRequests, &SS3Stats::m_postRequests,
    &SS3Stats::m_deleteRequests, &SS3Stats::m_repeats,      &SS3Stats::m_failures,    &SS3Stats::m_connections,
    &SS3Stats::m_sentBytes,      &SS3Stats::m_receivedBytes};
static_assert(sizeof(SS3Stats) == sizeof(std::uint64_t) * std::size(Fields));

std::array<std::atomic<std::uint64_t>, std::size(Fields)> totals; ///< in the order of `Fields`

} // namespace

void AddToStats(SS3Stats const& done)
{
    for (std::size_t i = 0; i < totals.size(); ++i)
    {
        if (std::uint64_t const count = done.*Fields[i]; count != 0)
        {
            totals[i].fetch_add(count, std::memory_order_relaxed);
        }
    }
}

SS3Stats s3::CS3StatsAccumulator::GetStats()
{
    SS3Stats stats;
    for (std::size_t i = 0; i < totals.size(); ++i)
    {
        stats.*Fields[i] = totals[i].load(std::memory_order_relaxed);
    }
    return stats;
}

} // namespace bucketry::s3wire
