// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/error.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tinyxml2
{
class XMLDocument;
class XMLElement;
} // namespace tinyxml2

namespace bucketry::simulator
{

/// Of the documents of batch jobs.
constexpr std::string_view ControlNamespace = "http://awss3control.amazonaws.com/doc/2018-08-20/";

/// The refusal of a document that isn't what it should be.
CStoreError MalformedXml();

/// Writes one document without white space between its elements.
class CXmlWriter
{
public:
    explicit CXmlWriter(std::string_view root, std::string_view xmlns = {});

    /// Begins an element; Close ends the one that was begun last.
    CXmlWriter& Open(std::string_view name);
    CXmlWriter& Close();
    /// A whole element with text in it.
    CXmlWriter& Text(std::string_view name, std::string_view text);
    CXmlWriter& Number(std::string_view name, std::uint64_t number) { return Text(name, std::to_string(number)); }
    CXmlWriter& Flag(std::string_view name, bool flag) { return Text(name, flag ? "true" : "false"); }
    /// Closes what is open.
    std::string Finish();

private:
    std::string m_text;
    std::vector<std::string> m_open;
};

/// Reads one document by local names, whatever their namespaces.
class CXmlReader
{
public:
    /// Throws CStoreError MalformedXML unless it is a document with that root.
    CXmlReader(std::string const& text, std::string_view root);
    ~CXmlReader();

    /// One element of the document; lives as long as the reader.
    class CElement
    {
    public:
        explicit CElement(tinyxml2::XMLElement const* element) : m_element(element) {}
        explicit operator bool() const { return m_element != nullptr; }
        /// An empty element if there is none.
        CElement Child(std::string_view name) const;
        /// All children of that name, in order.
        std::vector<CElement> Children(std::string_view name) const;
        /// The text of a child; nothing if there is no such child.
        std::optional<std::string> TextOf(std::string_view name) const;
        /// The text of a child; throws CStoreError MalformedXML if there is none.
        std::string Demand(std::string_view name) const;
        /// A child that is a number. Throws CStoreError MalformedXML if it is none or missing.
        std::uint64_t DemandNumber(std::string_view name) const;
        /// Its own text; empty if it has none.
        std::string Text() const;

    private:
        tinyxml2::XMLElement const* m_element;
    };
    /// The root element.
    CElement Root() const;

private:
    std::unique_ptr<tinyxml2::XMLDocument> m_document;
};

} // namespace bucketry::simulator
