// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/text.h"

#include "bucketry/base/exceptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <system_error>
#include <thread>

#include <unistd.h>

namespace bucketry::util
{

namespace
{

char LowerAscii(char symbol) noexcept
{
    return symbol >= 'A' && symbol <= 'Z' ? static_cast<char>(symbol - 'A' + 'a') : symbol;
}

template <class T>
void ReadNumber(std::string const& text, T& value)
{
    T number{};
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end)
    {
        throw exc::CRuntimeExc("\"%1\" is not a number in range.", text);
    }
    value = number;
}

} // namespace

std::string details::FillPlaceholders(std::string_view format, std::initializer_list<std::string> arguments)
{
    std::string filled;
    char const* const end = format.data() + format.size();
    for (char const* at = format.data(); at != end;)
    {
        bool const isPlaceholder = *at == '%' && at + 1 != end && at[1] >= '1' && at[1] <= '9';
        if (!isPlaceholder)
        {
            filled += *at++;
            continue;
        }
        std::size_t number = 0;
        auto const [stop, error] = std::from_chars(at + 1, end, number);
        if (error == std::errc{} && number <= arguments.size())
        {
            filled += arguments.begin()[number - 1];
        }
        else
        {
            filled.append(at, stop);
        }
        at = stop;
    }
    return filled;
}

bool str_contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

bool str_is_starts_with(std::string_view text, std::string_view start)
{
    return text.starts_with(start);
}

bool str_is_finishes_with(std::string_view text, std::string_view finish)
{
    return text.ends_with(finish);
}

std::string str_replace(std::string_view text, std::string_view from, std::string_view to)
{
    if (from.empty())
    {
        return std::string(text);
    }
    std::string result;
    for (std::size_t found = text.find(from); found != std::string_view::npos; found = text.find(from))
    {
        result += text.substr(0, found);
        result += to;
        text.remove_prefix(found + from.size());
    }
    result += text;
    return result;
}

void AppendUtf8(std::string& text, char32_t symbol)
{
    if (symbol < 0x80)
    {
        text += static_cast<char>(symbol);
        return;
    }
    unsigned const more = symbol < 0x800 ? 1 : symbol < 0x10000 ? 2 : 3;
    constexpr std::array<unsigned, 4> marks{0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(marks[more] | (symbol >> (6 * more)));
    for (unsigned left = more; left-- > 0;)
    {
        text += static_cast<char>(0x80U | (symbol >> (6 * left) & 0x3FU));
    }
}

std::size_t Utf8Length(std::string_view text, char32_t* symbol) noexcept
{
    unsigned const lead = text.empty() ? 0xFF : static_cast<unsigned char>(text.front());
    std::size_t const length = lead < 0x80 ? 1
        : lead < 0xC2                      ? 0
        : lead < 0xE0                      ? 2
        : lead < 0xF0                      ? 3
        : lead < 0xF5                      ? 4
                                           : 0;
    if (length == 0 || text.size() < length)
    {
        return 0;
    }
    char32_t value = length == 1 ? lead : lead & (0x7FU >> length);
    for (char const next : text.substr(1, length - 1))
    {
        if ((static_cast<unsigned char>(next) & 0xC0U) != 0x80U)
        {
            return 0;
        }
        value = value << 6U | (static_cast<unsigned char>(next) & 0x3FU);
    }
    constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    if (value < smallest[length] || (value >= 0xD800 && value < 0xE000) || value > 0x10FFFF)
    {
        return 0;
    }
    if (symbol != nullptr)
    {
        *symbol = value;
    }
    return length;
}

void fromStr(std::string const& text, std::string& value)
{
    value = text;
}

void fromStr(std::string const& text, int& value)
{
    ReadNumber(text, value);
}

void fromStr(std::string const& text, unsigned int& value)
{
    ReadNumber(text, value);
}

void fromStr(std::string const& text, long& value)
{
    ReadNumber(text, value);
}

void fromStr(std::string const& text, unsigned long& value)
{
    ReadNumber(text, value);
}

bool str_case_insensitive_less_operator::operator()(std::string_view left, std::string_view right) const noexcept
{
    return std::ranges::lexicographical_compare(
        left, right,
        [](char l, char r)
        { return static_cast<unsigned char>(LowerAscii(l)) < static_cast<unsigned char>(LowerAscii(r)); });
}

int GetPID()
{
    return ::getpid();
}

void sleep(int msec)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(msec));
}

} // namespace bucketry::util
