// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "protocol/text.h"
#include "protocol/xml.h"
#include "store/listing.h"

namespace bucketry::simulator
{

namespace
{

constexpr std::string_view KeyToken = "1k";

std::size_t ReadLimit(SRequest const& request, std::string const& name)
{
    auto const text = request.Query(name);
    if (!text || text->empty())
    {
        return 1000;
    }
    auto const limit = ParseNumber(*text);
    if (!limit || *limit > 0x7fffffff)
    {
        throw CStoreError(400, "InvalidArgument", "Provided " + name + " not an integer or within integer range")
            .With("ArgumentName", name)
            .With("ArgumentValue", *text);
    }
    return std::min<std::size_t>(*limit, 1000);
}

/// Writes the elements of one listing, encoded as its request wants them.
class CListingWriter
{
public:
    CListingWriter(SCall const& call, std::string_view root)
        : m_call(call),
          m_xml(root, call.m_traits.m_xmlNamespace),
          m_encodingElement(root == "ListVersionsResult" && call.m_traits.m_hasGenerations ? "Encoding-Type"
                                                                                           : "EncodingType"),
          m_encodes(call.m_request.Query("encoding-type").has_value())
    {
        if (m_encodes && call.m_request.QueryOr("encoding-type") != "url")
        {
            throw CStoreError(400, "InvalidArgument", "Invalid Encoding Method specified in Request")
                .With("ArgumentName", "encoding-type")
                .With("ArgumentValue", call.m_request.QueryOr("encoding-type"));
        }
    }

    CXmlWriter& Xml() { return m_xml; }

    void Name(std::string_view element, std::string const& text)
    {
        if (!m_encodes)
        {
            m_xml.Text(element, text);
        }
        else
        {
            m_xml.Text(element, m_call.m_traits.m_listEncodesAsPercent ? PercentEncode(text, false) : FormEncode(text));
        }
    }

    /// The elements that every listing begins with.
    void Head(SListing const& listing, std::string_view limitElement, bool isTruncated)
    {
        Name("Prefix", listing.m_prefix);
        if (!listing.m_delimiter.empty())
        {
            Name("Delimiter", listing.m_delimiter);
        }
        m_xml.Number(limitElement, listing.m_maxKeys);
        if (m_encodes)
        {
            m_xml.Text(m_encodingElement, "url");
        }
        m_xml.Flag("IsTruncated", isTruncated);
    }

    void Prefix(std::string const& prefix)
    {
        m_xml.Open("CommonPrefixes");
        Name("Prefix", prefix);
        m_xml.Close();
    }

    void Owner() { m_xml.Open("Owner").Text("ID", m_call.m_options.m_accountId).Text("DisplayName", "owner").Close(); }

    /// Google's own names for a version; nothing elsewhere.
    void Generation(SVersion const& version)
    {
        if (m_call.m_traits.m_hasGenerations)
        {
            m_xml.Text("Generation", version.m_id).Number("MetaGeneration", version.m_metageneration);
        }
    }

    void Object(SVersion const& version)
    {
        m_xml.Text("LastModified", IsoTime(version.m_modified)).Text("ETag", "\"" + version.m_etag + "\"");
        m_xml.Number("Size", version.m_data->size()).Text("StorageClass", version.m_attributes.m_storageClass);
    }

    void RestoreStatus(SVersion const& version)
    {
        bool const isAsked =
            m_call.m_request.Header("x-amz-optional-object-attributes").find("RestoreStatus") != std::string::npos;
        bool const isTold = version.m_restore &&
            (version.m_restore->IsOngoing(m_call.m_now) || version.m_restore->IsReadable(m_call.m_now));
        if (!isAsked || !isTold)
        {
            return;
        }
        bool const isOngoing = version.m_restore->IsOngoing(m_call.m_now);
        m_xml.Open("RestoreStatus").Flag("IsRestoreInProgress", isOngoing);
        if (!isOngoing && version.m_restore->m_expires)
        {
            m_xml.Text("RestoreExpiryDate", IsoTime(*version.m_restore->m_expires));
        }
        m_xml.Close();
    }

    SResponse Finish()
    {
        SResponse response;
        response.SetXml(m_xml.Finish());
        return response;
    }

private:
    SCall const& m_call;
    CXmlWriter m_xml;
    std::string_view m_encodingElement; ///< as is reported, Google has a name of its own in lists of S3's form
    bool m_encodes;
};

SListing ReadListing(SCall const& call, std::string const& marker)
{
    return {call.m_request.QueryOr("prefix"), call.m_request.QueryOr("delimiter"), call.m_request.QueryOr(marker),
            ReadLimit(call.m_request, "max-keys")};
}

template <class TEntry>
void WritePrefixes(CListingWriter& writer, SPage<TEntry> const& page)
{
    for (auto const& item : page.m_items)
    {
        if (item.m_entry == nullptr)
        {
            writer.Prefix(item.m_name);
        }
    }
}

void WriteObjects(CListingWriter& writer, SPage<SVersion> const& page, bool withOwner)
{
    for (auto const& item : page.m_items)
    {
        if (item.m_entry == nullptr)
        {
            continue;
        }
        writer.Xml().Open("Contents");
        writer.Name("Key", item.m_name);
        writer.Generation(*item.m_entry);
        writer.Object(*item.m_entry);
        if (withOwner)
        {
            writer.Owner();
        }
        writer.RestoreStatus(*item.m_entry);
        writer.Xml().Close();
    }
    WritePrefixes(writer, page);
}

/// The order of a list of versions whose page goes on behind the generation that the query names by `parameter`.
SVersionOrder ReadGenerationOrder(SCall const& call, std::string const& parameter)
{
    auto const marker = call.m_request.Query(parameter);
    auto const number = ParseNumber(marker.value_or(""));
    if (marker && !marker->empty() && !number)
    {
        throw CStoreError(400, "InvalidArgument", "The marker is no generation.");
    }
    return {call.m_traits.m_listsOldestFirst, number};
}

/// A list of versions in Google's own form.
SResponse ListGenerations(SCall& call)
{
    SListing const listing = ReadListing(call, "marker");
    auto const order = ReadGenerationOrder(call, "generation-marker");
    if (order.m_after && listing.m_marker.empty())
    {
        throw CStoreError(400, "InvalidArgument", "A generation-marker cannot be specified without a marker.");
    }
    CListingWriter writer(call, "ListBucketResult");
    SBucket& bucket = call.Bucket();
    auto const page = ListVersions(bucket, listing, order);
    writer.Xml().Text("Name", bucket.m_name);
    writer.Name("Marker", listing.m_marker);
    writer.Xml().Text("GenerationMarker", call.m_request.QueryOr("generation-marker"));
    writer.Head(listing, "MaxKeys", page.m_isTruncated);
    if (page.m_isTruncated)
    {
        auto const& last = page.m_items.back();
        writer.Name("NextMarker", last.m_name);
        if (last.m_entry != nullptr)
        {
            writer.Xml().Text("NextGenerationMarker", last.m_entry->m_id);
        }
    }
    for (auto const& item : page.m_items)
    {
        if (item.m_entry == nullptr)
        {
            continue;
        }
        writer.Xml().Open("Version");
        writer.Name("Key", item.m_name);
        writer.Generation(*item.m_entry);
        writer.Xml().Flag("IsLatest", !item.m_entry->m_isNoncurrent);
        writer.Object(*item.m_entry);
        writer.Owner();
        writer.Xml().Close();
    }
    WritePrefixes(writer, page);
    return writer.Finish();
}

/// Where the page of a version 2 listing goes on.
std::string ReadToken(SCall const& call)
{
    auto const token = call.m_request.Query("continuation-token");
    if (!token)
    {
        return call.m_request.QueryOr("start-after");
    }
    if (call.m_traits.m_tokenIsPlainKey)
    {
        return *token;
    }
    auto const marker = FromBase64(*token);
    if (!marker || !marker->starts_with(KeyToken))
    {
        throw CStoreError(400, "InvalidArgument", "The continuation token provided is incorrect")
            .With("ArgumentName", "continuation-token");
    }
    return marker->substr(KeyToken.size());
}

} // namespace

SResponse ListObjectsV1(SCall& call)
{
    SListing const listing = ReadListing(call, "marker");
    CListingWriter writer(call, "ListBucketResult");
    auto const page = ListObjects(call.Bucket(), listing);
    writer.Xml().Text("Name", call.m_route.m_bucket);
    writer.Name("Marker", listing.m_marker);
    writer.Head(listing, "MaxKeys", page.m_isTruncated);
    if (page.m_isTruncated && (!listing.m_delimiter.empty() || call.m_traits.m_nextMarkerAlways))
    {
        writer.Name("NextMarker", page.m_items.back().m_name);
    }
    WriteObjects(writer, page, true);
    return writer.Finish();
}

SResponse ListObjectsV2(SCall& call)
{
    if (call.m_request.QueryOr("list-type") != "2")
    {
        throw CStoreError(400, "InvalidArgument", "Invalid List Type specified in Request")
            .With("ArgumentName", "list-type");
    }
    SListing listing = ReadListing(call, "start-after");
    listing.m_marker = ReadToken(call);
    CListingWriter writer(call, "ListBucketResult");
    auto const page = ListObjects(call.Bucket(), listing);
    writer.Xml().Text("Name", call.m_route.m_bucket);
    writer.Head(listing, "MaxKeys", page.m_isTruncated);
    writer.Xml().Number("KeyCount", page.m_items.size());
    if (auto const token = call.m_request.Query("continuation-token"))
    {
        writer.Xml().Text("ContinuationToken", *token);
    }
    if (auto const startAfter = call.m_request.Query("start-after"))
    {
        writer.Name("StartAfter", *startAfter);
    }
    if (page.m_isTruncated)
    {
        std::string const& last = page.m_items.back().m_name;
        std::string const token = Base64(std::string(KeyToken) + last);
        writer.Xml().Text("NextContinuationToken", call.m_traits.m_tokenIsPlainKey ? last : token);
    }
    WriteObjects(writer, page, call.m_request.QueryOr("fetch-owner") == "true");
    return writer.Finish();
}

SResponse ListObjectVersions(SCall& call)
{
    if (call.m_traits.m_hasGenerations && call.m_request.Header("x-goog-interop-list-objects-format") != "enabled")
    {
        return ListGenerations(call);
    }
    SListing const listing = ReadListing(call, "key-marker");
    std::string const versionMarker = call.m_request.QueryOr("version-id-marker");
    if (!versionMarker.empty() && listing.m_marker.empty())
    {
        throw CStoreError(400, "InvalidArgument", "A version-id marker cannot be specified without a key marker.")
            .With("ArgumentName", "version-id-marker")
            .With("ArgumentValue", versionMarker);
    }
    CListingWriter writer(call, "ListVersionsResult");
    SBucket& bucket = call.Bucket();
    SVersionOrder const order = call.m_traits.m_hasGenerations
        ? ReadGenerationOrder(call, "version-id-marker")
        : SVersionOrder{call.m_traits.m_listsOldestFirst, SequenceOfMarker(bucket, listing.m_marker, versionMarker)};
    auto const page = ListVersions(bucket, listing, order);
    writer.Xml().Text("Name", bucket.m_name);
    writer.Name("KeyMarker", listing.m_marker);
    writer.Xml().Text("VersionIdMarker", versionMarker);
    writer.Head(listing, "MaxKeys", page.m_isTruncated);
    if (page.m_isTruncated)
    {
        auto const& last = page.m_items.back();
        writer.Name("NextKeyMarker", last.m_name);
        if (last.m_entry != nullptr)
        {
            writer.Xml().Text("NextVersionIdMarker", last.m_entry->m_id);
        }
    }
    for (auto const& item : page.m_items)
    {
        if (item.m_entry == nullptr)
        {
            continue;
        }
        SVersion const& version = *item.m_entry;
        writer.Xml().Open(version.m_isDeleteMarker ? "DeleteMarker" : "Version");
        writer.Name("Key", item.m_name);
        writer.Xml().Text("VersionId", version.m_id).Flag("IsLatest", &version == bucket.Newest(item.m_name));
        if (version.m_isDeleteMarker)
        {
            writer.Xml().Text("LastModified", IsoTime(version.m_modified));
        }
        else
        {
            writer.Object(version);
        }
        writer.Owner();
        writer.RestoreStatus(version);
        writer.Xml().Close();
    }
    WritePrefixes(writer, page);
    return writer.Finish();
}

SResponse ListMultipartUploads(SCall& call)
{
    SListing listing = ReadListing(call, "key-marker");
    listing.m_maxKeys = ReadLimit(call.m_request, "max-uploads");
    std::string const uploadMarker = listing.m_marker.empty() ? "" : call.m_request.QueryOr("upload-id-marker");
    CListingWriter writer(call, "ListMultipartUploadsResult");
    auto const page = ListUploads(call.Bucket(), listing, uploadMarker);
    writer.Xml().Text("Bucket", call.m_route.m_bucket);
    writer.Name("KeyMarker", listing.m_marker);
    writer.Xml().Text("UploadIdMarker", uploadMarker);
    writer.Head(listing, "MaxUploads", page.m_isTruncated);
    if (page.m_isTruncated)
    {
        writer.Name("NextKeyMarker", page.m_nextKey);
        writer.Xml().Text("NextUploadIdMarker", page.m_nextUpload);
    }
    for (auto const& [id, upload] : page.m_uploads)
    {
        writer.Xml().Open("Upload");
        writer.Name("Key", upload->m_key);
        writer.Xml().Text("UploadId", id).Text("StorageClass", upload->m_attributes.m_storageClass);
        writer.Xml().Text("Initiated", IsoTime(upload->m_initiated)).Close();
    }
    for (auto const& prefix : page.m_prefixes)
    {
        writer.Prefix(prefix);
    }
    return writer.Finish();
}

} // namespace bucketry::simulator
