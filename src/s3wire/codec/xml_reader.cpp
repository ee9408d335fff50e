// SPDX-License-Identifier: Apache-2.0
#include "s3wire/codec/xml_reader.h"

#include "bucketry/base/http.h"
#include "bucketry/base/text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>

namespace bucketry::s3wire
{
namespace
{

constexpr std::size_t MaxDepth = 64;
constexpr std::string_view Blanks = " \t\r\n";

bool EndsName(char c)
{
    return c == '>' || c == '/' || c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '<' || c == '=' ||
        c == '"' || c == '\'' || c == '&' || c == '!';
}

/// 0, which no document may name, for what is no character.
std::uint32_t CodePointOf(std::string_view reference)
{
    bool const hex = reference.starts_with('x');
    reference.remove_prefix(hex ? 1 : 0);
    std::uint32_t value = 0;
    auto const [end, error] =
        std::from_chars(reference.data(), reference.data() + reference.size(), value, hex ? 16 : 10);
    bool const whole = error == std::errc() && end == reference.data() + reference.size();
    bool const surrogate = value >= 0xD800 && value < 0xE000;
    return whole && !surrogate && value <= 0x10FFFF ? value : 0;
}

} // namespace

CXmlReader::CXmlReader(std::string_view text) : m_text(text)
{
    if (m_text.starts_with("\xEF\xBB\xBF"))
    {
        m_position = 3;
    }
    if (!NextTag(nullptr))
    {
        Fail("no root element");
    }
}

std::string CXmlReader::Text()
{
    std::size_t const depth = m_open.size();
    std::string text;
    while (NextTag(&text))
    {
        LeaveTo(depth);
    }
    return text;
}

void CXmlReader::ReadInto(std::initializer_list<SXmlField> fields)
{
    auto const field =
        std::find_if(fields.begin(), fields.end(), [&](SXmlField const& f) { return f.m_name == Name(); });
    if (field != fields.end())
    {
        *field->m_target = Text();
    }
}

void CXmlReader::ReadFields(std::initializer_list<SXmlField> fields)
{
    ForEachChild([&](std::string_view) { ReadInto(fields); });
}

void CXmlReader::Finish()
{
    if (!m_open.empty() || NextTag(nullptr))
    {
        Fail("more than one root element");
    }
}

void CXmlReader::LeaveTo(std::size_t depth)
{
    while (m_open.size() > depth)
    {
        NextTag(nullptr);
    }
}

/// Goes to the next tag and collects the character data before it. True for a start tag, false for an end tag, or
/// behind the root for the end of the document.
bool CXmlReader::NextTag(std::string* text)
{
    if (std::exchange(m_emptyElement, false))
    {
        m_open.pop_back();
        return false;
    }
    for (;;)
    {
        std::size_t const tag = std::min(m_text.find('<', m_position), m_text.size());
        std::string_view const raw = m_text.substr(m_position, tag - m_position);
        if (m_open.empty() && raw.find_first_not_of(Blanks) != std::string_view::npos)
        {
            Fail("text outside the root element");
        }
        AppendText(raw, text);
        m_position = tag;
        if (m_position == m_text.size())
        {
            if (!m_open.empty())
            {
                Fail("cut off");
            }
            return false;
        }
        bool opened = false;
        if (ReadMarkup(text, opened))
        {
            return opened;
        }
    }
}

/// At a "<". False for what is neither a start nor an end tag.
bool CXmlReader::ReadMarkup(std::string* text, bool& opened)
{
    std::string_view const rest = m_text.substr(m_position);
    if (rest.starts_with("</"))
    {
        CloseTag();
        return true;
    }
    if (rest.starts_with("<!--"))
    {
        m_position += 4;
        TakeThrough("-->");
        return false;
    }
    if (rest.starts_with("<![CDATA[") && !m_open.empty())
    {
        m_position += 9;
        std::string_view const raw = TakeThrough("]]>");
        if (text != nullptr)
        {
            text->append(raw);
        }
        return false;
    }
    if (rest.starts_with("<?"))
    {
        TakeThrough("?>");
        return false;
    }
    OpenTag();
    opened = true;
    return true;
}

void CXmlReader::OpenTag()
{
    if (m_open.size() == MaxDepth)
    {
        Fail("too many levels");
    }
    ++m_position;
    m_open.push_back(TakeName());
    SkipAttributes();
    m_emptyElement = m_text[m_position] == '/';
    m_position += m_emptyElement ? 1 : 0;
    if (m_position == m_text.size() || m_text[m_position] != '>')
    {
        Fail("malformed tag");
    }
    ++m_position;
}

void CXmlReader::CloseTag()
{
    m_position += 2;
    if (m_open.empty() || TakeName() != m_open.back())
    {
        Fail("mismatched end tag");
    }
    m_position = m_text.find_first_not_of(Blanks, m_position);
    if (m_position == std::string_view::npos || m_text[m_position] != '>')
    {
        m_position = std::min(m_position, m_text.size());
        Fail("malformed tag");
    }
    ++m_position;
    m_open.pop_back();
}

/// The local part of the name at this place.
std::string_view CXmlReader::TakeName()
{
    char const* const begin = m_text.data() + m_position;
    char const* const end = std::find_if(begin, m_text.data() + m_text.size(), EndsName);
    std::string_view const name(begin, static_cast<std::size_t>(end - begin));
    m_position += name.size();
    if (name.empty())
    {
        Fail("malformed tag");
    }
    std::size_t const colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// Stops at the "/" or ">" that ends the tag.
void CXmlReader::SkipAttributes()
{
    for (;;)
    {
        if (m_position < m_text.size() && m_text[m_position] == '>') // the usual tag has none
        {
            return;
        }
        m_position = std::min(m_text.find_first_of("\"'/><", m_position), m_text.size());
        if (m_position == m_text.size() || m_text[m_position] == '<')
        {
            Fail("malformed tag");
        }
        char const found = m_text[m_position];
        if (found == '/' || found == '>')
        {
            return;
        }
        ++m_position;
        TakeThrough(std::string_view(&found, 1));
    }
}

std::string_view CXmlReader::TakeThrough(std::string_view end)
{
    std::size_t const found = m_text.find(end, m_position);
    if (found == std::string_view::npos)
    {
        Fail("cut off");
    }
    std::string_view const taken = m_text.substr(m_position, found - m_position);
    m_position = found + end.size();
    return taken;
}

void CXmlReader::AppendText(std::string_view raw, std::string* text)
{
    if (text == nullptr)
    {
        return;
    }
    for (std::size_t reference = raw.find('&'); reference != std::string_view::npos; reference = raw.find('&'))
    {
        text->append(raw.substr(0, reference));
        raw = AppendReference(raw.substr(reference + 1), *text);
    }
    text->append(raw);
}

/// Behind a "&". Gives what follows the reference.
std::string_view CXmlReader::AppendReference(std::string_view raw, std::string& text)
{
    static constexpr std::pair<std::string_view, char> named[] = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};

    std::size_t const end = raw.find(';');
    if (end == std::string_view::npos)
    {
        Fail("malformed reference");
    }
    std::string_view const name = raw.substr(0, end);
    std::string_view const rest = raw.substr(end + 1);
    if (name.starts_with('#'))
    {
        std::uint32_t const codePoint = CodePointOf(name.substr(1));
        if (codePoint == 0)
        {
            Fail("malformed reference");
        }
        util::AppendUtf8(text, codePoint);
        return rest;
    }
    auto const row =
        std::find_if(std::begin(named), std::end(named), [&](auto const& entry) { return entry.first == name; });
    if (row == std::end(named))
    {
        Fail("unknown reference");
    }
    text.push_back(row->second);
    return rest;
}

void CXmlReader::Fail(char const* what) const
{
    throw web::http::http_exception(
        util::str_format("The answer is not well-formed XML: %1 at byte %2", what, m_position));
}

} // namespace bucketry::s3wire
