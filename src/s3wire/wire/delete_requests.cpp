// SPDX-License-Identifier: Apache-2.0
#include "s3wire/wire/delete_requests.h"

#include "bucketry/base/exceptions.h"
#include "s3wire/codec/xml_writer.h"
#include "s3wire/wire/object_requests.h"

#include <numeric>

namespace bucketry::s3wire::wire
{
namespace
{

SRefusedItem ReadError(CXmlReader& reader)
{
    SRefusedItem item;
    reader.ReadFields(
        {{"Key", &item.m_key}, {"VersionId", &item.m_versionId}, {"Code", &item.m_code}, {"Message", &item.m_message}});
    return item;
}

/// The tags at once: bodies are long.
void AppendItem(std::string& xml, delete_item_t const& item)
{
    xml.append("<Object><Key>");
    AppendXmlText(xml, item.m_key);
    if (!item.m_versionId.empty())
    {
        xml.append("</Key><VersionId>");
        AppendXmlText(xml, item.m_versionId);
        xml.append("</VersionId></Object>");
        return;
    }
    xml.append("</Key></Object>");
}

std::size_t LikelySize(std::span<delete_item_t const> items)
{
    constexpr std::size_t tags = 64;
    return std::accumulate(items.begin(), items.end(), 2 * tags,
                           [](std::size_t size, delete_item_t const& item)
                           { return size + tags + item.m_key.size() + item.m_versionId.size(); });
}

} // namespace

bool FitsDeleteBody(delete_item_t const& item)
{
    return IsXmlText(item.m_key) && IsXmlText(item.m_versionId);
}

SWireRequest MakeDeleteObjects(std::string const& bucket, std::span<delete_item_t const> items)
{
    if (items.size() > MaxDeleteItems)
    {
        throw exc::CRuntimeExc("A multi-object delete takes 1000 items, not %1", items.size());
    }
    SWireRequest request = BucketRequest("DeleteObjects", transport::EHttpMethod::Post, bucket);
    AddSubResource(request, "delete");
    SetXmlBody(request,
               XmlDocument("Delete", S3Namespace,
                           [&](std::string& xml)
                           {
                               xml.reserve(LikelySize(items));
                               xml.append("<Quiet>true</Quiet>");
                               for (delete_item_t const& item : items)
                               {
                                   CheckKey(item.m_key);
                                   AppendItem(xml, item);
                               }
                           }));
    request.m_needsBody = true;
    return request;
}

std::vector<SRefusedItem> ReadDeleteObjects(transport::SHttpResponse const& answer)
{
    std::vector<SRefusedItem> refused;
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "DeleteResult");
    reader.ForEachChild(
        [&](std::string_view name)
        {
            if (name == "Error")
            {
                refused.push_back(ReadError(reader));
            }
        });
    reader.Finish();
    return refused;
}

} // namespace bucketry::s3wire::wire
