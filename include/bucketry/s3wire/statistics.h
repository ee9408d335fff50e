// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <cstdint>

namespace bucketry::s3wire::s3
{

/// What the S3 REST layer of this process has done so far. A plain value.
struct SS3Stats
{
    std::uint64_t m_getRequests = 0; ///< operations by method; a repeat is not counted again
    std::uint64_t m_headRequests = 0;
    std::uint64_t m_putRequests = 0;
    std::uint64_t m_postRequests = 0;
    std::uint64_t m_deleteRequests = 0;
    std::uint64_t m_repeats = 0;       ///< further attempts of these operations
    std::uint64_t m_failures = 0;      ///< operations without a success answer in the end
    std::uint64_t m_connections = 0;   ///< opened for answered requests
    std::uint64_t m_sentBytes = 0;     ///< of bodies, in answered requests
    std::uint64_t m_receivedBytes = 0; ///< of bodies, in whole answers
};

/// The process's counters of the S3 REST layer. Any number of threads at once.
class BUCKETRY_API CS3StatsAccumulator
{
public:
    /// Each counter is read once; together they are no snapshot of one moment.
    static SS3Stats GetStats();
};

} // namespace bucketry::s3wire::s3
