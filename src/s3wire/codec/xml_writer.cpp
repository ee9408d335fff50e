// SPDX-License-Identifier: Apache-2.0
#include "s3wire/codec/xml_writer.h"

#include <algorithm>

namespace bucketry::s3wire
{
namespace
{

/// Empty for a character that stands for itself.
std::string_view ReferenceFor(char c)
{
    switch (c)
    {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '\r':
        return "&#13;";
    case '\n':
        return "&#10;";
    default:
        return {};
    }
}

} // namespace

bool IsXmlText(std::string_view text)
{
    bool const hasControl =
        std::any_of(text.begin(), text.end(),
                    [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r'; });
    return !hasControl && text.find("\xEF\xBF\xBE") == std::string_view::npos &&
        text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

void AppendXmlText(std::string& xml, std::string_view text)
{
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (std::string_view const reference = ReferenceFor(text[i]); !reference.empty())
        {
            xml.append(text.substr(begin, i - begin)).append(reference);
            begin = i + 1;
        }
    }
    xml.append(text.substr(begin));
}

void AppendXmlElement(std::string& xml, std::string_view name, std::string_view text)
{
    AppendXmlParent(xml, name, [&] { AppendXmlText(xml, text); });
}

} // namespace bucketry::s3wire
