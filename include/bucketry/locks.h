#pragma once

#include "bucketry/base/export.h"

#include <cstdint>
#include <optional>
#include <string>

namespace bucketry
{

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
    /// How long a lock record counts after it was written, in milliseconds; it is renewed every half of it. At least 10000.
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

} // namespace bucketry
