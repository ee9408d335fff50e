// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/route.h"

#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace bucketry::simulator
{

/// What the rules do to one request.
struct SFaultHit
{
    std::chrono::milliseconds m_delay{0};
    std::optional<SFault> m_fault; ///< never a delay

    /// Whether a rule with that action fired.
    bool Is(EFaultAction action) const { return m_fault && m_fault->m_action == action; }
    /// As a script writes the actions; empty if nothing hit.
    std::string Name() const;
};

/// The rules and their counts. Any number of threads.
class CFaults
{
public:
    /// Adds rules behind those that are there.
    void Add(std::vector<SFault> const& faults);
    /// Forgets all rules.
    void Clear();
    /// Counts the request with the rules that it fits, and tells what they do to it. `now` is for rates.
    SFaultHit Pick(SRoute const& route, time_point_t now);
    /// How often a rule fired since construction.
    std::uint64_t Fired() const;

private:
    /// What is left of a rate's burst.
    struct SAllowance
    {
        double m_left;
        time_point_t m_at; ///< when it was so much
    };
    struct SRule
    {
        SFault m_fault;
        unsigned m_seen = 0;
        unsigned m_fired = 0;
        std::mt19937_64 m_random;
        std::map<std::string, SAllowance> m_allowances{}; ///< by what the rate is for

        bool Fires(SRoute const& route, time_point_t now);
        /// Takes one request from the allowance that it falls under. False if there is none left.
        bool IsWithinRate(SRoute const& route, time_point_t now);
    };

    mutable std::mutex m_mutex;
    std::vector<SRule> m_rules; // guarded by m_mutex
    std::uint64_t m_fired = 0;  // guarded by m_mutex
};

/// The word by which a script names the action.
std::string ActionName(EFaultAction action);

/// The refusal that a fault puts in the place of the work; nothing if the work is done all the same.
std::optional<CStoreError> FaultRefusal(SFault const& fault, SRequest const& request);

} // namespace bucketry::simulator
