// SPDX-License-Identifier: Apache-2.0
#include "child.h"
#include "cli.h"
#include "signals.h"
#include "text.h"

#include "bucketry/locks.h"

#include <algorithm>
#include <cstdlib>
#include <future>
#include <limits>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace bucketry::tool
{

namespace
{

using std::chrono::milliseconds;
using clock_t = std::chrono::steady_clock;

constexpr unsigned short StatusNotFound = 404;

struct SLockOptions
{
    std::string m_folder;
    std::vector<std::string> m_command;
    SCloudLockParams m_params;
};

/// Takes the lock. In a local root contenders can make an attempt fail; the same lock then tries again, for a while.
void Acquire(locks::CCloudOptimisticLock& lock, int timeoutMsec, bool isLocal, synch::completion_port_t& port)
{
    constexpr int maxFailures = 10;
    auto const deadline = timeoutMsec > 0 ? clock_t::now() + milliseconds(timeoutMsec) : clock_t::time_point::max();
    for (int failures = 1;; ++failures)
    {
        try
        {
            auto const left = std::chrono::duration_cast<milliseconds>(deadline - clock_t::now()).count();
            return lock.Lock(timeoutMsec > 0 ? static_cast<int>(std::max<long>(left, 1)) : 0, port);
        }
        catch (std::exception const&)
        {
            port.CheckForErrorsExc();
            if (!isLocal || failures == maxFailures || clock_t::now() >= deadline)
            {
                throw;
            }
        }
        std::this_thread::sleep_for(milliseconds(100 + std::rand() % 400));
    }
}

/// Looks now and then whether a held lock is still ours: a renewal that failed tells nobody.
class CLockWatch
{
public:
    CLockWatch(CHost& host, ICloudClient& client, std::string const& folder, std::string lockId)
        : m_pool(host.Pool()),
          m_client(client),
          m_serverTime(client.GetServerTime()),
          m_record(JoinPath(folder, "lock")),
          m_lockId(std::move(lockId))
    {
    }

    /// Whether the lock has been ours all the time. To be asked more often than the lock is renewed.
    bool IsHeld()
    {
        // The record that was seen last has run out: another may have held the lock, whatever stands there by now.
        if (!m_validTill.IsNull() && m_validTill < m_serverTime->GetServerUtcNow())
        {
            m_isHeld = false;
        }
        if (!IsRecordOurs()) // once more, since in a local root it may have been read while it was written
        {
            std::this_thread::sleep_for(milliseconds(50));
            m_isHeld = m_isHeld && IsRecordOurs();
        }
        return m_isHeld;
    }

private:
    /// Also true if that cannot be told.
    bool IsRecordOurs()
    {
        try
        {
            auto const body = io::block::CPooledBuf::Alloc(0, m_pool);
            m_client.DownloadFileAsync(m_record, body, m_pool)->Wait();
            auto const record = locks::SLockInfo::Unserialize(body);
            m_validTill = record.LockId == m_lockId ? record.ValidTillUtc : m_validTill;
            return record.LockId == m_lockId;
        }
        catch (CObjectStorageException const& error)
        {
            return error.m_statusCode != StatusNotFound;
        }
        catch (std::exception const&)
        {
            return true;
        }
    }

    std::shared_ptr<io::block::bufs_pool_t> const m_pool;
    ICloudClient& m_client;
    std::shared_ptr<CServerTime> const m_serverTime;
    std::string const m_record;
    std::string const m_lockId;
    datetime::CDateTime m_validTill{true}; ///< of the record that was seen last
    bool m_isHeld = true;
};

/// One run of the command under the lock.
class CLockedRun
{
public:
    CLockedRun(CHost& host, SLockOptions const& options)
        : m_host(host),
          m_options(options),
          m_folder(StoragePathBelowRoot(options.m_folder, "folder to lock")),
          m_client(host.Client(EAccess::Write)),
          m_lock(m_client, m_folder, options.m_params, m_client.GetServerTime())
    {
    }

    int Run()
    {
        if (int const signal = WaitForLock(); signal != 0)
        {
            m_host.Output().Error("Interrupted while waiting for the lock.");
            return 128 + signal;
        }
        CLockWatch watch(m_host, m_client, m_folder, m_lock.GetLockId().ToAStr());
        int const status = RunCommand(watch);
        if (!watch.IsHeld())
        {
            throw exc::CRuntimeExc("The lock [%1] was lost while the command ran, which ended with status %2.",
                                   Printable(m_folder), status);
        }
        m_lock.Unlock();
        CJsonObject json;
        json.Add("path", m_folder).Add("status", static_cast<std::uint64_t>(status));
        m_host.Output().Result(status == 0, "", json);
        return status;
    }

private:
    /// The signal that ended the wait, or 0. Throws if the lock could not be had.
    int WaitForLock()
    {
        synch::completion_port_t port;
        bool const isLocal = m_host.LocalRoot().has_value();
        auto acquired = std::async(std::launch::async,
                                   [&] { Acquire(m_lock, m_options.m_params.m_lockTimeoutMsec, isLocal, port); });
        int signal = 0;
        while (acquired.wait_for(milliseconds(0)) != std::future_status::ready)
        {
            if (auto const next = m_signals.Next(milliseconds(20)); next && next->si_signo != SIGCHLD)
            {
                signal = next->si_signo;
                port.PostError(exc::CRuntimeExc("Interrupted."));
            }
        }
        try
        {
            acquired.get();
        }
        catch (std::exception const& error)
        {
            if (signal == 0)
            {
                exc::RegenExc("Failed to lock [%1].", Printable(m_folder), error);
            }
        }
        return signal;
    }

    /// The exit status of the command. Signals of the terminal reach it anyway; those sent to this process are passed
    /// on.
    int RunCommand(CLockWatch& watch)
    {
        CChild child(m_options.m_command, m_signals.Former());
        bool isWarned = false;
        for (;;)
        {
            if (auto const status = child.Status())
            {
                return *status;
            }
            auto const signal = m_signals.Next(std::chrono::seconds(5));
            if (!signal)
            {
                if (!watch.IsHeld() && !std::exchange(isWarned, true))
                {
                    m_host.Output().Message("The lock has been lost; the command goes on without it.");
                }
            }
            else if (signal->si_signo != SIGCHLD && signal->si_code != SI_KERNEL)
            {
                child.Signal(signal->si_signo);
            }
        }
    }

    CHost& m_host;
    SLockOptions const& m_options;
    CSignals const m_signals; ///< before everything that has threads
    std::string const m_folder;
    ICloudClient& m_client;
    locks::CCloudOptimisticLock m_lock;
};

} // namespace

void AddLockCommand(CCli& cli)
{
    auto const options = std::make_shared<SLockOptions>();
    CCommand lock = cli.AddCommand("lock", "Run a command while holding the exclusive lock of a folder",
                                   [options](CHost& host)
                                   {
                                       std::srand(std::random_device()()); // the pauses of contenders must differ
                                       return CLockedRun(host, *options).Run();
                                   });
    lock.AddOption("FOLDER", options->m_folder, "The folder whose lock is taken").Required();
    lock.AddOption("COMMAND", options->m_command, "The command with its arguments, behind \"--\"").Required();
    lock.AddOption("--timeout", options->m_params.m_lockTimeoutMsec,
                   "How long to wait for the lock, in milliseconds; 0 for ever")
        .Takes("MS")
        .Between(0, std::numeric_limits<int>::max())
        .ShowDefault();
    lock.AddOption("--reason", options->m_params.m_reason, "What the lock is wanted for; those who wait see it")
        .Takes("TEXT");
    lock.SetFooter(
        "Ends with the command's exit status, 128 + n if signal n ended it; with 1 if the lock could not be had\n"
        "or was lost.");
}

} // namespace bucketry::tool
