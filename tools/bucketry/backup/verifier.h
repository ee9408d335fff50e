// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host.h"

#include <string>

namespace bucketry::tool
{

/// Holds a backup against itself and against a directory: every stored object against the manifest, and every file,
/// directory and link below the directory. Names each difference and shows the summary; whether there was none.
/// Times are not compared.
bool Verify(CHost& host, std::string const& directory, std::string const& path);

} // namespace bucketry::tool
