// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/certificate.h"
#include "bucketry/s3wire/records.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::io
{
class CNetworkTrottlingCtx;
}

namespace bucketry::s3wire
{

class COperations;
class IS3WireAuth;

/// What a client is told about its store.
struct SConnectionSettings
{
    std::string m_endpoint; ///< empty if each request names its host by an ARN in place of the bucket
    std::string m_region;   ///< empty for the one that the keys were made for
    s3::SProxyConfig m_proxy;
    std::shared_ptr<IS3WireAuth> m_auth;
    std::optional<std::vector<sockets::ssl::CX509CertBlob>> m_trustList; ///< none for the system's
    std::shared_ptr<io::CNetworkTrottlingCtx> m_throttling;              ///< may be null
    bool m_virtualHosted = false;
};

/// The operations of a store over libcurl, on the connections and the retry budget of the process. Nothing is sent yet.
/// Throws exc::CRuntimeExc for an endpoint that is no URL and for an unknown scheme.
std::shared_ptr<COperations> Connect(SConnectionSettings settings);

} // namespace bucketry::s3wire
