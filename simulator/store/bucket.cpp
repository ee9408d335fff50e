// SPDX-License-Identifier: Apache-2.0
#include "store/bucket.h"

#include <algorithm>
#include <array>

namespace bucketry::simulator
{

namespace
{

constexpr std::string_view IdDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._";
constexpr std::size_t SequenceDigits = 11; // six bits each
constexpr std::uint64_t SequenceMask = 0x5deece66d1b3a497;

/// An id that looks random and is the same in every run; its first digits hold the sequence.
std::string MakeId(std::uint64_t sequence, std::size_t length)
{
    std::uint64_t bits = sequence ^ SequenceMask;
    std::string id;
    for (std::size_t i = 0; i < SequenceDigits; ++i, bits >>= 6)
    {
        id += IdDigits[bits & 63];
    }
    std::uint64_t state = sequence;
    while (id.size() < length)
    {
        state = state * 6364136223846793005u + 1442695040888963407u;
        id += IdDigits[state >> 58];
    }
    return id;
}

SBucket::versions_t::iterator FindIn(SBucket::versions_t& versions, std::string const& versionId)
{
    return std::find_if(versions.begin(), versions.end(), [&](SVersion const& v) { return v.m_id == versionId; });
}

CStoreError Locked(char const* code)
{
    return {403, code, "Access Denied because object protected by object lock."};
}

} // namespace

bool SVersion::IsArchived() const
{
    auto const& storageClass = m_attributes.m_storageClass;
    return !m_archiveTier.empty() || storageClass == "GLACIER" || storageClass == "DEEP_ARCHIVE";
}

bool SVersion::IsReadable(time_point_t now) const
{
    return !IsArchived() || (m_restore && m_restore->IsReadable(now));
}

SVersion* SBucket::Newest(std::string const& key)
{
    auto const found = m_objects.find(key);
    return found == m_objects.end() || found->second.back().m_isNoncurrent ? nullptr : &found->second.back();
}

SVersion* SBucket::Find(std::string const& key, std::string const& versionId)
{
    if (versionId.empty())
    {
        return Newest(key);
    }
    auto const found = m_objects.find(key);
    if (found == m_objects.end())
    {
        return nullptr;
    }
    auto const version = FindIn(found->second, versionId);
    return version == found->second.end() ? nullptr : &*version;
}

SUpload& SBucket::Upload(std::string const& key, std::string const& uploadId)
{
    auto const found = m_uploads.find(uploadId);
    if (found == m_uploads.end() || found->second.m_key != key)
    {
        throw CStoreError(404, "NoSuchUpload",
                          "The specified upload does not exist. The upload ID may be invalid, or the upload may have "
                          "been aborted or completed.")
            .With("UploadId", uploadId);
    }
    return found->second;
}

SBucket& CStore::Bucket(std::string const& name)
{
    if (SBucket* const bucket = FindBucket(name))
    {
        return *bucket;
    }
    throw CStoreError(404, "NoSuchBucket", "The specified bucket does not exist").With("BucketName", name);
}

SBucket* CStore::FindBucket(std::string const& name)
{
    auto const found = m_buckets.find(name);
    return found == m_buckets.end() ? nullptr : &found->second;
}

SBucket& CStore::AddBucket(std::string const& name)
{
    SBucket& bucket = m_buckets[name];
    bucket.m_name = name;
    return bucket;
}

void CStore::RemoveBucket(std::string const& name)
{
    m_buckets.erase(name);
}

SVersion& CStore::Write(SBucket& bucket, std::string const& key, SVersion version)
{
    if (m_rules.m_hasGenerations)
    {
        return WriteGeneration(bucket, key, std::move(version));
    }
    version.m_sequence = ++m_sequence;
    version.m_id = bucket.m_versioning == EVersioning::Enabled ? VersionId(m_sequence) : "null";
    auto& versions = bucket.m_objects[key];
    if (version.m_id == "null")
    {
        std::erase_if(versions, [](SVersion const& v) { return v.m_id == "null"; });
    }
    return versions.emplace_back(std::move(version));
}

SVersion& CStore::WriteGeneration(SBucket& bucket, std::string const& key, SVersion version)
{
    if (bucket.Newest(key) != nullptr)
    {
        DeleteGeneration(bucket, key, {}, false, version.m_modified);
    }
    // Microseconds of the clock, and greater than every one before, whatever the clock does.
    auto const time =
        std::chrono::duration_cast<std::chrono::microseconds>(version.m_modified.time_since_epoch()).count();
    m_generation = std::max(m_generation + 1, static_cast<std::uint64_t>(std::max<std::int64_t>(time, 0)));
    version.m_sequence = m_generation;
    version.m_id = std::to_string(m_generation);
    return bucket.m_objects[key].emplace_back(std::move(version));
}

CStore::SDeleted CStore::Delete(SBucket& bucket, std::string const& key, std::string const& versionId,
                                bool bypassGovernance, time_point_t now)
{
    if (m_rules.m_hasGenerations)
    {
        return DeleteGeneration(bucket, key, versionId, bypassGovernance, now);
    }
    if (versionId.empty() && bucket.m_versioning != EVersioning::Off)
    {
        SVersion marker;
        marker.m_isDeleteMarker = true;
        marker.m_modified = now;
        return {.m_isDeleteMarker = true, .m_versionId = Write(bucket, key, std::move(marker)).m_id};
    }
    SVersion const* const version = bucket.Find(key, versionId.empty() ? "null" : versionId);
    if (version == nullptr)
    {
        return {.m_existed = false, .m_versionId = versionId};
    }
    CheckDeletable(version->m_attributes.m_lock, bypassGovernance, now);
    SDeleted deleted{.m_isDeleteMarker = version->m_isDeleteMarker, .m_versionId = versionId};
    Erase(bucket, key, *version);
    return deleted;
}

CStore::SDeleted CStore::DeleteGeneration(SBucket& bucket, std::string const& key, std::string const& generation,
                                          bool bypassGovernance, time_point_t now)
{
    SVersion const* const version = bucket.Find(key, generation);
    if (version == nullptr)
    {
        return {.m_existed = false, .m_versionId = {}};
    }
    if (generation.empty() && bucket.m_versioning == EVersioning::Enabled)
    {
        bucket.m_objects[key].back().m_isNoncurrent = true;
    }
    else
    {
        CheckDeletable(version->m_attributes.m_lock, bypassGovernance, now);
        Erase(bucket, key, *version);
    }
    return {};
}

void CStore::Erase(SBucket& bucket, std::string const& key, SVersion const& version)
{
    auto const found = bucket.m_objects.find(key);
    found->second.erase(found->second.begin() + (&version - found->second.data()));
    if (found->second.empty())
    {
        bucket.m_objects.erase(found);
    }
}

std::string CStore::NewUploadId()
{
    return MakeId(++m_sequence, 64);
}

std::string CStore::VersionId(std::uint64_t sequence)
{
    return MakeId(sequence, 32);
}

std::optional<std::uint64_t> CStore::SequenceOf(std::string const& versionId)
{
    std::uint64_t bits = 0;
    for (std::size_t i = std::min(SequenceDigits, versionId.size()); i-- > 0;)
    {
        bits = bits << 6 | (IdDigits.find(versionId[i]) & 63);
    }
    std::uint64_t const sequence = bits ^ SequenceMask;
    if (versionId != VersionId(sequence))
    {
        return std::nullopt;
    }
    return sequence;
}

void CStore::CheckDeletable(SLock const& lock, bool bypassGovernance, time_point_t now) const
{
    bool const retained = lock.m_retention && lock.m_retention->IsActive(now);
    if (lock.m_legalHold || (retained && (lock.m_retention->m_compliance || !bypassGovernance)))
    {
        throw Locked(m_rules.m_lockedCode);
    }
}

void CheckRetentionChange(SLock const& lock, std::optional<SRetention> const& wanted, bool bypassGovernance,
                          time_point_t now, char const* lockedCode)
{
    if (!lock.m_retention || !lock.m_retention->IsActive(now))
    {
        return;
    }
    bool const extends = wanted && wanted->m_until >= lock.m_retention->m_until;
    bool const sameMode = wanted && wanted->m_compliance == lock.m_retention->m_compliance;
    if (extends && sameMode)
    {
        return;
    }
    if (lock.m_retention->m_compliance || !bypassGovernance)
    {
        throw Locked(lockedCode);
    }
}

std::optional<SRetention> DefaultRetention(SBucket const& bucket, time_point_t now)
{
    if (!bucket.m_defaultDays)
    {
        return std::nullopt;
    }
    return SRetention{bucket.m_defaultCompliance, now + std::chrono::hours(24) * *bucket.m_defaultDays};
}

} // namespace bucketry::simulator
