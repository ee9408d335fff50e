// SPDX-License-Identifier: Apache-2.0
#include "timing.h"

#include <mutex>
#include <utility>

namespace bucketry::locks::details
{

namespace
{

struct SOverride
{
    std::mutex m_mutex;
    std::shared_ptr<SLockTiming const> m_timing; ///< guarded by m_mutex; null for the defaults
};

SOverride& Override()
{
    static SOverride override;
    return override;
}

} // namespace

void OverrideTiming(std::shared_ptr<SLockTiming const> timing)
{
    SOverride& override = Override();
    std::lock_guard const lock(override.m_mutex);
    override.m_timing.swap(timing); // the former one goes after the mutex
}

std::shared_ptr<SLockTiming const> CurrentTiming()
{
    static auto const defaults = std::make_shared<SLockTiming const>();
    SOverride& override = Override();
    std::lock_guard const lock(override.m_mutex);
    return override.m_timing ? override.m_timing : defaults;
}

} // namespace bucketry::locks::details
