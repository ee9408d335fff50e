// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "protocol/digest.h"
#include "protocol/text.h"
#include "protocol/xml.h"

#include <algorithm>

namespace bucketry::simulator
{

namespace
{

constexpr unsigned MaxPartNumber = 10000;

std::string UploadId(SCall const& call)
{
    return call.m_request.QueryOr("uploadId");
}

unsigned ReadPartNumber(SCall const& call)
{
    auto const number = ParseNumber(call.m_request.QueryOr("partNumber"));
    bool const isInRange = number && *number >= 1 && (*number <= MaxPartNumber || !call.m_traits.m_checksPartOrder);
    if (!isInRange)
    {
        throw CStoreError(400, "InvalidArgument", "Part number must be an integer between 1 and 10000, inclusive")
            .With("ArgumentName", "partNumber")
            .With("ArgumentValue", call.m_request.QueryOr("partNumber"));
    }
    return static_cast<unsigned>(std::min<std::uint64_t>(*number, 0xffffffff));
}

/// The checksums of a part have to be those that the upload was begun with.
void CheckPartChecksum(SCall const& call, SUpload const& upload)
{
    if (!call.m_traits.m_knowsChecksumHeaders)
    {
        return;
    }
    auto const& given = call.m_payload.m_checksums;
    std::string const actual = given.empty() ? "null" : given.begin()->first;
    std::string const expected = upload.m_checksumAlgorithm.empty() ? "null" : upload.m_checksumAlgorithm;
    if (actual != expected)
    {
        throw CStoreError(400, "InvalidRequest",
                          "Checksum Type mismatch occurred, expected checksum Type: " + expected +
                              ", actual checksum Type: " + actual);
    }
}

struct SChosenPart
{
    unsigned m_number;
    SPart const* m_part;
};

CStoreError InvalidPart(SCall const& call, std::uint64_t number, std::string const& etag)
{
    return CStoreError(400, "InvalidPart",
                       "One or more of the specified parts could not be found. The part may not have "
                       "been uploaded, or the specified entity tag may not match the part's entity "
                       "tag.")
        .With("UploadId", UploadId(call))
        .With("PartNumber", std::to_string(number))
        .With("ETag", etag);
}

std::string ChecksumElement(std::string const& algorithm)
{
    std::string name = algorithm;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'a' ? static_cast<char>(c - 32) : c; });
    return "Checksum" + name;
}

SChosenPart ChoosePart(SCall const& call, SUpload const& upload, CXmlReader::CElement const& element)
{
    auto const number = element.DemandNumber("PartNumber");
    std::string etag = element.Demand("ETag");
    std::erase(etag, '"');
    auto const part = number <= 0xffffffff ? upload.m_parts.find(static_cast<unsigned>(number)) : upload.m_parts.end();
    if (part == upload.m_parts.end() || part->second.m_etag != etag)
    {
        throw InvalidPart(call, number, etag);
    }
    for (auto const& [algorithm, value] : part->second.m_checksums)
    {
        auto const given = element.TextOf(ChecksumElement(algorithm));
        if (!given && upload.m_checksumType == "COMPOSITE")
        {
            throw CStoreError(400, "InvalidRequest",
                              "The upload was created using a " + algorithm +
                                  " checksum. The complete request must include the checksum for "
                                  "each part. It was missing for part " +
                                  std::to_string(number) + " in the request.");
        }
        if (given && *given != value)
        {
            throw InvalidPart(call, number, etag);
        }
    }
    return {part->first, &part->second};
}

std::vector<SChosenPart> ChooseParts(SCall const& call, SUpload const& upload)
{
    CXmlReader const body(call.m_request.m_body, "CompleteMultipartUpload");
    std::vector<SChosenPart> chosen;
    unsigned previous = 0;
    for (auto const& element : body.Root().Children("Part"))
    {
        auto const number = element.DemandNumber("PartNumber");
        if (number <= previous && call.m_traits.m_checksPartOrder)
        {
            throw CStoreError(400, "InvalidPartOrder",
                              "The list of parts was not in ascending order. Parts must be "
                              "ordered by part number.")
                .With("UploadId", UploadId(call));
        }
        chosen.push_back(ChoosePart(call, upload, element));
        previous = chosen.back().m_number;
    }
    if (chosen.empty())
    {
        throw MalformedXml();
    }
    std::sort(chosen.begin(), chosen.end(), [](auto const& a, auto const& b) { return a.m_number < b.m_number; });
    for (std::size_t i = 0; i + 1 < chosen.size(); ++i)
    {
        if (chosen[i].m_part->m_data->size() < call.m_options.m_minPartSize)
        {
            throw CStoreError(400, "EntityTooSmall", "Your proposed upload is smaller than the minimum allowed size")
                .With("ProposedSize", std::to_string(chosen[i].m_part->m_data->size()))
                .With("MinSizeAllowed", std::to_string(call.m_options.m_minPartSize))
                .With("PartNumber", std::to_string(chosen[i].m_number));
        }
    }
    return chosen;
}

/// The bytes, the ETag of ETags and the checksum of the whole.
void Assemble(SUpload const& upload, std::vector<SChosenPart> const& chosen, SVersion& version)
{
    std::size_t total = 0;
    for (auto const& [number, part] : chosen)
    {
        total += part->m_data->size();
    }
    auto data = std::make_shared<std::string>();
    data->reserve(total);
    std::string digests, checksums;
    for (auto const& [number, part] : chosen)
    {
        data->append(*part->m_data);
        version.m_partSizes.push_back(part->m_data->size());
        digests += Md5(*part->m_data);
        for (auto const& [algorithm, value] : part->m_checksums)
        {
            checksums += FromBase64(value).value_or("");
        }
    }
    std::string const suffix = "-" + std::to_string(chosen.size());
    version.m_data = std::move(data);
    version.m_etag = Hex(Md5(digests)) + suffix;
    std::string const& algorithm = upload.m_checksumAlgorithm;
    if (algorithm.empty())
    {
        return;
    }
    bool const isComposite = upload.m_checksumType == "COMPOSITE";
    version.m_checksumType = upload.m_checksumType;
    version.m_checksums[algorithm] =
        isComposite ? Base64(Checksum(algorithm, checksums)) + suffix : Base64(Checksum(algorithm, *version.m_data));
}

SResponse CompletedResponse(SCall const& call, SBucket const& bucket, SVersion const& version)
{
    std::string const path = call.m_route.m_bucket + "/" + PercentEncode(call.Key(), true);
    std::string const etag = call.m_traits.m_completeTellsETag ? "\"" + version.m_etag + "\"" : "";
    CXmlWriter xml("CompleteMultipartUploadResult", call.m_traits.m_xmlNamespace);
    xml.Text("Location", "http://" + call.m_request.Header("host") + "/" + path);
    xml.Text("Bucket", call.m_route.m_bucket).Text("Key", call.Key()).Text("ETag", etag);
    for (auto const& [algorithm, value] : version.m_checksums)
    {
        xml.Text(ChecksumElement(algorithm), value).Text("ChecksumType", version.m_checksumType);
    }
    SResponse response;
    response.SetXml(xml.Finish());
    AddVersionId(response, call, bucket, version);
    return response;
}

/// The version that the upload made when it was completed before; null if it wasn't, or the version has gone.
SVersion const* FindCompleted(SCall const& call, SBucket& bucket)
{
    auto const found = bucket.m_completed.find(UploadId(call));
    if (!call.m_traits.m_completeTwiceIsFine || found == bucket.m_completed.end() || found->second.first != call.Key())
    {
        return nullptr;
    }
    return bucket.Find(call.Key(), found->second.second);
}

SPart& StorePart(SUpload& upload, unsigned number, blob_t data, std::string const& md5, time_point_t now)
{
    SPart& part = upload.m_parts[number];
    part = {std::move(data), Hex(md5), {}, now};
    return part;
}

/// The bytes of a part copy: the whole source, or the range that the request names.
blob_t CopiedBytes(SCall const& call, SVersion const& source)
{
    std::string const header = call.m_request.Header("x-amz-copy-source-range");
    if (header.empty())
    {
        return source.m_data;
    }
    auto const dash = header.find('-');
    auto const first = header.starts_with("bytes=") && dash != std::string::npos
        ? ParseNumber(header.substr(6, dash - 6))
        : std::nullopt;
    auto const last = first ? ParseNumber(header.substr(dash + 1)) : std::nullopt;
    if (!last || *first > *last)
    {
        throw CStoreError(400, "InvalidArgument",
                          "The x-amz-copy-source-range value must be of the form bytes=first-last "
                          "where first and last are the zero-based offsets of the first and last "
                          "bytes to copy")
            .With("ArgumentName", "x-amz-copy-source-range");
    }
    if (*last >= source.m_data->size())
    {
        throw CStoreError(400, "InvalidArgument",
                          "Range specified is not valid for source object of size: " +
                              std::to_string(source.m_data->size()));
    }
    return std::make_shared<std::string const>(source.m_data->substr(*first, *last - *first + 1));
}

} // namespace

SResponse CreateMultipartUpload(SCall& call)
{
    SBucket& bucket = call.Bucket();
    SUpload upload{.m_key = call.Key(), .m_initiated = call.m_now};
    upload.m_attributes = ReadAttributes(call, bucket, call.m_traits.m_uploadTakesLockHeaders);
    std::string const algorithm = ToLower(call.m_request.Header("x-amz-checksum-algorithm"));
    std::string const type = call.m_request.Header("x-amz-checksum-type");
    bool const isUsed = call.m_traits.m_knowsChecksumHeaders && !algorithm.empty();
    if (isUsed && (!IsChecksumAlgorithm(algorithm) || (type == "FULL_OBJECT" && algorithm.starts_with("sha"))))
    {
        throw CStoreError(400, "InvalidRequest",
                          "Checksum algorithm provided is unsupported. Please try again with any of "
                          "the valid types: [CRC32, CRC32C, SHA1, SHA256]");
    }
    upload.m_checksumAlgorithm = isUsed ? algorithm : "";
    upload.m_checksumType = type.empty() ? "COMPOSITE" : type;

    std::string const id = call.m_store.NewUploadId();
    bucket.m_uploads[id] = std::move(upload);
    CXmlWriter xml("InitiateMultipartUploadResult", call.m_traits.m_xmlNamespace);
    xml.Text("Bucket", bucket.m_name).Text("Key", call.Key()).Text("UploadId", id);
    SResponse response;
    response.SetXml(xml.Finish());
    if (isUsed)
    {
        response.Add("x-amz-checksum-algorithm", call.m_request.Header("x-amz-checksum-algorithm"));
    }
    return response;
}

SResponse UploadPart(SCall& call)
{
    unsigned const number = ReadPartNumber(call);
    SUpload& upload = call.Bucket().Upload(call.Key(), UploadId(call));
    CheckPartChecksum(call, upload);
    if (upload.m_attributes.m_lock.m_retention || upload.m_attributes.m_lock.m_legalHold)
    {
        DemandIntegrity(call,
                        "Content-MD5 OR x-amz-checksum- HTTP header is required for Put Part requests with Object "
                        "Lock parameters");
    }
    auto data = std::make_shared<std::string const>(std::move(call.m_request.m_body));
    SPart& part = StorePart(upload, number, std::move(data), call.m_payload.m_md5, call.m_now);
    part.m_checksums = call.m_payload.m_checksums;
    SResponse response;
    response.Add("ETag", "\"" + part.m_etag + "\"");
    for (auto const& [algorithm, value] : part.m_checksums)
    {
        response.Add("x-amz-checksum-" + algorithm, value);
    }
    return response;
}

SResponse UploadPartCopy(SCall& call)
{
    unsigned const number = ReadPartNumber(call);
    SUpload& upload = call.Bucket().Upload(call.Key(), UploadId(call));
    SCopySource const source = FindCopySource(call);
    auto data = CopiedBytes(call, *source.m_version);
    std::string const md5 = Md5(*data);
    SPart& part = StorePart(upload, number, std::move(data), md5, call.m_now);
    if (!upload.m_checksumAlgorithm.empty())
    {
        part.m_checksums[upload.m_checksumAlgorithm] = Base64(Checksum(upload.m_checksumAlgorithm, *part.m_data));
    }
    CXmlWriter xml("CopyPartResult", call.m_traits.m_xmlNamespace);
    xml.Text("LastModified", IsoTime(call.m_now)).Text("ETag", "\"" + part.m_etag + "\"");
    SResponse response;
    response.SetXml(xml.Finish());
    if (source.m_bucket->m_versioning != EVersioning::Off)
    {
        response.Add("x-amz-copy-source-version-id", source.m_version->m_id);
    }
    return response;
}

SResponse CompleteMultipartUpload(SCall& call)
{
    SBucket& bucket = call.Bucket();
    if (auto const* const completed = FindCompleted(call, bucket))
    {
        return CompletedResponse(call, bucket, *completed);
    }
    std::string const id = UploadId(call);
    SUpload const& upload = bucket.Upload(call.Key(), id);
    CheckWriteConditions(call, bucket);
    auto const chosen = ChooseParts(call, upload);
    SVersion version;
    Assemble(upload, chosen, version);
    std::string const announced = call.m_request.Header("x-amz-mp-object-size");
    if (!announced.empty() && announced != std::to_string(version.m_data->size()))
    {
        throw CStoreError(400, "InvalidRequest",
                          "The provided 'x-amz-mp-object-size' header value " + announced +
                              " does not match what was computed: " + std::to_string(version.m_data->size()));
    }
    version.m_attributes = upload.m_attributes;
    version.m_modified = call.m_now;
    SVersion const& written = call.m_store.Write(bucket, call.Key(), std::move(version));
    bucket.m_completed[id] = {call.Key(), written.m_id};
    bucket.m_uploads.erase(id);
    return CompletedResponse(call, bucket, written);
}

SResponse AbortMultipartUpload(SCall& call)
{
    SBucket& bucket = call.Bucket();
    bucket.Upload(call.Key(), UploadId(call));
    bucket.m_uploads.erase(UploadId(call));
    return {.m_status = 204};
}

SResponse ListParts(SCall& call)
{
    SUpload const& upload = call.Bucket().Upload(call.Key(), UploadId(call));
    auto const marker = ParseNumber(call.m_request.QueryOr("part-number-marker", "0"));
    auto const asked = ParseNumber(call.m_request.QueryOr("max-parts", "1000"));
    if (!marker || *marker > 0x7fffffff || !asked || *asked > 0x7fffffff)
    {
        throw CStoreError(400, "InvalidArgument", "Provided argument is not an integer or within integer range");
    }
    std::size_t const limit = std::min<std::size_t>(*asked, 1000);
    auto part = upload.m_parts.upper_bound(static_cast<unsigned>(*marker));
    std::uint64_t last = *marker;
    CXmlWriter xml("ListPartsResult", call.m_traits.m_xmlNamespace);
    xml.Text("Bucket", call.m_route.m_bucket).Text("Key", call.Key()).Text("UploadId", UploadId(call));
    for (std::size_t count = 0; part != upload.m_parts.end() && count < limit; ++part, ++count)
    {
        last = part->first;
        xml.Open("Part").Number("PartNumber", last).Text("LastModified", IsoTime(part->second.m_modified));
        xml.Text("ETag", "\"" + part->second.m_etag + "\"").Number("Size", part->second.m_data->size());
        for (auto const& [algorithm, value] : part->second.m_checksums)
        {
            xml.Text(ChecksumElement(algorithm), value);
        }
        xml.Close();
    }
    xml.Number("PartNumberMarker", *marker).Number("NextPartNumberMarker", last).Number("MaxParts", limit);
    xml.Flag("IsTruncated", part != upload.m_parts.end() && limit > 0);
    xml.Text("StorageClass", upload.m_attributes.m_storageClass);
    SResponse response;
    response.SetXml(xml.Finish());
    return response;
}

} // namespace bucketry::simulator
