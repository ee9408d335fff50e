// SPDX-License-Identifier: Apache-2.0
#include "faults/faults.h"

#include "protocol/text.h"

#include <algorithm>

namespace bucketry::simulator
{

namespace
{

bool NamesOperation(std::string_view names, std::string_view operation)
{
    for (;;)
    {
        auto const bar = names.find('|');
        if (GlobMatches(names.substr(0, bar), operation))
        {
            return true;
        }
        if (bar == std::string_view::npos)
        {
            return false;
        }
        names.remove_prefix(bar + 1);
    }
}

/// What the rate of a rule is counted by.
std::string RateKey(ERateScope scope, SRoute const& route)
{
    std::string const path = route.m_bucket + "/" + route.m_key;
    switch (scope)
    {
    case ERateScope::Key:
        return path;
    case ERateScope::Prefix:
        return path.substr(0, path.rfind('/'));
    case ERateScope::Rule:
        break;
    }
    return {};
}

} // namespace

std::string SFaultHit::Name() const
{
    std::string delay = m_delay.count() > 0 ? ActionName(EFaultAction::Delay) : "";
    if (!m_fault)
    {
        return delay;
    }
    return delay + (delay.empty() ? "" : ", ") + ActionName(m_fault->m_action);
}

void CFaults::Add(std::vector<SFault> const& faults)
{
    std::lock_guard const lock(m_mutex);
    for (auto const& fault : faults)
    {
        m_rules.push_back({.m_fault = fault, .m_random = std::mt19937_64(fault.m_seed)});
    }
}

void CFaults::Clear()
{
    std::lock_guard const lock(m_mutex);
    m_rules.clear();
}

SFaultHit CFaults::Pick(SRoute const& route, time_point_t now)
{
    SFaultHit hit;
    std::lock_guard const lock(m_mutex);
    for (auto& rule : m_rules)
    {
        if (!rule.Fires(route, now))
        {
            continue;
        }
        ++m_fired;
        if (rule.m_fault.m_action == EFaultAction::Delay)
        {
            hit.m_delay += std::chrono::milliseconds(rule.m_fault.m_amount);
            continue;
        }
        hit.m_fault = rule.m_fault;
        break;
    }
    return hit;
}

std::uint64_t CFaults::Fired() const
{
    std::lock_guard const lock(m_mutex);
    return m_fired;
}

bool CFaults::SRule::IsWithinRate(SRoute const& route, time_point_t now)
{
    double const burst = m_fault.m_burst;
    SAllowance& allowance =
        m_allowances.try_emplace(RateKey(m_fault.m_rateScope, route), SAllowance{burst, now}).first->second;
    double const seconds = std::chrono::duration<double>(now - allowance.m_at).count();
    // A clock that is set back gives nothing.
    allowance.m_left = std::min(burst, allowance.m_left + std::max(seconds, 0.0) * m_fault.m_rate);
    allowance.m_at = now;
    if (allowance.m_left < 1 - 1e-9) // what many small steps of the clock leave out
    {
        return false;
    }
    allowance.m_left -= 1;
    return true;
}

bool CFaults::SRule::Fires(SRoute const& route, time_point_t now)
{
    if (!NamesOperation(m_fault.m_operation, route.m_operation) || !GlobMatches(m_fault.m_bucket, route.m_bucket) ||
        !GlobMatches(m_fault.m_key, route.m_key) || (m_fault.m_rate > 0 && IsWithinRate(route, now)))
    {
        return false;
    }
    ++m_seen;
    bool const isCounted = (m_fault.m_nth == 0 || m_seen == m_fault.m_nth) &&
        (m_fault.m_every == 0 || m_seen % m_fault.m_every == 0) && (m_fault.m_times == 0 || m_fired < m_fault.m_times);
    // The upper 53 bits as a fraction, so that a seed means the same everywhere.
    if (!isCounted || (m_fault.m_chance < 1 && static_cast<double>(m_random() >> 11) * 0x1p-53 >= m_fault.m_chance))
    {
        return false;
    }
    ++m_fired;
    return true;
}

std::optional<CStoreError> FaultRefusal(SFault const& fault, SRequest const& request)
{
    switch (fault.m_action)
    {
    case EFaultAction::Status:
    {
        bool const isPlain = fault.m_code == "SlowDown" && fault.m_message.empty();
        CStoreError error(fault.m_status, fault.m_code, isPlain ? "Please reduce your request rate." : fault.m_message);
        error.m_hasBody = !fault.m_code.empty();
        if (fault.m_retryAfter)
        {
            error.m_headers.emplace_back("Retry-After", std::to_string(*fault.m_retryAfter));
        }
        return error;
    }
    case EFaultAction::ErrorIn200:
        return CStoreError(200, fault.m_code, fault.m_message);
    case EFaultAction::Empty200:
    {
        CStoreError empty(200, "", "");
        empty.m_hasBody = false;
        return empty;
    }
    case EFaultAction::Redirect:
    {
        bool const isPermanent = fault.m_status == 301;
        CStoreError redirect(fault.m_status, isPermanent ? "PermanentRedirect" : "TemporaryRedirect",
                             "Please send requests to the specified endpoint.");
        redirect.m_elements.emplace_back("Endpoint", fault.m_endpoint);
        if (!fault.m_region.empty())
        {
            redirect.m_headers.emplace_back("x-amz-bucket-region", fault.m_region);
        }
        if (!isPermanent)
        {
            redirect.m_headers.emplace_back(
                "Location", (request.m_isTls ? "https://" : "http://") + fault.m_endpoint + request.m_target);
        }
        return redirect;
    }
    case EFaultAction::WrongRegion:
        return CStoreError(400, "AuthorizationHeaderMalformed",
                           "The authorization header is malformed; the region is wrong; expecting '" + fault.m_region +
                               "'")
            .With("Region", fault.m_region)
            .Header("x-amz-bucket-region", fault.m_region);
    case EFaultAction::ExpiredToken:
        return CStoreError(400, "ExpiredToken", "The provided token has expired.");
    default:
        return std::nullopt;
    }
}

} // namespace bucketry::simulator
