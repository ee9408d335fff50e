// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/task.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <vector>

namespace bucketry::s3wire
{

/// Calls `body(index)` for each index below `count`, on this thread and a few others; the first exception ends it.
template <class TBody>
void ForEachInParallel(std::size_t count, std::size_t threads, TBody const& body)
{
    std::atomic<std::size_t> next{0};
    auto const work = [&]
    {
        try
        {
            for (std::size_t index = next++; index < count; index = next++)
            {
                body(index);
            }
        }
        catch (...)
        {
            next = count;
            throw;
        }
    };
    std::vector<web::Task<void>> helpers;
    for (std::size_t i = 1; i < std::min(count, threads); ++i)
    {
        helpers.emplace_back(work);
    }
    work();
    for (web::Task<void> const& helper : helpers)
    {
        helper.get();
    }
}

} // namespace bucketry::s3wire
