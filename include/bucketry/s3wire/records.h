// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/base/export.h"
#include "bucketry/s3wire/storage_class.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What goes into the operations of the S3 REST layer and comes out of them. Plain values throughout.
namespace bucketry::s3wire::s3
{

enum class EObjectLockMode
{
    Governance = 1,
    Compliance = 2
};

enum class EGlacierRetrievalTier
{
    Expedited = 0,
    Standard = 1,
    Bulk = 2
};

enum class EPostObjectRestoreResponse
{
    Accepted = 0,
    AlreadyRestored = 1 ///< a restored copy was there; its expiry has been moved
};

/// The lock of one object version. Mode and date count only while it is enabled.
struct SObjectLockConfig
{
    SObjectLockConfig() = default;
    SObjectLockConfig(bool enabled, EObjectLockMode mode, std::string retainUntil, bool legalHold)
        : m_enabled(enabled), m_mode(mode), m_retainUntil(std::move(retainUntil)), m_legalHold(legalHold)
    {
    }

    bool m_enabled = false;
    EObjectLockMode m_mode = EObjectLockMode::Governance;
    std::string m_retainUntil; ///< ISO 8601, UTC, with or without milliseconds
    bool m_legalHold = false;
};

/// One object as GET or HEAD shows it.
struct SObjectData
{
    std::string m_contentType;
    std::string m_eTag;
    std::uint64_t m_missingMetadata = 0; ///< metadata entries that fit into no header
    std::uint64_t m_contentLength = 0;   ///< size of the whole object in bytes, also if only a range was asked for
    bool m_restoreInProgress = false;    ///< an archive restore is still running
    std::string m_restoreExpiryDate; ///< when a restored copy goes, "%a, %d %b %Y %H:%M:%S GMT"; empty if there is none
    std::shared_ptr<io::block::CPooledBuf> m_content; ///< the bytes of GetObject; null from HEAD
    std::string m_lastModified;
    std::string m_versionId;
    std::map<std::string, std::string> m_metadata; ///< user metadata, names in lower case
    std::optional<SObjectLockConfig> m_objectLock; ///< none also where the caller may not read locks
    CObjectStorageClass m_storageClass;
};

/// One object of a listing.
struct SObjectMetadata
{
    std::string m_key;
    std::string m_eTag;
    std::string m_lastModified; ///< "%Y-%m-%dT%H:%M:%SZ"
    std::uint64_t m_size = 0;
    std::string m_storageClass;
};

/// A whole listing.
struct SBucket
{
    std::string m_name;
    std::string m_prefix;
    std::string m_delimiter;
    std::string m_marker;
    std::string m_encodingType; ///< of the answer; the records are decoded already
    std::uint64_t m_maxKeys = 0;
    std::vector<SObjectMetadata> m_contents;
    std::vector<std::string> m_commonPrefixes;
};

/// One page of a listing. Common prefixes keep their trailing delimiter.
struct SBucketContents
{
    std::vector<SObjectMetadata> m_contents;
    std::vector<std::string> m_commonPrefixes;
};

/// One version, or one delete marker.
struct SObjectVersionEntry
{
    bool m_isDeleteMarker = false;
    std::string m_key;
    std::string m_versionId; ///< "null" for what was written without versioning
    std::string m_eTag;
    std::string m_lastModified; ///< "%Y-%m-%dT%H:%M:%SZ"
    std::string m_storageClass;
    std::uint64_t m_size = 0;
};

/// One page of a listing of versions.
struct SBucketObjectVersions
{
    std::vector<SObjectVersionEntry> m_versions; ///< in the store's order: by key, the newest first
    std::vector<std::string> m_commonPrefixes;
};

struct SBucketRegion
{
    std::string m_region;
};

struct SPutObjectResult
{
    std::string m_versionId; ///< empty without versioning
    std::string m_eTag;
};

struct SCopyObjectResult
{
    std::string m_versionId; ///< empty without versioning
    std::string m_eTag;
};

struct SMultipartUploadResult
{
    std::string m_bucket;
    std::string m_key;
    std::string m_result;    ///< ETag of the object; may be empty
    std::string m_versionId; ///< empty without versioning
};

/// Room for what a store may want beside the headers; nothing yet.
struct SPutObjectExtraAgruments
{
};

struct SMultiObjectDeleteRequest
{
    struct SObjectVersionInfo
    {
        std::string m_key;
        std::string m_versionId; ///< empty for the current version
    };
    std::vector<SObjectVersionInfo> m_objects;
};

struct SProxyConfig
{
    std::string m_endpoint; ///< empty for no proxy
    std::string m_userName;
    std::string m_password;
};

/// What a batch job does to each object of its manifest.
class BUCKETRY_API IS3BatchOperation
{
public:
    virtual ~IS3BatchOperation();
    /// Appends the operation as an element of the job request.
    virtual void AppendXml(std::string& xml) const = 0;
};

/// Restores objects from an archive class.
struct BUCKETRY_API SS3InitiateRestoreObject : IS3BatchOperation
{
    SS3InitiateRestoreObject() = default;
    SS3InitiateRestoreObject(std::uint32_t expirationInDays, bool hasExpiration,
                             std::optional<std::string> glacierJobTier);
    ~SS3InitiateRestoreObject() override;
    void AppendXml(std::string& xml) const override;

    std::uint32_t m_expirationInDays = 0;
    bool m_hasExpiration = false;                ///< false leaves the days out, as tiering archives want it
    std::optional<std::string> m_glacierJobTier; ///< "STANDARD" or "BULK", which S3 takes, or "EXPEDITED"
};

/// A batch job of the S3 Control API.
struct SCreateJobRequest
{
    std::optional<bool> m_confirmationRequired;
    std::vector<std::unique_ptr<IS3BatchOperation>> m_operations;
    std::string m_reportBucket; ///< ARN
    bool m_reportEnabled = false;
    std::string m_reportFormat;
    std::string m_reportPrefix;
    std::string m_reportScope;
    std::string m_clientRequestToken;
    std::string m_manifestETag;
    std::string m_manifestObjectArn;
    std::optional<std::string> m_manifestObjectVersionId;
    std::vector<std::string> m_manifestFields;
    std::string m_manifestFormat;
    std::optional<std::string> m_description;
    int m_priority = 0;
    std::string m_roleArn;
};

struct SCreateJobResult
{
    std::string m_jobId;
};

struct SDescribeJobResult
{
    std::string m_jobId;
    std::string m_jobArn;
    std::string m_description;
    std::string m_roleArn;
    std::uint64_t m_totalTasks = 0;
    std::uint64_t m_succeededTasks = 0;
    std::uint64_t m_failedTasks = 0;
    std::string m_status;         ///< the store's word
    std::string m_failureReasons; ///< codes and reasons, one line each
};

} // namespace bucketry::s3wire::s3
