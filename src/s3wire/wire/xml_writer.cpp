#include "s3wire/wire/xml_writer.h"

#include <algorithm>

namespace bucketry::s3wire::wire
{

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
    for (;;)
    {
        std::size_t const special = text.find_first_of("&<>\r\n");
        xml.append(text.substr(0, special));
        if (special == std::string_view::npos)
        {
            return;
        }
        switch (text[special])
        {
        case '&':
            xml.append("&amp;");
            break;
        case '<':
            xml.append("&lt;");
            break;
        case '>':
            xml.append("&gt;");
            break;
        case '\r':
            xml.append("&#13;");
            break;
        default:
            xml.append("&#10;");
            break;
        }
        text.remove_prefix(special + 1);
    }
}

void AppendXmlElement(std::string& xml, std::string_view name, std::string_view text)
{
    AppendXmlParent(xml, name, [&] { AppendXmlText(xml, text); });
}

} // namespace bucketry::s3wire::wire
