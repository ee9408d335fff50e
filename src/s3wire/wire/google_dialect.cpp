// SPDX-License-Identifier: Apache-2.0
#include "s3wire/wire/google_dialect.h"

#include "s3wire/codec/encoding.h"
#include "s3wire/codec/xml_reader.h"
#include "s3wire/wire/object_requests.h"

#include <string>
#include <utility>
#include <vector>

namespace bucketry::s3wire::wire
{

namespace
{

constexpr std::string_view GoogleHeaders = "x-goog-";
constexpr std::string_view AmazonHeaders = "x-amz-";
constexpr std::string_view CopySource = "x-amz-copy-source";
constexpr std::string_view VersionOfSource = "?versionId="; // no key has an unencoded "?" here

} // namespace

void ToGoogle(SWireRequest& request)
{
    for (auto& [name, value] : request.m_query)
    {
        if (name == "versionId")
        {
            name = "generation";
        }
        if (name == "versions")
        {
            request.m_headers.Set("x-goog-interop-list-objects-format", "enabled");
        }
    }
    std::string source(request.m_headers.Get(CopySource));
    if (std::size_t const version = source.find(VersionOfSource); version != std::string::npos)
    {
        // Said twice: a store that overlooks the one would copy the live object without a word.
        request.m_headers.Set("x-goog-copy-source-generation", source.substr(version + VersionOfSource.size()));
        request.m_headers.Set(CopySource, source.replace(version, VersionOfSource.size(), "?generation="));
    }
}

void FromGoogle(transport::SHttpResponse& answer, bool keepsVersions)
{
    std::vector<std::pair<std::string, std::string>> twins;
    for (auto const [name, value] : answer.m_headers)
    {
        std::string const lower = ToLower(name);
        if (!lower.starts_with(GoogleHeaders))
        {
            continue;
        }
        std::string const rest = lower.substr(GoogleHeaders.size());
        if (rest != "generation")
        {
            twins.emplace_back(std::string(AmazonHeaders) + rest, value);
        }
        else if (keepsVersions)
        {
            twins.emplace_back("x-amz-version-id", value);
        }
    }
    for (auto const& [name, value] : twins)
    {
        if (!answer.m_headers.Find(name))
        {
            answer.m_headers.Add(name, value);
        }
    }
}

SWireRequest MakeGetBucketVersioning(std::string const& bucket)
{
    SWireRequest request = BucketRequest("GetBucketVersioning", transport::EHttpMethod::Get, bucket);
    AddSubResource(request, "versioning");
    request.m_needsBody = true;
    return request;
}

bool ReadGetBucketVersioning(transport::SHttpResponse const& answer)
{
    std::string status;
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "VersioningConfiguration");
    reader.ReadFields({{"Status", &status}});
    reader.Finish();
    return status == "Enabled";
}

} // namespace bucketry::s3wire::wire
