// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/file_limit.h"

#include "bucketry/base/logging.h"

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>

namespace bucketry::s3::detail
{

void SafeIncreaseFileLimit()
{
    constexpr rlim_t wanted = 8192;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
    {
        stg_log.warn("Unable to determine open files limit, error: '%1'", errno);
        return;
    }
    rlim_t const target = std::min(limit.rlim_max, wanted);
    if (limit.rlim_cur >= target)
    {
        return;
    }
    stg_log.info("Current file limit: '%1', hard: '%2'", limit.rlim_cur, limit.rlim_max);
    limit.rlim_cur = target;
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0)
    {
        stg_log.warn("Failed to update open files limit to '%1', error: '%2'.", target, errno);
        return;
    }
    stg_log.info("Increased open file limit to '%1'", target);
}

} // namespace bucketry::s3::detail
