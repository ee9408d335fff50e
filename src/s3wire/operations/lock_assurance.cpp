// SPDX-License-Identifier: Apache-2.0
#include "s3wire/operations/lock_assurance.h"

#include "bucketry/base/logging.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/operations/exchange.h"

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

/// What the store says of the object's lock. HEAD shows locks only to those who may read them, and alone tells of
/// holds.
EFound ReadBack(CExchange const& exchange, SObjectRef const& object, SObjectLockConfig const& wanted)
{
    try
    {
        s3::SObjectData const head = exchange.HeadObject(object);
        bool const held = !wanted.m_legalHold || (head.m_objectLock && head.m_objectLock->m_legalHold);
        bool const retained = !wanted.m_enabled || (head.m_objectLock && Covers(*head.m_objectLock, wanted)) ||
            Covers(exchange.Exchange(wire::MakeGetObjectRetention(object), wire::ReadGetObjectRetention), wanted);
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

void SetLock(CExchange const& exchange, SObjectRef const& object, SObjectLockConfig const& lock)
{
    if (lock.m_enabled)
    {
        exchange.Exchange(wire::MakePutObjectRetention(object, lock.m_mode, lock.m_retainUntil));
    }
    if (lock.m_legalHold)
    {
        exchange.Exchange(wire::MakePutObjectLegalHold(object, true));
    }
}

} // namespace

void EnsureLock(CExchange const& exchange, ELockRoute route, SObjectRef const& object, SObjectLockConfig const& lock)
{
    if (!lock.m_enabled && !lock.m_legalHold)
    {
        return;
    }
    ELockHeaders const headers = exchange.Store().Bucket(object.m_bucket)->LockHeaders(route);
    if (headers == ELockHeaders::Honoured)
    {
        return;
    }
    auto const remember = [&](ELockHeaders seen)
    { exchange.Store().Change(object.m_bucket, [&](SBucketRecord& record) { record.LockHeaders(route) = seen; }); };
    bool const isFirst = headers == ELockHeaders::Unknown;
    EFound const found = isFirst ? ReadBack(exchange, object, lock) : EFound::Hidden;
    if (found == EFound::Locked)
    {
        remember(ELockHeaders::Honoured);
        return;
    }
    SetLock(exchange, object, lock);
    if (found == EFound::Unlocked && ReadBack(exchange, object, lock) == EFound::Unlocked)
    {
        throw CS3WireException(util::str_format("The store does not keep the lock of [%1]", object.m_key), 501,
                               "NotImplemented");
    }
    if (isFirst && found == EFound::Hidden)
    {
        s3wire_log.warn("Locks in [%1] cannot be read back: each is set once more by a request of its own.",
                        object.m_bucket);
    }
    remember(ELockHeaders::Unproven);
}

} // namespace bucketry::s3wire
