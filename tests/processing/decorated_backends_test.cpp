// SPDX-License-Identifier: Apache-2.0
#include "support/backends.h"
#include "support/decorated_backends.h"

namespace bucketry::testing
{

namespace
{

std::vector<SBackend> AllDecorated()
{
    std::vector<SBackend> all;
    for (SBackend const& backend : {LocalBackend(), MemoryBackend(false), MemoryBackend(true)})
    {
        std::ranges::move(Decorated(backend), std::back_inserter(all));
    }
    return all;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Decorated, CloudClientSuite, ::testing::ValuesIn(AllDecorated()), BackendName);

} // namespace bucketry::testing
