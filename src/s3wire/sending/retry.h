// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

/// When a request is sent again, and how long is waited before.
namespace bucketry::s3wire
{

struct SRetryPolicy
{
    unsigned m_attempts = 5; ///< the first one included
    std::chrono::milliseconds m_firstPause{200};
    std::chrono::milliseconds m_longestPause{20'000};
    std::chrono::milliseconds m_longestRetryAfter{60'000};
    std::chrono::milliseconds m_totalTime{900'000}; ///< no further attempt begins after this
};

/// Keeps the clients of a process from answering an overloaded store with more requests. Each repeat takes from it and
/// each success gives a little back, so that on the whole about one request in five may be a repeat. Any number of
/// threads.
class CRetryBudget
{
public:
    explicit CRetryBudget(int capacity = 500) : m_capacity(capacity), m_tokens(capacity) {}

    /// False if there is nothing left: then the failure is final.
    bool TryTake();
    void Succeeded();

private:
    static constexpr int CostOfRepeat = 5;

    int const m_capacity;
    std::atomic<int> m_tokens;
};

/// What an answer or its absence says about sending the request again.
enum class ERepeat
{
    Never,
    IfIdempotent, ///< the store may have done the work
    Always        ///< the store has not begun
};
ERepeat RepeatAfter(unsigned status, std::string_view errorCode);

/// The value of Retry-After as a pause from `now` on, seconds or a date (RFC 9110); none if it is neither.
std::optional<std::chrono::milliseconds> ReadRetryAfter(std::string_view value, std::time_t now);

/// The pause before attempt number `attempt` + 1: exponential with full jitter, `random` from 0 to 1, and at least what
/// the store asks for.
std::chrono::milliseconds PauseAfter(unsigned attempt, SRetryPolicy const& policy, double random,
                                     std::optional<std::chrono::milliseconds> retryAfter);

} // namespace bucketry::s3wire
