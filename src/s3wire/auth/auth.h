// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/auth/signature_v4.h"

#include <memory>
#include <string>

namespace bucketry::s3wire
{

class CTempKeyStore;

/// Where the keys of a client come from. Any number of threads at once.
class IS3WireAuth
{
public:
    virtual ~IS3WireAuth() = default;

    /// The keys to sign with now. Blocks while a role's keys are fetched. Throws exc::CRuntimeExc that names the role
    /// if there are none, web::http::http_exception if the metadata service gives no answer.
    virtual std::shared_ptr<CSigningKeys const> Keys() = 0;
    /// The store has called `refused` expired. True if there are others now, so that a repeat makes sense.
    virtual bool Renew(CSigningKeys const& refused) = 0;
    /// The service that object requests are signed for: "s3" or "s3-outposts".
    virtual std::string const& ServiceName() const = 0;
    /// The region that the keys were made for; empty if none was named.
    virtual std::string const& Region() const = 0;
    /// For the message of a refused request, such as the age of temporary keys; mostly empty. No secret.
    virtual std::string KeyNote() const = 0;
};

/// Makes authentications over one store of temporary keys. A small value.
///
/// An access key id asks for these keys, whatever the role; without one a role name asks for the keys of that role,
/// which are fetched when they are needed. With neither exc::CRuntimeExc is thrown.
class CS3WireAuthFactory
{
public:
    explicit CS3WireAuthFactory(std::shared_ptr<CTempKeyStore> keyStore) : m_keyStore(std::move(keyStore)) {}

    /// `metadataHost` is a host, with or without "http://" and port; empty for the process's option. `creationTime` is
    /// in seconds since 1970-01-01 UTC, 0 for none: it is told when the store calls temporary keys expired.
    std::shared_ptr<IS3WireAuth> CreateForS3(std::string const& accessKeyId, std::string const& secretAccessKey,
                                             std::string const& sessionToken, std::string const& endpoint,
                                             std::string const& region, std::string const& roleName,
                                             std::string const& metadataHost, long creationTime) const;
    std::shared_ptr<IS3WireAuth> CreateForS3Outposts(std::string const& accessKeyId, std::string const& secretAccessKey,
                                                     std::string const& sessionToken, std::string const& endpoint,
                                                     std::string const& region, std::string const& roleName,
                                                     std::string const& metadataHost) const;
    /// The keys of a role, whatever other keys there are. With an empty role name the metadata service is asked for the
    /// name.
    std::shared_ptr<IS3WireAuth> CreateByRole(std::string const& roleName, std::string const& metadataHost,
                                              std::string const& region) const;

private:
    std::shared_ptr<CTempKeyStore> m_keyStore;
};

} // namespace bucketry::s3wire
