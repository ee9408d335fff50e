// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace bucketry::s3wire
{

/// The namespaces of the request bodies.
inline constexpr std::string_view S3Namespace = "http://s3.amazonaws.com/doc/2006-03-01/";
inline constexpr std::string_view S3ControlNamespace = "http://awss3control.amazonaws.com/doc/2018-08-20/";

/// Whether XML 1.0 can carry the text: it has no control characters but TAB, LF and CR, and no U+FFFE, U+FFFF.
bool IsXmlText(std::string_view text);

/// Appends the text so that a parser gives back the same bytes, CR and LF included.
void AppendXmlText(std::string& xml, std::string_view text);

/// Appends `<name>text</name>`.
void AppendXmlElement(std::string& xml, std::string_view name, std::string_view text);

/// Appends `<name>`, what `content` appends, and `</name>`.
template <class TContent>
void AppendXmlParent(std::string& xml, std::string_view name, TContent&& content)
{
    xml.append("<").append(name).append(">");
    content();
    xml.append("</").append(name).append(">");
}

/// A document: the root element with its namespace around what `content` appends.
template <class TContent>
std::string XmlDocument(std::string_view root, std::string_view xmlNamespace, TContent&& content)
{
    std::string xml;
    xml.append("<").append(root).append(" xmlns=\"").append(xmlNamespace).append("\">");
    content(xml);
    xml.append("</").append(root).append(">");
    return xml;
}

} // namespace bucketry::s3wire
