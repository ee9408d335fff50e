// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/base/datetime.h"
#include "bucketry/base/export.h"
#include "bucketry/base/guid.h"
#include "bucketry/base/sync.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Locks between processes, kept as small objects in the container. What they promise, and under which assumptions, is
/// told in docs/locks/README.md.
namespace bucketry
{

class CServerTime;
class ICloudClient;

/// What a process that waits for a read-write lock asks of its holders.
struct BUCKETRY_API SCloudLockStopRequest
{
    std::string JobName;       ///< the job that wants the lock
    std::string Hostname;      ///< the machine it runs on
    std::int32_t Priority = 0; ///< of that job; only the holder's host interprets it
};

/// What a caller says about one lock. A plain record; locks keep their own copy.
struct BUCKETRY_API SCloudLockParams
{
    /// How long an acquisition may go on, in milliseconds.
    std::int32_t m_lockTimeoutMsec = 600000;
    /// How long a lock record counts after it was written, in milliseconds; it is renewed every half of it. At least
    /// 10000.
    std::int32_t m_keepAliveMsec = 60000;
    /// Why the lock is wanted; stored, and shown to those who wait.
    std::string m_reason;
    /// If present, a read-write lock that has to wait asks the holders to stop.
    std::optional<SCloudLockStopRequest> m_stopRequest;
    /// Without it the exclusive lock's acquisition does not pause at all.
    bool m_sleepEnabled = true;

    /// Identifies this process to other holders. The host sets it, before the first lock; the library only reads it.
    static std::optional<std::string> m_agentId;
};

/// The handle of a held lock.
class BUCKETRY_API ICloudLock
{
public:
    virtual ~ICloudLock() = default;
    virtual void Unlock() = 0;
    virtual guid::guid_t GetLockId() const = 0;
};

} // namespace bucketry

namespace bucketry::locks::details
{

class CLockProtocol;

} // namespace bucketry::locks::details

namespace bucketry::locks
{

/// One holder or contender, as it is stored: an XML element "SLockInfo" without children, all fields as attributes.
struct BUCKETRY_API SLockInfo
{
    std::string LockId;                     ///< text of a guid; the identity of the record
    datetime::CDateTime ValidTillUtc{true}; ///< the record counts up to and including this second of server time
    std::string Reason;                     ///< why the lock is wanted
    std::int32_t PID = 0;                   ///< of the writer; 0 if the record does not say
    std::optional<std::string> AgentId;     ///< of the writer's process

    /// A record of this process. ValidTillUtc is left to the caller.
    static SLockInfo Create(std::string const& lockId, std::string const& reason,
                            std::optional<std::string> const& agentId);

    /// Throws exc::CRuntimeExc for texts that XML cannot carry.
    std::string ToStr() const;
    /// Throws exc::CRuntimeExc for a text that is not such a record. Unknown attributes are ignored.
    static SLockInfo FromStr(std::string const& text);

    /// The same in a new pooled buffer that holds exactly the text.
    std::shared_ptr<io::block::CPooledBuf> Serialize() const;
    static SLockInfo Unserialize(std::shared_ptr<io::block::CPooledBuf> bufs);

    /// Compares LockId only.
    bool operator==(SLockInfo const& other) const;
};

/// The exclusive lock of a folder, between processes that share nothing but the container. It keeps the objects
/// "declare", "try" and "lock" in the folder, each with a time until which it counts; a dead holder's lock runs out by
/// itself.
///
/// Fails with:   the storage's failures and those of a malformed record, as they come. What was written stays until it
///               has run out, and then counts no more; the same lock object may try again at once.
/// Held:         a thread writes the "lock" object anew every half keep-alive interval. A renewal that fails is logged
///               and repeated; the holder is not told.
/// Threads:      acquire and release from one thread at a time.
/// Lifetime:     the client is held by reference and must outlive the lock.
class BUCKETRY_API CCloudOptimisticLock final : public ICloudLock
{
public:
    /// Writes nothing yet.
    /// \param serverTime  the clock of every validity decision, as ICloudClient::GetServerTime gives it; not null
    CCloudOptimisticLock(ICloudClient& client, std::string const& folder, SCloudLockParams const& params,
                         std::shared_ptr<CServerTime> serverTime);
    CCloudOptimisticLock(CCloudOptimisticLock const&) = delete;
    CCloudOptimisticLock& operator=(CCloudOptimisticLock const&) = delete;
    /// Releases; a failure is logged, and the objects then stay until they run out. Waits for the keep-alive thread.
    ~CCloudOptimisticLock() override;

    /// Makes a lock and acquires it within m_lockTimeoutMsec; throws as the member does.
    /// \param port  cancels the acquisition; may be null
    static std::shared_ptr<CCloudOptimisticLock> Lock(ICloudClient& client, std::string const& folder,
                                                      SCloudLockParams const& params,
                                                      std::shared_ptr<synch::completion_port_t> port,
                                                      std::shared_ptr<CServerTime> serverTime);
    /// The same; null if the lock was not obtained in time.
    static std::shared_ptr<CCloudOptimisticLock> TryLock(ICloudClient& client, std::string const& folder,
                                                         SCloudLockParams const& params,
                                                         std::shared_ptr<synch::completion_port_t> port,
                                                         std::shared_ptr<CServerTime> serverTime);

    /// Blocks until the lock is held. Throws exc::CRuntimeExc if it was not obtained in time, if it is held by this
    /// object already, or if the keep-alive interval is below 10000 ms; the port's error once that has been posted.
    /// \param timeoutMsec  0 and less wait without limit
    void Lock(int timeoutMsec, synch::completion_port_t& port);
    /// The same, but false, with a warning in the log, if the lock was not obtained in time or is held already.
    bool TryLock(int timeoutMsec, synch::completion_port_t& port);

    /// Releases; does nothing if the lock is not held. After a failure it still counts as held here: call it again.
    void Unlock() override;
    guid::guid_t GetLockId() const override;

private:
    std::unique_ptr<details::CLockProtocol> const m_protocol;
};

/// Told by a read-write lock's thread that somebody who waits asks this holder to stop. The host implements it.
class BUCKETRY_API IStopEventHandler
{
public:
    virtual ~IStopEventHandler() = default;
    virtual void OnStopEvent(guid::guid_t const& lockId, SCloudLockStopRequest const& request) = 0;
};

} // namespace bucketry::locks
