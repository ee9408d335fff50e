// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/statistics.h"

namespace bucketry::s3wire
{

/// The writing side of s3::CS3StatsAccumulator: adds each number. Any number of threads at once.
void AddToStats(s3::SS3Stats const& done);

} // namespace bucketry::s3wire
