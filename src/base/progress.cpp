// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/progress.h"

namespace bucketry::progress
{

progress_base_t::~progress_base_t() = default;

} // namespace bucketry::progress
