// SPDX-License-Identifier: Apache-2.0
#include "s3wire/sending/retry.h"

#include "s3wire/codec/http_date.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace bucketry::s3wire
{

namespace
{

template <std::size_t N>
bool Contains(std::array<std::string_view, N> const& words, std::string_view word)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

} // namespace

bool CRetryBudget::TryTake()
{
    int tokens = m_tokens.load(std::memory_order_relaxed);
    while (tokens >= CostOfRepeat)
    {
        if (m_tokens.compare_exchange_weak(tokens, tokens - CostOfRepeat, std::memory_order_relaxed))
        {
            return true;
        }
    }
    return false;
}

void CRetryBudget::Succeeded()
{
    int tokens = m_tokens.load(std::memory_order_relaxed);
    while (tokens < m_capacity && !m_tokens.compare_exchange_weak(tokens, tokens + 1, std::memory_order_relaxed))
    {
    }
}

ERepeat RepeatAfter(unsigned status, std::string_view errorCode)
{
    constexpr std::array<std::string_view, 6> refusedAtTheDoor = {
        "SlowDown",      "Throttling", "ThrottlingException", "RequestLimitExceeded", "TooManyRequestsException",
        "RequestTimeout"};
    if (errorCode == "GlacierExpeditedRetrievalNotAvailable" || status == 501)
    {
        return ERepeat::Never;
    }
    if (status == 408 || status == 429 || status == 503 || Contains(refusedAtTheDoor, errorCode))
    {
        return ERepeat::Always;
    }
    return status >= 500 ? ERepeat::IfIdempotent : ERepeat::Never;
}

std::optional<std::chrono::milliseconds> ReadRetryAfter(std::string_view value, std::time_t now)
{
    unsigned seconds = 0;
    auto const [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
    if (error == std::errc() && end == value.data() + value.size())
    {
        return std::chrono::seconds(seconds);
    }
    if (auto const date = ReadHttpDate(value))
    {
        return std::chrono::seconds(std::max<std::time_t>(*date - now, 0));
    }
    return std::nullopt;
}

std::chrono::milliseconds PauseAfter(unsigned attempt, SRetryPolicy const& policy, double random,
                                     std::optional<std::chrono::milliseconds> retryAfter)
{
    unsigned const doublings = std::min(attempt - 1, 16u);
    auto const longest = std::min(policy.m_firstPause * (1 << doublings), policy.m_longestPause);
    auto const jittered = std::chrono::duration_cast<std::chrono::milliseconds>(longest * random);
    return std::max(jittered, std::min(retryAfter.value_or(std::chrono::milliseconds(0)), policy.m_longestRetryAfter));
}

} // namespace bucketry::s3wire
