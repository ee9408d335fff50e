// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <optional>
#include <string_view>

namespace bucketry::s3wire
{

/// The form of the dates in HTTP headers (RFC 9110, IMF-fixdate), "Sat, 14 Mar 2026 15:09:26 GMT", for
/// datetime::CDateTime.
inline constexpr auto HttpDateFormat = "%a, %d %b %Y %H:%M:%S GMT";

/// The Unix time of such a date; none if it is not one, or does not exist.
std::optional<std::time_t> ReadHttpDate(std::string_view value);

} // namespace bucketry::s3wire
