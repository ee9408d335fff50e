// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/cloud_client_suite.h"

/// The backends that the suite runs over, bare and under decorators.
namespace bucketry::testing
{

/// The local client, each over a directory of its own.
SBackend LocalBackend();
/// The double that other rooms test with keeps the same contract.
SBackend MemoryBackend(bool keepsVersions);

} // namespace bucketry::testing
