// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/cloud_client_suite.h"

#include <vector>

namespace bucketry::testing
{

/// The backend under each decorator, and under all of them.
std::vector<SBackend> Decorated(SBackend const& backend);

} // namespace bucketry::testing
