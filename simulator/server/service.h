// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "operations/jobs.h"
#include "operations/metadata.h"
#include "protocol/route.h"
#include "server/clock.h"

#include <atomic>
#include <map>
#include <mutex>

namespace bucketry::simulator
{

/// The store without its socket: requests in, answers out. Any number of threads.
class CService
{
public:
    CService(SSimulatorOptions const& options, CClock const& clock);

    /// Gives the request its id, splits its target and tells what it asks for.
    SRoute Route(SRequest& request);
    /// Does the work. Never throws for what a client may send. The store's clock is `skew` ahead.
    SResponse Handle(SRequest request, SRoute const& route, std::chrono::seconds skew = {});
    /// The refusal as an answer to that request.
    SResponse Refuse(CStoreError error, SRequest const& request, SRoute const& route) const;
    /// The store's time.
    time_point_t Now() const { return m_clock.Now(); }
    /// Adds the headers that every answer has.
    void Finish(SResponse& response, SRequest const& request, std::chrono::seconds skew = {}) const;

    /// Throws std::invalid_argument if there is such a bucket already.
    void AddBucket(std::string const& name, SBucketOptions const& options);
    /// As CSimulator has them.
    void AddAccessPoint(SAccessPoint const& accessPoint);
    void AddAccessKey(SAccessKey const& key);
    void SetJobScript(std::vector<std::string> statuses, std::chrono::milliseconds each);
    /// Calls `use(SBucket&)` while the store is locked. Throws std::invalid_argument if there is no such bucket.
    template <class TUse>
    auto UseBucket(std::string const& name, TUse&& use)
    {
        std::lock_guard const lock(m_storeMutex);
        SBucket* const bucket = m_store.FindBucket(name);
        if (bucket == nullptr)
        {
            throw std::invalid_argument("There is no bucket " + name + ".");
        }
        return use(*bucket);
    }

private:
    SResponse Work(SRequest& request, SRoute const& route, time_point_t now);
    /// The region that a signature has to name. Refuses what has to be asked for elsewhere.
    std::string ExpectedRegion(SRoute const& route, SRequest const& request);
    std::optional<SAccessKey> FindKey(std::string const& id) const;
    SHosts Hosts() const;

    SSimulatorOptions const m_options;
    STraits m_traits;
    CClock const& m_clock;
    std::atomic<std::uint64_t> m_requests{0};

    mutable std::mutex m_keysMutex;           // taken after m_storeMutex, if both are
    std::map<std::string, SAccessKey> m_keys; // guarded by m_keysMutex
    SHosts m_hosts;                           // guarded by m_keysMutex

    std::mutex m_storeMutex;
    CStore m_store;              // guarded by m_storeMutex
    CJobs m_jobs;                // guarded by m_storeMutex
    CMetadataService m_metadata; // guarded by m_storeMutex
};

} // namespace bucketry::simulator
