// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/xml.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/text.h"

#include "xmlpp.h"

#include <optional>

namespace bucketry::xml
{

struct xml_holder_t::SAccess
{
    static xml_holder_t Wrap(xmlpp::CXmlNode const& node)
    {
        xml_holder_t holder;
        holder.m_document = node.Document();
        holder.m_element = node.Element();
        return holder;
    }

    static xmlpp::CXmlNode Unwrap(xml_holder_t const& holder)
    {
        if (holder.IsInvalid())
        {
            throw exc::CRuntimeExc("The XML holder names no element.");
        }
        return {std::static_pointer_cast<tinyxml2::XMLDocument>(holder.m_document),
                static_cast<tinyxml2::XMLElement*>(holder.m_element)};
    }
};

namespace
{

using access_t = xml_holder_t::SAccess;

[[noreturn]] void RefuseValue(std::string const& value, xmlpp::CXmlNode const& node, std::string const& name)
{
    throw exc::CRuntimeExc("\"%1\" is no value for the attribute \"%3\" of the XML element \"%2\".", value,
                           node.GetName(), name);
}

std::optional<bool> ToBool(std::string const& text)
{
    bool const isTrue = text == "true" || text == "1";
    bool const isFalse = text == "false" || text == "0";
    return isTrue || isFalse ? std::optional(isTrue) : std::nullopt;
}

} // namespace

xml_holder_t::xml_holder_t() noexcept = default;
xml_holder_t::~xml_holder_t() = default;
xml_holder_t::xml_holder_t(xml_holder_t const&) = default;
xml_holder_t& xml_holder_t::operator=(xml_holder_t const&) = default;

bool xml_holder_t::IsInvalid() const noexcept
{
    return m_element == nullptr;
}

xml_holder_t TiXmlCreateDoc(std::string const& rootName)
{
    return access_t::Wrap(xmlpp::CXmlDocument::CreateNew().CreateRootNode(rootName));
}

xml_holder_t TiXmlParseExc(std::string const& text, std::string const& rootName)
{
    return access_t::Wrap(xmlpp::CXmlDocument::Unserialize(text).GetRootNode(rootName));
}

xml_holder_t TiXmlParseSafe(std::string const& text, std::string const& rootName)
{
    xmlpp::CXmlDocument const document = xmlpp::CXmlDocument::Unserialize(text);
    return document.HasRootNode(rootName) ? access_t::Wrap(document.GetRootNode(rootName)) : xml_holder_t();
}

std::string TiXmlSerialize(xml_holder_t const& element)
{
    return xmlpp::CXmlDocument(access_t::Unwrap(element).Document()).Serialize(false);
}

xml_holder_t TiXmlCreateChild(xml_holder_t& parent, std::string const& name)
{
    return access_t::Wrap(access_t::Unwrap(parent).CreateChildNode(name));
}

xml_holder_t TiXmlGetChildExc(xml_holder_t const& parent, std::string const& name)
{
    xml_holder_t const child = TiXmlGetChildSafe(parent, name);
    if (child.IsInvalid())
    {
        throw exc::CRuntimeExc("The XML element \"%1\" has no child \"%2\".", access_t::Unwrap(parent).GetName(), name);
    }
    return child;
}

xml_holder_t TiXmlGetChildSafe(xml_holder_t const& parent, std::string const& name)
{
    auto const children = access_t::Unwrap(parent).GetChildNodes(name);
    return children.empty() ? xml_holder_t() : access_t::Wrap(children.front());
}

std::string TiXmlGetStrAttrExc(xml_holder_t const& element, std::string const& name)
{
    return access_t::Unwrap(element).GetAttribute(name);
}

bool TiXmlGetStrAttrSafe(xml_holder_t const& element, std::string const& name, std::string& value)
{
    xmlpp::CXmlNode const node = access_t::Unwrap(element);
    bool const isThere = node.HasAttribute(name);
    if (isThere)
    {
        value = node.GetAttribute(name);
    }
    return isThere;
}

bool TiXmlGetBoolAttrSafe(xml_holder_t const& element, std::string const& name, bool& value)
{
    std::string text;
    if (!TiXmlGetStrAttrSafe(element, name, text))
    {
        return false;
    }
    std::optional<bool> const read = ToBool(text);
    if (!read)
    {
        RefuseValue(text, access_t::Unwrap(element), name);
    }
    value = *read;
    return true;
}

bool TiXmlGetUInt64AttrSafe(xml_holder_t const& element, std::string const& name, std::uint64_t& value)
{
    std::string text;
    if (!TiXmlGetStrAttrSafe(element, name, text))
    {
        return false;
    }
    try
    {
        util::fromStr(text, value);
    }
    catch (exc::CRuntimeExc const&)
    {
        RefuseValue(text, access_t::Unwrap(element), name);
    }
    return true;
}

void TiXmlSetStrAttr(xml_holder_t& element, std::string const& name, std::string const& value)
{
    access_t::Unwrap(element).SetAttribute(name, value);
}

void TiXmlSetBoolAttr(xml_holder_t& element, std::string const& name, bool value)
{
    TiXmlSetStrAttr(element, name, value ? "true" : "false");
}

void TiXmlSetUInt64Attr(xml_holder_t& element, std::string const& name, std::uint64_t value)
{
    TiXmlSetStrAttr(element, name, util::str(value));
}

} // namespace bucketry::xml
