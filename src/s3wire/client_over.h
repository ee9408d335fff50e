#pragma once

#include "bucketry/s3wire/client.h"
#include "s3wire/operations/operations.h"

namespace bucketry::s3wire::s3
{

/// A client of a store that is reached through `sender`, whatever that is.
inline CS3WireClient ClientOver(std::shared_ptr<wire::IWireSender> sender)
{
    return CS3WireClient(std::make_shared<COperations>(std::move(sender), SStoreTraits{}));
}

} // namespace bucketry::s3wire::s3
