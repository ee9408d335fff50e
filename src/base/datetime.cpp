// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/datetime.h"

#include "bucketry/base/exceptions.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>

#include <clocale>
#include <ctime>
#include <time.h>

namespace bucketry::datetime
{

namespace
{

constexpr std::array<std::string_view, 7> Weekdays{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                   "Thursday", "Friday", "Saturday"};
constexpr std::array<std::string_view, 12> Months{"January",   "February", "March",    "April",
                                                  "May",       "June",     "July",     "August",
                                                  "September", "October",  "November", "December"};

// Reads a text by a format; every operation is false if the text does not fit.
class CParser
{
public:
    explicit CParser(std::string_view text) : m_rest(text) {}

    bool Read(std::string_view format)
    {
        for (std::size_t at = 0; at < format.size(); ++at)
        {
            bool const fits = format[at] != '%' ? ReadLiteral(format[at])
                : ++at < format.size()          ? ReadConversion(format[at])
                                                : false;
            if (!fits)
            {
                return false;
            }
        }
        return m_rest.empty();
    }

    // The date that was read, unless it does not exist; what was not read counts as in 1970-01-01.
    std::optional<std::chrono::sys_days> Date() const
    {
        using namespace std::chrono;
        year const inYear(m_year);
        year_month_day date(inYear, month(static_cast<unsigned>(m_month.value_or(1))),
                            day(static_cast<unsigned>(m_day.value_or(1))));
        if (m_dayOfYear && !m_month && !m_day)
        {
            date = sys_days(inYear / January / 1) + days(*m_dayOfYear - 1);
        }
        bool const exists = date.ok() && date.year() == inYear;
        if (!exists)
        {
            return std::nullopt;
        }
        sys_days const result = date;
        bool const agrees = (!m_weekday || weekday(result).c_encoding() == static_cast<unsigned>(*m_weekday)) &&
            (!m_dayOfYear || result - sys_days(inYear / January / 1) == days(*m_dayOfYear - 1));
        return agrees ? std::optional(result) : std::nullopt;
    }

    std::chrono::seconds TimeOfDay() const
    {
        return std::chrono::hours(m_hour) + std::chrono::minutes(m_minute) + std::chrono::seconds(m_second);
    }

private:
    bool ReadLiteral(char symbol)
    {
        if (!m_rest.starts_with(symbol))
        {
            return false;
        }
        m_rest.remove_prefix(1);
        return true;
    }

    // Exactly that many digits, with a value in the range.
    template <class T>
    bool ReadNumber(std::size_t digits, int low, int high, T& number)
    {
        if (m_rest.size() < digits)
        {
            return false;
        }
        int value = 0;
        for (char const digit : m_rest.substr(0, digits))
        {
            if (digit < '0' || digit > '9')
            {
                return false;
            }
            value = value * 10 + (digit - '0');
        }
        m_rest.remove_prefix(digits);
        number = value;
        return value >= low && value <= high;
    }

    // The whole name, or its first three letters; `number` counts from `first`.
    template <std::size_t N>
    bool ReadName(std::array<std::string_view, N> const& names, bool isShort, int first, std::optional<int>& number)
    {
        for (std::size_t i = 0; i < N; ++i)
        {
            std::string_view const name = isShort ? names[i].substr(0, 3) : names[i];
            if (m_rest.starts_with(name))
            {
                m_rest.remove_prefix(name.size());
                number = static_cast<int>(i) + first;
                return true;
            }
        }
        return false;
    }

    bool ReadPaddedDay()
    {
        bool const oneDigit = m_rest.starts_with(' ') && ReadLiteral(' ');
        return ReadNumber(oneDigit ? 1 : 2, 1, 31, m_day);
    }

    bool ReadConversion(char conversion)
    {
        switch (conversion)
        {
        case 'Y':
            return ReadNumber(4, 0, 9999, m_year);
        case 'm':
            return ReadNumber(2, 1, 12, m_month);
        case 'd':
            return ReadNumber(2, 1, 31, m_day);
        case 'e':
            return ReadPaddedDay();
        case 'j':
            return ReadNumber(3, 1, 366, m_dayOfYear);
        case 'H':
            return ReadNumber(2, 0, 23, m_hour);
        case 'M':
            return ReadNumber(2, 0, 59, m_minute);
        case 'S':
            return ReadNumber(2, 0, 59, m_second);
        case 'a':
            return ReadName(Weekdays, true, 0, m_weekday);
        case 'A':
            return ReadName(Weekdays, false, 0, m_weekday);
        case 'b':
            return ReadName(Months, true, 1, m_month);
        case 'B':
            return ReadName(Months, false, 1, m_month);
        case 'T':
            return ReadConversion('H') && ReadLiteral(':') && ReadConversion('M') && ReadLiteral(':') &&
                ReadConversion('S');
        case 'F':
            return ReadConversion('Y') && ReadLiteral('-') && ReadConversion('m') && ReadLiteral('-') &&
                ReadConversion('d');
        case '%':
            return ReadLiteral('%');
        default:
            return false;
        }
    }

    std::string_view m_rest;
    int m_year = 1970;
    std::optional<int> m_month;
    std::optional<int> m_day;
    std::optional<int> m_dayOfYear;
    std::optional<int> m_weekday; ///< from Sunday, 0
    int m_hour = 0;
    int m_minute = 0;
    int m_second = 0;
};

// The fields of a moment; none if the year is out of range.
std::optional<std::tm> Fields(std::time_t seconds, bool utc)
{
    std::tm fields{};
    bool const done = (utc ? ::gmtime_r(&seconds, &fields) : ::localtime_r(&seconds, &fields)) != nullptr;
    return done ? std::optional(fields) : std::nullopt;
}

// The moment at which local clocks show what UTC clocks show at `shown`; none if they skip that time.
std::optional<std::time_t> FromLocal(std::time_t shown)
{
    std::tm const wanted = *Fields(shown, true);
    std::tm fields = wanted;
    fields.tm_isdst = -1;
    std::time_t const moment = std::mktime(&fields);
    bool const kept = fields.tm_mday == wanted.tm_mday && fields.tm_hour == wanted.tm_hour &&
        fields.tm_min == wanted.tm_min && fields.tm_sec == wanted.tm_sec;
    return kept ? std::optional(moment) : std::nullopt;
}

std::optional<std::time_t> Parse(std::string const& text, std::string const& format, bool utc)
{
    CParser parser(text);
    if (!parser.Read(format))
    {
        return std::nullopt;
    }
    auto const date = parser.Date();
    if (!date)
    {
        return std::nullopt;
    }
    std::time_t const shown = (date->time_since_epoch() + parser.TimeOfDay()).count();
    return utc ? shown : FromLocal(shown);
}

} // namespace

char const* const CDateTime::DefaultFormat = "%Y-%m-%d %H:%M:%S";

CDateTime::CDateTime(bool utc) noexcept : m_utc(utc) {}

CDateTime CDateTime::fromString(std::string const& text, std::string const& format, bool utc)
{
    std::optional<std::time_t> const seconds = Parse(text, format, utc);
    if (!seconds)
    {
        throw exc::CRuntimeExc("\"%1\" is not a time of the form \"%2\".", text, format);
    }
    return fromUnixTime(*seconds, utc);
}

CDateTime CDateTime::fromUnixTime(long const& seconds, bool utc)
{
    CDateTime time(utc);
    time.m_seconds = seconds;
    time.m_null = false;
    return time;
}

CDateTime CDateTime::currentUtcTime()
{
    return fromUnixTime(std::time(nullptr), true);
}

std::string CDateTime::toStdString(std::string const& format) const
{
    static ::locale_t const english = ::newlocale(LC_ALL_MASK, "C", nullptr);
    std::optional<std::tm> const fields = Fields(m_seconds, m_utc);
    if (!fields)
    {
        throw exc::CRuntimeExc("The time %1 has no calendar date.", m_seconds);
    }
    std::string const guarded = format + "|"; // an empty result would look like a buffer that is too small
    std::string text(guarded.size() + 64, '\0');
    std::size_t size = 0;
    while ((size = ::strftime_l(text.data(), text.size(), guarded.c_str(), &*fields, english)) == 0)
    {
        text.resize(text.size() * 2);
    }
    text.resize(size - 1);
    return text;
}

CDateTime CDateTime::toUtcTime() const noexcept
{
    CDateTime same = *this;
    same.m_utc = true;
    return same;
}

} // namespace bucketry::datetime
