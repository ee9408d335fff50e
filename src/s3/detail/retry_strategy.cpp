// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/http.h"
#include "bucketry/s3.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace bucketry
{
namespace
{

constexpr char const* RetryableCodes[] = {
    "InternalFailure", "InvalidSignature", "InternalServerError",   "RequestExpired",       "ServiceUnavailable",
    "Throttling",      "SlowDown",         "SignatureDoesNotMatch", "RequestTimeTooSkewed",
};

bool IsRefusalRetryable(s3wire::CS3WireException const& refusal)
{
    std::string const& code = refusal.GetAmazonErrorCode();
    return refusal.GetStatusCode() == 429 || refusal.GetStatusCode() == 500 || code.empty() ||
        std::any_of(std::begin(RetryableCodes), std::end(RetryableCodes),
                    [&](char const* start) { return code.starts_with(start); });
}

} // namespace

CS3DefaultRetryStrategy::CS3DefaultRetryStrategy(std::uint32_t retryLimit) : m_retryLimit(retryLimit) {}

CS3DefaultRetryStrategy::~CS3DefaultRetryStrategy() = default;

bool CS3DefaultRetryStrategy::ShouldRetry(std::exception& error, unsigned int attempt,
                                          boost::chrono::steady_clock::time_point& retryAt)
{
    if (m_retryLimit <= attempt || !IsExceptionRetryable(error))
    {
        return false;
    }
    std::uint32_t const waitSec = 10 * attempt + 5;
    retryAt = boost::chrono::steady_clock::now() + boost::chrono::nanoseconds(boost::chrono::seconds(waitSec));
    return true;
}

bool CS3DefaultRetryStrategy::IsExceptionRetryable(std::exception& error) const
{
    if (auto const* const refusal = dynamic_cast<s3wire::CS3WireException const*>(&error))
    {
        return IsRefusalRetryable(*refusal);
    }
    return dynamic_cast<web::http::http_exception const*>(&error) != nullptr;
}

} // namespace bucketry
