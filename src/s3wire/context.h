// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/certificate.h"
#include "bucketry/base/guid.h"
#include "bucketry/s3wire/records.h"
#include "s3wire/credential_store.h"
#include "s3wire/sending/retry.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::io
{
class CNetworkTrottlingCtx;
}
namespace bucketry::s3wire
{
class CTempKeyStore;
}
namespace bucketry::s3wire::transport
{
class CConnectionPool;
}

namespace bucketry::s3wire::s3
{

class CS3WireClient;

/// What all clients of the process share: credentials by client id, temporary keys, connections, the retry budget.
/// Any number of threads at once.
class CS3WireContext
{
public:
    /// Made at the first call, gone at the end of the process.
    static CS3WireContext& Instance();

    CS3WireContext(CS3WireContext const&) = delete;
    CS3WireContext& operator=(CS3WireContext const&) = delete;

    /// A client whose address and keys stand in the store. Throws exc::CRuntimeExc if the id is unknown.
    CS3WireClient CreateClient(guid::guid_t const& clientId,
                               std::shared_ptr<io::CNetworkTrottlingCtx> throttling) const;

    /// Throws exc::CRuntimeExc if the id is unknown; the arguments are left alone then.
    void RetrieveCredentials(guid::guid_t const& clientId, std::string& endpoint, std::string& region, std::string& arn,
                             std::string& accessKeyId, std::string& secretAccessKey, std::string& sessionToken,
                             std::string& roleName, std::string& metadataHost, SProxyConfig& proxy, EAccessStyle& style,
                             long& creationTime) const;
    void StoreCredentials(guid::guid_t const& clientId, std::string const& endpoint, std::string const& region,
                          std::string const& arn, std::string const& accessKeyId, std::string const& secretAccessKey,
                          std::string const& sessionToken, std::string const& roleName, std::string const& metadataHost,
                          SProxyConfig const& proxy, EAccessStyle style, long creationTime);
    /// Forgets a client id; its keys are overwritten.
    void RemoveCredentials(guid::guid_t const& clientId);

    /// Turns a default style into the one that the process's option names.
    static EAccessStyle GetEffectiveAccessStyle(EAccessStyle style);

    std::shared_ptr<CTempKeyStore> GetTempKeyStore() const { return m_tempKeys; }

    /// The trust list for clients that have none of their own; without one the system's serves.
    std::optional<std::vector<sockets::ssl::CX509CertBlob>> FindS3Certificate() const;
    void SetS3Certificates(std::optional<std::vector<sockets::ssl::CX509CertBlob>> certificates);

    std::shared_ptr<transport::CConnectionPool> GetConnectionPool() const { return m_connections; }
    std::shared_ptr<CRetryBudget> GetRetryBudget() const { return m_retryBudget; }

private:
    CS3WireContext();
    ~CS3WireContext();

    std::shared_ptr<transport::CConnectionPool> const m_connections;
    std::shared_ptr<CRetryBudget> const m_retryBudget;
    std::shared_ptr<CTempKeyStore> const m_tempKeys;
    CCredentialStore m_credentials;
    mutable std::mutex m_mutex;
    std::optional<std::vector<sockets::ssl::CX509CertBlob>> m_certificates; ///< guarded by m_mutex
};

} // namespace bucketry::s3wire::s3
