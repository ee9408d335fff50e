// SPDX-License-Identifier: Apache-2.0
#include "s3wire/wire/object_requests.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "s3wire/codec/arn.h"
#include "s3wire/codec/encoding.h"
#include "s3wire/codec/xml_writer.h"

#include <algorithm>
#include <span>
#include <utility>

namespace bucketry::s3wire::wire
{
namespace
{

using transport::EHttpMethod;
using transport::SHttpResponse;

constexpr std::size_t MaxKeyBytes = 1024;
constexpr std::string_view MetadataPrefix = "x-amz-meta-";

char const* ModeWord(s3::EObjectLockMode mode)
{
    return mode == s3::EObjectLockMode::Compliance ? "COMPLIANCE" : "GOVERNANCE";
}

s3::EObjectLockMode ModeOf(std::string_view word)
{
    return word == "COMPLIANCE" ? s3::EObjectLockMode::Compliance : s3::EObjectLockMode::Governance;
}

void AddHeader(SWireRequest& request, std::string_view name, std::string_view value)
{
    if (!IsHeaderName(name) || !IsHeaderValue(value))
    {
        throw exc::CRuntimeExc("Not a valid header for %1: [%2]", request.m_operation, name);
    }
    request.m_headers.Set(name, value);
}

void AddStorageClass(SWireRequest& request, s3::CObjectStorageClass const& storageClass)
{
    if (storageClass.Is(s3::EObjectStorageClass::Default))
    {
        return;
    }
    std::string const word = storageClass.ToString();
    request.m_headers.Set("x-amz-storage-class", word.starts_with("GCS_") ? word.substr(4) : word);
}

void AddLock(SWireRequest& request, s3::SObjectLockConfig const& lock)
{
    if (lock.m_enabled)
    {
        AddHeader(request, "x-amz-object-lock-mode", ModeWord(lock.m_mode));
        AddHeader(request, "x-amz-object-lock-retain-until-date", lock.m_retainUntil);
    }
    if (lock.m_legalHold)
    {
        AddHeader(request, "x-amz-object-lock-legal-hold", "ON");
    }
}

/// Never throws: a class that this layer has no name for says nothing about the object.
s3::CObjectStorageClass ClassOf(std::string const& word)
{
    for (std::string const& text : {word, "GCS_" + word})
    {
        try
        {
            return s3::CObjectStorageClass::FromString(word.empty() ? "DEFAULT" : text);
        }
        catch (exc::CRuntimeExc const&)
        {
        }
    }
    return {};
}

/// The part of `text` between `begin` and the next quote.
std::string QuotedAfter(std::string_view text, std::string_view begin)
{
    std::size_t const found = text.find(begin);
    if (found == std::string_view::npos)
    {
        return "";
    }
    std::string_view const rest = text.substr(found + begin.size());
    return std::string(rest.substr(0, rest.find('"')));
}

/// Size of the whole object: behind the "/" of Content-Range, or Content-Length, or what came.
std::uint64_t ObjectSizeOf(SHttpResponse const& answer, std::optional<std::uint64_t> received)
{
    std::string const range = HeaderOf(answer, "Content-Range");
    std::string const text = range.empty() ? HeaderOf(answer, "Content-Length") : range.substr(range.find('/') + 1);
    std::optional<std::uint64_t> const size = text.empty() ? received : ParseNumber(text);
    if (!size)
    {
        ThrowBadAnswer("no size of the object");
    }
    return *size;
}

std::map<std::string, std::string> MetadataOf(SHttpResponse const& answer)
{
    std::map<std::string, std::string> metadata;
    for (auto const [name, value] : answer.m_headers)
    {
        std::string const lower = ToLower(name);
        if (lower.starts_with(MetadataPrefix))
        {
            metadata.emplace(lower.substr(MetadataPrefix.size()), DecodeMetadataValue(value));
        }
    }
    return metadata;
}

std::optional<s3::SObjectLockConfig> LockOf(SHttpResponse const& answer)
{
    std::string const mode = HeaderOf(answer, "x-amz-object-lock-mode");
    bool const hold = HeaderOf(answer, "x-amz-object-lock-legal-hold") == "ON";
    if (mode.empty() && !hold)
    {
        return std::nullopt;
    }
    return s3::SObjectLockConfig(!mode.empty(), ModeOf(mode), HeaderOf(answer, "x-amz-object-lock-retain-until-date"),
                                 hold);
}

void ReadTextAt(CXmlReader& reader, std::span<std::string_view const> path, std::string& text)
{
    if (path.empty())
    {
        text = reader.Text();
        return;
    }
    reader.ForEachChild(
        [&](std::string_view name)
        {
            if (name == path.front())
            {
                ReadTextAt(reader, path.subspan(1), text);
            }
        });
}

/// bucket/key with an optional version; through an access point its ARN with "/object/" and the key, encoded as one.
std::string CopySourceOf(SObjectRef const& source)
{
    bool const isArn = CS3Arn(source.m_bucket).m_isArn;
    std::string const path = EncodePath(source.m_bucket + (isArn ? "/object/" : "/") + source.m_key);
    return source.m_versionId.empty() ? path : path + "?versionId=" + source.m_versionId;
}

} // namespace

void CheckBucket(std::string const& bucket)
{
    if (CS3Arn const arn(bucket); arn.m_isArn)
    {
        arn.CheckIsValidS3ArnExc();
    }
    else if (bucket.empty())
    {
        throw exc::CRuntimeExc("The bucket name is empty");
    }
}

void CheckKey(std::string const& key)
{
    if (key.empty())
    {
        throw exc::CRuntimeExc("The object key is empty");
    }
    if (key.size() > MaxKeyBytes)
    {
        throw exc::CRuntimeExc("The object key has %1 bytes, more than 1024: [%2]", key.size(), key);
    }
}

SWireRequest BucketRequest(char const* operation, EHttpMethod method, std::string const& bucket)
{
    CheckBucket(bucket);
    SWireRequest request;
    request.m_operation = operation;
    request.m_method = method;
    request.m_bucket = bucket;
    request.m_idempotent = true;
    return request;
}

SWireRequest ObjectRequest(char const* operation, EHttpMethod method, SObjectRef const& object)
{
    CheckKey(object.m_key);
    SWireRequest request = BucketRequest(operation, method, object.m_bucket);
    request.m_key = object.m_key;
    if (!object.m_versionId.empty())
    {
        request.m_query.emplace_back("versionId", object.m_versionId);
    }
    return request;
}

void AddNewObjectHeaders(SWireRequest& request, SNewObject const& object)
{
    for (auto const& [name, value] : object.m_metadata)
    {
        AddHeader(request, std::string(MetadataPrefix) + name, EncodeMetadataValue(value));
    }
    for (auto const& [name, value] : object.m_headers)
    {
        AddHeader(request, name, value);
    }
    AddLock(request, object.m_lock);
    AddStorageClass(request, object.m_storageClass);
}

void SetXmlBody(SWireRequest& request, std::string xml)
{
    auto const owner = std::make_shared<std::string const>(std::move(xml));
    request.m_body = {reinterpret_cast<unsigned char const*>(owner->data()), owner->size(), owner};
    request.m_headers.Set("Content-Type", "application/xml");
    request.m_contentMd5 = true;
}

std::string RangeText(SByteRange const& range)
{
    if (range.m_length > UINT64_MAX - range.m_offset)
    {
        throw exc::CRuntimeExc("The range of %1 bytes from %2 does not exist", range.m_length, range.m_offset);
    }
    std::string const last = range.m_length == 0 ? "" : std::to_string(range.m_offset + range.m_length - 1);
    return std::string("bytes=").append(std::to_string(range.m_offset)).append("-").append(last);
}

void AddCopySource(SWireRequest& request, SObjectRef const& source)
{
    CheckBucket(source.m_bucket);
    CheckKey(source.m_key);
    AddHeader(request, "x-amz-copy-source", CopySourceOf(source));
}

void AddSubResource(SWireRequest& request, char const* name)
{
    request.m_query.emplace(request.m_query.begin(), name, "");
}

void SetBlockBody(SWireRequest& request, std::shared_ptr<io::block::CPooledBuf const> const& block)
{
    if (block)
    {
        request.m_body = {block->GetData(), block->GetCount(), block};
    }
}

std::string HeaderOf(SHttpResponse const& answer, std::string_view name)
{
    return std::string(answer.m_headers.Get(name));
}

void ThrowBadAnswer(std::string const& what)
{
    throw web::http::http_exception("The store's answer cannot be used: " + what);
}

void ExpectRoot(CXmlReader const& reader, std::string_view name)
{
    if (reader.Name() != name)
    {
        ThrowBadAnswer(std::string("[").append(reader.Name()).append("] instead of ").append(name));
    }
}

std::string TextAt(SHttpResponse const& answer, std::initializer_list<std::string_view> path)
{
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, *path.begin());
    std::string text;
    ReadTextAt(reader, std::span(path.begin(), path.size()).subspan(1), text);
    reader.Finish();
    if (text.empty())
    {
        ThrowBadAnswer(std::string("no ").append(std::data(path)[path.size() - 1]));
    }
    return text;
}

SWireRequest MakePutObject(SObjectRef const& object, SNewObject const& properties,
                           std::shared_ptr<io::block::CPooledBuf const> const& content)
{
    SWireRequest request = ObjectRequest("PutObject", EHttpMethod::Put, object);
    request.m_needsETag = true;
    AddNewObjectHeaders(request, properties);
    SetBlockBody(request, content);
    request.m_contentMd5 = properties.m_lock.m_enabled || properties.m_lock.m_legalHold;
    return request;
}

s3::SPutObjectResult ReadPutObject(SHttpResponse const& answer)
{
    return {HeaderOf(answer, "x-amz-version-id"), HeaderOf(answer, "ETag")};
}

SWireRequest MakeGetObject(SObjectRef const& object, SByteRange const& range, std::string const& eTag,
                           bool wantsChecksum)
{
    SWireRequest request = ObjectRequest("GetObject", EHttpMethod::Get, object);
    request.m_needsETag = true;
    if (!range.IsWhole())
    {
        request.m_expectedSize = range.m_length;
        request.m_headers.Set("Range", RangeText(range));
    }
    if (!eTag.empty())
    {
        AddHeader(request, "If-Match", eTag);
    }
    if (wantsChecksum)
    {
        request.m_headers.Set("x-amz-checksum-mode", "ENABLED");
    }
    return request;
}

SWireRequest MakeHeadObject(SObjectRef const& object)
{
    SWireRequest request = ObjectRequest("HeadObject", EHttpMethod::Head, object);
    request.m_needsETag = true;
    return request;
}

s3::SObjectData ReadObjectData(SHttpResponse const& answer, std::optional<std::uint64_t> received)
{
    std::string const restore = HeaderOf(answer, "x-amz-restore");
    s3::SObjectData data;
    data.m_contentType = HeaderOf(answer, "Content-Type");
    data.m_eTag = HeaderOf(answer, "ETag");
    data.m_missingMetadata = ParseNumber(HeaderOf(answer, "x-amz-missing-meta")).value_or(0);
    data.m_contentLength = ObjectSizeOf(answer, received);
    data.m_restoreInProgress = QuotedAfter(restore, "ongoing-request=\"") == "true";
    data.m_restoreExpiryDate = QuotedAfter(restore, "expiry-date=\"");
    data.m_lastModified = HeaderOf(answer, "Last-Modified");
    data.m_versionId = HeaderOf(answer, "x-amz-version-id");
    data.m_metadata = MetadataOf(answer);
    data.m_objectLock = LockOf(answer);
    data.m_storageClass = ClassOf(HeaderOf(answer, "x-amz-storage-class"));
    return data;
}

SWireRequest MakeCopyObject(SObjectRef const& source, SObjectRef const& target,
                            s3::CObjectStorageClass const& storageClass, s3::SObjectLockConfig const& lock,
                            std::string const& metadataDirective)
{
    SWireRequest request = ObjectRequest("CopyObject", EHttpMethod::Put, target);
    AddCopySource(request, source);
    if (!metadataDirective.empty())
    {
        AddHeader(request, "x-amz-metadata-directive", metadataDirective);
    }
    AddLock(request, lock);
    AddStorageClass(request, storageClass);
    request.m_needsBody = true;
    return request;
}

s3::SCopyObjectResult ReadCopyObject(SHttpResponse const& answer)
{
    s3::SCopyObjectResult result{HeaderOf(answer, "x-amz-version-id"), ""};
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "CopyObjectResult");
    reader.ReadFields({{"ETag", &result.m_eTag}});
    reader.Finish();
    return result;
}

SWireRequest MakeDeleteObject(SObjectRef const& object)
{
    return ObjectRequest("DeleteObject", EHttpMethod::Delete, object);
}

SWireRequest MakePutObjectRetention(SObjectRef const& object, s3::EObjectLockMode mode, std::string const& retainUntil)
{
    SWireRequest request = ObjectRequest("PutObjectRetention", EHttpMethod::Put, object);
    AddSubResource(request, "retention");
    SetXmlBody(request,
               XmlDocument("Retention", S3Namespace,
                           [&](std::string& xml)
                           {
                               AppendXmlElement(xml, "Mode", ModeWord(mode));
                               AppendXmlElement(xml, "RetainUntilDate", retainUntil);
                           }));
    return request;
}

SWireRequest MakeGetObjectRetention(SObjectRef const& object)
{
    SWireRequest request = ObjectRequest("GetObjectRetention", EHttpMethod::Get, object);
    AddSubResource(request, "retention");
    request.m_needsBody = true;
    return request;
}

s3::SObjectLockConfig ReadGetObjectRetention(SHttpResponse const& answer)
{
    std::string mode;
    std::string retainUntil;
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "Retention");
    reader.ReadFields({{"Mode", &mode}, {"RetainUntilDate", &retainUntil}});
    reader.Finish();
    return s3::SObjectLockConfig(!mode.empty(), ModeOf(mode), retainUntil, false);
}

SWireRequest MakePutObjectLegalHold(SObjectRef const& object, bool hold)
{
    SWireRequest request = ObjectRequest("PutObjectLegalHold", EHttpMethod::Put, object);
    AddSubResource(request, "legal-hold");
    SetXmlBody(request,
               XmlDocument("LegalHold", S3Namespace,
                           [&](std::string& xml) { AppendXmlElement(xml, "Status", hold ? "ON" : "OFF"); }));
    return request;
}

SWireRequest MakeRestoreObject(SObjectRef const& object, unsigned days, s3::EGlacierRetrievalTier tier)
{
    static constexpr char const* tiers[] = {"Expedited", "Standard", "Bulk"};
    auto const index = static_cast<std::size_t>(tier);
    if (index >= std::size(tiers))
    {
        throw exc::CRuntimeExc("Unknown retrieval tier: %1", index);
    }
    SWireRequest request = ObjectRequest("RestoreObject", EHttpMethod::Post, object);
    AddSubResource(request, "restore");
    SetXmlBody(request,
               XmlDocument("RestoreRequest", S3Namespace,
                           [&](std::string& xml)
                           {
                               AppendXmlElement(xml, "Days", std::to_string(days));
                               AppendXmlParent(xml, "GlacierJobParameters",
                                               [&] { AppendXmlElement(xml, "Tier", tiers[index]); });
                           }));
    return request;
}

s3::EPostObjectRestoreResponse ReadRestoreObject(SHttpResponse const& answer)
{
    return answer.m_status == 200 ? s3::EPostObjectRestoreResponse::AlreadyRestored
                                  : s3::EPostObjectRestoreResponse::Accepted;
}

} // namespace bucketry::s3wire::wire
