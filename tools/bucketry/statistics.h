// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "json.h"

#include <string>

/// What was asked of the storage in this run, as the library's counters have it.
namespace bucketry::tool
{

/// The name under which the storage is counted.
inline constexpr char const* StorageName = "storage";

/// Bytes, and the kinds of requests that were made, in JSON and as text. All zero before the storage is opened.
CJsonObject StatisticsOfStorage();
std::string TextOfStatistics();

} // namespace bucketry::tool
