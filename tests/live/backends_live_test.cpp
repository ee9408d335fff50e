// SPDX-License-Identifier: Apache-2.0
#include "support/decorated_backends.h"
#include "support/store_backends.h"

namespace bucketry::testing
{

namespace
{

SBackend Live(SBucketKind const& kind, bool isVirtualHosted = false)
{
    return StoreBackend([isVirtualHosted] { return LiveStore(isVirtualHosted); }, kind);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Live, CloudClientSuite,
                         ::testing::Values(Live({"S3", false}), Live({"S3VersioningBucket", true}),
                                           Live({"S3VirtualHosted", false}, true), Live({"S3ObjectLock", false, true}),
                                           Decorated(Live({"S3", false})).back(),
                                           Decorated(Live({"S3ObjectLock", false, true})).back()),
                         BackendName);

} // namespace bucketry::testing
