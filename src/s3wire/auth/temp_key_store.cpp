// SPDX-License-Identifier: Apache-2.0
#include "s3wire/auth/temp_key_store.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/logging.h"
#include "bucketry/base/options.h"

namespace bucketry::s3wire
{

namespace
{

/// Keys are fetched anew so many seconds before they expire.
constexpr std::time_t RenewBefore = 300;
/// After a failed fetch the present keys are used for so long before the next one.
constexpr std::time_t PauseAfterFailure = 30;

std::string MetadataUrl(std::string const& host)
{
    std::string url = host.empty() ? options_t::GetInst().GetInstanceMetadataEndpoint() : host;
    while (url.ends_with('/'))
    {
        url.pop_back();
    }
    return url.find("://") == std::string::npos ? "http://" + url : url;
}

} // namespace

CRoleKeyring::CRoleKeyring(std::string roleName, std::unique_ptr<CMetadataService> service, SSurroundings surroundings)
    : m_roleName(std::move(roleName)), m_surroundings(std::move(surroundings)), m_service(std::move(service))
{
}

SRoleKeys CRoleKeyring::Present() const
{
    std::lock_guard const lock(m_mutex);
    return m_present;
}

void CRoleKeyring::Fetch()
{
    SRoleKeys keys = m_service->FetchRoleKeys(m_roleName);
    std::lock_guard const lock(m_mutex);
    m_present = std::move(keys);
}

std::shared_ptr<CSigningKeys const> CRoleKeyring::Keys()
{
    std::time_t const now = m_surroundings.m_now();
    SRoleKeys present = Present();
    if (present.m_keys && now < present.m_expiration - RenewBefore)
    {
        return present.m_keys;
    }
    bool const holds = present.m_keys && now < present.m_expiration;
    std::unique_lock fetching(m_fetching, std::defer_lock);
    if (!holds)
    {
        fetching.lock();
    }
    else if (!fetching.try_lock())
    {
        return present.m_keys;
    }
    present = Present(); // another thread may have fetched meanwhile
    if (present.m_keys && (now < present.m_expiration - RenewBefore || (holds && now < m_nextTry)))
    {
        return present.m_keys;
    }
    try
    {
        Fetch();
    }
    catch (std::exception const& failure)
    {
        if (!holds)
        {
            throw;
        }
        m_nextTry = now + PauseAfterFailure;
        s3wire_log.warn("The keys of the role [%1] can't be renewed yet: %2", m_roleName, failure.what());
    }
    return Present().m_keys;
}

bool CRoleKeyring::Renew(CSigningKeys const& refused)
{
    std::lock_guard const fetching(m_fetching);
    if (Present().m_keys.get() == &refused)
    {
        Fetch();
    }
    return Present().m_keys->AccessKeyId() != refused.AccessKeyId() ||
        Present().m_keys->SessionToken() != refused.SessionToken();
}

CTempKeyStore::CTempKeyStore(transport_factory_t makeTransport, SSurroundings surroundings)
    : m_makeTransport(std::move(makeTransport)), m_surroundings(std::move(surroundings))
{
}

std::shared_ptr<CRoleKeyring> CTempKeyStore::Find(std::string const& roleName, std::string const& metadataHost)
{
    std::string const url = MetadataUrl(metadataHost);
    std::lock_guard const lock(m_mutex);
    std::shared_ptr<CRoleKeyring>& keyring = m_keyrings[{roleName, url}];
    if (!keyring)
    {
        keyring = std::make_shared<CRoleKeyring>(
            roleName, std::make_unique<CMetadataService>(url, m_makeTransport(url), m_surroundings), m_surroundings);
    }
    return keyring;
}

} // namespace bucketry::s3wire
