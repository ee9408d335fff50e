// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/guid.h"
#include "bucketry/s3wire/records.h"
#include "s3wire/codec/secret.h"

#include <map>
#include <mutex>
#include <string>

namespace bucketry::s3wire::s3
{

enum class EAccessStyle
{
    Default = 0, ///< this and any other value: what options_t::IsS3VirtualHostedStyleEnabled() says
    Path = 1,
    VirtualHosted = 2
};

/// What a client id stands for.
struct SStoredClient
{
    std::string m_endpoint;
    std::string m_region;
    std::string m_arn;
    std::string m_accessKeyId;
    CSecret m_secretAccessKey;
    CSecret m_sessionToken;
    std::string m_roleName;
    std::string m_metadataHost;
    std::string m_proxyEndpoint;
    std::string m_proxyUserName;
    CSecret m_proxyPassword;
    EAccessStyle m_style = EAccessStyle::Default;
    long m_creationTime = 0; ///< seconds since 1970-01-01 UTC, 0 for none
};

/// Addresses and keys by client id. In memory only; secrets are overwritten when they are replaced, removed, or the
/// store goes. Any number of threads at once.
class CCredentialStore
{
public:
    /// Replaces what the id stood for.
    void Store(guid::guid_t const& id, SStoredClient client);
    /// Throws exc::CRuntimeExc if the id is unknown.
    SStoredClient Retrieve(guid::guid_t const& id) const;
    /// Nothing happens if the id is unknown.
    void Remove(guid::guid_t const& id);

private:
    mutable std::mutex m_mutex;
    std::map<guid::guid_t, SStoredClient> m_clients; ///< guarded by m_mutex
};

} // namespace bucketry::s3wire::s3
