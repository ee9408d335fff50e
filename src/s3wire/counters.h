#pragma once

#include "s3wire/transport/http.h"

namespace bucketry::s3wire
{

/// The writing side of s3::CS3StatsAccumulator. Any number of threads at once.
void CountRequest(transport::EHttpMethod method);
void CountAnswer(transport::SHttpRequest const& request, transport::SHttpResponse const& answer);
void CountRepeat();
void CountFailure();

} // namespace bucketry::s3wire
