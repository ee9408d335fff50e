// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/wire/request.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace bucketry::s3wire::tests
{

transport::SHttpResponse Answer(unsigned status, std::string body = "",
                                std::initializer_list<std::pair<char const*, char const*>> headers = {});

/// The whole request as a text: "PUT bucket/key?name=value", one line for each header, "[md5]", an empty line, the
/// body. Nothing is encoded.
std::string ToText(wire::SWireRequest const& request);

} // namespace bucketry::s3wire::tests
