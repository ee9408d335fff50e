// The tests of the real store on the simulator, which has to be like it: the two are held against each other. Takes the place of
// the script that starts the gateway.

#include <bucketry/simulator.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{

using namespace bucketry::simulator;

class CGatewayInMemory : public ::testing::Environment
{
public:
    void SetUp() override
    {
        SSimulatorOptions options;
        options.m_profile = EProfile::Gateway;
        options.m_region = "default";
        m_store = std::make_unique<CSimulator>(options);
        SAccessKey const key;
        setenv("BUCKETRY_LIVE_ENDPOINT", m_store->Endpoint().c_str(), 1);
        setenv("BUCKETRY_LIVE_ACCESS_KEY", key.m_id.c_str(), 1);
        setenv("BUCKETRY_LIVE_SECRET_KEY", key.m_secret.c_str(), 1);
    }
    void TearDown() override { m_store.reset(); }

private:
    std::unique_ptr<CSimulator> m_store;
};

::testing::Environment* const g_gateway =
    ::testing::AddGlobalTestEnvironment(new CGatewayInMemory); // GoogleTest owns it

} // namespace
