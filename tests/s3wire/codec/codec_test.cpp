// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "s3wire/codec/arn.h"
#include "s3wire/codec/digest.h"
#include "s3wire/codec/encoding.h"
#include "s3wire/codec/xml_reader.h"
#include "s3wire/codec/xml_writer.h"

#include <gtest/gtest.h>

namespace bucketry::s3wire::tests
{
namespace
{

std::string RootText(std::string const& xml)
{
    CXmlReader reader(xml);
    std::string text = reader.Text();
    reader.Finish();
    return text;
}

TEST(XmlReader, ResolvesWhatStoresWrite)
{
    std::pair<char const*, char const*> const rows[] = {
        {"<?xml version=\"1.0\"?>\n<!-- c --><a>text</a>\n", "text"},
        {"\xEF\xBB\xBF<n:a xmlns:n='>/' b=\"/>\">&amp;&lt;&gt;&quot;&apos;&#65;&#x42;&#x1F600;&#13;</n:a>",
         "&<>\"'AB😀\r"},
        {"<a> one <b>not this</b><![CDATA[<&two]]> </a>", " one <&two "},
        {"<a/>", ""},
        {"<a ></a >", ""},
    };
    for (auto const& [xml, text] : rows)
    {
        EXPECT_EQ(RootText(xml), text) << xml;
    }
}

TEST(XmlReader, TakesNothingMalformedOrCutOff)
{
    std::string const whole = "<a b='1'><c>&amp;<![CDATA[x]]></c><d/></a>";
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        EXPECT_THROW(RootText(whole.substr(0, length)), web::http::http_exception) << length;
    }
    for (char const* const xml : {"<a></b>", "<a>&nope;</a>", "<a>&#0;</a>", "<a>&#xD800;</a>", "<a>&amp</a>", "<a/>x",
                                  "<a/><b/>", "x<a/>", "<!DOCTYPE a><a/>", "<a b=\"></a>", "< a/>", "<a/b>"})
    {
        EXPECT_THROW(RootText(xml), web::http::http_exception) << xml;
    }
    std::string deep;
    for (int i = 0; i < 100; ++i)
    {
        deep += "<a>";
    }
    EXPECT_THROW(RootText(deep), web::http::http_exception);
}

TEST(Encoding, CarriesEveryKeyAndValue)
{
    std::pair<char const*, char const*> const paths[] = {
        {"dir/sub dir/file+plus&amp.txt", "dir/sub%20dir/file%2Bplus%26amp.txt"},
        {"ünïcödé/日本語", "%C3%BCn%C3%AFc%C3%B6d%C3%A9/%E6%97%A5%E6%9C%AC%E8%AA%9E"},
        {"tilde~star*paren()quote'", "tilde~star%2Aparen%28%29quote%27"},
        {"percent%20literal", "percent%2520literal"},
        {"back\\slash|pipe\"<>\n", "back%5Cslash%7Cpipe%22%3C%3E%0A"},
    };
    for (auto const& [key, encoded] : paths)
    {
        std::string decoded = EncodePath(key);
        EXPECT_EQ(decoded, encoded);
        DecodeListingText(decoded);
        EXPECT_EQ(decoded, key);
        EXPECT_EQ(RootText(XmlDocument("Key", "", [&, key = key](std::string& xml) { AppendXmlText(xml, key); })), key);
    }
    std::string form = "a+b%2Bc%2Fd%zz%4";
    DecodeListingText(form);
    EXPECT_EQ(form, "a b+c/d%zz%4");

    for (char const* const value : {"", "plain text", "日本", " padded ", "=?UTF-8?B?x?=", "line\r\nbreak"})
    {
        EXPECT_TRUE(IsHeaderValue(EncodeMetadataValue(value)));
        EXPECT_EQ(DecodeMetadataValue(EncodeMetadataValue(value)), value);
    }
    EXPECT_EQ(DecodeMetadataValue("x =?utf-8?q?a_=C3=BC?= =?UTF-8?B?5pel?= y"), "x a ü日 y");
    EXPECT_EQ(DecodeMetadataValue("=?koi8?B?eA==?= =?UTF-8?B?*?="), "=?koi8?B?eA==?= =?UTF-8?B?*?=");
    EXPECT_FALSE(IsXmlText("bell\x07"));
    EXPECT_FALSE(IsXmlText("\xEF\xBF\xBF"));
}

TEST(Digest, MatchesThePublishedValues)
{
    EXPECT_EQ(Md5Base64("hello", 5), "XUFAKrxLKna5cZ2REBfFkg==");
    std::vector<unsigned char> const longKey(131, 0xaa); // RFC 4231, test case 6
    EXPECT_EQ(ToHex(HmacSha256(longKey, "Test Using Larger Than Block-Size Key - Hash Key First")),
              "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

TEST(Arn, NamesTheHostOfAnAccessPoint)
{
    std::pair<char const*, char const*> const good[] = {
        {"arn:aws:s3:us-west-2:123456789012:accesspoint/myap",
         "https://myap-123456789012.s3-accesspoint.us-west-2.amazonaws.com"},
        {"arn:aws-cn:s3:cn-north-1:123456789012:accesspoint:myap",
         "https://myap-123456789012.s3-accesspoint.cn-north-1.amazonaws.com.cn"},
        {"arn:aws:s3-outposts:us-west-2:123456789012:outpost/op-01/accesspoint/myap",
         "https://myap-123456789012.op-01.s3-outposts.us-west-2.amazonaws.com"},
    };
    for (auto const& [text, endpoint] : good)
    {
        CS3Arn const arn(text);
        EXPECT_NO_THROW(arn.CheckIsValidS3ArnExc()) << text;
        EXPECT_EQ(CS3EndpointCreator::CreateFromArnWithPrefix(arn), endpoint);
        EXPECT_EQ(arn.GetAccessPointName(), "myap");
        EXPECT_EQ(arn.IsOutpostArn(), arn.m_service == "s3-outposts");
    }
    EXPECT_FALSE(CS3Arn("example-bucket").m_isArn);
    for (char const* const bad :
         {"example-bucket", "arn:aws:s3:::example-bucket", "arn:aws:sqs:r:1:accesspoint/a",
          "arn:aws:s3::1:accesspoint/a", "arn:aws:s3:r::accesspoint/a", "arn:aws:s3:r:1:accesspoint/a/b",
          "arn:aws:s3:r:1:accesspoint/a.b", "arn:other:s3:r:1:accesspoint/a",
          "arn:aws:s3-outposts:r:1:outpost/op/bucket/b", "arn:aws:s3-outposts:r:1:outpost//accesspoint/a"})
    {
        EXPECT_THROW(CS3Arn(bad).CheckIsValidS3ArnExc(), exc::CRuntimeExc) << bad;
    }
}

} // namespace
} // namespace bucketry::s3wire::tests
