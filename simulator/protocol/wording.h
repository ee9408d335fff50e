// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/route.h"
#include "store/error.h"

namespace bucketry::simulator
{

/// The refusal with the code and the message that Google's store has for it. What it said before becomes its Details.
/// Source: https://docs.cloud.google.com/storage/docs/xml-api/reference-status; documented and reported, not tried.
CStoreError InGoogleWords(CStoreError error, SRoute const& route);

} // namespace bucketry::simulator
