// SPDX-License-Identifier: Apache-2.0
#include "protocol/text.h"

#include <array>
#include <charconv>
#include <ctime>

namespace bucketry::simulator
{

namespace
{

constexpr std::string_view Base64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool IsAlphanumeric(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

void AppendPercent(std::string& out, char c)
{
    constexpr char digits[] = "0123456789ABCDEF";
    auto const byte = static_cast<unsigned char>(c);
    out += {'%', digits[byte >> 4], digits[byte & 15]};
}

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
    {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f')
    {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string Format(time_point_t time, char const* format)
{
    std::time_t const seconds = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 64> text;
    return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
}

/// The rest of the text behind what the format took must be empty; it is handed out for fractions.
std::optional<time_point_t> Parse(std::string const& text, char const* format, std::string_view* rest)
{
    std::tm parts{};
    char const* const end = strptime(text.c_str(), format, &parts);
    if (end == nullptr)
    {
        return std::nullopt;
    }
    *rest = std::string_view(end);
    return std::chrono::system_clock::from_time_t(timegm(&parts));
}

std::optional<time_point_t> ParseWhole(std::string const& text, char const* format)
{
    std::string_view rest;
    auto const time = Parse(text, format, &rest);
    return rest.empty() ? time : std::nullopt;
}

/// How many bytes follow the first byte of a UTF-8 sequence; -1 if none can begin so.
int FollowingBytes(unsigned char first)
{
    if (first < 0x80)
    {
        return 0;
    }
    if (first >= 0xc2 && first <= 0xdf)
    {
        return 1;
    }
    if ((first & 0xf0) == 0xe0)
    {
        return 2;
    }
    return first >= 0xf0 && first <= 0xf4 ? 3 : -1;
}

} // namespace

std::string ToLower(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower)
    {
        if (c >= 'A' && c <= 'Z')
        {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

std::string Hex(std::string_view bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (char const c : bytes)
    {
        auto const byte = static_cast<unsigned char>(c);
        text += {digits[byte >> 4], digits[byte & 15]};
    }
    return text;
}

std::string Base64(std::string_view bytes)
{
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3)
    {
        std::uint32_t block = 0;
        for (std::size_t j = 0; j < 3; ++j)
        {
            block = block << 8 | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0u);
        }
        for (unsigned j = 0; j < 4; ++j)
        {
            text += i + j <= bytes.size() ? Base64Digits[block >> (18 - 6 * j) & 63] : '=';
        }
    }
    return text;
}

std::optional<std::string> FromBase64(std::string_view text)
{
    if (text.size() % 4 != 0)
    {
        return std::nullopt;
    }
    std::size_t const padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 4)
    {
        std::uint32_t block = 0;
        for (std::size_t j = i; j < i + 4; ++j)
        {
            std::size_t const digit = j < text.size() - padding ? Base64Digits.find(text[j]) : 0;
            if (digit == std::string_view::npos)
            {
                return std::nullopt;
            }
            block = block << 6 | static_cast<std::uint32_t>(digit);
        }
        for (unsigned shift : {16u, 8u, 0u})
        {
            bytes += static_cast<char>(block >> shift & 255);
        }
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

std::string PercentEncode(std::string_view bytes, bool keepSlash)
{
    std::string text;
    for (char const c : bytes)
    {
        bool const plain = IsAlphanumeric(c) || std::string_view("-._~").find(c) != std::string_view::npos;
        if (plain || (keepSlash && c == '/'))
        {
            text += c;
        }
        else
        {
            AppendPercent(text, c);
        }
    }
    return text;
}

std::string FormEncode(std::string_view bytes)
{
    std::string text;
    for (char const c : bytes)
    {
        if (c == ' ')
        {
            text += '+';
        }
        else if (IsAlphanumeric(c) || std::string_view("-._*/").find(c) != std::string_view::npos)
        {
            text += c;
        }
        else
        {
            AppendPercent(text, c);
        }
    }
    return text;
}

std::optional<std::string> PercentDecode(std::string_view text, bool plusIsSpace)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] != '%')
        {
            bytes += plusIsSpace && text[i] == '+' ? ' ' : text[i];
            continue;
        }
        int const high = i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
        int const low = i + 2 < text.size() ? HexDigit(text[i + 2]) : -1;
        if (high < 0 || low < 0)
        {
            return std::nullopt;
        }
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return bytes;
}

bool IsUtf8(std::string_view text)
{
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        auto const first = static_cast<unsigned char>(text[i]);
        int const following = FollowingBytes(first);
        if (following < 0 || i + static_cast<std::size_t>(following) >= text.size())
        {
            return false;
        }
        for (int j = 0; j < following; ++j)
        {
            auto const byte = static_cast<unsigned char>(text[++i]);
            bool const overlong = j == 0 && ((first == 0xe0 && byte < 0xa0) || (first == 0xf0 && byte < 0x90));
            bool const beyond = j == 0 && ((first == 0xed && byte > 0x9f) || (first == 0xf4 && byte > 0x8f));
            if ((byte & 0xc0) != 0x80 || overlong || beyond)
            {
                return false;
            }
        }
    }
    return true;
}

std::string Latin1ToUtf8(std::string_view bytes)
{
    std::string text;
    for (char const c : bytes)
    {
        auto const byte = static_cast<unsigned char>(c);
        if (byte < 0x80)
        {
            text += c;
        }
        else
        {
            text += {static_cast<char>(0xc0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3f))};
        }
    }
    return text;
}

std::optional<std::uint64_t> ParseNumber(std::string_view text)
{
    std::uint64_t number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
    {
        return std::nullopt;
    }
    return number;
}

std::string IsoTime(time_point_t time)
{
    auto const rest = time - std::chrono::floor<std::chrono::seconds>(time);
    auto const millis = std::chrono::duration_cast<std::chrono::milliseconds>(rest).count();
    std::string const digits = std::to_string(1000 + millis);
    return Format(time, "%Y-%m-%dT%H:%M:%S.") + digits.substr(1) + "Z";
}

std::string IsoSeconds(time_point_t time)
{
    return Format(time, "%Y-%m-%dT%H:%M:%SZ");
}

std::string HttpTime(time_point_t time)
{
    return Format(time, "%a, %d %b %Y %H:%M:%S GMT");
}

std::optional<time_point_t> ParseIsoTime(std::string const& text)
{
    std::string_view rest;
    auto const seconds = Parse(text, "%Y-%m-%dT%H:%M:%S", &rest);
    if (!seconds || !rest.ends_with("Z"))
    {
        return std::nullopt;
    }
    rest.remove_suffix(1);
    if (rest.empty())
    {
        return seconds;
    }
    auto const fraction = rest.size() <= 10 && rest.starts_with(".") ? ParseNumber(rest.substr(1)) : std::nullopt;
    if (!fraction)
    {
        return std::nullopt;
    }
    std::string const nanos = (std::string(rest.substr(1)) + "000000000").substr(0, 9);
    return *seconds + std::chrono::nanoseconds(*ParseNumber(nanos));
}

std::optional<time_point_t> ParseIsoBasicTime(std::string const& text)
{
    return text.size() == 16 ? ParseWhole(text, "%Y%m%dT%H%M%SZ") : std::nullopt;
}

std::optional<time_point_t> ParseHttpTime(std::string const& text)
{
    return ParseWhole(text, "%a, %d %b %Y %H:%M:%S GMT");
}

bool GlobMatches(std::string_view glob, std::string_view text)
{
    std::size_t inGlob = 0, inText = 0, star = std::string_view::npos, resume = 0;
    while (inText < text.size())
    {
        if (inGlob < glob.size() && glob[inGlob] == '*')
        {
            star = inGlob++;
            resume = inText;
        }
        else if (inGlob < glob.size() && (glob[inGlob] == '?' || glob[inGlob] == text[inText]))
        {
            ++inGlob;
            ++inText;
        }
        else if (star != std::string_view::npos)
        {
            inGlob = star + 1;
            inText = ++resume;
        }
        else
        {
            return false;
        }
    }
    return glob.find_first_not_of('*', inGlob) == std::string_view::npos;
}

} // namespace bucketry::simulator
