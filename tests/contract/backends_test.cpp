// SPDX-License-Identifier: Apache-2.0
#include "support/backends.h"

namespace bucketry::testing
{

INSTANTIATE_TEST_SUITE_P(Contract, CloudClientSuite,
                         ::testing::Values(LocalBackend(), MemoryBackend(false), MemoryBackend(true)), BackendName);

} // namespace bucketry::testing
