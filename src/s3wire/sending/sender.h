#pragma once

#include "bucketry/base/certificate.h"
#include "bucketry/s3wire/records.h"
#include "s3wire/auth/auth.h"
#include "s3wire/sending/address.h"
#include "s3wire/sending/retry.h"
#include "s3wire/transport/http.h"
#include "s3wire/transport/surroundings.h"
#include "s3wire/wire/request.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

namespace bucketry::io
{
class CNetworkTrottlingCtx;
}

namespace bucketry::s3wire
{

/// All that a client knows about its store.
struct SSenderSettings
{
    std::string m_endpoint; ///< empty if each request names its host by an ARN in place of the bucket
    std::string m_region;   ///< empty signs as us-east-1
    s3::SProxyConfig m_proxy;
    std::shared_ptr<IS3WireAuth> m_auth;
    std::optional<std::vector<sockets::ssl::CX509CertBlob>> m_trustList; ///< none for the system's
    std::shared_ptr<io::CNetworkTrottlingCtx> m_throttling;              ///< may be null
    bool m_virtualHosted = false;
};

/// A sender over libcurl, on the connections and the retry budget of the process.
/// Throws exc::CRuntimeExc for an endpoint that is no URL and for an unknown scheme.
std::shared_ptr<wire::IWireSender> CreateWireSender(SSenderSettings settings);

/// Signs, sends, repeats, counts, and turns a refusal into its exception. Any number of threads at once.
///
/// Sent again, after a growing random pause, is what the store refused before it began; after a lost connection and after
/// a failure of the store only what the request calls idempotent, and not before it has been asked whether the work is done
/// already. Sent again at once, and once for each reason, is what
/// the store corrects: its region, our clock, expired keys of a role, a missing Content-MD5.
class CWireSender final : public wire::IWireSender
{
public:
    CWireSender(SSenderSettings const& settings, std::shared_ptr<transport::IHttpTransport> transport,
                std::shared_ptr<CRetryBudget> budget, SRetryPolicy policy, SSurroundings surroundings);

    transport::SHttpResponse Send(wire::SWireRequest const& request) override;

private:
    class CSending;

    /// What is known about a bucket by now.
    struct SBucket
    {
        SAddress m_address;
        bool m_wantsMd5 = false; ///< writes without Content-MD5 have been refused
    };

    std::shared_ptr<SBucket const> FindBucket(std::string const& bucket);
    std::shared_ptr<SBucket const> Remember(std::string const& bucket, SBucket changed);
    SAddress ServiceAddress(wire::SWireRequest const& request) const;
    SEndpoint const* Endpoint() const { return m_endpoint ? &*m_endpoint : nullptr; }
    std::time_t Now() const { return m_surroundings.m_now() + m_clockOffset.load(std::memory_order_relaxed); }

    std::optional<SEndpoint> const m_endpoint;
    std::string const m_region;
    bool const m_virtualHosted;
    std::shared_ptr<IS3WireAuth> const m_auth;
    std::shared_ptr<transport::IHttpTransport> const m_transport;
    std::shared_ptr<CRetryBudget> const m_budget;
    SRetryPolicy const m_policy;
    SSurroundings const m_surroundings;
    std::atomic<std::time_t> m_clockOffset{0}; ///< seconds that the store is ahead of us
    std::shared_mutex m_mutex;
    std::map<std::string, std::shared_ptr<SBucket const>> m_buckets; ///< guarded by m_mutex
};

} // namespace bucketry::s3wire
