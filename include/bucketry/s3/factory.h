// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/io.h"
#include "bucketry/client.h"
#include "bucketry/s3/connection_spec.h"
#include "bucketry/s3/context.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::s3
{

/// The one way from a connection specification to a client: on the store, counted under a name (see
/// CCloudStatisticsManager), and traced if performance events are on. All operations are static, block, and may be
/// called from any thread.
///
/// An endpoint of Google Cloud Storage gives a google::CGoogleCloudClient around the client on S3.
///
/// Fails with exc::CRuntimeExc for an ARN that is none, an unknown client id, neither keys nor role, or a storage class
/// of another kind of store. Of the network only the bucket's region is asked for, not on Google, and a store that
/// cannot answer is no failure.
class BUCKETRY_API CS3CompatibleClientFactory
{
public:
    using trust_list_t = std::optional<std::vector<sockets::ssl::CX509CertBlob>>;
    using throttling_t = std::shared_ptr<io::CNetworkTrottlingCtx>;

    /// \param throttling  shared by all clients that are to keep one limit together; null for none
    static std::shared_ptr<ICloudClient> Create(SS3BucketAddr const& address, SS3Credentials const& credentials,
                                                SS3Options const& options, std::string const& name,
                                                throttling_t throttling,
                                                std::optional<SS3BatchParams> const& batchParams);
    static std::shared_ptr<ICloudClient> Create(SS3ClientConnSpec const& spec, std::string const& name,
                                                throttling_t throttling);
    /// \param context    set as soon as there is one, also if a later step throws
    /// \param trustList  certificates to trust instead of the specification's; none: the specification's, else the
    ///                   system's
    static std::shared_ptr<ICloudClient> CreateEx(std::shared_ptr<SS3Context>& context, SS3ClientConnSpec const& spec,
                                                  std::string const& name, throttling_t throttling,
                                                  trust_list_t const& trustList);
    /// The REST client alone.
    static s3wire::s3::CS3WireClient CreateRestApiClient(SS3ClientConnSpec const& spec, throttling_t throttling,
                                                         trust_list_t const& trustList);
    /// Gives a client on S3 its versioning operations, whether the bucket keeps versions or not, and wraps it for
    /// counting and tracing.
    static std::shared_ptr<ICloudClient> CreateS3Client(std::shared_ptr<SS3Context> context,
                                                        std::shared_ptr<ICloudClient> inner, std::string const& name);
    /// The same for Google Cloud Storage, around a client on S3: versioning operations only if the bucket keeps
    /// versions.
    static std::shared_ptr<ICloudClient> CreateGoogleClient(std::shared_ptr<SS3Context> context,
                                                            std::shared_ptr<ICloudClient> inner,
                                                            std::string const& name);
};

} // namespace bucketry::s3
