// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

namespace bucketry::s3::detail
{

/// Raises the process's soft limit of open files to 8192, or to the hard limit if that is lower; it stays raised. What
/// was done, and a failure, is logged; never throws. Every client does it when it is made. Any thread.
BUCKETRY_API void SafeIncreaseFileLimit();

} // namespace bucketry::s3::detail
