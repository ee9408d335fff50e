// SPDX-License-Identifier: Apache-2.0
#include "xmlpp.h"

#include "bucketry/base/exceptions.h"

#include "xml_text.h"

#include <string_view>
#include <utility>

#include <tinyxml2.h>

namespace bucketry::xmlpp
{

namespace
{

// Values are escaped and read by xml_text.h, so TinyXML-2 must leave them as they are.
std::shared_ptr<tinyxml2::XMLDocument> MakeDocument()
{
    return std::make_shared<tinyxml2::XMLDocument>(/*processEntities=*/false);
}

[[noreturn]] void RefuseLine(int line, std::string_view reason)
{
    throw exc::CRuntimeExc("Malformed XML in line %1: %2", line, reason);
}

void CheckName(std::string const& name)
{
    if (!IsName(name))
    {
        throw exc::CRuntimeExc("\"%1\" is no name for an XML element or attribute.", name);
    }
}

// Around the root there may be declarations and comments only.
void CheckTopLevel(tinyxml2::XMLDocument const& document)
{
    tinyxml2::XMLElement const* const root = document.RootElement();
    for (auto const* node = document.FirstChild(); node != nullptr; node = node->NextSibling())
    {
        bool const isFine = node == root || node->ToComment() != nullptr ||
            (node->ToDeclaration() != nullptr && node == document.FirstChild());
        if (!isFine)
        {
            RefuseLine(node->GetLineNum(), "unexpected content beside the root element");
        }
    }
    if (root == nullptr)
    {
        RefuseLine(1, "no root element");
    }
}

// Refuses attributes that could not be read later.
class CAttributeCheck : public tinyxml2::XMLVisitor
{
    bool VisitEnter(tinyxml2::XMLElement const& /*element*/, tinyxml2::XMLAttribute const* attribute) override
    {
        for (; attribute != nullptr; attribute = attribute->Next())
        {
            try
            {
                UnescapeAttribute(attribute->Value());
            }
            catch (exc::CRuntimeExc const& error)
            {
                RefuseLine(attribute->GetLineNum(), error.what());
            }
        }
        return true;
    }
};

} // namespace

CXmlNode::CXmlNode(std::shared_ptr<tinyxml2::XMLDocument> document, tinyxml2::XMLElement* element)
    : m_document(std::move(document)), m_element(element)
{
}

std::string CXmlNode::GetName() const
{
    return m_element->Name();
}

CXmlNode CXmlNode::CreateChildNode(std::string const& name)
{
    CheckName(name);
    return {m_document, m_element->InsertNewChildElement(name.c_str())};
}

std::vector<CXmlNode> CXmlNode::GetChildNodes(std::string const& name) const
{
    std::vector<CXmlNode> nodes;
    for (auto* child = m_element->FirstChildElement(name.c_str()); child != nullptr;
         child = child->NextSiblingElement(name.c_str()))
    {
        nodes.emplace_back(m_document, child);
    }
    return nodes;
}

bool CXmlNode::HasAttribute(std::string const& name) const
{
    return m_element->FindAttribute(name.c_str()) != nullptr;
}

std::string CXmlNode::GetAttribute(std::string const& name) const
{
    tinyxml2::XMLAttribute const* const attribute = m_element->FindAttribute(name.c_str());
    if (attribute == nullptr)
    {
        throw exc::CRuntimeExc("The XML element \"%1\" has no attribute \"%2\".", GetName(), name);
    }
    return UnescapeAttribute(attribute->Value());
}

void CXmlNode::SetAttribute(std::string const& name, std::string const& value)
{
    CheckName(name);
    try
    {
        m_element->SetAttribute(name.c_str(), EscapeAttribute(value).c_str());
    }
    catch (exc::CRuntimeExc const& error)
    {
        exc::RegenExc("The attribute \"%1\" of the XML element \"%2\" cannot be set.", name, GetName(), error);
    }
}

CXmlDocument::CXmlDocument(std::shared_ptr<tinyxml2::XMLDocument> document) : m_document(std::move(document)) {}

CXmlDocument CXmlDocument::CreateNew()
{
    return CXmlDocument(MakeDocument());
}

CXmlDocument CXmlDocument::Unserialize(std::string const& text)
{
    if (text.find('\0') != std::string::npos)
    {
        throw exc::CRuntimeExc("Malformed XML: the text holds a zero byte.");
    }
    std::shared_ptr<tinyxml2::XMLDocument> document = MakeDocument();
    if (document->Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS)
    {
        RefuseLine(document->ErrorLineNum(), document->ErrorName());
    }
    CheckTopLevel(*document);
    CAttributeCheck check;
    document->Accept(&check);
    return CXmlDocument(std::move(document));
}

CXmlNode CXmlDocument::CreateRootNode(std::string const& name)
{
    CheckName(name);
    if (m_document->RootElement() != nullptr)
    {
        throw exc::CRuntimeExc("The XML document has a root element already.");
    }
    tinyxml2::XMLElement* const root = m_document->NewElement(name.c_str());
    m_document->InsertEndChild(root);
    return {m_document, root};
}

CXmlNode CXmlDocument::GetRootNode(std::string const& name) const
{
    tinyxml2::XMLElement* const root = m_document->RootElement();
    if (!HasRootNode(name))
    {
        throw exc::CRuntimeExc("The root of the XML document is \"%1\", not \"%2\".",
                               root != nullptr ? root->Name() : "", name);
    }
    return {m_document, root};
}

bool CXmlDocument::HasRootNode(std::string const& name) const
{
    tinyxml2::XMLElement const* const root = m_document->RootElement();
    return root != nullptr && root->Name() == name;
}

std::string CXmlDocument::Serialize(bool pretty) const
{
    tinyxml2::XMLPrinter printer(nullptr, /*compact=*/!pretty);
    m_document->Print(&printer);
    return printer.CStr();
}

} // namespace bucketry::xmlpp
