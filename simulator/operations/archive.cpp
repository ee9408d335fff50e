// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "protocol/text.h"
#include "protocol/xml.h"

namespace bucketry::simulator
{

namespace
{

/// How long a restore takes; nothing if the class doesn't have that tier.
std::optional<std::chrono::minutes> RestoreTime(std::string const& tier, bool isDeep)
{
    using std::chrono::hours;
    if (tier == "Expedited" && !isDeep)
    {
        return std::chrono::minutes(5);
    }
    if (tier == "Standard")
    {
        return isDeep ? hours(12) : hours(5);
    }
    if (tier == "Bulk")
    {
        return isDeep ? hours(48) : hours(12);
    }
    return std::nullopt;
}

/// Restored copies end at the midnight after their last day.
time_point_t ExpiryAfter(time_point_t start, std::uint64_t days)
{
    return std::chrono::floor<std::chrono::days>(start + std::chrono::days(days)) + std::chrono::days(1);
}

} // namespace

bool AskForRestore(CStore const& store, SVersion& version, std::optional<std::uint64_t> days, std::string const& tier,
                   time_point_t now)
{
    bool const isTiering = !version.m_archiveTier.empty();
    if (version.m_isDeleteMarker || !version.IsArchived() || (isTiering && version.IsReadable(now)))
    {
        throw CStoreError(403, "InvalidObjectState", "Restore is not allowed for the object's current storage class")
            .With("StorageClass", version.m_attributes.m_storageClass);
    }
    if (isTiering == days.has_value() || (days && (*days < 1 || *days > 36500)))
    {
        throw CStoreError(400, "InvalidArgument", "Restoration days are wrong for the object's storage class")
            .With("ArgumentName", "Days");
    }
    if (version.m_restore && version.m_restore->IsOngoing(now))
    {
        throw CStoreError(409, "RestoreAlreadyInProgress", "Object restore is already in progress");
    }
    if (version.IsReadable(now))
    {
        version.m_restore->m_expires = ExpiryAfter(now, *days);
        return true;
    }
    bool const isDeep =
        version.m_attributes.m_storageClass == "DEEP_ARCHIVE" || version.m_archiveTier == "DEEP_ARCHIVE_ACCESS";
    auto const takes = RestoreTime(tier, isDeep);
    if (!takes)
    {
        throw CStoreError(400, "InvalidArgument", "The retrieval tier is not supported for the object's storage class")
            .With("ArgumentName", "Tier")
            .With("ArgumentValue", tier);
    }
    version.m_restore = SRestore{now + store.RestoreTime().value_or(*takes), {}};
    if (days)
    {
        version.m_restore->m_expires = ExpiryAfter(version.m_restore->m_ready, *days);
    }
    return false;
}

SResponse RestoreObject(SCall& call)
{
    if (!call.m_traits.m_hasArchive)
    {
        throw CStoreError(501, "NotImplemented", "");
    }
    SBucket& bucket = call.Bucket();
    SVersion& version = DemandVersion(call, bucket);
    CXmlReader const body(call.m_request.m_body, "RestoreRequest");
    auto const root = body.Root();
    std::optional<std::uint64_t> days;
    if (root.Child("Days"))
    {
        days = root.DemandNumber("Days");
    }
    auto const ownTier = root.TextOf("Tier");
    std::string const tier =
        ownTier ? *ownTier : root.Child("GlacierJobParameters").TextOf("Tier").value_or("Standard");
    bool const isReadable = AskForRestore(call.m_store, version, days, tier, call.m_now);
    return {.m_status = isReadable ? 200u : 202u};
}

} // namespace bucketry::simulator
