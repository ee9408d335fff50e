#include "support/decorated_backends.h"
#include "support/store_backends.h"

#include <cstdlib>
#include <stdexcept>

namespace bucketry::testing
{

namespace
{

std::string Setting(char const* name)
{
    char const* const value = std::getenv(name);
    return value != nullptr ? value : throw std::runtime_error(std::string(name) + " is not set: run with-gateway.sh");
}

SBackend Live(SBucketKind const& kind, bool isVirtualHosted = false)
{
    auto const store = [isVirtualHosted]
    {
        return SStore{Setting(isVirtualHosted ? "BUCKETRY_LIVE_VIRTUAL_ENDPOINT" : "BUCKETRY_LIVE_ENDPOINT"),
                      Setting("BUCKETRY_LIVE_REGION"), Setting("BUCKETRY_LIVE_ACCESS_KEY"),
                      Setting("BUCKETRY_LIVE_SECRET_KEY"), isVirtualHosted};
    };
    return StoreBackend(store, kind);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Live, CloudClientSuite,
                         ::testing::Values(Live({"S3", false}), Live({"S3VersioningBucket", true}),
                                           Live({"S3VirtualHosted", false}, true),
                                           Decorated(Live({"S3", false})).back()),
                         BackendName);

} // namespace bucketry::testing
