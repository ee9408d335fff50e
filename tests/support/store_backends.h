// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/cloud_client_suite.h"

#include "bucketry/s3.h"

#include <string>

/// The factory's client as a backend of the suite, each over a new bucket of a store.
namespace bucketry::testing
{

/// A store that runs already.
struct SStore
{
    std::string m_endpoint;
    std::string m_region;
    std::string m_accessKeyId;
    std::string m_secretAccessKey;
    bool m_isVirtualHosted = false;
};

struct SBucketKind
{
    std::string m_name; ///< of the backend
    bool m_keepsVersions = false;
    bool m_locksObjects = false; ///< keeps versions, too, and the client knows
};

SBackend StoreBackend(std::function<SStore()> const& store, SBucketKind const& kind);

/// Makes a bucket with a name that no other has in this process; how a client reaches it.
s3::SS3ClientConnSpec NewBucket(SStore const& store, SBucketKind const& kind);

/// The gateway that with-gateway.sh tells of in the environment.
SStore LiveStore(bool isVirtualHosted = false);

} // namespace bucketry::testing
