// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host.h"

#include <string>

namespace bucketry::tool
{

/// Backs up a directory under a storage path and shows the summary; whether everything could be read. The manifest is
/// written last, and only then does what an earlier backup left under the path go. Throws if the storage fails; the
/// earlier backup then stays as it was.
bool BackUp(CHost& host, std::string const& directory, std::string const& path);

} // namespace bucketry::tool
