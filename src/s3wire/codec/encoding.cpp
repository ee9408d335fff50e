// SPDX-License-Identifier: Apache-2.0
#include "s3wire/codec/encoding.h"

#include <openssl/evp.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace bucketry::s3wire
{
namespace
{

bool IsAlphaNumeric(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool IsOneOf(char c, std::string_view set)
{
    return set.find(c) != std::string_view::npos;
}

std::string PercentEncode(std::string_view text, std::string_view unreserved)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size() + 16);
    for (char const c : text)
    {
        if (IsAlphaNumeric(c) || IsOneOf(c, unreserved))
        {
            encoded.push_back(c);
            continue;
        }
        auto const byte = static_cast<unsigned char>(c);
        encoded.push_back('%');
        encoded.push_back(digits[byte >> 4]);
        encoded.push_back(digits[byte & 15]);
    }
    return encoded;
}

std::optional<char> HexByteAt(std::string_view text, std::size_t position)
{
    unsigned value = 0;
    if (position + 2 > text.size())
    {
        return std::nullopt;
    }
    char const* const begin = text.data() + position;
    auto const [end, error] = std::from_chars(begin, begin + 2, value, 16);
    return error == std::errc() && end == begin + 2 ? std::optional(static_cast<char>(value)) : std::nullopt;
}

/// Undoes the percent-encoding of a form, or quoted-printable as header words have it: they differ in two characters.
std::string DecodeEscapes(std::string_view text, char escape, char space)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        std::optional<char> const byte = text[i] == escape ? HexByteAt(text, i + 1) : std::nullopt;
        decoded.push_back(byte ? *byte : text[i] == space ? ' ' : text[i]);
        i += byte ? 2 : 0;
    }
    return decoded;
}

std::optional<std::string> DecodeBase64(std::string_view text)
{
    std::string bytes(text.size() / 4 * 3, '\0');
    int const length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<unsigned char const*>(text.data()), static_cast<int>(text.size()));
    if (length < 0 || text.size() % 4 != 0)
    {
        return std::nullopt;
    }
    std::size_t const padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    bytes.resize(static_cast<std::size_t>(length) - std::min(padding, static_cast<std::size_t>(length)));
    return bytes;
}

/// Takes one encoded-word of UTF-8 from the front of `text`: "=?charset?B or Q?text?=".
std::optional<std::string> TakeEncodedWord(std::string_view& text)
{
    std::string_view rest = text;
    auto const take = [&rest](std::string_view end) -> std::string_view
    {
        std::size_t const found = std::min(rest.find(end), rest.size());
        std::string_view const part = rest.substr(0, found);
        rest.remove_prefix(std::min(found + end.size(), rest.size()));
        return part;
    };
    if (!rest.starts_with("=?") || rest.find("?=") == std::string_view::npos)
    {
        return std::nullopt;
    }
    rest.remove_prefix(2);
    std::string charset(take("?"));
    std::transform(charset.begin(), charset.end(), charset.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    std::string_view const encoding = take("?");
    std::string_view const word = take("?=");
    if ((charset != "utf-8" && charset != "us-ascii") || encoding.size() != 1 || !IsOneOf(encoding[0], "BbQq"))
    {
        return std::nullopt;
    }
    std::optional<std::string> decoded =
        IsOneOf(encoding[0], "Bb") ? DecodeBase64(word) : DecodeEscapes(word, '=', '_');
    if (decoded)
    {
        text = rest;
    }
    return decoded;
}

} // namespace

std::string EncodePath(std::string_view text)
{
    return PercentEncode(text, "-._~/");
}

std::string EncodeQuery(std::string_view text)
{
    return PercentEncode(text, "-._~");
}

std::string MakeQuery(std::vector<std::pair<std::string, std::string>> const& query)
{
    std::vector<std::pair<std::string, std::string>> encoded;
    encoded.reserve(query.size());
    for (auto const& [name, value] : query)
    {
        encoded.emplace_back(EncodeQuery(name), EncodeQuery(value));
    }
    std::sort(encoded.begin(), encoded.end());
    std::string text;
    for (auto const& [name, value] : encoded)
    {
        text.append(text.empty() ? "" : "&").append(name).append("=").append(value);
    }
    return text;
}

void DecodeListingText(std::string& text)
{
    if (text.find_first_of("%+") != std::string::npos)
    {
        text = DecodeEscapes(text, '%', '+');
    }
}

std::string EncodeBase64(std::string_view bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0'); // EVP_EncodeBlock ends with a zero
    int const length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        reinterpret_cast<unsigned char const*>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::string EncodeMetadataValue(std::string_view value)
{
    bool const printable = std::all_of(value.begin(), value.end(), [](char c) { return c >= ' ' && c <= '~'; });
    bool const trimmed = value.empty() || (value.front() != ' ' && value.back() != ' ');
    if (printable && trimmed && value.find("=?") == std::string_view::npos)
    {
        return std::string(value);
    }
    return "=?UTF-8?B?" + EncodeBase64(value) + "?=";
}

std::string DecodeMetadataValue(std::string_view header)
{
    std::string value;
    bool afterWord = false;
    while (!header.empty())
    {
        std::size_t const start = std::min(header.find("=?"), header.size());
        std::string_view const plain = header.substr(0, start);
        header.remove_prefix(start);
        std::optional<std::string> const word = TakeEncodedWord(header);
        bool const blank = plain.find_first_not_of(" \t") == std::string_view::npos;
        if (!(word && afterWord && blank)) // blanks between two words only separate them
        {
            value.append(plain);
        }
        if (word)
        {
            value.append(*word);
        }
        else if (!header.empty())
        {
            value.append(header.substr(0, 2));
            header.remove_prefix(2);
        }
        afterWord = word.has_value();
    }
    return value;
}

std::optional<std::uint64_t> ParseNumber(std::string_view text)
{
    std::uint64_t value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

std::string ToLower(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

bool IsHeaderName(std::string_view text)
{
    return !text.empty() &&
        std::all_of(text.begin(), text.end(),
                    [](char c) { return IsAlphaNumeric(c) || IsOneOf(c, "!#$%&'*+-.^_`|~"); });
}

bool IsHeaderValue(std::string_view text)
{
    return std::none_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ' && c != '\t') || c == 0x7F; });
}

} // namespace bucketry::s3wire
