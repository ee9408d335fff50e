// SPDX-License-Identifier: Apache-2.0
#include "s3wire/wire/multipart_requests.h"

#include "bucketry/base/exceptions.h"
#include "s3wire/codec/digest.h"
#include "s3wire/codec/xml_writer.h"

#include <charconv>

namespace bucketry::s3wire::wire
{
namespace
{

using transport::EHttpMethod;
using transport::SHttpResponse;

SWireRequest UploadRequest(char const* operation, EHttpMethod method, SUploadRef const& upload)
{
    SWireRequest request = ObjectRequest(operation, method, {upload.m_bucket, upload.m_key, ""});
    request.m_query.emplace_back("uploadId", upload.m_uploadId);
    return request;
}

SWireRequest PartRequest(char const* operation, SUploadRef const& upload, unsigned partNumber)
{
    if (partNumber == 0 || partNumber > MaxPartNumber)
    {
        throw exc::CRuntimeExc("An upload has parts 1 to 10000, not %1", partNumber);
    }
    SWireRequest request = UploadRequest(operation, EHttpMethod::Put, upload);
    request.m_query.emplace(request.m_query.begin(), "partNumber", std::to_string(partNumber));
    return request;
}

std::string WithoutQuotes(std::string const& eTag)
{
    bool const quoted = eTag.size() >= 2 && eTag.front() == '"' && eTag.back() == '"';
    return quoted ? eTag.substr(1, eTag.size() - 2) : eTag;
}

/// Appends the 16 bytes of an MD5 in hexadecimal form; false for any other text.
bool AppendMd5Bytes(std::string& bytes, std::string const& hex)
{
    for (std::size_t i = 0; i + 2 <= hex.size(); i += 2)
    {
        unsigned value = 0;
        auto const [end, error] = std::from_chars(hex.data() + i, hex.data() + i + 2, value, 16);
        if (error != std::errc() || end != hex.data() + i + 2)
        {
            return false;
        }
        bytes.push_back(static_cast<char>(value));
    }
    return hex.size() == 32;
}

} // namespace

SWireRequest MakeCreateMultipartUpload(SObjectRef const& object, SNewObject const& properties)
{
    SWireRequest request = ObjectRequest("CreateMultipartUpload", EHttpMethod::Post, object);
    AddSubResource(request, "uploads");
    AddNewObjectHeaders(request, properties);
    request.m_needsBody = true;
    return request;
}

/// Takes the id only: the rest repeats the key, which may be no XML text.
std::string ReadCreateMultipartUpload(SHttpResponse const& answer)
{
    std::string_view const text = answer.m_text;
    std::size_t const begin = text.find("<UploadId>");
    std::size_t const end = text.find("</UploadId>");
    if (begin == std::string_view::npos || end == std::string_view::npos || end <= begin + 10)
    {
        ThrowBadAnswer("no UploadId");
    }
    return CXmlReader(text.substr(begin, end + 11 - begin)).Text();
}

SWireRequest MakeUploadPart(SUploadRef const& upload, unsigned partNumber,
                            std::shared_ptr<io::block::CPooledBuf const> const& content, bool contentMd5)
{
    SWireRequest request = PartRequest("UploadPart", upload, partNumber);
    request.m_needsETag = true;
    SetBlockBody(request, content);
    request.m_contentMd5 = contentMd5;
    return request;
}

std::string ReadUploadPart(SHttpResponse const& answer)
{
    std::string eTag = HeaderOf(answer, "ETag");
    if (eTag.empty())
    {
        ThrowBadAnswer("no ETag of the part");
    }
    return eTag;
}

SWireRequest MakeUploadPartCopy(SUploadRef const& upload, unsigned partNumber, SObjectRef const& source,
                                std::string const& eTag, SByteRange const& range)
{
    SWireRequest request = PartRequest("UploadPartCopy", upload, partNumber);
    AddCopySource(request, source);
    request.m_headers.Set("x-amz-copy-source-range", RangeText(range));
    request.m_headers.Set("x-amz-copy-source-if-match", eTag);
    request.m_needsBody = true;
    return request;
}

std::string ReadUploadPartCopy(SHttpResponse const& answer)
{
    return TextAt(answer, {"CopyPartResult", "ETag"});
}

SWireRequest MakeCompleteMultipartUpload(SUploadRef const& upload, std::vector<std::string> const& eTags)
{
    SWireRequest request = UploadRequest("CompleteMultipartUpload", EHttpMethod::Post, upload);
    SetXmlBody(request,
               XmlDocument("CompleteMultipartUpload", S3Namespace,
                           [&](std::string& xml)
                           {
                               unsigned partNumber = 0;
                               for (std::string const& eTag : eTags)
                               {
                                   AppendXmlParent(xml, "Part",
                                                   [&]
                                                   {
                                                       AppendXmlElement(xml, "PartNumber",
                                                                        std::to_string(++partNumber));
                                                       AppendXmlElement(xml, "ETag", eTag);
                                                   });
                               }
                           }));
    request.m_needsBody = true;
    return request;
}

s3::SMultipartUploadResult ReadCompleteMultipartUpload(SHttpResponse const& answer)
{
    s3::SMultipartUploadResult result;
    result.m_versionId = HeaderOf(answer, "x-amz-version-id");
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "CompleteMultipartUploadResult");
    reader.ReadFields({{"Bucket", &result.m_bucket}, {"Key", &result.m_key}, {"ETag", &result.m_result}});
    reader.Finish();
    return result;
}

SWireRequest MakeAbortMultipartUpload(SUploadRef const& upload)
{
    return UploadRequest("AbortMultipartUpload", EHttpMethod::Delete, upload);
}

std::string MultipartETag(std::vector<std::string> const& eTags)
{
    std::string bytes;
    for (std::string const& eTag : eTags)
    {
        if (!AppendMd5Bytes(bytes, WithoutQuotes(eTag)))
        {
            return "";
        }
    }
    std::string eTag = "\"";
    eTag.append(Md5Hex(bytes.data(), bytes.size())).append("-").append(std::to_string(eTags.size()));
    return eTag.append("\"");
}

} // namespace bucketry::s3wire::wire
