// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace tinyxml2
{
class XMLDocument;
class XMLElement;
} // namespace tinyxml2

/// XML documents of elements and attributes. A document and its nodes are for one thread at a time.
namespace bucketry::xmlpp
{

/// A handle on one element. It keeps its document alive; copies name the same element.
class CXmlNode
{
public:
    CXmlNode(std::shared_ptr<tinyxml2::XMLDocument> document, tinyxml2::XMLElement* element);

    std::string GetName() const;
    CXmlNode CreateChildNode(std::string const& name);
    /// The direct children of that name, in document order.
    std::vector<CXmlNode> GetChildNodes(std::string const& name) const;

    bool HasAttribute(std::string const& name) const;
    /// Throws exc::CRuntimeExc with the names of element and attribute if it is missing.
    std::string GetAttribute(std::string const& name) const;
    /// Throws exc::CRuntimeExc for a value that XML cannot carry.
    void SetAttribute(std::string const& name, std::string const& value);

    std::shared_ptr<tinyxml2::XMLDocument> const& Document() const noexcept { return m_document; }
    tinyxml2::XMLElement* Element() const noexcept { return m_element; }

private:
    std::shared_ptr<tinyxml2::XMLDocument> m_document;
    tinyxml2::XMLElement* m_element;
};

/// A handle on a document; copies name the same one.
class CXmlDocument
{
public:
    /// A document that exists elsewhere.
    explicit CXmlDocument(std::shared_ptr<tinyxml2::XMLDocument> document);
    /// A document without a root.
    static CXmlDocument CreateNew();
    /// Parses strictly: one root, nothing but comments around it, no document type, attribute values that are well
    /// formed. Throws exc::CRuntimeExc with the line for anything else.
    static CXmlDocument Unserialize(std::string const& text);

    /// Throws exc::CRuntimeExc if there is a root already.
    CXmlNode CreateRootNode(std::string const& name);
    /// Throws exc::CRuntimeExc with both names if the root has another name, or if there is none.
    CXmlNode GetRootNode(std::string const& name) const;
    bool HasRootNode(std::string const& name) const;
    /// The text, with line breaks and indentation if `pretty`, else without a byte that is not needed.
    std::string Serialize(bool pretty) const;

private:
    std::shared_ptr<tinyxml2::XMLDocument> m_document;
};

} // namespace bucketry::xmlpp
