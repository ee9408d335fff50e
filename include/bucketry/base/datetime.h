// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <compare>
#include <string>

namespace bucketry::datetime
{

/// A point in time to the second, to be shown in UTC or in local time. Two values compare by the moment they name,
/// however they are shown; the null value comes before every other time. A plain value.
class BUCKETRY_API CDateTime
{
public:
    /// "%Y-%m-%d %H:%M:%S"
    static char const* const DefaultFormat;

    /// The null value: no time at all.
    explicit CDateTime(bool utc = true) noexcept;

    /// Reads `text`, all of it, by a strptime(3) format with the conversions %Y %m %d %H %M %S %a %A %b %B %d %e %T %F
    /// %j and %%, names in English. Throws exc::CRuntimeExc with text and format for anything else, impossible dates
    /// included. `utc` says how the text is meant and how the value is shown.
    static CDateTime fromString(std::string const& text, std::string const& format, bool utc);
    /// `seconds` since 1970-01-01 00:00:00 UTC.
    static CDateTime fromUnixTime(long const& seconds, bool utc);
    static CDateTime currentUtcTime();

    bool IsNull() const noexcept { return m_null; }
    /// Seconds since 1970-01-01 00:00:00 UTC; 0 for the null value.
    long toUnixTime() const noexcept { return m_seconds; }
    /// By a strftime(3) format, names in English.
    std::string toStdString(std::string const& format = DefaultFormat) const;
    /// The same moment, shown in UTC.
    CDateTime toUtcTime() const noexcept;

    friend bool operator==(CDateTime const& left, CDateTime const& right) noexcept
    {
        return left.m_null == right.m_null && left.m_seconds == right.m_seconds;
    }
    friend std::strong_ordering operator<=>(CDateTime const& left, CDateTime const& right) noexcept
    {
        return left.m_null != right.m_null ? right.m_null <=> left.m_null : left.m_seconds <=> right.m_seconds;
    }

private:
    long m_seconds = 0;
    bool m_null = true;
    bool m_utc = true;
};

} // namespace bucketry::datetime
