// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/client.h"
#include "s3wire/operations/operations.h"

namespace bucketry::s3wire::s3
{

/// A client of a store that is connected already.
inline CS3WireClient ClientOver(std::shared_ptr<COperations> operations)
{
    return CS3WireClient(std::move(operations));
}

} // namespace bucketry::s3wire::s3
