// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/auth/signature_v4.h"
#include "s3wire/transport/http.h"
#include "s3wire/transport/surroundings.h"

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace bucketry::s3wire
{

/// Temporary keys of a role.
struct SRoleKeys
{
    std::shared_ptr<CSigningKeys const> m_keys;
    std::time_t m_expiration = 0;
};

/// The metadata service of a cloud machine, version 2: a session token first, then the keys.
/// https://docs.aws.amazon.com/AWSEC2/latest/UserGuide/instance-metadata-security-credentials.html
/// For one thread at a time.
class CMetadataService
{
public:
    /// `url` has a scheme and no "/" at its end.
    CMetadataService(std::string url, std::shared_ptr<transport::IHttpTransport> transport, SSurroundings surroundings);
    CMetadataService(CMetadataService const&) = delete;
    CMetadataService& operator=(CMetadataService const&) = delete;

    /// Without a role name the service is asked for it first. Throws exc::CRuntimeExc if there is no such role or the
    /// answer has no keys, web::http::http_exception if there is no answer.
    SRoleKeys FetchRoleKeys(std::string const& roleName);

private:
    transport::SHttpResponse Ask(std::string const& path);
    transport::SHttpResponse Exchange(transport::SHttpRequest const& request);
    std::string_view SessionToken();

    std::string const m_url;
    std::shared_ptr<transport::IHttpTransport> const m_transport;
    SSurroundings const m_surroundings;
    CSecret m_sessionToken; ///< empty also where the service has only version 1
    std::time_t m_tokenEnd = 0;
};

/// The text of a member of a flat JSON object (RFC 8259), or none if it is missing or no string.
std::optional<std::string> ReadJsonText(std::string_view json, std::string_view member);

} // namespace bucketry::s3wire
