// SPDX-License-Identifier: Apache-2.0
#include "support/store_backends.h"

#include "s3wire/auth/auth.h"
#include "s3wire/connection.h"
#include "s3wire/context.h"
#include "s3wire/operations/operations.h"
#include "s3wire/wire/object_requests.h"

#include <atomic>
#include <cstdlib>
#include <stdexcept>

#include <unistd.h>

namespace bucketry::testing
{

namespace
{

namespace wire = s3wire::wire;
using s3wire::transport::EHttpMethod;

std::shared_ptr<s3wire::COperations> OperationsOf(SStore const& store)
{
    s3wire::SConnectionSettings settings;
    settings.m_endpoint = store.m_endpoint;
    settings.m_region = store.m_region;
    settings.m_virtualHosted = store.m_isVirtualHosted;
    settings.m_auth = s3wire::CS3WireAuthFactory(s3wire::s3::CS3WireContext::Instance().GetTempKeyStore())
                          .CreateForS3(store.m_accessKeyId, store.m_secretAccessKey, "", "", "", "", "", 0);
    return s3wire::Connect(settings);
}

} // namespace

s3::SS3ClientConnSpec NewBucket(SStore const& store, SBucketKind const& kind)
{
    static std::atomic<int> last = 0;
    std::string const name = "suite-" + std::to_string(::getpid()) + "-" + std::to_string(++last);
    auto const operations = OperationsOf(store);
    wire::SWireRequest creation = wire::BucketRequest("CreateBucket", EHttpMethod::Put, name);
    creation.m_headers.Set("x-amz-bucket-object-lock-enabled", kind.m_locksObjects ? "true" : "false");
    operations->Exchange(creation);
    if (kind.m_keepsVersions)
    {
        wire::SWireRequest request = wire::BucketRequest("PutBucketVersioning", EHttpMethod::Put, name);
        request.m_query.emplace_back("versioning", "");
        static std::string const body = "<VersioningConfiguration><Status>Enabled</Status></VersioningConfiguration>";
        request.m_body.m_data = reinterpret_cast<unsigned char const*>(body.data());
        request.m_body.m_size = body.size();
        request.m_contentMd5 = true;
        operations->Exchange(request);
    }
    s3::SS3ClientConnSpec spec;
    spec.BucketAddr.ApiEndpoint = store.m_endpoint;
    spec.BucketAddr.Region = store.m_region;
    spec.BucketAddr.BucketName = name;
    spec.Credentials.Keys = s3::SS3CredentialsKeys{store.m_accessKeyId, store.m_secretAccessKey, {}};
    spec.Options.UseVirtualHostedStyle = store.m_isVirtualHosted;
    spec.Options.ObjectLockEnabledOnBucket = kind.m_locksObjects;
    return spec;
}

SBackend StoreBackend(std::function<SStore()> const& store, SBucketKind const& kind)
{
    return {.name = kind.m_name,
            .traits = {.keepsVersions = kind.m_locksObjects, .foldersNeedMarkers = true},
            .make = [store, kind]
            { return s3::CS3CompatibleClientFactory::Create(NewBucket(store(), kind), "suite", nullptr); }};
}

SStore LiveStore(bool isVirtualHosted)
{
    auto const setting = [](std::string const& name)
    {
        char const* const value = std::getenv(name.c_str());
        return value != nullptr ? value : throw std::runtime_error(name + " is not set: run with-gateway.sh");
    };
    return {setting(isVirtualHosted ? "BUCKETRY_LIVE_VIRTUAL_ENDPOINT" : "BUCKETRY_LIVE_ENDPOINT"),
            setting("BUCKETRY_LIVE_REGION"), setting("BUCKETRY_LIVE_ACCESS_KEY"), setting("BUCKETRY_LIVE_SECRET_KEY"),
            isVirtualHosted};
}

} // namespace bucketry::testing
