#include "bucketry/base/logging.h"
#include "bucketry/client.h"
#include "bucketry/locks.h"

#include "lock_timing.h"

#include <algorithm>
#include <utility>

#include <boost/thread/lock_guard.hpp>

namespace bucketry::locks
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
constexpr int FailedKeepAlivePauseMsec = 5000;
constexpr int MinKeepAliveMsec = 10000;

constexpr unsigned short StatusNotFound = 404;

std::shared_ptr<SLockTiming const> DefaultTiming()
{
    static auto const timing = std::make_shared<SLockTiming const>();
    return timing;
}

std::shared_ptr<synch::completion_port_t> PortOrNew(std::shared_ptr<synch::completion_port_t> port)
{
    return port ? std::move(port) : std::make_shared<synch::completion_port_t>();
}

std::string NotObtained(std::string const& reason)
{
    return reason.empty() ? "Timed out waiting for cloud lock to acquire."
                          : util::str_format("Failed to acquire cloud lock. %1", reason);
}

} // namespace

/// What one acquisition carries from attempt to attempt.
struct CCloudOptimisticLock::SAttempt
{
    SLockInfo m_me;
    std::string m_reason{}; ///< of the holder that the last attempt saw
    int m_backOffMsec = FirstBackOffMsec;
};

/// The versions that one attempt has written.
struct CCloudOptimisticLock::SDeclared
{
    std::string m_declareVersion;
    std::string m_tryVersion;
};

CCloudOptimisticLock::CCloudOptimisticLock(ICloudClient& client, std::string const& folder,
                                           SCloudLockParams const& params, std::shared_ptr<CServerTime> serverTime)
    : CCloudOptimisticLock(client, folder, params, std::move(serverTime), DefaultTiming())
{
}

CCloudOptimisticLock::CCloudOptimisticLock(ICloudClient& client, std::string const& folder,
                                           SCloudLockParams const& params, std::shared_ptr<CServerTime> serverTime,
                                           std::shared_ptr<SLockTiming const> timing)
    : m_client(client),
      m_folder(folder),
      m_params(params),
      m_lockId(guid::guid_t::CreateNew().ToAStr()),
      m_serverTime(std::move(serverTime)),
      m_timing(std::move(timing))
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
        common_log.err(util::str_format("Failed to release cloud optimistic lock [%1].", m_folder), error);
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
    std::string error;
    TryLockImpl(timeoutMsec, port, error);
    if (!error.empty())
    {
        throw exc::CRuntimeExc("%1", error);
    }
}

bool CCloudOptimisticLock::TryLock(int timeoutMsec, synch::completion_port_t& port)
{
    std::string error;
    TryLockImpl(timeoutMsec, port, error);
    if (!error.empty())
    {
        common_log.warn("Can't get lock: %1", error);
    }
    return error.empty();
}

void CCloudOptimisticLock::Unlock()
{
    if (!m_locked)
    {
        return;
    }
    // Before the mutex is taken, so that a pass which waits for it can finish. A thread that does not end in time is kept:
    // it still uses this object.
    m_stopEvent.SetEvent();
    if (m_keepAliveThread)
    {
        m_keepAliveThread->WaitForFinishExc(m_timing->m_joinLimitMsec);
        m_keepAliveThread.reset();
    }
    boost::lock_guard<boost::mutex> const lock(m_mutex);
    CleanupOldLockObjVersions(0);
    common_log.info("Released cloud lock [%1]. Lock ID: [%2].", m_folder, m_lockId);
    m_locked = false;
}

guid::guid_t CCloudOptimisticLock::GetLockId() const
{
    return guid::guid_t::FromAStr(m_lockId);
}

// ---- Acquisition -----------------------------------------------------------------------------------------------------

void CCloudOptimisticLock::TryLockImpl(int timeoutMsec, synch::completion_port_t& port, std::string& error)
{
    if (m_locked)
    {
        error = "Cloud lock has already been acquired.";
        return;
    }
    unsigned long const start = m_timing->m_elapsedMsec();
    SAttempt attempt{MakeInfo()};
    while (true)
    {
        // As an unsigned number a negative limit is never reached.
        if (timeoutMsec != 0 && m_timing->m_elapsedMsec() - start >= static_cast<unsigned long>(timeoutMsec))
        {
            error = NotObtained(attempt.m_reason);
            return;
        }
        attempt.m_me.ValidTillUtc = GetValidTimeUtc();
        if (!BackOffFromHolder(attempt, port))
        {
            auto const written = DeclareAndTry(attempt.m_me);
            if (written && IsStillAlone(*written, attempt.m_me))
            {
                TakeLock(*written, attempt.m_me);
                return;
            }
        }
        ControlledSleep(port, m_timing->m_random() % RetrySpreadMsec + RetryPauseMsec);
    }
}

/// True if another holds the lock, after a pause.
bool CCloudOptimisticLock::BackOffFromHolder(SAttempt& attempt, synch::completion_port_t& port)
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
std::optional<CCloudOptimisticLock::SDeclared> CCloudOptimisticLock::DeclareAndTry(SLockInfo const& me)
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
        if (m_client.IsVersioningEnabled())
        {
            DeleteExactVersion(DeclareName, written.m_declareVersion);
        }
        return std::nullopt;
    }
    written.m_tryVersion = Put(TryName, me);
    return written;
}

/// Whether both objects still name this contender and nobody holds the lock. If not, takes back what it may: without
/// versions a deletion hits whoever wrote last.
bool CCloudOptimisticLock::IsStillAlone(SDeclared const& written, SLockInfo const& me)
{
    bool const versioned = m_client.IsVersioningEnabled();
    if (IsAnotherValidLock(TryGetLatestVersion(DeclareName), me))
    {
        if (versioned)
        {
            Withdraw(written);
        }
        else if (!IsAnotherValidLock(TryGetLatestVersion(TryName), me))
        {
            DeleteExactVersion(TryName, written.m_tryVersion);
        }
        return false;
    }
    if (IsAnotherValidLock(TryGetLatestVersion(TryName), me))
    {
        if (versioned)
        {
            DeleteExactVersion(TryName, written.m_tryVersion);
        }
        DeleteExactVersion(DeclareName, written.m_declareVersion);
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

void CCloudOptimisticLock::Withdraw(SDeclared const& written)
{
    DeleteExactVersion(TryName, written.m_tryVersion);
    DeleteExactVersion(DeclareName, written.m_declareVersion);
}

void CCloudOptimisticLock::TakeLock(SDeclared const& written, SLockInfo const& me)
{
    m_lockVersions.push_back(Put(LockName, me));
    DeleteExactVersion(DeclareName, written.m_declareVersion);
    DeleteExactVersion(TryName, written.m_tryVersion);
    common_log.info("Acquired cloud lock [%1]. Lock ID: [%2].", m_folder, m_lockId);
    m_stopEvent.ResetEvent();
    m_keepAliveThread = std::make_shared<synch::thread_adapter_t>(
        *this, &CCloudOptimisticLock::KeepAliveProc, util::str_format("Cloud exclusive lock %1", m_folder));
    m_locked = true;
}

// Checks before each slice, so that a cancelled acquisition ends within one slice.
void CCloudOptimisticLock::ControlledSleep(synch::completion_port_t& port, int msec) const
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

// ---- Records ---------------------------------------------------------------------------------------------------------

std::optional<SLockInfo> CCloudOptimisticLock::TryGetLatestVersion(std::string const& name)
{
    try
    {
        return GetLatestVersion(name);
    }
    catch (CObjectStorageException const& error)
    {
        if (error.m_statusCode == StatusNotFound)
        {
            return std::nullopt;
        }
        throw;
    }
}

SLockInfo CCloudOptimisticLock::GetLatestVersion(std::string const& name)
{
    auto const pool = io::block::bufs_pool_t::GetInst();
    auto const bufs = std::make_shared<io::block::CPooledBuf>(0, pool);
    m_client.DownloadFileAsync(PathOf(name), bufs, pool)->Wait();
    return SLockInfo::Unserialize(bufs);
}

/// Gives the new version's id, the empty text without versioning.
std::string CCloudOptimisticLock::Put(std::string const& name, SLockInfo const& info)
{
    if (!m_client.IsVersioningEnabled())
    {
        m_client.UploadFileAsync(PathOf(name), info.Serialize())->Wait();
        return "";
    }
    auto const version = std::make_shared<std::string>();
    m_client.GetVersioningUtils()->UploadFileAsync(PathOf(name), info.Serialize(), version, std::nullopt)->Wait();
    return *version;
}

void CCloudOptimisticLock::DeleteExactVersion(std::string const& name, std::string const& version)
{
    if (m_client.IsVersioningEnabled())
    {
        m_client.GetVersioningUtils()->DeleteFileVersionAsync(PathOf(name), version)->Wait();
    }
    else
    {
        m_client.DeleteFileAsync(PathOf(name))->Wait();
    }
}

/// A missing record counts as another's: somebody has removed it.
bool CCloudOptimisticLock::IsAnotherValidLock(std::optional<SLockInfo> const& found, SLockInfo const& me) const
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
bool CCloudOptimisticLock::IsTaken(std::string const& name, SLockInfo const& me)
{
    std::optional<SLockInfo> const found = TryGetLatestVersion(name);
    return found && IsAnotherValidLock(found, me);
}

datetime::CDateTime CCloudOptimisticLock::GetValidTimeUtc() const
{
    if (m_params.m_keepAliveMsec < MinKeepAliveMsec)
    {
        throw exc::CRuntimeExc("Invalid keep-alive interval. Value must be greater than 10 seconds.");
    }
    long const now = m_serverTime->GetServerUtcNow().toUnixTime();
    return datetime::CDateTime::fromUnixTime(now + m_params.m_keepAliveMsec / 1000, true);
}

SLockInfo CCloudOptimisticLock::MakeInfo() const
{
    return SLockInfo::Create(m_lockId, m_params.m_reason, SCloudLockParams::m_agentId);
}

std::string CCloudOptimisticLock::PathOf(std::string const& name) const
{
    return util::str_format("%1/%2", m_folder, name);
}

// ---- Keep-alive ------------------------------------------------------------------------------------------------------

void CCloudOptimisticLock::KeepAliveProc()
{
    try
    {
        SLockInfo me = MakeInfo();
        int waitMsec = m_params.m_keepAliveMsec / 2;
        while (!m_timing->m_waitForStop(m_stopEvent, waitMsec))
        {
            waitMsec = KeepAlivePass(me);
        }
    }
    catch (std::exception const& error)
    {
        common_log.err("Cloud lock keep alive thread has failed.", error);
    }
}

/// Writes the record anew, without a look at what is there, and says how long to wait for the next pass.
int CCloudOptimisticLock::KeepAlivePass(SLockInfo& me)
{
    boost::lock_guard<boost::mutex> const lock(m_mutex);
    me.ValidTillUtc = GetValidTimeUtc();
    try
    {
        m_lockVersions.push_back(Put(LockName, me));
        CleanupOldLockObjVersions(1);
        return m_params.m_keepAliveMsec / 2;
    }
    catch (std::exception const& error)
    {
        common_log.err("Failed to update cloud lock.", error);
        return FailedKeepAlivePauseMsec;
    }
}

/// Deletes the oldest versions. Without versions all ids are empty and name one object, which goes with its last entry.
void CCloudOptimisticLock::CleanupOldLockObjVersions(std::size_t keepCount)
{
    while (m_lockVersions.size() > keepCount)
    {
        std::string const& oldest = m_lockVersions.front();
        if (std::ranges::count(m_lockVersions, oldest) == 1)
        {
            DeleteExactVersion(LockName, oldest);
        }
        m_lockVersions.pop_front();
    }
}

} // namespace bucketry::locks
