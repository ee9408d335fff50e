// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/sending/address.h"
#include "s3wire/wire/request.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>

namespace bucketry::s3wire
{

/// What is known of a store before it has answered.
struct SStoreTraits
{
    bool m_google = false;                            ///< speaks Google's dialect
    bool m_givesChecksums = false;                    ///< gives the checksum of an object when it is asked to
    std::uint64_t m_maxCopySize = 5UL << 30;          ///< bytes that one request may copy, where the store refuses more
    std::uint64_t m_copyPartSize = 256UL << 20;       ///< bytes of a part of a larger copy, at least
    std::chrono::milliseconds m_pauseAfterTooMany{0}; ///< at least, before a request that met status 429 is sent again
};

/// By the store's endpoint; an empty one stands for Amazon's own.
SStoreTraits TraitsOf(std::string const& endpoint);

/// Whether an endpoint is one of Google's: its text contains the host name that the process's options give.
bool IsGoogleEndpoint(std::string const& endpoint);

/// Where a client's requests go.
struct SStoreAddress
{
    std::optional<SEndpoint> m_endpoint; ///< none if each request names its host by an ARN in place of the bucket
    std::string m_region;                ///< to sign for; empty signs as us-east-1
    bool m_virtualHosted = false;
};

/// The ways by which an object gets its lock.
enum class ELockRoute
{
    Put,
    Copy,
    Multipart
};

/// What the lock headers of a route do.
enum class ELockHeaders
{
    Unknown,
    Honoured,
    Unproven ///< ignored, or nobody can tell
};

/// What is known about a bucket by now.
struct SBucketRecord
{
    std::optional<SAddress> m_address;     ///< none until a request has gone there
    bool m_wantsMd5 = false;               ///< writes without Content-MD5 have been refused
    std::optional<bool> m_keepsVersions;   ///< where versions are generations; none until the store has told
    bool m_namesNoVersions = false;        ///< gave no version id for an object that was looked at
    std::array<ELockHeaders, 3> m_locks{}; ///< by ELockRoute

    ELockHeaders& LockHeaders(ELockRoute route) { return m_locks[static_cast<std::size_t>(route)]; }
    ELockHeaders LockHeaders(ELockRoute route) const { return m_locks[static_cast<std::size_t>(route)]; }
};

/// All that is known about a store: what its address tells, and what its answers have taught. One object is shared by
/// all copies of a client. Any number of threads at once.
class CStoreRecord
{
public:
    using bucket_t = std::shared_ptr<SBucketRecord const>;

    CStoreRecord(SStoreAddress address, SStoreTraits const& traits);

    SStoreTraits const& Traits() const { return m_traits; }

    /// As it stands now; later changes are made to another copy.
    bucket_t Bucket(std::string const& bucket) const;
    /// The same with the address in it. Throws exc::CRuntimeExc if the bucket has none, or the ARN cannot be served.
    bucket_t BucketWithAddress(std::string const& bucket);
    /// `change` is given the record to change it, under a mutex.
    template <class TChange>
    bucket_t Change(std::string const& bucket, TChange const& change)
    {
        std::unique_lock const lock(m_mutex);
        bucket_t& entry = m_buckets[bucket];
        auto changed = entry ? std::make_shared<SBucketRecord>(*entry) : std::make_shared<SBucketRecord>();
        change(*changed);
        return entry = std::move(changed);
    }

    /// Where a bucket that is named by its name would be in another region. There must be an endpoint.
    SAddress AddressInRegion(std::string const& bucket, std::string const& region) const;
    /// The address of a request to another service than S3.
    SAddress AddressOfService(wire::SWireRequest const& request) const;
    std::optional<SEndpoint> const& Endpoint() const { return m_address.m_endpoint; }

    /// Seconds that the store is ahead of this machine.
    std::time_t ClockOffset() const { return m_clockOffset.load(std::memory_order_relaxed); }
    void SetClockOffset(std::time_t seconds) { m_clockOffset.store(seconds, std::memory_order_relaxed); }

private:
    SAddress FirstAddress(std::string const& bucket) const;
    SEndpoint const* EndpointOrNull() const { return m_address.m_endpoint ? &*m_address.m_endpoint : nullptr; }

    SStoreAddress const m_address;
    SStoreTraits const m_traits;
    std::atomic<std::time_t> m_clockOffset{0};
    mutable std::shared_mutex m_mutex;
    std::map<std::string, bucket_t> m_buckets; ///< guarded by m_mutex
};

/// Whether a bucket is named by the ARN of an access point.
bool IsArn(std::string const& bucket);

} // namespace bucketry::s3wire
