// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/error.h"

#include "bucketry/simulator.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::simulator
{

/// Bytes that versions, parts and answers share.
using blob_t = std::shared_ptr<std::string const>;

/// Until when a version is kept, and how strictly.
struct SRetention
{
    bool m_compliance = false;
    time_point_t m_until;

    bool IsActive(time_point_t now) const { return m_until > now; }
};

/// What keeps a version from being deleted.
struct SLock
{
    std::optional<SRetention> m_retention;
    bool m_legalHold = false;
};

/// A restore that was asked for: until `m_ready` it goes on, then the object can be read until `m_expires`.
struct SRestore
{
    time_point_t m_ready;
    std::optional<time_point_t> m_expires; ///< none: the object leaves its archive tier for good

    bool IsOngoing(time_point_t now) const { return now < m_ready; }
    bool IsReadable(time_point_t now) const { return !IsOngoing(now) && (!m_expires || now < *m_expires); }
};

/// What a writer says about an object besides its bytes.
struct SAttributes
{
    std::map<std::string, std::string> m_metadata; ///< x-amz-meta- names, without the prefix
    std::map<std::string, std::string> m_headers;  ///< Content-Type and its like, names in lower case
    std::string m_storageClass = "STANDARD";
    SLock m_lock;
};

/// One version of an object, or a delete marker.
struct SVersion
{
    std::uint64_t m_sequence = 0; ///< grows with each write to the store
    std::string m_id = "null";
    bool m_isDeleteMarker = false;
    bool m_isNoncurrent = false; ///< where versions are generations: not the live object, or no longer
    std::uint64_t m_metageneration = 1;
    blob_t m_data;
    std::string m_etag; ///< without quotes
    SAttributes m_attributes;
    std::map<std::string, std::string> m_checksums; ///< algorithm in lower case, then base64 as in the header
    std::string m_checksumType = "FULL_OBJECT";
    std::vector<std::uint64_t> m_partSizes; ///< of a multipart upload
    time_point_t m_modified;
    std::optional<SRestore> m_restore;
    std::string m_archiveTier; ///< of intelligent tiering

    /// Whether a listing of objects has it, if it is the newest of its key.
    bool IsVisible() const { return !m_isDeleteMarker && !m_isNoncurrent; }
    /// Whether it has to be restored before it can be read.
    bool IsArchived() const;
    bool IsReadable(time_point_t now) const;
};

/// One part of a multipart upload.
struct SPart
{
    blob_t m_data;
    std::string m_etag;
    std::map<std::string, std::string> m_checksums;
    time_point_t m_modified;
};

/// A multipart upload that is under way.
struct SUpload
{
    std::string m_key{};
    SAttributes m_attributes{};
    std::string m_checksumAlgorithm{}; ///< lower case; empty if none was named
    std::string m_checksumType{};
    time_point_t m_initiated{};
    std::map<unsigned, SPart> m_parts{};
};

/// The bucket's versioning as its configuration tells it.
enum class EVersioning
{
    Off,
    Enabled,
    Suspended
};

/// A bucket with all that is in it.
struct SBucket
{
    /// Versions of one key, oldest first; never empty.
    using versions_t = std::vector<SVersion>;

    std::string m_name;
    std::string m_region;
    time_point_t m_created;
    EVersioning m_versioning = EVersioning::Off;
    bool m_objectLock = false;
    bool m_defaultCompliance = false;
    std::optional<unsigned> m_defaultDays; ///< none: no default retention
    ERedirect m_redirect = ERedirect::None;
    std::string m_redirectEndpoint;
    std::map<std::string, versions_t> m_objects;
    std::map<std::string, SUpload> m_uploads;                               ///< by upload id
    std::map<std::string, std::pair<std::string, std::string>> m_completed; ///< upload id to key and version id

    /// Null if there is no such key, or only noncurrent generations of it.
    SVersion* Newest(std::string const& key);
    /// Without an id the newest. Null if there is none.
    SVersion* Find(std::string const& key, std::string const& versionId);
    /// Throws CStoreError NoSuchUpload unless the upload is of that key.
    SUpload& Upload(std::string const& key, std::string const& uploadId);
};

/// The ways of a store that reach down to its versions.
struct SStoreRules
{
    std::optional<std::chrono::seconds> m_restoreTime{}; ///< that all restores from the archive take
    bool m_hasGenerations = false;                       ///< numbers instead of version ids, and no delete markers
    char const* m_lockedCode = "AccessDenied";           ///< of the refusal to delete what is locked
};

/// All buckets. Not for several threads at once.
class CStore
{
public:
    explicit CStore(SStoreRules const& rules) : m_rules(rules) {}

    std::optional<std::chrono::seconds> RestoreTime() const { return m_rules.m_restoreTime; }
    /// Throws CStoreError NoSuchBucket.
    SBucket& Bucket(std::string const& name);
    /// Null if there is none.
    SBucket* FindBucket(std::string const& name);
    /// An empty bucket; one that is there stays as it is.
    SBucket& AddBucket(std::string const& name);
    void RemoveBucket(std::string const& name);
    std::map<std::string, SBucket> const& Buckets() const { return m_buckets; }

    /// Makes the version the newest of its key and gives it its id. Throws CStoreError if it would replace a locked
    /// one.
    SVersion& Write(SBucket& bucket, std::string const& key, SVersion version);

    /// What a delete did, as its answer tells it.
    struct SDeleted
    {
        bool m_existed = true;
        bool m_isDeleteMarker = false; ///< a marker was written, or the deleted version was one
        std::string m_versionId;       ///< empty on a bucket without versions
    };
    /// Throws CStoreError if the version is locked.
    SDeleted Delete(SBucket& bucket, std::string const& key, std::string const& versionId, bool bypassGovernance,
                    time_point_t now);

    std::string NewUploadId();
    /// The order of a version id that this store gave, also after the version has gone.
    static std::optional<std::uint64_t> SequenceOf(std::string const& versionId);

private:
    static std::string VersionId(std::uint64_t sequence);
    SVersion& WriteGeneration(SBucket& bucket, std::string const& key, SVersion version);
    /// Without a number the live object becomes noncurrent, or goes where the bucket keeps no versions.
    SDeleted DeleteGeneration(SBucket& bucket, std::string const& key, std::string const& generation,
                              bool bypassGovernance, time_point_t now);
    /// Throws CStoreError while hold or retention keep the version.
    void CheckDeletable(SLock const& lock, bool bypassGovernance, time_point_t now) const;
    static void Erase(SBucket& bucket, std::string const& key, SVersion const& version);

    SStoreRules const m_rules;
    std::map<std::string, SBucket> m_buckets;
    std::uint64_t m_sequence = 0;
    std::uint64_t m_generation = 0; ///< the last one
};

/// Throws CStoreError of that code where the present retention doesn't allow the new one.
void CheckRetentionChange(SLock const& lock, std::optional<SRetention> const& wanted, bool bypassGovernance,
                          time_point_t now, char const* lockedCode);
/// The bucket's default retention for a version written now.
std::optional<SRetention> DefaultRetention(SBucket const& bucket, time_point_t now);

} // namespace bucketry::simulator
