#pragma once

#include <string>

namespace bucketry::s3::detail
{

/// The form of the dates that a store sends in headers (RFC 9110, IMF-fixdate), for datetime::CDateTime.
inline std::string const dateFormatRfc2822Gmt = "%a, %d %b %Y %H:%M:%S GMT";

} // namespace bucketry::s3::detail
