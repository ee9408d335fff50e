// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"
#include "bucketry/client.h"
#include "bucketry/s3/cloud_client.h"
#include "bucketry/s3/connection_spec.h"
#include "bucketry/s3/context.h"
#include "bucketry/s3/factory.h"
#include "bucketry/s3/file_limit.h"
#include "bucketry/s3/paths.h"
#include "bucketry/s3wire/client.h"
#include "bucketry/s3wire/exception.h"
#include "bucketry/s3wire/storage_class.h"

#include <boost/chrono/system_clocks.hpp>

#include <cstdint>
#include <exception>

namespace bucketry
{

/// Tells which failures of an S3 store are worth another attempt: a linear wait between a limited number of attempts.
/// The library itself repeats requests in its own way; this class is for repeats of whole operations by the host. Any
/// thread.
class BUCKETRY_API CS3DefaultRetryStrategy : public ICloudRetryStrategy
{
public:
    /// Never repeats.
    CS3DefaultRetryStrategy() = default;
    /// Repeats up to `retryLimit` failed attempts.
    explicit CS3DefaultRetryStrategy(std::uint32_t retryLimit);
    ~CS3DefaultRetryStrategy() override;

    /// True for a failure worth another attempt while `attempt`, counted from 0, is below the limit: after 10 s times
    /// `attempt`, plus 5 s. False leaves `retryAt` alone.
    bool ShouldRetry(std::exception& error, unsigned int attempt,
                     boost::chrono::steady_clock::time_point& retryAt) override;
    /// Status 429 and 500, refusals without an error code, codes of overload or of time, and failures below HTTP.
    bool IsExceptionRetryable(std::exception& error) const;

private:
    std::uint32_t m_retryLimit = 0;
};

} // namespace bucketry
