// SPDX-License-Identifier: Apache-2.0
// The tests of the real store on the simulator, which has to be like it: the two are held against each other. Takes the
// place of the script that starts the gateway.

#include <bucketry/simulator.h>

#include "support/certificates.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

namespace
{

using namespace bucketry::simulator;

class CGatewayInMemory : public ::testing::Environment
{
public:
    void SetUp() override
    {
        bucketry::testing::CTestAuthority const authority;
        bucketry::testing::SIdentity const identity = authority.Issue("localhost,DNS:*.store.localhost");
        SSimulatorOptions options;
        options.m_certificateFile = Write("store.pem", identity.m_certificate);
        options.m_privateKeyFile = Write("store.key", identity.m_key);
        options.m_alsoPlain = true;
        options.m_hostNames = {"store.localhost"};
        options.m_profile = EProfile::Gateway;
        options.m_region = "default";
        m_store = std::make_unique<CSimulator>(options);
        SAccessKey const key;
        std::string const tlsPort = std::to_string(m_store->Port());
        std::string const plain = m_store->PlainEndpoint();
        for (auto const& [name, value] :
             {std::pair{"ENDPOINT", plain},
              {"TLS_ENDPOINT", "https://localhost:" + tlsPort},
              {"VIRTUAL_ENDPOINT", "http://store.localhost" + plain.substr(plain.rfind(':'))},
              {"TLS_VIRTUAL_ENDPOINT", "https://store.localhost:" + tlsPort},
              {"CA", Write("ca.pem", authority.CertificatePem())},
              {"ACCESS_KEY", key.m_id},
              {"SECRET_KEY", key.m_secret},
              {"REGION", options.m_region}})
        {
            setenv((std::string("BUCKETRY_LIVE_") + name).c_str(), value.c_str(), 1);
        }
    }
    void TearDown() override { m_store.reset(); }

private:
    std::string Write(std::string const& name, std::string const& text) const
    {
        std::string const path = m_folder.Path() / name;
        std::ofstream(path) << text;
        return path;
    }

    bucketry::testing::CTempDir m_folder;
    std::unique_ptr<CSimulator> m_store;
};

::testing::Environment* const g_gateway =
    ::testing::AddGlobalTestEnvironment(new CGatewayInMemory); // GoogleTest owns it

} // namespace
