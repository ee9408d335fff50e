// SPDX-License-Identifier: Apache-2.0
#include "text.h"

#include "bucketry/base/text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace bucketry::tool
{

namespace
{

std::string HexEscape(char byte)
{
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    return text.data();
}

} // namespace

std::string Printable(std::string_view bytes)
{
    std::string text;
    while (!bytes.empty())
    {
        std::size_t const length = util::Utf8Length(bytes);
        auto const first = static_cast<unsigned char>(bytes.front());
        if (length == 0 || first < 0x20 || first == 0x7F || first == '\\')
        {
            text += HexEscape(bytes.front());
            bytes.remove_prefix(1);
            continue;
        }
        text += bytes.substr(0, length);
        bytes.remove_prefix(length);
    }
    return text;
}

std::string ReplaceNonUtf8(std::string_view bytes)
{
    std::string text;
    while (!bytes.empty())
    {
        std::size_t const length = util::Utf8Length(bytes);
        text += length == 0 ? std::string_view("\xEF\xBF\xBD") : bytes.substr(0, length);
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

std::string OneDecimal(double value)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.1f", value);
    return text.data();
}

std::string HexOf(std::span<unsigned char const> bytes)
{
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (unsigned char const byte : bytes)
    {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

bool ReadHex(std::string_view text, std::span<unsigned char> bytes)
{
    if (text.size() != 2 * bytes.size() || text.find_first_not_of("0123456789abcdef") != std::string_view::npos)
    {
        return false;
    }
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        std::from_chars(text.data() + 2 * i, text.data() + 2 * i + 2, bytes[i], 16);
    }
    return true;
}

std::string HumanBytes(std::uint64_t bytes)
{
    if (bytes < 1024)
    {
        return std::to_string(bytes) + " B";
    }
    static constexpr std::array<char const*, 6> units{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double value = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; value >= 1023.95 && unit + 1 < units.size(); ++unit)
    {
        value /= 1024;
    }
    return OneDecimal(value) + " " + units[unit];
}

std::string GroupedDigits(std::uint64_t value)
{
    std::string const digits = std::to_string(value);
    std::string text;
    for (std::size_t i = 0; i < digits.size(); ++i)
    {
        if (i > 0 && (digits.size() - i) % 3 == 0)
        {
            text.push_back(',');
        }
        text.push_back(digits[i]);
    }
    return text;
}

std::string HumanSeconds(double seconds)
{
    auto const total = static_cast<std::uint64_t>(std::ceil(seconds));
    std::array<char, 48> text{};
    if (total < 3600)
    {
        std::snprintf(text.data(), text.size(), "%lu:%02lu", total / 60, total % 60);
    }
    else
    {
        std::snprintf(text.data(), text.size(), "%lu:%02lu:%02lu", total / 3600, total / 60 % 60, total % 60);
    }
    return text.data();
}

} // namespace bucketry::tool
