// SPDX-License-Identifier: Apache-2.0
#include "cli.h"
#include "files.h"
#include "signals.h"
#include "text.h"

#include <bucketry/simulator.h>

#include <fcntl.h>

#include <array>
#include <memory>
#include <optional>

namespace bucketry::tool
{

namespace
{

struct SSimulateOptions
{
    std::uint16_t m_port = 0;
    std::string m_bucket;
    bool m_objectLock = false;
    std::string m_faults; ///< a file
    std::string m_profile = "s3";
    std::optional<unsigned> m_restoreSeconds;
};

simulator::EProfile ProfileOf(std::string const& name)
{
    return name == "gateway" ? simulator::EProfile::Gateway
        : name == "strict"   ? simulator::EProfile::Strict
        : name == "google"   ? simulator::EProfile::Google
                             : simulator::EProfile::S3;
}

std::string ReadScript(std::string const& path)
{
    CFd const file = OpenAt(AT_FDCWD, path, O_RDONLY, path);
    std::array<unsigned char, 4096> part{};
    std::string text;
    while (std::size_t const count = ReadUpTo(file, part.data(), part.size(), path))
    {
        text.append(part.begin(), part.begin() + count);
    }
    return text;
}

void LoadFaults(simulator::CSimulator& store, std::string const& path)
{
    try
    {
        store.LoadFaults(ReadScript(path));
    }
    catch (simulator::CFaultScriptError const& error)
    {
        throw CUsageError("The fault script [" + Printable(path) + "] cannot be used. " + error.what());
    }
}

int Simulate(CHost& host, SSimulateOptions const& options)
{
    CSignals const signals;
    simulator::SSimulatorOptions settings;
    settings.m_profile = ProfileOf(options.m_profile);
    settings.m_port = options.m_port;
    if (options.m_restoreSeconds)
    {
        settings.m_restoreTime = std::chrono::seconds(*options.m_restoreSeconds);
    }
    simulator::CSimulator store(settings);
    if (!options.m_bucket.empty())
    {
        simulator::SBucketOptions bucket;
        bucket.m_objectLock = options.m_objectLock;
        store.CreateBucket(options.m_bucket, bucket);
    }
    if (!options.m_faults.empty())
    {
        LoadFaults(store, options.m_faults);
    }
    simulator::SAccessKey const& key = settings.m_accessKeys.front();
    CJsonObject json;
    json.Add("endpoint", store.Endpoint()).Add("access_key", key.m_id).Add("secret_key", key.m_secret);
    host.Output().Result(
        util::str_format("endpoint    %1\naccess key  %2\nsecret key  %3\n", store.Endpoint(), key.m_id, key.m_secret),
        json);
    for (;;)
    {
        if (auto const signal = signals.Next(std::chrono::hours(1)); signal && signal->si_signo != SIGCHLD)
        {
            return ExitOk;
        }
    }
}

} // namespace

void AddSimulateCommand(CCli& cli)
{
    auto const options = std::make_shared<SSimulateOptions>();
    CCommand simulate = cli.AddCommand("simulate", "Run an S3 store in memory on loopback, for tests",
                                       [options](CHost& host) { return Simulate(host, *options); });
    simulate.AddOption("--port", options->m_port, "The port to listen on; with 0 the system chooses")
        .Takes("N")
        .Required();
    COption const bucket = simulate.AddOption("--bucket", options->m_bucket, "A bucket to begin with").Takes("NAME");
    simulate.AddFlag("--object-lock", options->m_objectLock, "The bucket keeps versions and takes retentions")
        .Needs(bucket);
    simulate.AddOption("--faults", options->m_faults, "A script of faults").Takes("FILE");
    simulate.AddOption("--profile", options->m_profile, "Whose ways the store has: s3, gateway, strict or google")
        .Takes("KIND")
        .OneOf({"s3", "gateway", "strict", "google"})
        .ShowDefault();
    simulate
        .AddOption("--restore-seconds", options->m_restoreSeconds,
                   "How long restores from the archive take; as on S3 if left out")
        .Takes("N");
    simulate.SetFooter("Writes endpoint and keys and serves until it is interrupted. Keeps nothing.");
}

} // namespace bucketry::tool
