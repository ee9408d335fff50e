// SPDX-License-Identifier: Apache-2.0
#include "backup/names.h"

#include "backup/sha256.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace bucketry::tool
{

namespace
{

bool IsPlain(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
        c == '-';
}

std::string Escape(std::string_view bytes, bool isPath)
{
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size());
    for (char const c : bytes)
    {
        if (IsPlain(c) || (isPath && c == '/'))
        {
            text += c;
            continue;
        }
        auto const byte = static_cast<unsigned char>(c);
        text += '%';
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::optional<unsigned> DigitOf(char c)
{
    if (c >= '0' && c <= '9')
    {
        return static_cast<unsigned>(c - '0');
    }
    if (c >= 'A' && c <= 'F')
    {
        return static_cast<unsigned>(c - 'A' + 10);
    }
    return std::nullopt;
}

/// Calls `check` with each component until it is false; whether it was true for all.
template <class TCheck>
bool AllComponents(std::string_view path, TCheck check)
{
    while (true)
    {
        std::size_t const end = path.find('/');
        if (!check(path.substr(0, end)))
        {
            return false;
        }
        if (end == std::string_view::npos)
        {
            return true;
        }
        path.remove_prefix(end + 1);
    }
}

} // namespace

std::string EscapeName(std::string_view name)
{
    return Escape(name, false);
}

std::string EscapePath(std::string_view path)
{
    return Escape(path, true);
}

std::optional<std::string> Unescape(std::string_view text, bool isPath)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (IsPlain(text[i]) || (isPath && text[i] == '/'))
        {
            bytes += text[i];
            continue;
        }
        if (text[i] != '%' || i + 2 >= text.size())
        {
            return std::nullopt;
        }
        auto const high = DigitOf(text[i + 1]);
        auto const low = DigitOf(text[i + 2]);
        if (!high || !low)
        {
            return std::nullopt;
        }
        char const byte = static_cast<char>(*high * 16 + *low);
        if (IsPlain(byte) || (isPath && byte == '/'))
        {
            return std::nullopt;
        }
        bytes += byte;
        i += 2;
    }
    return bytes;
}

std::string ObjectNameOf(std::string_view path)
{
    std::string escaped = EscapePath(path);
    auto const fits = [](std::string_view component) { return component.size() <= MaxComponentBytes; };
    if (escaped.size() <= MaxObjectNameBytes && AllComponents(escaped, fits))
    {
        return escaped;
    }
    CSha256 hash;
    hash.Update(path.data(), path.size());
    return "%00/" + ToHex(hash.Finish());
}

std::string PieceNameOf(std::string_view objectName, std::size_t piece)
{
    std::array<char, 32> number{};
    std::snprintf(number.data(), number.size(), "/%06zu", piece);
    return std::string(objectName) + number.data();
}

bool IsRelativePath(std::string_view path)
{
    return AllComponents(path,
                         [](std::string_view component)
                         {
                             return !component.empty() && component.size() <= MaxComponentBytes && component != "." &&
                                 component != ".." && component.find('\0') == std::string_view::npos;
                         });
}

bool IsPathBefore(std::string_view left, std::string_view right)
{
    // No name holds a NUL, so that its rank is free for the delimiter, which comes before every other byte.
    auto const rank = [](char c) { return c == '/' ? 0 : static_cast<int>(static_cast<unsigned char>(c)); };
    return std::ranges::lexicographical_compare(left, right, {}, rank, rank);
}

std::string_view ParentOf(std::string_view path)
{
    std::size_t const end = path.rfind('/');
    return end == std::string_view::npos ? std::string_view() : path.substr(0, end);
}

std::string_view BaseNameOf(std::string_view path)
{
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0
}

} // namespace bucketry::tool
