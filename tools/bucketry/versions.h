// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host.h"

#include "bucketry/versions.h"

#include <memory>
#include <string>

namespace bucketry::tool
{

/// The client's operations on versions. Throws CUsageError if it keeps none.
std::shared_ptr<ICloudVersioningUtils> VersionsOf(ICloudClient& client);

/// Reads a date to keep a version until: "2026-12-31" or "2026-12-31T10:00:00Z", UTC. Throws CUsageError for another
/// form, and for a date that the library would leave out, since it lies too near.
datetime::CDateTime KeepUntil(std::string const& text);

/// The date in the longer form.
std::string TextOf(datetime::CDateTime const& date);

} // namespace bucketry::tool
