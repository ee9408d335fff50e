// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <cstdint>
#include <memory>
#include <string>

/// Small XML documents of elements and attributes. A holder is for one thread at a time.
namespace bucketry::xml
{

/// A handle on one element. It keeps its document alive; copies name the same element.
class BUCKETRY_API xml_holder_t
{
public:
    /// An invalid holder.
    xml_holder_t() noexcept;
    ~xml_holder_t();
    xml_holder_t(xml_holder_t const&);
    xml_holder_t& operator=(xml_holder_t const&);

    /// True if the holder names no element.
    bool IsInvalid() const noexcept;

    struct SAccess; ///< the functions below

private:
    std::shared_ptr<void> m_document;
    void* m_element = nullptr;
};

/// A new document with one root element, which is returned.
BUCKETRY_API xml_holder_t TiXmlCreateDoc(std::string const& rootName);
/// The root of a parsed text. Throws exc::CRuntimeExc with the line for malformed XML, and with both names if the root
/// has another name than `rootName`.
BUCKETRY_API xml_holder_t TiXmlParseExc(std::string const& text, std::string const& rootName);
/// The same, but an invalid holder if the root has another name.
BUCKETRY_API xml_holder_t TiXmlParseSafe(std::string const& text, std::string const& rootName);
/// The text of the whole document that the element belongs to.
BUCKETRY_API std::string TiXmlSerialize(xml_holder_t const& element);

BUCKETRY_API xml_holder_t TiXmlCreateChild(xml_holder_t& parent, std::string const& name);
/// The first child of that name. Throws exc::CRuntimeExc with both names if there is none.
BUCKETRY_API xml_holder_t TiXmlGetChildExc(xml_holder_t const& parent, std::string const& name);
/// The first child of that name, or an invalid holder.
BUCKETRY_API xml_holder_t TiXmlGetChildSafe(xml_holder_t const& parent, std::string const& name);

/// Throws exc::CRuntimeExc with the names of element and attribute if it is missing.
BUCKETRY_API std::string TiXmlGetStrAttrExc(xml_holder_t const& element, std::string const& name);
/// False, with the target left alone, if the attribute is missing. A value of the wrong form throws exc::CRuntimeExc
/// with the names of element and attribute. Booleans are "true" and "false" ("1" and "0" are read, too).
BUCKETRY_API bool TiXmlGetStrAttrSafe(xml_holder_t const& element, std::string const& name, std::string& value);
BUCKETRY_API bool TiXmlGetBoolAttrSafe(xml_holder_t const& element, std::string const& name, bool& value);
BUCKETRY_API bool TiXmlGetUInt64AttrSafe(xml_holder_t const& element, std::string const& name, std::uint64_t& value);

BUCKETRY_API void TiXmlSetStrAttr(xml_holder_t& element, std::string const& name, std::string const& value);
BUCKETRY_API void TiXmlSetBoolAttr(xml_holder_t& element, std::string const& name, bool value);
BUCKETRY_API void TiXmlSetUInt64Attr(xml_holder_t& element, std::string const& name, std::uint64_t value);

} // namespace bucketry::xml
