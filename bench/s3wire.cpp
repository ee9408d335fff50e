// SPDX-License-Identifier: Apache-2.0
// The REST layer against bare libcurl: s3_server.sh bench_s3wire [OPTION...]
//
// --only=WORD       small, connections, large, listing or deletes
// --operations=N    operations of 4 KiB in a round (2000)
// --rounds=N        rounds of small operations, listings and deletes (7)
// --large-rounds=N  rounds of the large object (3)
// --mib=N           its size (1024)

#include "s3wire.h"

#include "measure.h"

#include "bucketry/s3.h"
#include "s3wire/auth/auth.h"
#include "s3wire/context.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace bench
{

using namespace bucketry;

s3wire::s3::CS3WireClient MakeClient(SBareStore const& store)
{
    s3wire::CS3WireAuthFactory const factory(s3wire::s3::CS3WireContext::Instance().GetTempKeyStore());
    std::string const region = "us-east-1";
    auto const auth = factory.CreateForS3("AKIDEXAMPLE", "secret", "", store.m_endpoint, region, "", "", 0);
    std::ifstream file(store.m_ca);
    std::string const pem{std::istreambuf_iterator<char>(file), {}};
    return {store.m_endpoint, region, {}, auth, {{sockets::ssl::CX509CertBlob::FromPemString(pem)}}, nullptr, false};
}

std::shared_ptr<ICloudClient> MakeStack(SBareStore const& store)
{
    s3::SS3ClientConnSpec spec;
    spec.BucketAddr.ApiEndpoint = store.m_endpoint; // no region: nothing is asked for
    spec.BucketAddr.BucketName = Bucket;
    spec.Credentials.Keys = s3::SS3CredentialsKeys{"AKIDEXAMPLE", "secret", {}};
    return s3::CS3CompatibleClientFactory::Create(spec, "bench", nullptr);
}

} // namespace bench

namespace
{

std::string Environment(char const* name)
{
    char const* const value = std::getenv(name);
    if (!value)
    {
        throw std::runtime_error("Run this by s3_server.sh: there is no " + std::string(name));
    }
    return value;
}

} // namespace

int main(int argc, char** argv)
{
    auto const number = [&](char const* name, char const* fallback)
    { return std::stoi(bench::Option(argc, argv, name).value_or(fallback)); };
    try
    {
        std::string const ca = Environment("BUCKETRY_BENCH_CA");
        bench::SS3Plan const plan{{Environment("BUCKETRY_BENCH_HTTP"), ca},
                                  {Environment("BUCKETRY_BENCH_HTTPS"), ca},
                                  number("operations", "2000"),
                                  number("rounds", "7"),
                                  number("large-rounds", "3"),
                                  static_cast<std::size_t>(number("mib", "1024")) << 20};
        std::string const only = bench::Option(argc, argv, "only").value_or("");
        using part_t = std::pair<std::string, void (*)(bench::SS3Plan const&)>;
        for (auto const& [name, part] : {part_t{"small", bench::SmallObjects},
                                         {"connections", bench::Connections},
                                         {"large", bench::LargeObject},
                                         {"listing", bench::Listing},
                                         {"deletes", bench::Deletes}})
        {
            if (only.empty() || only == name)
            {
                part(plan);
            }
        }
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
