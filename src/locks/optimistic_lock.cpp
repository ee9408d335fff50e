// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/logging.h"
#include "bucketry/client.h"
#include "bucketry/locks.h"

#include "keep_alive.h"
#include "stored_records.h"
#include "timing.h"

#include <algorithm>
#include <utility>

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>

namespace bucketry::locks::details
{

namespace
{

constexpr auto DeclareName = "declare";
constexpr auto TryName = "try";
constexpr auto LockName = "lock";

constexpr int DeclarePauseMsec = 200;
constexpr int FirstBackOffMsec = 1000;
constexpr int MaxBackOffMsec = 60000;
constexpr int RetryPauseMsec = 1000;
constexpr int RetrySpreadMsec = 2000;
constexpr int MaxSleepSliceMsec = 2000;
constexpr int MinKeepAliveMsec = 10000;
constexpr int JoinLimitMsec = 60000;

/// What one acquisition carries from attempt to attempt.
struct SAttempt
{
    SLockInfo m_me;
    std::string m_reason{}; ///< of the holder that the last attempt saw
    int m_backOffMsec = FirstBackOffMsec;
};

/// The versions that one attempt has written.
struct SDeclared
{
    std::string m_declareVersion;
    std::string m_tryVersion;
};

std::string NotObtained(std::string const& reason)
{
    return reason.empty() ? "Timed out waiting for cloud lock to acquire."
                          : util::str_format("Failed to acquire cloud lock. %1", reason);
}

} // namespace

/// The protocol. docs/locks/README.md tells its steps and what they promise.
class CLockProtocol
{
public:
    CLockProtocol(ICloudClient& client, std::string const& folder, SCloudLockParams const& params,
                  std::shared_ptr<CServerTime> serverTime);

    /// Why the lock was not obtained; empty if it was.
    std::string TryLock(int timeoutMsec, synch::completion_port_t& port);
    void Unlock();

    std::string const m_folder;
    std::string const m_lockId;

private:
    bool BackOffFromHolder(SAttempt& attempt, synch::completion_port_t& port) const;
    std::optional<SDeclared> DeclareAndTry(SLockInfo const& me) const;
    bool IsStillAlone(SDeclared const& written, SLockInfo const& me) const;
    void Withdraw(SDeclared const& written) const;
    void TakeLock(SDeclared const& written, SLockInfo const& me);
    EPass KeepAlivePass(SLockInfo& me);

    std::optional<SLockInfo> TryGetLatestVersion(std::string const& name) const;
    std::string Put(std::string const& name, SLockInfo const& info) const;
    bool IsAnotherValidLock(std::optional<SLockInfo> const& found, SLockInfo const& me) const;
    bool IsTaken(std::string const& name, SLockInfo const& me) const;
    datetime::CDateTime GetValidTimeUtc() const;
    SLockInfo MakeInfo() const;
    void ControlledSleep(synch::completion_port_t& port, int msec) const;

    SCloudLockParams const m_params;
    std::shared_ptr<CServerTime> const m_serverTime;
    std::shared_ptr<SLockTiming const> const m_timing = CurrentTiming();
    CStoredRecords const m_records;
    bool m_locked = false;                  ///< the owner's thread only
    boost::mutex m_mutex;                   ///< guards a keep-alive pass against a release
    std::deque<std::string> m_lockVersions; ///< guarded by m_mutex while the thread runs; the oldest first
    CKeepAlive m_keepAlive;                 ///< the last member: its thread uses the others
};

CLockProtocol::CLockProtocol(ICloudClient& client, std::string const& folder, SCloudLockParams const& params,
                             std::shared_ptr<CServerTime> serverTime)
    : m_folder(folder),
      m_lockId(guid::guid_t::CreateNew().ToAStr()),
      m_params(params),
      m_serverTime(std::move(serverTime)),
      m_records(client, folder),
      m_keepAlive(m_timing, params.m_keepAliveMsec, JoinLimitMsec)
{
}

// ---- Acquisition ----------------------------------------------------------------------------------------------------

std::string CLockProtocol::TryLock(int timeoutMsec, synch::completion_port_t& port)
{
    if (m_locked)
    {
        return "Cloud lock has already been acquired.";
    }
    unsigned long const start = m_timing->m_elapsedMsec();
    SAttempt attempt{MakeInfo()};
    while (true)
    {
        // As an unsigned number a negative limit is never reached.
        if (timeoutMsec != 0 && m_timing->m_elapsedMsec() - start >= static_cast<unsigned long>(timeoutMsec))
        {
            return NotObtained(attempt.m_reason);
        }
        attempt.m_me.ValidTillUtc = GetValidTimeUtc();
        if (!BackOffFromHolder(attempt, port))
        {
            auto const written = DeclareAndTry(attempt.m_me);
            if (written && IsStillAlone(*written, attempt.m_me))
            {
                TakeLock(*written, attempt.m_me);
                return "";
            }
        }
        ControlledSleep(port, m_timing->m_random() % RetrySpreadMsec + RetryPauseMsec);
    }
}

/// True if another holds the lock, after a pause.
bool CLockProtocol::BackOffFromHolder(SAttempt& attempt, synch::completion_port_t& port) const
{
    std::optional<SLockInfo> const holder = TryGetLatestVersion(LockName);
    if (!holder || !IsAnotherValidLock(holder, attempt.m_me))
    {
        attempt.m_reason.clear();
        return false;
    }
    attempt.m_reason = holder->Reason;
    common_log.info("Waiting for cloud lock [%1]. %2. PID: [%3], agent id [%4]", m_folder, holder->Reason, holder->PID,
                    holder->AgentId.value_or(""));
    ControlledSleep(port, attempt.m_backOffMsec);
    attempt.m_backOffMsec = std::min(2 * attempt.m_backOffMsec, MaxBackOffMsec);
    return true;
}

/// Writes "declare" and "try"; nothing if another contender is ahead.
std::optional<SDeclared> CLockProtocol::DeclareAndTry(SLockInfo const& me) const
{
    if (IsTaken(DeclareName, me))
    {
        return std::nullopt;
    }
    SDeclared written;
    written.m_declareVersion = Put(DeclareName, me);
    m_timing->m_sleep(DeclarePauseMsec);
    if (IsTaken(TryName, me))
    {
        if (m_records.HasVersions())
        {
            m_records.DeleteExactVersion(DeclareName, written.m_declareVersion);
        }
        return std::nullopt;
    }
    written.m_tryVersion = Put(TryName, me);
    return written;
}

/// Whether both objects still name this contender and nobody holds the lock. If not, takes back what it may: without
/// versions a deletion hits whoever wrote last.
bool CLockProtocol::IsStillAlone(SDeclared const& written, SLockInfo const& me) const
{
    bool const versioned = m_records.HasVersions();
    if (IsAnotherValidLock(TryGetLatestVersion(DeclareName), me))
    {
        if (versioned)
        {
            Withdraw(written);
        }
        else if (!IsAnotherValidLock(TryGetLatestVersion(TryName), me))
        {
            m_records.DeleteExactVersion(TryName, written.m_tryVersion);
        }
        return false;
    }
    if (IsAnotherValidLock(TryGetLatestVersion(TryName), me))
    {
        if (versioned)
        {
            m_records.DeleteExactVersion(TryName, written.m_tryVersion);
        }
        m_records.DeleteExactVersion(DeclareName, written.m_declareVersion);
        return false;
    }
    if (IsTaken(LockName, me))
    {
        if (versioned)
        {
            Withdraw(written);
        }
        return false;
    }
    return true;
}

void CLockProtocol::Withdraw(SDeclared const& written) const
{
    m_records.DeleteExactVersion(TryName, written.m_tryVersion);
    m_records.DeleteExactVersion(DeclareName, written.m_declareVersion);
}

void CLockProtocol::TakeLock(SDeclared const& written, SLockInfo const& me)
{
    m_lockVersions.push_back(Put(LockName, me));
    m_records.DeleteExactVersion(DeclareName, written.m_declareVersion);
    m_records.DeleteExactVersion(TryName, written.m_tryVersion);
    common_log.info("Acquired cloud lock [%1]. Lock ID: [%2].", m_folder, m_lockId);
    m_keepAlive.Start([this, renewed = MakeInfo()]() mutable { return KeepAlivePass(renewed); },
                      util::str_format("Cloud exclusive lock %1", m_folder));
    m_locked = true;
}

// Checks before each slice, so that a cancelled acquisition ends within one slice.
void CLockProtocol::ControlledSleep(synch::completion_port_t& port, int msec) const
{
    if (!m_params.m_sleepEnabled)
    {
        return;
    }
    while (msec > 0)
    {
        port.CheckForErrorsExc();
        int const slice = std::min(msec, MaxSleepSliceMsec);
        m_timing->m_sleep(slice);
        msec -= slice;
    }
}

// ---- Holding and release --------------------------------------------------------------------------------------------

/// Writes the record anew, without a look at what is there.
EPass CLockProtocol::KeepAlivePass(SLockInfo& me)
{
    boost::unique_lock<boost::mutex> lock(m_mutex);
    me.ValidTillUtc = GetValidTimeUtc();
    try
    {
        m_lockVersions.push_back(Put(LockName, me));
        m_records.DeleteOldestVersions(LockName, m_lockVersions, 1);
        return EPass::Renewed;
    }
    catch (std::exception const& error)
    {
        lock.unlock(); // a host's log sink is not called under it
        common_log.err("Failed to update cloud lock.", error);
        return EPass::Failed;
    }
}

void CLockProtocol::Unlock()
{
    if (!m_locked)
    {
        return;
    }
    // Before the mutex is taken, so that a pass which waits for it can finish.
    m_keepAlive.Stop();
    {
        boost::lock_guard<boost::mutex> const lock(m_mutex);
        m_records.DeleteOldestVersions(LockName, m_lockVersions, 0);
    }
    common_log.info("Released cloud lock [%1]. Lock ID: [%2].", m_folder, m_lockId);
    m_locked = false;
}

// ---- Records --------------------------------------------------------------------------------------------------------

std::optional<SLockInfo> CLockProtocol::TryGetLatestVersion(std::string const& name) const
{
    auto const record = m_records.TryGetLatestVersion(name);
    return record ? std::optional(SLockInfo::Unserialize(record)) : std::nullopt;
}

std::string CLockProtocol::Put(std::string const& name, SLockInfo const& info) const
{
    return m_records.Put(name, info.Serialize());
}

/// A missing record counts as another's: somebody has removed it.
bool CLockProtocol::IsAnotherValidLock(std::optional<SLockInfo> const& found, SLockInfo const& me) const
{
    if (!found)
    {
        return true;
    }
    if (found->ValidTillUtc < m_serverTime->GetServerUtcNow())
    {
        return false;
    }
    return !(*found == me);
}

/// Whether the object is there, and another's. A missing one is free.
bool CLockProtocol::IsTaken(std::string const& name, SLockInfo const& me) const
{
    std::optional<SLockInfo> const found = TryGetLatestVersion(name);
    return found && IsAnotherValidLock(found, me);
}

datetime::CDateTime CLockProtocol::GetValidTimeUtc() const
{
    if (m_params.m_keepAliveMsec < MinKeepAliveMsec)
    {
        throw exc::CRuntimeExc("Invalid keep-alive interval. Value must be greater than 10 seconds.");
    }
    long const now = m_serverTime->GetServerUtcNow().toUnixTime();
    return datetime::CDateTime::fromUnixTime(now + m_params.m_keepAliveMsec / 1000, true);
}

SLockInfo CLockProtocol::MakeInfo() const
{
    return SLockInfo::Create(m_lockId, m_params.m_reason, SCloudLockParams::m_agentId);
}

} // namespace bucketry::locks::details

namespace bucketry::locks
{

namespace
{

std::shared_ptr<synch::completion_port_t> PortOrNew(std::shared_ptr<synch::completion_port_t> port)
{
    return port ? std::move(port) : std::make_shared<synch::completion_port_t>();
}

} // namespace

CCloudOptimisticLock::CCloudOptimisticLock(ICloudClient& client, std::string const& folder,
                                           SCloudLockParams const& params, std::shared_ptr<CServerTime> serverTime)
    : m_protocol(std::make_unique<details::CLockProtocol>(client, folder, params, std::move(serverTime)))
{
}

CCloudOptimisticLock::~CCloudOptimisticLock()
{
    try
    {
        Unlock();
    }
    catch (std::exception const& error)
    {
        common_log.err(util::str_format("Failed to release cloud optimistic lock [%1].", m_protocol->m_folder), error);
    }
}

std::shared_ptr<CCloudOptimisticLock> CCloudOptimisticLock::Lock(ICloudClient& client, std::string const& folder,
                                                                 SCloudLockParams const& params,
                                                                 std::shared_ptr<synch::completion_port_t> port,
                                                                 std::shared_ptr<CServerTime> serverTime)
{
    auto lock = std::make_shared<CCloudOptimisticLock>(client, folder, params, std::move(serverTime));
    lock->Lock(params.m_lockTimeoutMsec, *PortOrNew(std::move(port)));
    return lock;
}

std::shared_ptr<CCloudOptimisticLock> CCloudOptimisticLock::TryLock(ICloudClient& client, std::string const& folder,
                                                                    SCloudLockParams const& params,
                                                                    std::shared_ptr<synch::completion_port_t> port,
                                                                    std::shared_ptr<CServerTime> serverTime)
{
    auto lock = std::make_shared<CCloudOptimisticLock>(client, folder, params, std::move(serverTime));
    return lock->TryLock(params.m_lockTimeoutMsec, *PortOrNew(std::move(port))) ? lock : nullptr;
}

void CCloudOptimisticLock::Lock(int timeoutMsec, synch::completion_port_t& port)
{
    std::string const error = m_protocol->TryLock(timeoutMsec, port);
    if (!error.empty())
    {
        throw exc::CRuntimeExc("%1", error);
    }
}

bool CCloudOptimisticLock::TryLock(int timeoutMsec, synch::completion_port_t& port)
{
    std::string const error = m_protocol->TryLock(timeoutMsec, port);
    if (!error.empty())
    {
        common_log.warn("Can't get lock: %1", error);
    }
    return error.empty();
}

void CCloudOptimisticLock::Unlock()
{
    m_protocol->Unlock();
}

guid::guid_t CCloudOptimisticLock::GetLockId() const
{
    return guid::guid_t::FromAStr(m_protocol->m_lockId);
}

} // namespace bucketry::locks
