// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/records.h"
#include "s3wire/operations/exchange.h"

namespace bucketry::s3wire
{

/// Sees to it that a lock that was asked for is there. Some stores take the lock headers of a copy or of a multipart
/// upload and forget them, so the first locked object of each bucket and route is read back. Where the headers have no
/// effect, or the caller may not read locks, each lock is set with a request of its own, which the store must confirm.
/// Throws CS3WireException if the store neither took the lock nor takes it now. The object stays. Any thread.
void EnsureLock(CExchange const& exchange, ELockRoute route, wire::SObjectRef const& object,
                s3::SObjectLockConfig const& lock);

} // namespace bucketry::s3wire
