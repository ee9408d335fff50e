#pragma once

#include "bucketry/s3wire/records.h"
#include "s3wire/wire/object_requests.h"

#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace bucketry::s3wire
{

class COperations;

/// The ways by which an object gets its lock.
enum class ELockRoute
{
    Put,
    Copy,
    Multipart
};

/// Sees to it that a lock that was asked for is there. Some stores take the lock headers of a copy or of a multipart upload and
/// forget them, so the first locked object of each bucket and route is read back. Where the headers have no effect, or the
/// caller may not read locks, each lock is set with a request of its own, which the store must confirm. Any thread.
class CLockAssurance
{
public:
    /// Throws CS3WireException if the store neither took the lock nor takes it now. The object stays.
    void Ensure(COperations& operations, ELockRoute route, wire::SObjectRef const& object,
                s3::SObjectLockConfig const& lock);

private:
    enum class EHeaders
    {
        Unknown,
        Honoured,
        Unproven ///< ignored, or nobody can tell
    };
    EHeaders Recall(ELockRoute route, std::string const& bucket);
    void Remember(ELockRoute route, std::string const& bucket, EHeaders headers);

    std::mutex m_mutex;
    std::map<std::pair<std::string, ELockRoute>, EHeaders> m_seen; ///< guarded by m_mutex
};

} // namespace bucketry::s3wire
