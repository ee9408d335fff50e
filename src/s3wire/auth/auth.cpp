// SPDX-License-Identifier: Apache-2.0
#include "s3wire/auth/auth.h"

#include "bucketry/base/datetime.h"
#include "bucketry/base/exceptions.h"
#include "s3wire/auth/temp_key_store.h"

namespace bucketry::s3wire
{

namespace
{

class CStaticAuth final : public IS3WireAuth
{
public:
    CStaticAuth(std::shared_ptr<CSigningKeys const> keys, std::string service, std::string region, long creationTime)
        : m_keys(std::move(keys)),
          m_service(std::move(service)),
          m_region(std::move(region)),
          m_creationTime(creationTime)
    {
    }

    std::shared_ptr<CSigningKeys const> Keys() override { return m_keys; }
    bool Renew(CSigningKeys const&) override { return false; }
    std::string const& ServiceName() const override { return m_service; }
    std::string const& Region() const override { return m_region; }
    std::string KeyNote() const override
    {
        if (m_creationTime == 0)
        {
            return {};
        }
        try
        {
            return "the keys were made at " + datetime::CDateTime::fromUnixTime(m_creationTime, true).toStdString() +
                " UTC";
        }
        catch (exc::CRuntimeExc const&) // a host may count otherwise; a note must not hide the refusal that it explains
        {
            return "the keys were made at " + std::to_string(m_creationTime);
        }
    }

private:
    std::shared_ptr<CSigningKeys const> const m_keys;
    std::string const m_service;
    std::string const m_region;
    long const m_creationTime;
};

class CRoleAuth final : public IS3WireAuth
{
public:
    CRoleAuth(std::shared_ptr<CRoleKeyring> keyring, std::string service, std::string region)
        : m_keyring(std::move(keyring)), m_service(std::move(service)), m_region(std::move(region))
    {
    }

    std::shared_ptr<CSigningKeys const> Keys() override { return m_keyring->Keys(); }
    bool Renew(CSigningKeys const& refused) override { return m_keyring->Renew(refused); }
    std::string const& ServiceName() const override { return m_service; }
    std::string const& Region() const override { return m_region; }
    std::string KeyNote() const override { return {}; }

private:
    std::shared_ptr<CRoleKeyring> const m_keyring;
    std::string const m_service;
    std::string const m_region;
};

struct SAuthRequest
{
    std::string const& m_accessKeyId;
    std::string const& m_secretAccessKey;
    std::string const& m_sessionToken;
    std::string const& m_endpoint;
    std::string const& m_region;
    std::string const& m_roleName;
    std::string const& m_metadataHost;
};

std::shared_ptr<IS3WireAuth> Create(SAuthRequest const& request, CTempKeyStore& keyStore, char const* service,
                                    long creationTime)
{
    if (!request.m_accessKeyId.empty())
    {
        if (request.m_secretAccessKey.empty())
        {
            throw exc::CRuntimeExc("The access key [%1] for [%2] comes without its secret.", request.m_accessKeyId,
                                   request.m_endpoint);
        }
        auto keys = std::make_shared<CSigningKeys const>(request.m_accessKeyId, CSecret(request.m_secretAccessKey),
                                                         CSecret(request.m_sessionToken));
        return std::make_shared<CStaticAuth>(std::move(keys), service, request.m_region, creationTime);
    }
    if (request.m_roleName.empty())
    {
        throw exc::CRuntimeExc("There are no credentials for [%1]: neither an access key nor a role is given.",
                               request.m_endpoint);
    }
    return std::make_shared<CRoleAuth>(keyStore.Find(request.m_roleName, request.m_metadataHost), service,
                                       request.m_region);
}

} // namespace

std::shared_ptr<IS3WireAuth> CS3WireAuthFactory::CreateForS3(std::string const& accessKeyId,
                                                             std::string const& secretAccessKey,
                                                             std::string const& sessionToken,
                                                             std::string const& endpoint, std::string const& region,
                                                             std::string const& roleName,
                                                             std::string const& metadataHost, long creationTime) const
{
    return Create({accessKeyId, secretAccessKey, sessionToken, endpoint, region, roleName, metadataHost}, *m_keyStore,
                  "s3", creationTime);
}

std::shared_ptr<IS3WireAuth> CS3WireAuthFactory::CreateForS3Outposts(
    std::string const& accessKeyId, std::string const& secretAccessKey, std::string const& sessionToken,
    std::string const& endpoint, std::string const& region, std::string const& roleName,
    std::string const& metadataHost) const
{
    return Create({accessKeyId, secretAccessKey, sessionToken, endpoint, region, roleName, metadataHost}, *m_keyStore,
                  "s3-outposts", 0);
}

std::shared_ptr<IS3WireAuth> CS3WireAuthFactory::CreateByRole(std::string const& roleName,
                                                              std::string const& metadataHost,
                                                              std::string const& region) const
{
    return std::make_shared<CRoleAuth>(m_keyStore->Find(roleName, metadataHost), "s3", region);
}

} // namespace bucketry::s3wire
