#include "s3wire/wire/listing_requests.h"

#include "s3wire/wire/encoding.h"
#include "s3wire/wire/object_requests.h"
#include "s3wire/wire/xml_reader.h"

#include <algorithm>
#include <utility>

namespace bucketry::s3wire::wire
{
namespace
{

using transport::EHttpMethod;
using transport::SHttpResponse;

void AddUnlessEmpty(SWireRequest& request, char const* name, std::string const& value)
{
    if (!value.empty())
    {
        request.m_query.emplace_back(name, value);
    }
}

/// What all listings have in common.
SWireRequest ListingRequest(char const* operation, SListing const& listing)
{
    SWireRequest request = BucketRequest(operation, EHttpMethod::Get, listing.m_bucket);
    request.m_errorInside200 = true;
    AddUnlessEmpty(request, "prefix", listing.m_prefix);
    AddUnlessEmpty(request, "delimiter", listing.m_delimiter);
    if (listing.m_pageSize != 0)
    {
        request.m_query.emplace_back("max-keys", std::to_string(listing.m_pageSize));
    }
    request.m_query.emplace_back("encoding-type", "url");
    return request;
}

/// Times of listings come with fractions of a second or without: leave them out.
std::string WholeSeconds(std::string time)
{
    if (std::size_t const fraction = time.find('.'); fraction != std::string::npos && time.ends_with('Z'))
    {
        time.erase(fraction, time.size() - fraction - 1);
    }
    return time;
}

std::uint64_t NumberOf(std::string const& text)
{
    std::optional<std::uint64_t> const number = ParseNumber(text);
    if (!number)
    {
        ThrowBadAnswer("[" + text + "] instead of a number");
    }
    return *number;
}

s3::SObjectMetadata ReadContents(CXmlReader& reader)
{
    s3::SObjectMetadata entry;
    reader.ForEachChild([&](std::string_view name)
    {
        if (name == "Key")
        {
            entry.m_key = reader.Text();
        }
        else if (name == "Size")
        {
            entry.m_size = NumberOf(reader.Text());
        }
        else if (name == "LastModified")
        {
            entry.m_lastModified = WholeSeconds(reader.Text());
        }
        else if (name == "ETag")
        {
            entry.m_eTag = reader.Text();
        }
        else if (name == "StorageClass")
        {
            entry.m_storageClass = reader.Text();
        }
    });
    return entry;
}

s3::SObjectVersionEntry ReadVersion(CXmlReader& reader, bool isDeleteMarker)
{
    s3::SObjectVersionEntry entry;
    entry.m_isDeleteMarker = isDeleteMarker;
    reader.ForEachChild([&](std::string_view name)
    {
        if (name == "Key")
        {
            entry.m_key = reader.Text();
        }
        else if (name == "VersionId")
        {
            entry.m_versionId = reader.Text();
        }
        else if (name == "Size")
        {
            entry.m_size = NumberOf(reader.Text());
        }
        else if (name == "LastModified")
        {
            entry.m_lastModified = WholeSeconds(reader.Text());
        }
        else if (name == "ETag")
        {
            entry.m_eTag = reader.Text();
        }
        else if (name == "StorageClass")
        {
            entry.m_storageClass = reader.Text();
        }
    });
    return entry;
}

std::string ReadCommonPrefix(CXmlReader& reader)
{
    std::string prefix;
    reader.ForEachChild([&](std::string_view name)
    {
        if (name == "Prefix")
        {
            prefix = reader.Text();
        }
    });
    return prefix;
}

/// The answer may say behind its entries that they are encoded, so all of them are decoded at the end.
template <class TEntries> void DecodeEntries(TEntries& entries, std::vector<std::string>& prefixes)
{
    for (auto& entry : entries)
    {
        DecodeListingText(entry.m_key);
    }
    for (std::string& prefix : prefixes)
    {
        DecodeListingText(prefix);
    }
}

void DecodePage(SObjectPage& page)
{
    DecodeEntries(page.m_contents.m_contents, page.m_contents.m_commonPrefixes);
    DecodeListingText(page.m_nextMarker);
    DecodeListingText(page.m_header.m_prefix);
    DecodeListingText(page.m_header.m_delimiter);
    DecodeListingText(page.m_header.m_marker);
}

void ExpectRoot(CXmlReader const& reader, std::string_view name)
{
    if (reader.Name() != name)
    {
        ThrowBadAnswer("[" + std::string(reader.Name()) + "] instead of " + std::string(name));
    }
}

/// The last key or the last common prefix, whichever is greater: where a page of version 1 ends.
std::string const* LastEntry(s3::SBucketContents const& contents)
{
    std::string const* last = contents.m_contents.empty() ? nullptr : &contents.m_contents.back().m_key;
    if (!contents.m_commonPrefixes.empty() && (last == nullptr || *last < contents.m_commonPrefixes.back()))
    {
        last = &contents.m_commonPrefixes.back();
    }
    return last;
}

} // namespace

SWireRequest MakeListObjectsV2(SListing const& listing, SPagePosition const& position)
{
    SWireRequest request = ListingRequest("ListObjectsV2", listing);
    request.m_query.emplace(request.m_query.begin(), "list-type", "2");
    AddUnlessEmpty(request, "continuation-token", position.m_token);
    AddUnlessEmpty(request, "start-after", position.m_marker);
    return request;
}

SWireRequest MakeListObjects(SListing const& listing, SPagePosition const& position)
{
    SWireRequest request = ListingRequest("ListObjects", listing);
    AddUnlessEmpty(request, "marker", position.m_marker);
    return request;
}

SObjectPage ReadListObjects(SHttpResponse const& answer)
{
    SObjectPage page;
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "ListBucketResult");
    reader.ForEachChild([&](std::string_view name)
    {
        if (name == "Contents")
        {
            page.m_contents.m_contents.push_back(ReadContents(reader));
        }
        else if (name == "CommonPrefixes")
        {
            page.m_contents.m_commonPrefixes.push_back(ReadCommonPrefix(reader));
        }
        else if (name == "IsTruncated")
        {
            page.m_truncated = reader.Text() == "true";
        }
        else if (name == "NextContinuationToken")
        {
            page.m_nextToken = reader.Text();
        }
        else if (name == "NextMarker")
        {
            page.m_nextMarker = reader.Text();
        }
        else if (name == "Marker")
        {
            page.m_olderForm = true;
            page.m_header.m_marker = reader.Text();
        }
        else if (name == "EncodingType")
        {
            page.m_header.m_encodingType = reader.Text();
        }
        else if (name == "MaxKeys")
        {
            page.m_header.m_maxKeys = NumberOf(reader.Text());
        }
        else if (name == "Name")
        {
            page.m_header.m_name = reader.Text();
        }
        else if (name == "Prefix")
        {
            page.m_header.m_prefix = reader.Text();
        }
        else if (name == "Delimiter")
        {
            page.m_header.m_delimiter = reader.Text();
        }
    });
    reader.Finish();
    if (page.m_header.m_encodingType == "url")
    {
        DecodePage(page);
    }
    return page;
}

SWireRequest MakeListObjectVersions(SListing const& listing, SPagePosition const& position)
{
    SWireRequest request = ListingRequest("ListObjectVersions", listing);
    AddSubResource(request, "versions");
    AddUnlessEmpty(request, "key-marker", position.m_marker);
    AddUnlessEmpty(request, "version-id-marker", position.m_versionMarker);
    if (listing.m_google)
    {
        request.m_headers.Set("x-goog-interop-list-objects-format", "enabled");
    }
    return request;
}

SVersionPage ReadListObjectVersions(SHttpResponse const& answer)
{
    SVersionPage page;
    bool encoded = false;
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "ListVersionsResult");
    reader.ForEachChild([&](std::string_view name)
    {
        if (name == "Version" || name == "DeleteMarker")
        {
            page.m_contents.m_versions.push_back(ReadVersion(reader, name == "DeleteMarker"));
        }
        else if (name == "CommonPrefixes")
        {
            page.m_contents.m_commonPrefixes.push_back(ReadCommonPrefix(reader));
        }
        else if (name == "IsTruncated")
        {
            page.m_truncated = reader.Text() == "true";
        }
        else if (name == "NextKeyMarker")
        {
            page.m_next.m_marker = reader.Text();
        }
        else if (name == "NextVersionIdMarker")
        {
            page.m_next.m_versionMarker = reader.Text();
        }
        else if (name == "EncodingType")
        {
            encoded = reader.Text() == "url";
        }
    });
    reader.Finish();
    if (encoded)
    {
        DecodeEntries(page.m_contents.m_versions, page.m_contents.m_commonPrefixes);
        DecodeListingText(page.m_next.m_marker);
    }
    if (page.m_truncated && page.m_next.m_marker.empty())
    {
        ThrowBadAnswer("a page that is not the last, without a marker");
    }
    return page;
}

std::optional<SPagePosition> NextPosition(SObjectPage const& page)
{
    if (!page.m_truncated)
    {
        return std::nullopt;
    }
    SPagePosition next;
    next.m_token = page.m_nextToken;
    next.m_marker = page.m_nextMarker;
    if (next.IsStart() && page.m_olderForm)
    {
        std::string const* const last = LastEntry(page.m_contents);
        next.m_marker = last != nullptr ? *last : "";
    }
    if (next.IsStart())
    {
        ThrowBadAnswer("a page that is not the last, without a marker");
    }
    return next;
}

} // namespace bucketry::s3wire::wire
