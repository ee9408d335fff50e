// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <ctime>
#include <functional>

namespace bucketry::s3wire
{

/// The clock, the pauses and the chance of this layer, so that tests can hand in their own. Safe to call from any
/// thread.
struct SSurroundings
{
    std::function<std::time_t()> m_now; ///< seconds since 1970-01-01 UTC
    std::function<void(std::chrono::milliseconds)> m_sleep;
    std::function<double()> m_random; ///< evenly from 0 up to, but not, 1

    static SSurroundings Real();
};

} // namespace bucketry::s3wire
