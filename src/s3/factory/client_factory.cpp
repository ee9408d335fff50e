// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/factory.h"

#include "bucketry/base/options.h"
#include "bucketry/google.h"
#include "bucketry/s3/cloud_client.h"
#include "bucketry/statistics.h"
#include "google/google_versioning_utils.h"
#include "s3/detail/streams.h"
#include "s3/versions/versioning_utils.h"
#include "s3wire/auth/auth.h"
#include "s3wire/codec/arn.h"
#include "s3wire/context.h"

namespace bucketry::s3
{

using s3wire::CS3Arn;
using s3wire::s3::CObjectStorageClass;
using s3wire::s3::CS3WireClient;
using s3wire::s3::CS3WireContext;
using trust_list_t = CS3CompatibleClientFactory::trust_list_t;

namespace
{

CS3Arn ValidArn(std::string const& text)
{
    CS3Arn arn(text);
    arn.CheckIsValidS3ArnExc();
    return arn;
}

CObjectStorageClass StorageClassOf(SS3ClientConnSpec const& spec)
{
    bool const isOnOutposts = !spec.BucketAddr.ARN.empty() && ValidArn(spec.BucketAddr.ARN).IsOutpostArn();
    return isOnOutposts ? s3wire::s3::EAmazonS3StorageClass::Outposts : spec.Options.StorageClass;
}

std::shared_ptr<s3wire::IS3WireAuth> CreateAuth(SS3ClientConnSpec const& spec, std::string const& endpoint,
                                                std::string const& region)
{
    s3wire::CS3WireAuthFactory const factory(CS3WireContext::Instance().GetTempKeyStore());
    SS3CredentialsKeys const keys = spec.Credentials.Keys.value_or(SS3CredentialsKeys());
    SS3RoleAuth const role = spec.Credentials.RoleAuth.value_or(SS3RoleAuth());
    if (CS3Arn(spec.BucketAddr.ARN).IsOutpostArn())
    {
        return factory.CreateForS3Outposts(keys.AccessKeyId, keys.SecretAccessKey, keys.SessionToken, endpoint, region,
                                           role.RoleName, role.MetadataHost);
    }
    return factory.CreateForS3(keys.AccessKeyId, keys.SecretAccessKey, keys.SessionToken, endpoint, region,
                               role.RoleName, role.MetadataHost,
                               static_cast<long>(spec.Credentials.CreationTimeUtc.value_or(0)));
}

trust_list_t TrustListOf(SS3BucketAddr const& address, trust_list_t const& given)
{
    if (given)
    {
        return given;
    }
    return address.ServerCertificate ? trust_list_t({*address.ServerCertificate})
                                     : CS3WireContext::Instance().FindS3Certificate();
}

/// A client of its own, not one of the credential store.
CS3WireClient CreateOwnClient(SS3ClientConnSpec const& spec, std::shared_ptr<io::CNetworkTrottlingCtx> throttling,
                              trust_list_t const& trustList)
{
    SS3BucketAddr const& address = spec.BucketAddr;
    SS3ProxyConfig const config = address.Proxy.value_or(SS3ProxyConfig());
    s3wire::s3::SProxyConfig const proxy{config.Endpoint, config.UserName, config.Password};
    if (address.ApiEndpoint.empty())
    {
        CS3Arn const arn = ValidArn(address.ARN);
        auto const auth = CreateAuth(spec, s3wire::CS3EndpointCreator::CreateFromArnWithPrefix(arn), arn.m_region);
        return {arn, proxy, auth, TrustListOf(address, trustList), throttling};
    }
    auto const auth = CreateAuth(spec, address.ApiEndpoint, address.Region);
    return {address.ApiEndpoint,
            address.Region,
            proxy,
            auth,
            TrustListOf(address, trustList),
            throttling,
            spec.Options.UseVirtualHostedStyle};
}

} // namespace

std::shared_ptr<ICloudClient> CS3CompatibleClientFactory::Create(SS3BucketAddr const& address,
                                                                 SS3Credentials const& credentials,
                                                                 SS3Options const& options, std::string const& name,
                                                                 throttling_t throttling,
                                                                 std::optional<SS3BatchParams> const& batchParams)
{
    return Create(SS3ClientConnSpec{address, credentials, options, {}, batchParams}, name, throttling);
}

std::shared_ptr<ICloudClient> CS3CompatibleClientFactory::Create(SS3ClientConnSpec const& spec, std::string const& name,
                                                                 throttling_t throttling)
{
    std::shared_ptr<SS3Context> context;
    return CreateEx(context, spec, name, throttling, std::nullopt);
}

std::shared_ptr<ICloudClient> CS3CompatibleClientFactory::CreateEx(std::shared_ptr<SS3Context>& context,
                                                                   SS3ClientConnSpec const& spec,
                                                                   std::string const& name, throttling_t throttling,
                                                                   trust_list_t const& trustList)
{
    if (!throttling)
    {
        throttling = std::make_shared<io::CNetworkTrottlingCtx>();
    }
    SS3BucketAddr const& address = spec.BucketAddr;
    bool const isGoogle = google::CGoogleCloudClient::IsGoogleCloudStorageApiEndpoint(address);
    CObjectStorageClass const storageClass = StorageClassOf(spec);
    context = std::make_shared<SS3Context>(SS3Context{CreateRestApiClient(spec, throttling, trustList),
                                                      nullptr,
                                                      isGoogle ? "Google" : "S3",
                                                      address.ARN.empty() ? address.BucketName : address.ARN,
                                                      storageClass,
                                                      {},
                                                      spec.Options.ObjectLockEnabledOnBucket});
    auto const client = std::make_shared<CS3CloudClient>(context, address.Region);
    return isGoogle ? CreateGoogleClient(context, client, name) : CreateS3Client(context, client, name);
}

CS3WireClient CS3CompatibleClientFactory::CreateRestApiClient(SS3ClientConnSpec const& spec, throttling_t throttling,
                                                              trust_list_t const& trustList)
{
    auto const& clientId = spec.Credentials.ClientId;
    CS3WireClient client = clientId ? CS3WireContext::Instance().CreateClient(*clientId, throttling)
                                    : CreateOwnClient(spec, throttling, trustList);
    if (spec.BatchParams)
    {
        client.SetBatchParameters(spec.BatchParams->ControlApiEndpoint, spec.BatchParams->AccountId);
    }
    return client;
}

std::shared_ptr<ICloudClient> CS3CompatibleClientFactory::CreateS3Client(std::shared_ptr<SS3Context> context,
                                                                         std::shared_ptr<ICloudClient> inner,
                                                                         std::string const& name)
{
    detail::CheckIsAmazonS3(context->m_storageClass);
    context->m_versioningUtils = std::make_shared<detail::CS3VersioningUtils>(
        std::make_shared<CS3WireClient>(context->m_client), context->m_container, context->m_storageClass,
        context->m_objectMetadata);
    return WrapCloudClientInStatistics(name, WrapCloudClientIfPerfEnabled(inner));
}

std::shared_ptr<ICloudClient> CS3CompatibleClientFactory::CreateGoogleClient(std::shared_ptr<SS3Context> context,
                                                                             std::shared_ptr<ICloudClient> inner,
                                                                             std::string const& name)
{
    if (!context->m_storageClass.IsGoogleCS())
    {
        throw exc::CRuntimeExc("storage class %1 is not supported by GCS", context->m_storageClass.Description());
    }
    if (context->m_objectLockEnabled)
    {
        context->m_versioningUtils = std::make_shared<google::CGoogleVersioningUtils>(
            std::make_shared<CS3WireClient>(context->m_client), context->m_container, context->m_storageClass,
            context->m_objectMetadata);
    }
    auto const client = std::make_shared<google::CGoogleCloudClient>(context, std::move(inner));
    return WrapCloudClientInStatistics(name, WrapCloudClientIfPerfEnabled(client));
}

} // namespace bucketry::s3
