// SPDX-License-Identifier: Apache-2.0
#include "s3wire/credential_store.h"

#include "bucketry/base/exceptions.h"

namespace bucketry::s3wire::s3
{

void CCredentialStore::Store(guid::guid_t const& id, SStoredClient client)
{
    std::lock_guard const lock(m_mutex);
    m_clients.insert_or_assign(id, std::move(client));
}

SStoredClient CCredentialStore::Retrieve(guid::guid_t const& id) const
{
    std::lock_guard const lock(m_mutex);
    auto const found = m_clients.find(id);
    if (found == m_clients.end())
    {
        throw exc::CRuntimeExc("There are no S3 credentials for the client id [%1].", id.ToAStr());
    }
    return found->second;
}

void CCredentialStore::Remove(guid::guid_t const& id)
{
    std::lock_guard const lock(m_mutex);
    m_clients.erase(id);
}

} // namespace bucketry::s3wire::s3
