// SPDX-License-Identifier: Apache-2.0
#include "bucketry/simulator.h"

#include "server/server.h"

#include <algorithm>

namespace bucketry::simulator
{

struct CSimulator::SState
{
    explicit SState(SSimulatorOptions options)
        : m_options(std::move(options)),
          m_service(m_options, m_clock),
          m_log(m_options.m_logLimit),
          m_server(Parts(), m_options.m_port, IsTls())
    {
        if (IsTls() && m_options.m_alsoPlain)
        {
            m_plain.emplace(Parts(), std::uint16_t{0}, false);
        }
    }

    bool IsTls() const { return !m_options.m_certificateFile.empty(); }
    SServerParts Parts() { return {m_options, m_service, m_faults, m_log}; }
    std::string Endpoint(CServer const& server, char const* scheme) const
    {
        bool const isGoogle = m_options.m_profile == EProfile::Google;
        return scheme + (isGoogle ? GoogleLoopbackName : m_options.m_address) + ":" + std::to_string(server.Port());
    }

    SSimulatorOptions const m_options;
    CClock m_clock;
    CService m_service;
    CFaults m_faults;
    CRequestLog m_log;
    CServer m_server; // these end first
    std::optional<CServer> m_plain;
};

CSimulator::CSimulator(SSimulatorOptions options) : m_state(std::make_unique<SState>(std::move(options))) {}

CSimulator::~CSimulator() = default;

std::uint16_t CSimulator::Port() const
{
    return m_state->m_server.Port();
}

std::string CSimulator::Endpoint() const
{
    return m_state->Endpoint(m_state->m_server, m_state->IsTls() ? "https://" : "http://");
}

std::string CSimulator::PlainEndpoint() const
{
    return m_state->m_plain ? m_state->Endpoint(*m_state->m_plain, "http://") : std::string();
}

void CSimulator::CreateBucket(std::string const& name, SBucketOptions const& options)
{
    m_state->m_service.AddBucket(name, options);
}

void CSimulator::AddAccessPoint(SAccessPoint const& accessPoint)
{
    m_state->m_service.AddAccessPoint(accessPoint);
}

void CSimulator::AddAccessKey(SAccessKey const& key)
{
    m_state->m_service.AddAccessKey(key);
}

void CSimulator::SetClock(time_point_t now)
{
    m_state->m_clock.Set(now);
}

void CSimulator::AdvanceClock(std::chrono::milliseconds by)
{
    m_state->m_clock.Advance(by);
}

time_point_t CSimulator::Now() const
{
    return m_state->m_clock.Now();
}

std::vector<SLoggedRequest> CSimulator::Log() const
{
    return m_state->m_log.Copy();
}

void CSimulator::ClearLog()
{
    m_state->m_log.Clear();
}

void CSimulator::AddFault(SFault const& fault)
{
    m_state->m_faults.Add({fault});
}

void CSimulator::LoadFaults(std::string const& script)
{
    m_state->m_faults.Add(ParseFaults(script));
}

void CSimulator::ClearFaults()
{
    m_state->m_faults.Clear();
}

std::uint64_t CSimulator::FaultsFired() const
{
    return m_state->m_faults.Fired();
}

std::size_t CSimulator::ObjectCount(std::string const& bucket) const
{
    return m_state->m_service.UseBucket(bucket,
                                        [](SBucket const& found)
                                        {
                                            return static_cast<std::size_t>(std::count_if(
                                                found.m_objects.begin(), found.m_objects.end(),
                                                [](auto const& object) { return object.second.back().IsVisible(); }));
                                        });
}

std::size_t CSimulator::VersionCount(std::string const& bucket) const
{
    return m_state->m_service.UseBucket(bucket,
                                        [](SBucket const& found)
                                        {
                                            std::size_t count = 0;
                                            for (auto const& object : found.m_objects)
                                            {
                                                count += object.second.size();
                                            }
                                            return count;
                                        });
}

std::size_t CSimulator::PendingUploads(std::string const& bucket) const
{
    return m_state->m_service.UseBucket(bucket, [](SBucket const& found) { return found.m_uploads.size(); });
}

std::optional<std::string> CSimulator::ObjectContent(std::string const& bucket, std::string const& key,
                                                     std::string const& versionId) const
{
    return m_state->m_service.UseBucket(bucket,
                                        [&](SBucket& found) -> std::optional<std::string>
                                        {
                                            SVersion const* const version = found.Find(key, versionId);
                                            if (version == nullptr || version->m_isDeleteMarker)
                                            {
                                                return std::nullopt;
                                            }
                                            return *version->m_data;
                                        });
}

void CSimulator::SetArchiveTier(std::string const& bucket, std::string const& key, std::string const& tier)
{
    m_state->m_service.UseBucket(bucket,
                                 [&](SBucket& found)
                                 {
                                     SVersion* const version = found.Newest(key);
                                     if (version == nullptr || version->m_isDeleteMarker)
                                     {
                                         throw std::invalid_argument("There is no object " + key + ".");
                                     }
                                     version->m_archiveTier = tier;
                                     version->m_restore.reset();
                                 });
}

void CSimulator::SetJobScript(std::vector<std::string> statuses, std::chrono::milliseconds each)
{
    m_state->m_service.SetJobScript(std::move(statuses), each);
}

std::string SLoggedRequest::Header(std::string const& name) const
{
    for (auto const& [header, value] : m_headers)
    {
        if (header == name)
        {
            return value;
        }
    }
    return {};
}

} // namespace bucketry::simulator
