// SPDX-License-Identifier: Apache-2.0
#include "support/decorated_backends.h"

#include "bucketry/base/perf.h"
#include "bucketry/processing.h"
#include "bucketry/statistics.h"

namespace bucketry::testing
{

namespace
{

using client_t = std::shared_ptr<ICloudClient>;

SBackend Around(SBackend backend, std::string const& name, std::function<client_t(client_t)> const& wrap)
{
    backend.name = name + backend.name;
    backend.make = [wrap, make = backend.make] { return wrap(make()); };
    return backend;
}

SBackend Counted(SBackend const& backend)
{
    return Around(backend, "Counted", [](client_t inner) { return WrapCloudClientInStatistics("suite", inner); });
}

SBackend Timed(SBackend const& backend)
{
    return Around(backend, "Timed",
                  [](client_t inner)
                  {
                      perf::EnablePerfLog(true);
                      client_t wrapped = WrapCloudClientIfPerfEnabled(inner);
                      perf::EnablePerfLog(false);
                      EXPECT_NE(wrapped, inner);
                      return wrapped;
                  });
}

SBackend Processed(SBackend backend)
{
    // A header of 26 bytes, a frame of 9 around a small body that does not compress, a nonce of 12, a tag of 16.
    backend.traits.storedOverhead = 26 + 9 + 12 + 16;
    backend.traits.tellsPlainSizes = false;
    backend.traits.streamsRawBodies = backend.traits.hasStreams;
    return Around(backend, "Processed",
                  [](client_t inner)
                  {
                      return CreateProcessingContext(io::block::EBufTransformType::Zstd, crypto::CKeySet::Generate(),
                                                     std::make_shared<crypto::CKeySetCollection>())
                          ->CreateProcessingCloudClient(inner);
                  });
}

} // namespace

std::vector<SBackend> Decorated(SBackend const& backend)
{
    return {Timed(backend), Counted(backend), Processed(backend), Processed(Counted(Timed(backend)))};
}

} // namespace bucketry::testing
