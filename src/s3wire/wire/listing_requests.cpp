// SPDX-License-Identifier: Apache-2.0
#include "s3wire/wire/listing_requests.h"

#include "s3wire/codec/encoding.h"
#include "s3wire/codec/xml_reader.h"
#include "s3wire/wire/object_requests.h"

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
    request.m_needsBody = true;
    AddUnlessEmpty(request, "prefix", listing.m_prefix);
    AddUnlessEmpty(request, "delimiter", listing.m_delimiter);
    if (listing.m_pageSize != 0)
    {
        request.m_query.emplace_back("max-keys", std::to_string(listing.m_pageSize));
    }
    request.m_query.emplace_back("encoding-type", "url");
    return request;
}

/// Times of listings come with fractions of a second or without.
void DropFraction(std::string& time)
{
    if (std::size_t const fraction = time.find('.'); fraction != std::string::npos && time.ends_with('Z'))
    {
        time.erase(fraction, time.size() - fraction - 1);
    }
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

/// An object or a version: `versionId` takes the id of the latter. A delete marker has no size.
template <class TEntry>
void ReadEntry(CXmlReader& reader, TEntry& entry, std::string& versionId, bool hasSize)
{
    std::string size;
    reader.ReadFields({{"Key", &entry.m_key},
                       {"VersionId", &versionId},
                       {"LastModified", &entry.m_lastModified},
                       {"ETag", &entry.m_eTag},
                       {"Size", &size},
                       {"StorageClass", &entry.m_storageClass}});
    entry.m_size = hasSize ? NumberOf(size) : 0;
    DropFraction(entry.m_lastModified);
}

/// False if the reader stands on something else.
bool ReadCommonPrefix(CXmlReader& reader, std::vector<std::string>& prefixes)
{
    bool const isPrefix = reader.Name() == "CommonPrefixes";
    if (isPrefix)
    {
        reader.ReadFields({{"Prefix", &prefixes.emplace_back()}});
    }
    return isPrefix;
}

/// The answer may say behind its entries that they are encoded, so all of them are decoded at the end.
template <class TEntries>
void DecodeEntries(TEntries& entries, std::vector<std::string>& prefixes)
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

std::optional<SPagePosition> FollowedBy(bool truncated, SPagePosition next)
{
    if (!truncated)
    {
        return std::nullopt;
    }
    if (next.m_token.empty() && next.m_marker.empty())
    {
        ThrowBadAnswer("a page that is not the last, without a marker");
    }
    return next;
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
    std::string truncated;
    std::string maxKeys;
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "ListBucketResult");
    reader.ForEachChild(
        [&](std::string_view name)
        {
            if (name == "Contents")
            {
                std::string none;
                ReadEntry(reader, page.m_contents.m_contents.emplace_back(), none, true);
                return;
            }
            if (ReadCommonPrefix(reader, page.m_contents.m_commonPrefixes))
            {
                return;
            }
            page.m_olderForm = page.m_olderForm || name == "Marker";
            reader.ReadInto({{"IsTruncated", &truncated},
                             {"NextContinuationToken", &page.m_nextToken},
                             {"NextMarker", &page.m_nextMarker},
                             {"Marker", &page.m_header.m_marker},
                             {"EncodingType", &page.m_header.m_encodingType},
                             {"MaxKeys", &maxKeys},
                             {"Name", &page.m_header.m_name},
                             {"Prefix", &page.m_header.m_prefix},
                             {"Delimiter", &page.m_header.m_delimiter}});
        });
    reader.Finish();
    page.m_truncated = truncated == "true";
    page.m_header.m_maxKeys = ParseNumber(maxKeys).value_or(0);
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
    return request;
}

SVersionPage ReadListObjectVersions(SHttpResponse const& answer)
{
    SVersionPage page;
    std::string truncated;
    std::string encoding;
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "ListVersionsResult");
    reader.ForEachChild(
        [&](std::string_view name)
        {
            if (name == "Version" || name == "DeleteMarker")
            {
                auto& entry = page.m_contents.m_versions.emplace_back();
                entry.m_isDeleteMarker = name == "DeleteMarker";
                ReadEntry(reader, entry, entry.m_versionId, !entry.m_isDeleteMarker);
                return;
            }
            if (ReadCommonPrefix(reader, page.m_contents.m_commonPrefixes))
            {
                return;
            }
            reader.ReadInto({{"IsTruncated", &truncated},
                             {"NextKeyMarker", &page.m_next.m_marker},
                             {"NextVersionIdMarker", &page.m_next.m_versionMarker},
                             {"EncodingType", &encoding},
                             {"Encoding-Type", &encoding}}); // as Google names it
        });
    reader.Finish();
    page.m_truncated = truncated == "true";
    if (encoding == "url")
    {
        DecodeEntries(page.m_contents.m_versions, page.m_contents.m_commonPrefixes);
        DecodeListingText(page.m_next.m_marker);
    }
    return page;
}

std::optional<SPagePosition> NextPosition(SObjectPage const& page)
{
    SPagePosition next{page.m_nextToken, page.m_nextMarker, ""};
    if (std::string const* const last = LastEntry(page.m_contents);
        next.IsStart() && page.m_olderForm && last != nullptr)
    {
        next.m_marker = *last;
    }
    return FollowedBy(page.m_truncated, std::move(next));
}

std::optional<SPagePosition> NextPosition(SVersionPage const& page)
{
    return FollowedBy(page.m_truncated, page.m_next);
}

} // namespace bucketry::s3wire::wire
