// SPDX-License-Identifier: Apache-2.0
#include "base/xmlpp.h"
#include "bucketry/base/exceptions.h"
#include "bucketry/base/xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace bucketry;
using xmlpp::CXmlDocument;

namespace
{

std::string const EveryByte = "\t\n\r \r\n&amp;<>\"'&#10;]]>\x7F \xC2\x85 \xE2\x82\xAC \xF0\x9F\x98\x80 \xEF\xBF\xBD ";

std::string FailureOf(std::string const& text)
{
    try
    {
        CXmlDocument::Unserialize(text);
    }
    catch (exc::CRuntimeExc const& error)
    {
        return error.what();
    }
    return "no failure";
}

} // namespace

TEST(Xml, AttributesComeBackByteForByte)
{
    CXmlDocument document = CXmlDocument::CreateNew();
    auto root = document.CreateRootNode("Root");
    root.SetAttribute("Text", EveryByte);
    root.CreateChildNode("Child").SetAttribute("Inner", document.Serialize(false));
    root.CreateChildNode("Other");
    root.CreateChildNode("Child").SetAttribute("Empty", "");
    for (bool const pretty : {false, true})
    {
        std::string const text = document.Serialize(pretty);
        auto const read = CXmlDocument::Unserialize(text).GetRootNode("Root");
        EXPECT_EQ(read.GetAttribute("Text"), EveryByte);
        auto const children = read.GetChildNodes("Child");
        ASSERT_EQ(children.size(), 2U);
        auto const inner = CXmlDocument::Unserialize(children[0].GetAttribute("Inner")).GetRootNode("Root");
        EXPECT_EQ(inner.GetAttribute("Text"), EveryByte);
        EXPECT_EQ(children[1].GetAttribute("Empty"), "");
        EXPECT_TRUE(children[1].HasAttribute("Empty") && !children[1].HasAttribute("Text"));
        EXPECT_THROW(children[1].GetAttribute("Text"), exc::CRuntimeExc);
    }
    EXPECT_EQ(CXmlDocument::Unserialize("<a><b  c = 'x\n&#x41;y'/></a>").Serialize(false),
              "<a><b c=\"x\n&#x41;y\"/></a>");
    EXPECT_THROW(document.GetRootNode("root"), exc::CRuntimeExc);
    EXPECT_THROW(document.CreateRootNode("Second"), exc::CRuntimeExc);
}

TEST(Xml, RefusesWhatXmlCannotCarry)
{
    auto root = CXmlDocument::CreateNew().CreateRootNode("r");
    for (std::string const& value :
         {std::string(1, '\0'), std::string("\x01"), std::string("\x1F"), std::string("\xFF"), std::string("\xC3"),
          std::string("\xC0\x80"), std::string("\xED\xA0\x80"), std::string("\xEF\xBF\xBF"), std::string("\xE2\x82"),
          std::string("\xF4\x90\x80\x80"), std::string("\xE0\x80\xAF")})
    {
        EXPECT_THROW(root.SetAttribute("a", value), exc::CRuntimeExc) << testing::PrintToString(value);
    }
    EXPECT_FALSE(root.HasAttribute("a"));
    for (char const* const name : {"", "1a", "a b", "a>", "-"})
    {
        EXPECT_THROW(root.SetAttribute(name, ""), exc::CRuntimeExc) << name;
        EXPECT_THROW(root.CreateChildNode(name), exc::CRuntimeExc) << name;
    }
}

TEST(Xml, ParsesStrictlyAndNamesTheLine)
{
    std::string deep;
    for (int level = 0; level < 100000; ++level)
    {
        deep += "<a>";
    }
    for (std::string const& rubbish : {std::string(),
                                       std::string(" "),
                                       std::string("text"),
                                       std::string("<a>"),
                                       std::string("<a></b>"),
                                       std::string("<a/><b/>"),
                                       std::string("<a/>text"),
                                       std::string("text<a/>"),
                                       std::string("<a/>\n\n<"),
                                       std::string("<a b=\"1\" b=\"2\"/>"),
                                       std::string("<a b=1/>"),
                                       std::string("<a b/>"),
                                       std::string("<a b=\"1/>"),
                                       std::string("<a b=\"<\"/>"),
                                       std::string("<a b=\"&\"/>"),
                                       std::string("<a b=\"&foo;\"/>"),
                                       std::string("<a b=\"&#0;\"/>"),
                                       std::string("<a b=\"&#xD800;\"/>"),
                                       std::string("<a b=\"&#1114112;\"/>"),
                                       std::string("<a b=\"&#-1;\"/>"),
                                       std::string("<a b=\"\xFF\"/>"),
                                       std::string("<!DOCTYPE a><a/>"),
                                       std::string("<a/>\0x", 6),
                                       std::string("<!-- only a comment -->"),
                                       std::string("<a/><?xml version=\"1.0\"?>"),
                                       deep})
    {
        EXPECT_THAT(FailureOf(rubbish), testing::HasSubstr("Malformed XML")) << rubbish.substr(0, 40);
    }
    EXPECT_THAT(FailureOf("<a>\n\n<b></c>\n</a>"), testing::HasSubstr("line 3"));
    EXPECT_EQ(FailureOf("\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- c --><a>\n  <b/>text</a>\n<!-- c -->\n"),
              "no failure");
}

TEST(XmlHolder, ReadsTypedAttributesAndKeepsItsDocument)
{
    xml::xml_holder_t child;
    EXPECT_TRUE(child.IsInvalid());
    EXPECT_THROW(xml::TiXmlSerialize(child), exc::CRuntimeExc);
    {
        xml::xml_holder_t root = xml::TiXmlCreateDoc("Spec");
        child = xml::TiXmlCreateChild(root, "Inner");
    }
    xml::TiXmlSetBoolAttr(child, "Flag", true);
    xml::TiXmlSetUInt64Attr(child, "Max", std::numeric_limits<std::uint64_t>::max());
    xml::TiXmlSetStrAttr(child, "Word", "1 ");

    auto const root = xml::TiXmlParseExc(xml::TiXmlSerialize(child), "Spec");
    auto const inner = xml::TiXmlGetChildExc(root, "Inner");
    bool flag = false;
    std::uint64_t number = 3;
    std::string text = "kept";
    EXPECT_TRUE(xml::TiXmlGetBoolAttrSafe(inner, "Flag", flag) && flag);
    EXPECT_FALSE(xml::TiXmlGetUInt64AttrSafe(inner, "Min", number) || xml::TiXmlGetStrAttrSafe(inner, "None", text));
    EXPECT_TRUE(number == 3 && text == "kept");
    EXPECT_TRUE(xml::TiXmlGetUInt64AttrSafe(inner, "Max", number));
    EXPECT_EQ(number, std::numeric_limits<std::uint64_t>::max());
    EXPECT_THROW(xml::TiXmlGetUInt64AttrSafe(inner, "Word", number), exc::CRuntimeExc);
    EXPECT_THROW(xml::TiXmlGetBoolAttrSafe(inner, "Word", flag), exc::CRuntimeExc);
    EXPECT_THROW(xml::TiXmlGetStrAttrExc(inner, "None"), exc::CRuntimeExc);
    EXPECT_THROW(xml::TiXmlGetChildExc(root, "None"), exc::CRuntimeExc);
    EXPECT_TRUE(xml::TiXmlGetChildSafe(root, "None").IsInvalid());
    EXPECT_THROW(xml::TiXmlParseExc("<Other/>", "Spec"), exc::CRuntimeExc);
}
