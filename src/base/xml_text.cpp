// SPDX-License-Identifier: Apache-2.0
#include "xml_text.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

namespace bucketry::xmlpp
{

namespace
{

struct SEntity
{
    std::string_view m_name;
    char m_symbol;
};

constexpr std::array Entities{SEntity{"amp", '&'}, SEntity{"lt", '<'}, SEntity{"gt", '>'}, SEntity{"quot", '"'},
                              SEntity{"apos", '\''}};

// The production Char.
bool IsXmlChar(char32_t symbol)
{
    return symbol == 0x9 || symbol == 0xA || symbol == 0xD || (symbol >= 0x20 && symbol <= 0xD7FF) ||
        (symbol >= 0xE000 && symbol <= 0xFFFD) || (symbol >= 0x10000 && symbol <= 0x10FFFF);
}

[[noreturn]] void RefuseByte(std::string_view text, std::string_view rest)
{
    throw exc::CRuntimeExc("XML cannot carry the byte %1 at position %2 of a value.",
                           static_cast<unsigned>(static_cast<unsigned char>(rest.front())), text.size() - rest.size());
}

// The bytes of the character that a text begins with; 0 if it is broken or none of XML's.
std::size_t SequenceLength(std::string_view text)
{
    char32_t symbol = 0;
    std::size_t const length = util::Utf8Length(text, &symbol);
    return length != 0 && IsXmlChar(symbol) ? length : 0;
}

// The character of a reference's text between "&" and ";".
std::optional<char32_t> Dereference(std::string_view reference)
{
    if (!reference.starts_with('#'))
    {
        auto const* const found = std::ranges::find(Entities, reference, &SEntity::m_name);
        return found != Entities.end() ? std::optional<char32_t>(found->m_symbol) : std::nullopt;
    }
    bool const isHex = reference.starts_with("#x");
    reference.remove_prefix(isHex ? 2 : 1);
    std::uint32_t number = 0;
    char const* const end = reference.data() + reference.size();
    auto const [stop, error] = std::from_chars(reference.data(), end, number, isHex ? 16 : 10);
    bool const isNumber = error == std::errc{} && stop == end && IsXmlChar(number);
    return isNumber ? std::optional<char32_t>(number) : std::nullopt;
}

// What stands for one character, or the character itself.
std::string_view EscapeSequence(std::string_view symbol)
{
    switch (symbol.front())
    {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\t':
        return "&#9;";
    case '\n':
        return "&#10;";
    case '\r':
        return "&#13;";
    default:
        return symbol;
    }
}

} // namespace

std::string EscapeAttribute(std::string_view value)
{
    std::string raw;
    for (std::string_view rest = value; !rest.empty();)
    {
        std::size_t const length = SequenceLength(rest);
        if (length == 0)
        {
            RefuseByte(value, rest);
        }
        raw += EscapeSequence(rest.substr(0, length));
        rest.remove_prefix(length);
    }
    return raw;
}

std::string UnescapeAttribute(std::string_view raw)
{
    std::string value;
    for (std::string_view rest = raw; !rest.empty();)
    {
        if (rest.front() == '&')
        {
            std::size_t const end = rest.find(';');
            auto const symbol = end == std::string_view::npos ? std::nullopt : Dereference(rest.substr(1, end - 1));
            if (!symbol)
            {
                throw exc::CRuntimeExc("The reference at position %1 of an XML value is unknown.",
                                       raw.size() - rest.size());
            }
            util::AppendUtf8(value, *symbol);
            rest.remove_prefix(end + 1);
            continue;
        }
        std::size_t const length = SequenceLength(rest);
        if (length == 0 || rest.front() == '<')
        {
            RefuseByte(raw, rest);
        }
        value += rest.substr(0, length);
        rest.remove_prefix(length);
    }
    return value;
}

bool IsName(std::string_view text)
{
    auto const isStart = [](char symbol)
    {
        return (symbol >= 'a' && symbol <= 'z') || (symbol >= 'A' && symbol <= 'Z') || symbol == '_' || symbol == ':' ||
            static_cast<unsigned char>(symbol) >= 0x80;
    };
    auto const isPart = [&isStart](char symbol)
    { return isStart(symbol) || (symbol >= '0' && symbol <= '9') || symbol == '-' || symbol == '.'; };
    return !text.empty() && isStart(text.front()) && std::ranges::all_of(text, isPart);
}

} // namespace bucketry::xmlpp
