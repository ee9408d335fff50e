// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/auth/metadata_service.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace bucketry::s3wire
{

/// The temporary keys of one role. Any number of threads at once: one of them fetches, before the keys expire, while
/// the others go on with the ones that still hold, or wait if there are none.
class CRoleKeyring
{
public:
    CRoleKeyring(std::string roleName, std::unique_ptr<CMetadataService> service, SSurroundings surroundings);

    /// Throws what the metadata service throws, if there are no keys that still hold.
    std::shared_ptr<CSigningKeys const> Keys();
    /// Fetches once more if `refused` are still the present keys; true if there are others now.
    bool Renew(CSigningKeys const& refused);

private:
    SRoleKeys Present() const;
    void Fetch();

    std::string const m_roleName;
    SSurroundings const m_surroundings;
    std::mutex m_fetching;                             ///< held by the thread that fetches; taken before m_mutex
    std::unique_ptr<CMetadataService> const m_service; ///< guarded by m_fetching
    std::time_t m_nextTry = 0;                         ///< guarded by m_fetching
    mutable std::mutex m_mutex;
    SRoleKeys m_present; ///< guarded by m_mutex
};

/// The temporary keys of all roles, shared by all clients of the process. Any number of threads at once.
class CTempKeyStore
{
public:
    using transport_factory_t = std::function<std::shared_ptr<transport::IHttpTransport>(std::string const& url)>;

    CTempKeyStore(transport_factory_t makeTransport, SSurroundings surroundings);

    /// `metadataHost` as in CS3WireAuthFactory::CreateForS3.
    std::shared_ptr<CRoleKeyring> Find(std::string const& roleName, std::string const& metadataHost);

private:
    transport_factory_t const m_makeTransport;
    SSurroundings const m_surroundings;
    std::mutex m_mutex;
    std::map<std::pair<std::string, std::string>, std::shared_ptr<CRoleKeyring>> m_keyrings; ///< guarded by m_mutex
};

} // namespace bucketry::s3wire
