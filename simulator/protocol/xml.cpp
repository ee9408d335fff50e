// SPDX-License-Identifier: Apache-2.0
#include "protocol/xml.h"

#include "protocol/text.h"

#include <tinyxml2.h>

#include <cstring>

namespace bucketry::simulator
{

namespace
{

/// As S3 writes it: control characters as references, even those that XML 1.0 forbids.
void AppendEscaped(std::string& out, std::string_view text)
{
    constexpr char digits[] = "0123456789abcdef";
    for (char const c : text)
    {
        if (c == '&')
        {
            out += "&amp;";
        }
        else if (c == '<')
        {
            out += "&lt;";
        }
        else if (c == '>')
        {
            out += "&gt;";
        }
        else if (c == '"')
        {
            out += "&quot;";
        }
        else if (static_cast<unsigned char>(c) < 0x10)
        {
            out += {'&', '#', 'x', digits[c & 15], ';'};
        }
        else if (static_cast<unsigned char>(c) < 0x20)
        {
            out += {'&', '#', 'x', '1', digits[c & 15], ';'};
        }
        else
        {
            out += c;
        }
    }
}

std::string_view LocalName(tinyxml2::XMLElement const* element)
{
    std::string_view const name = element->Name();
    return name.substr(name.find(':') + 1);
}

} // namespace

CStoreError MalformedXml()
{
    return {400, "MalformedXML",
            "The XML you provided was not well-formed or did not validate against our published schema"};
}

CXmlWriter::CXmlWriter(std::string_view root, std::string_view xmlns)
    : m_text("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"), m_open{std::string(root)}
{
    m_text.append("<").append(root);
    if (!xmlns.empty())
    {
        m_text.append(" xmlns=\"").append(xmlns).append("\"");
    }
    m_text += '>';
}

CXmlWriter& CXmlWriter::Open(std::string_view name)
{
    m_text.append("<").append(name).append(">");
    m_open.emplace_back(name);
    return *this;
}

CXmlWriter& CXmlWriter::Close()
{
    m_text.append("</").append(m_open.back()).append(">");
    m_open.pop_back();
    return *this;
}

CXmlWriter& CXmlWriter::Text(std::string_view name, std::string_view text)
{
    m_text.append("<").append(name).append(">");
    AppendEscaped(m_text, text);
    m_text.append("</").append(name).append(">");
    return *this;
}

std::string CXmlWriter::Finish()
{
    while (!m_open.empty())
    {
        Close();
    }
    return std::move(m_text);
}

CXmlReader::CXmlReader(std::string const& text, std::string_view root)
    : m_document(std::make_unique<tinyxml2::XMLDocument>())
{
    bool const isWhole = m_document->Parse(text.data(), text.size()) == tinyxml2::XML_SUCCESS;
    auto const* const element = m_document->RootElement();
    if (!isWhole || element == nullptr || LocalName(element) != root || element->NextSiblingElement() != nullptr)
    {
        throw MalformedXml();
    }
}

CXmlReader::~CXmlReader() = default;

CXmlReader::CElement CXmlReader::Root() const
{
    return CElement(m_document->RootElement());
}

CXmlReader::CElement CXmlReader::CElement::Child(std::string_view name) const
{
    auto const children = Children(name);
    return children.empty() ? CElement(nullptr) : children.front();
}

std::vector<CXmlReader::CElement> CXmlReader::CElement::Children(std::string_view name) const
{
    std::vector<CElement> children;
    auto const* child = m_element == nullptr ? nullptr : m_element->FirstChildElement();
    for (; child != nullptr; child = child->NextSiblingElement())
    {
        if (LocalName(child) == name)
        {
            children.push_back(CElement(child));
        }
    }
    return children;
}

std::string CXmlReader::CElement::Text() const
{
    std::string text;
    auto const* node = m_element == nullptr ? nullptr : m_element->FirstChild();
    for (; node != nullptr; node = node->NextSibling())
    {
        if (auto const* const part = node->ToText())
        {
            text += part->Value();
        }
    }
    return text;
}

std::optional<std::string> CXmlReader::CElement::TextOf(std::string_view name) const
{
    auto const child = Child(name);
    return child ? std::optional(child.Text()) : std::nullopt;
}

std::string CXmlReader::CElement::Demand(std::string_view name) const
{
    auto text = TextOf(name);
    if (!text)
    {
        throw MalformedXml();
    }
    return std::move(*text);
}

std::uint64_t CXmlReader::CElement::DemandNumber(std::string_view name) const
{
    auto const number = ParseNumber(Demand(name));
    if (!number)
    {
        throw MalformedXml();
    }
    return *number;
}

} // namespace bucketry::simulator
