// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <string>

/// From the paths of the storage contract to the keys of a store.
namespace bucketry::s3::detail
{

/// "/"
BUCKETRY_API std::string const& GetPathDelimiter();
/// The key of an object: the path without one leading delimiter. A second one, and one at the end, stay.
BUCKETRY_API std::string ConvertObjectPath(std::string const& path);
/// The prefix of a folder's keys: without one leading delimiter, with one at the end; empty for the empty path and for
/// "/".
BUCKETRY_API std::string ConvertPathToPrefix(std::string const& path);
/// The path with a delimiter at the end; a leading one stays. Empty for the empty path and for "/".
BUCKETRY_API std::string ConvertPathToFolderPath(std::string const& path);

} // namespace bucketry::s3::detail
