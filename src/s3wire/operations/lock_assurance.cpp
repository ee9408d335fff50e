#include "s3wire/operations/lock_assurance.h"

#include "bucketry/base/logging.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/operations/operations.h"

namespace bucketry::s3wire
{
namespace
{

using s3::EObjectLockMode;
using s3::SObjectLockConfig;
using wire::SObjectRef;

/// Year to second: stores give fractions of a second with different lengths.
std::string_view Seconds(std::string_view date)
{
    return date.substr(0, 19);
}

bool Covers(SObjectLockConfig const& found, SObjectLockConfig const& wanted)
{
    bool const mode = wanted.m_mode == EObjectLockMode::Governance || found.m_mode == EObjectLockMode::Compliance;
    return found.m_enabled && mode && Seconds(found.m_retainUntil) >= Seconds(wanted.m_retainUntil);
}

enum class EFound
{
    Locked,
    Unlocked,
    Hidden ///< the caller may not see locks: that none is shown says nothing
};

/// What the store says of the object's lock. HEAD shows locks only to those who may read them, and alone tells of holds.
EFound ReadBack(COperations& operations, SObjectRef const& object, SObjectLockConfig const& wanted)
{
    try
    {
        s3::SObjectData const head = operations.HeadObject(object);
        bool const held = !wanted.m_legalHold || (head.m_objectLock && head.m_objectLock->m_legalHold);
        bool const retained = !wanted.m_enabled || (head.m_objectLock && Covers(*head.m_objectLock, wanted)) ||
            Covers(operations.Exchange(wire::MakeGetObjectRetention(object), wire::ReadGetObjectRetention), wanted);
        return !retained ? EFound::Unlocked : held ? EFound::Locked : EFound::Hidden;
    }
    catch (CS3WireException const& error)
    {
        if (error.GetStatusCode() >= 500 && error.GetStatusCode() != 501)
        {
            throw;
        }
        return error.GetStatusCode() == 403 ? EFound::Hidden : EFound::Unlocked;
    }
}

void SetLock(COperations& operations, SObjectRef const& object, SObjectLockConfig const& lock)
{
    if (lock.m_enabled)
    {
        operations.Exchange(wire::MakePutObjectRetention(object, lock.m_mode, lock.m_retainUntil));
    }
    if (lock.m_legalHold)
    {
        operations.Exchange(wire::MakePutObjectLegalHold(object, true));
    }
}

} // namespace

void CLockAssurance::Ensure(COperations& operations, ELockRoute route, SObjectRef const& object,
                            SObjectLockConfig const& lock)
{
    if (!lock.m_enabled && !lock.m_legalHold)
    {
        return;
    }
    EHeaders const headers = Recall(route, object.m_bucket);
    if (headers == EHeaders::Honoured)
    {
        return;
    }
    bool const isFirst = headers == EHeaders::Unknown;
    EFound const found = isFirst ? ReadBack(operations, object, lock) : EFound::Hidden;
    if (found == EFound::Locked)
    {
        Remember(route, object.m_bucket, EHeaders::Honoured);
        return;
    }
    SetLock(operations, object, lock);
    if (found == EFound::Unlocked && ReadBack(operations, object, lock) == EFound::Unlocked)
    {
        throw CS3WireException(util::str_format("The store does not keep the lock of [%1]", object.m_key), 501,
                               "NotImplemented");
    }
    if (isFirst && found == EFound::Hidden)
    {
        s3wire_log.warn("Locks in [%1] cannot be read back: each is set once more by a request of its own.",
                        object.m_bucket);
    }
    Remember(route, object.m_bucket, EHeaders::Unproven);
}

CLockAssurance::EHeaders CLockAssurance::Recall(ELockRoute route, std::string const& bucket)
{
    std::lock_guard const lock(m_mutex);
    auto const seen = m_seen.find({bucket, route});
    return seen == m_seen.end() ? EHeaders::Unknown : seen->second;
}

void CLockAssurance::Remember(ELockRoute route, std::string const& bucket, EHeaders headers)
{
    std::lock_guard const lock(m_mutex);
    m_seen[{bucket, route}] = headers;
}

} // namespace bucketry::s3wire
