// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/records.h"
#include "s3wire/codec/xml_reader.h"
#include "s3wire/wire/request.h"

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>

/// The operations on one object. Each has a builder, and a reader if its answer says anything: pure functions, without
/// socket, clock or credentials. A builder throws exc::CRuntimeExc for what no store takes; a reader throws
/// web::http::http_exception for an answer that is not what the protocol promises.
namespace bucketry::s3wire::wire
{

/// One object, or one version of it.
struct SObjectRef
{
    std::string m_bucket;
    std::string m_key;
    std::string m_versionId; ///< empty for the current version
};

/// What a new object takes with it.
struct SNewObject
{
    std::map<std::string, std::string> m_metadata;
    std::map<std::string, std::string> m_headers;
    s3::SObjectLockConfig m_lock;
    s3::CObjectStorageClass m_storageClass;
};

/// The bytes [offset, offset + length); a length of 0 reaches to the end.
struct SByteRange
{
    std::uint64_t m_offset = 0;
    std::uint64_t m_length = 0;

    bool IsWhole() const { return m_offset == 0 && m_length == 0; }
};

/// Throw exc::CRuntimeExc for an empty bucket name, an ARN that cannot be served, an empty key, one over 1024 bytes.
void CheckBucket(std::string const& bucket);
void CheckKey(std::string const& key);

/// A request for one object, without query, headers and body of its own.
SWireRequest ObjectRequest(char const* operation, transport::EHttpMethod method, SObjectRef const& object);
/// The same for the bucket.
SWireRequest BucketRequest(char const* operation, transport::EHttpMethod method, std::string const& bucket);
/// Adds metadata, headers, lock and class; a lock demands Content-MD5.
void AddNewObjectHeaders(SWireRequest& request, SNewObject const& object);
/// "bytes=1-3". Throws exc::CRuntimeExc for a range that ends beyond all numbers.
std::string RangeText(SByteRange const& range);
/// Names the object that is copied.
void AddCopySource(SWireRequest& request, SObjectRef const& source);
/// Puts a query name without a value, as operations on a part of an object have it, in front.
void AddSubResource(SWireRequest& request, char const* name);
/// A body of its own, with Content-MD5, which every store takes for XML.
void SetXmlBody(SWireRequest& request, std::string xml);
/// The block in use; the request keeps it alive. Null is an empty body.
void SetBlockBody(SWireRequest& request, std::shared_ptr<io::block::CPooledBuf const> const& block);
/// A header of the answer, or an empty text.
std::string HeaderOf(transport::SHttpResponse const& answer, std::string_view name);
/// Throws web::http::http_exception: the answer cannot be used.
[[noreturn]] void ThrowBadAnswer(std::string const& what);
/// Does so unless the reader stands on a root of that name.
void ExpectRoot(CXmlReader const& reader, std::string_view name);
/// The text of the element that the names lead to from the root on; throws so if it is missing or empty.
std::string TextAt(transport::SHttpResponse const& answer, std::initializer_list<std::string_view> path);

SWireRequest MakePutObject(SObjectRef const& object, SNewObject const& properties,
                           std::shared_ptr<io::block::CPooledBuf const> const& content);
s3::SPutObjectResult ReadPutObject(transport::SHttpResponse const& answer);

/// `eTag` unless empty: only if the object still has it. `wantsChecksum` asks the store for the checksum it keeps.
SWireRequest MakeGetObject(SObjectRef const& object, SByteRange const& range, std::string const& eTag,
                           bool wantsChecksum);
SWireRequest MakeHeadObject(SObjectRef const& object);
/// Both answers: everything but the content. `received`: bytes of the content, for an answer that doesn't announce its
///               length.
s3::SObjectData ReadObjectData(transport::SHttpResponse const& answer, std::optional<std::uint64_t> received);

SWireRequest MakeCopyObject(SObjectRef const& source, SObjectRef const& target,
                            s3::CObjectStorageClass const& storageClass, s3::SObjectLockConfig const& lock,
                            std::string const& metadataDirective);
s3::SCopyObjectResult ReadCopyObject(transport::SHttpResponse const& answer);

SWireRequest MakeDeleteObject(SObjectRef const& object);

SWireRequest MakePutObjectRetention(SObjectRef const& object, s3::EObjectLockMode mode, std::string const& retainUntil);
SWireRequest MakeGetObjectRetention(SObjectRef const& object);
s3::SObjectLockConfig ReadGetObjectRetention(transport::SHttpResponse const& answer);
SWireRequest MakePutObjectLegalHold(SObjectRef const& object, bool hold);

SWireRequest MakeRestoreObject(SObjectRef const& object, unsigned days, s3::EGlacierRetrievalTier tier);
s3::EPostObjectRestoreResponse ReadRestoreObject(transport::SHttpResponse const& answer);

} // namespace bucketry::s3wire::wire
