// SPDX-License-Identifier: Apache-2.0
#include "s3wire/codec/http_date.h"

#include "bucketry/base/datetime.h"
#include "bucketry/base/exceptions.h"

#include <string>

namespace bucketry::s3wire
{

std::optional<std::time_t> ReadHttpDate(std::string_view value)
{
    try
    {
        return datetime::CDateTime::fromString(std::string(value), HttpDateFormat, true).toUnixTime();
    }
    catch (exc::CRuntimeExc const&)
    {
        return std::nullopt;
    }
}

} // namespace bucketry::s3wire
