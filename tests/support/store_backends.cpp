#include "support/store_backends.h"

#include "s3wire/auth/auth.h"
#include "s3wire/context.h"
#include "s3wire/sender.h"
#include "s3wire/wire/object_requests.h"

#include <atomic>

#include <unistd.h>

namespace bucketry::testing
{

namespace
{

namespace wire = s3wire::wire;
using s3wire::transport::EHttpMethod;

std::shared_ptr<wire::IWireSender> SenderOf(SStore const& store)
{
    s3wire::SSenderSettings settings;
    settings.m_endpoint = store.m_endpoint;
    settings.m_region = store.m_region;
    settings.m_virtualHosted = store.m_isVirtualHosted;
    settings.m_auth = s3wire::CS3WireAuthFactory(s3wire::s3::CS3WireContext::Instance().GetTempKeyStore())
                          .CreateForS3(store.m_accessKeyId, store.m_secretAccessKey, "", "", "", "", "", 0);
    return s3wire::CreateWireSender(settings);
}

} // namespace

s3::SS3ClientConnSpec NewBucket(SStore const& store, bool keepsVersions)
{
    static std::atomic<int> last = 0;
    std::string const name = "suite-" + std::to_string(::getpid()) + "-" + std::to_string(++last);
    auto const sender = SenderOf(store);
    sender->Send(wire::BucketRequest("CreateBucket", EHttpMethod::Put, name));
    if (keepsVersions)
    {
        wire::SWireRequest request = wire::BucketRequest("PutBucketVersioning", EHttpMethod::Put, name);
        request.m_query.emplace_back("versioning", "");
        static std::string const body = "<VersioningConfiguration><Status>Enabled</Status></VersioningConfiguration>";
        request.m_body.m_data = reinterpret_cast<unsigned char const*>(body.data());
        request.m_body.m_size = body.size();
        request.m_contentMd5 = true;
        sender->Send(request);
    }
    s3::SS3ClientConnSpec spec;
    spec.BucketAddr.ApiEndpoint = store.m_endpoint;
    spec.BucketAddr.Region = store.m_region;
    spec.BucketAddr.BucketName = name;
    spec.Credentials.Keys = s3::SS3CredentialsKeys{store.m_accessKeyId, store.m_secretAccessKey, {}};
    spec.Options.UseVirtualHostedStyle = store.m_isVirtualHosted;
    return spec;
}

SBackend StoreBackend(std::function<SStore()> const& store, SBucketKind const& kind)
{
    return {.name = kind.m_name,
            .traits = {.foldersNeedMarkers = true},
            .make = [store, keepsVersions = kind.m_keepsVersions]
            { return s3::CS3CompatibleClientFactory::Create(NewBucket(store(), keepsVersions), "suite", nullptr); }};
}

} // namespace bucketry::testing
