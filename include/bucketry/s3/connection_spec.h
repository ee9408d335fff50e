// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/certificate.h"
#include "bucketry/base/export.h"
#include "bucketry/base/guid.h"
#include "bucketry/base/xml.h"
#include "bucketry/s3wire/storage_class.h"

#include <cstdint>
#include <optional>
#include <string>

/// What it takes to reach one bucket, as records and as an XML text. Plain values without shared state; an empty text
/// means that the value is not given. The XML text and most records hold secrets in the clear: only ToLogStr may be
/// logged.
///
/// The Serialize operations write below a given element, the Deserialize operations read from it; these throw
/// exc::CRuntimeExc that names the element or attribute at fault.
namespace bucketry::s3
{

struct BUCKETRY_API SS3ProxyConfig
{
    std::string Endpoint; ///< URL of an HTTP proxy
    std::string UserName;
    std::string Password;
};

/// The place of a bucket: either endpoint, region and name, or the ARN of an access point.
struct BUCKETRY_API SS3BucketAddr
{
    void Serialize(xml::xml_holder_t& parent) const;
    static SS3BucketAddr Deserialize(xml::xml_holder_t& parent);

    std::string ApiEndpoint; ///< URL of the service; empty in the ARN form
    std::string BucketName;  ///< empty in the ARN form
    std::string Region;      ///< that requests are signed for; in the ARN form that of the ARN
    std::string ARN;         ///< of an access point, on S3 or on Outposts; empty in the endpoint form
    std::optional<SS3ProxyConfig> Proxy;
    std::optional<sockets::ssl::CX509CertBlob> ServerCertificate; ///< to be trusted for this endpoint
};

struct BUCKETRY_API SS3CredentialsKeys
{
    std::string AccessKeyId;
    std::string SecretAccessKey;
    std::string SessionToken; ///< empty for long-term keys
};

/// The role of the machine, whose keys its metadata service hands out.
struct BUCKETRY_API SS3RoleAuth
{
    std::string RoleName;
    std::string MetadataHost; ///< URL; empty: options_t::GetInstanceMetadataEndpoint()
};

struct BUCKETRY_API SS3Credentials
{
    void Serialize(xml::xml_holder_t& parent) const;
    static SS3Credentials Deserialize(xml::xml_holder_t& parent);
    /// Reads the credentials of a whole specification, in its long form.
    static SS3Credentials DeserializeFromS3Spec(std::string const& text);

    std::optional<SS3CredentialsKeys> Keys;
    std::optional<SS3RoleAuth> RoleAuth;
    /// The entry of the process's credential store that the client is made from; see CS3CloudClient::StoreCredentials.
    std::optional<guid::guid_t> ClientId;
    std::optional<std::uint64_t> CreationTimeUtc; ///< of temporary keys, in seconds since 1970-01-01
};

struct BUCKETRY_API SS3Options
{
    /// Path or virtual-hosted style as options_t::IsS3VirtualHostedStyleEnabled() says now.
    SS3Options();
    /// A copy with another class.
    SS3Options WithStorageClass(s3wire::s3::CObjectStorageClass const& storageClass) const;
    void Serialize(xml::xml_holder_t& parent) const;
    static SS3Options Deserialize(xml::xml_holder_t& parent);

    s3wire::s3::CObjectStorageClass StorageClass; ///< of new objects
    bool ObjectLockEnabledOnBucket = false;       ///< the bucket has object lock, hence versions
    bool UseVirtualHostedStyle;                   ///< the bucket's name stands in the host name, not in the path
};

/// Where batch jobs are started.
struct BUCKETRY_API SS3BatchParams
{
    static std::string GetRootNodeName();
    void Serialize(xml::xml_holder_t& parent) const;
    /// None if the element is missing.
    static std::optional<SS3BatchParams> TryDeserialize(xml::xml_holder_t& parent);

    std::string ControlApiEndpoint; ///< empty: that of the region
    std::string AccountId;          ///< empty: the store is asked for it
};

/// The short form while it is read: a bucket of a client in the credential store.
struct BUCKETRY_API SS3BucketClient
{
    /// None unless the address names a client id.
    static std::optional<SS3BucketClient> TryDeserialize(xml::xml_holder_t& parent);
    SS3BucketAddr ToBucketAddr() const;

    std::string BucketName;
    guid::guid_t ClientId;
};

/// A whole specification. Its short form is a bucket name and a client id; all else then comes from the credential
/// store.
struct BUCKETRY_API SS3ClientConnSpec
{
    static std::string GetRootNodeName();

    /// The text of a new document. FolderName is not written.
    std::string Serialize() const;
    void Serialize(xml::xml_holder_t& root) const;
    static SS3ClientConnSpec Deserialize(std::string const& text);
    static SS3ClientConnSpec Deserialize(xml::xml_holder_t& root);
    /// None for a text that cannot be read; the reason is logged.
    static std::optional<SS3ClientConnSpec> TryDeserialize(std::string const& text);
    /// The folder that the text names for the host; empty if none.
    static std::string TryDeserializeFolderName(xml::xml_holder_t& root);
    /// Whether the text has the root element; its content is not looked at.
    static bool IsDeserializable(std::string const& text);
    /// Address, client id and the end of the access key id, for logs.
    std::string ToLogStr() const;
    /// Fills `spec` from the credential store. Throws exc::CRuntimeExc if the id is unknown.
    static void RetrieveCredentialsByClientId(guid::guid_t clientId, SS3ClientConnSpec& spec);

    SS3BucketAddr BucketAddr;
    SS3Credentials Credentials;
    SS3Options Options;
    std::string FolderName; ///< for the host; not used by the library
    std::optional<SS3BatchParams> BatchParams;
};

} // namespace bucketry::s3
