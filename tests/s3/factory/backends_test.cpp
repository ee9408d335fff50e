// SPDX-License-Identifier: Apache-2.0
#include "support/decorated_backends.h"
#include "support/store_backends.h"

#include <bucketry/simulator.h>

namespace bucketry::testing
{

namespace
{

SStore SimulatedStore(bool isVirtualHosted)
{
    static simulator::CSimulator const simulator;
    simulator::SAccessKey const key;
    std::string const port = std::to_string(simulator.Port());
    return {isVirtualHosted ? "http://localhost:" + port : simulator.Endpoint(), "us-east-1", key.m_id, key.m_secret,
            isVirtualHosted};
}

SBackend SimulatedGoogle(SBucketKind const& kind)
{
    return StoreBackend(
        []() -> SStore
        {
            static simulator::CSimulator const simulator({.m_profile = simulator::EProfile::Google});
            simulator::SAccessKey const key;
            return {simulator.Endpoint(), "auto", key.m_id, key.m_secret};
        },
        kind);
}

SBackend Simulated(SBucketKind const& kind, bool isVirtualHosted = false)
{
    return StoreBackend([isVirtualHosted] { return SimulatedStore(isVirtualHosted); }, kind);
}

std::vector<SBackend> AllSimulated()
{
    std::vector<SBackend> all = Decorated(Simulated({"S3", false}));
    all.push_back(Simulated({"S3", false}));
    all.push_back(Simulated({"S3VersioningBucket", true}));
    all.push_back(Simulated({"S3VirtualHosted", false}, true));
    all.push_back(Simulated({"S3ObjectLock", false, true}));
    all.push_back(Decorated(all.back()).back());
    for (SBackend const& google : {SimulatedGoogle({"Google"}), SimulatedGoogle({"GoogleVersions", true, true})})
    {
        all.push_back(google);
        all.push_back(Decorated(google).back());
    }
    return all;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Simulated, CloudClientSuite, ::testing::ValuesIn(AllSimulated()), BackendName);

} // namespace bucketry::testing
