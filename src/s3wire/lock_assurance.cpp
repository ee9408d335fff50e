#include "s3wire/lock_assurance.h"

#include "bucketry/base/logging.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/operations.h"

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

/// What the store says of the object's lock; "covers" without a word where the caller may not ask.
bool IsLocked(COperations& operations, SObjectRef const& object, SObjectLockConfig const& wanted)
{
    try
    {
        s3::SObjectData const head = operations.HeadObject(object);
        if (wanted.m_legalHold && !(head.m_objectLock && head.m_objectLock->m_legalHold))
        {
            return false;
        }
        return !wanted.m_enabled || (head.m_objectLock && Covers(*head.m_objectLock, wanted)) ||
            Covers(operations.Exchange(wire::MakeGetObjectRetention(object), wire::ReadGetObjectRetention), wanted);
    }
    catch (CS3WireException const& error)
    {
        if (error.GetStatusCode() == 403)
        {
            s3wire_log.warn("The lock of [%1] cannot be read back: %2", object.m_key, error.what());
            return true;
        }
        if (error.GetStatusCode() >= 500 && error.GetStatusCode() != 501)
        {
            throw;
        }
        return false;
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
    if (headers == EHeaders::Unknown && IsLocked(operations, object, lock))
    {
        Remember(route, object.m_bucket, EHeaders::Honoured);
    }
    else if (headers != EHeaders::Honoured)
    {
        SetLock(operations, object, lock);
        if (headers == EHeaders::Unknown && !IsLocked(operations, object, lock))
        {
            throw CS3WireException(util::str_format("The store does not keep the lock of [%1]", object.m_key), 501,
                                   "NotImplemented");
        }
        Remember(route, object.m_bucket, EHeaders::Ignored);
    }
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
