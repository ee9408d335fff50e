// SPDX-License-Identifier: Apache-2.0
#include "store/listing.h"

#include <algorithm>

namespace bucketry::simulator
{

std::string CommonPrefix(SListing const& listing, std::string const& key)
{
    if (listing.m_delimiter.empty())
    {
        return {};
    }
    auto const found = key.find(listing.m_delimiter, listing.m_prefix.size());
    return found == std::string::npos ? std::string() : key.substr(0, found + listing.m_delimiter.size());
}

std::string AfterPrefix(std::string prefix)
{
    while (!prefix.empty() && static_cast<unsigned char>(prefix.back()) == 255)
    {
        prefix.pop_back();
    }
    if (!prefix.empty())
    {
        ++prefix.back();
    }
    return prefix;
}

SPage<SVersion> ListObjects(SBucket const& bucket, SListing const& listing)
{
    return ListMap<decltype(bucket.m_objects), SVersion>(
        bucket.m_objects, listing, false,
        [](std::string const&, SBucket::versions_t const& versions, auto const& take)
        {
            if (versions.back().IsVisible())
            {
                take(versions.back());
            }
        });
}

std::optional<std::uint64_t> SequenceOfMarker(SBucket& bucket, std::string const& key, std::string const& versionMarker)
{
    if (versionMarker.empty())
    {
        return std::nullopt;
    }
    if (versionMarker == "null")
    {
        SVersion const* const version = bucket.Find(key, versionMarker);
        return version == nullptr ? std::nullopt : std::optional(version->m_sequence);
    }
    auto const sequence = CStore::SequenceOf(versionMarker);
    if (!sequence)
    {
        throw CStoreError(400, "InvalidArgument", "Invalid version id specified")
            .With("ArgumentName", "version-id-marker")
            .With("ArgumentValue", versionMarker);
    }
    return sequence;
}

SPage<SVersion> ListVersions(SBucket const& bucket, SListing const& listing, SVersionOrder const& order)
{
    return ListMap<decltype(bucket.m_objects), SVersion>(
        bucket.m_objects, listing, order.m_after.has_value(),
        [&](std::string const& key, SBucket::versions_t const& versions, auto const& take)
        {
            auto const isPast = [&](SVersion const& version)
            {
                bool const isBehind = order.m_oldestFirst ? version.m_sequence > order.m_after.value_or(0)
                                                          : version.m_sequence < order.m_after.value_or(0);
                return key == listing.m_marker && !isBehind;
            };
            for (std::size_t i = 0; i < versions.size(); ++i)
            {
                SVersion const& version = versions[order.m_oldestFirst ? i : versions.size() - 1 - i];
                if (!isPast(version) && !take(version))
                {
                    return;
                }
            }
        });
}

SUploadPage ListUploads(SBucket const& bucket, SListing const& listing, std::string const& uploadMarker)
{
    std::map<std::string, std::vector<SListedUpload>> byKey;
    for (auto const& [id, upload] : bucket.m_uploads)
    {
        byKey[upload.m_key].push_back({id, &upload});
    }
    for (auto& [key, uploads] : byKey)
    {
        std::sort(uploads.begin(), uploads.end(),
                  [](SListedUpload const& a, SListedUpload const& b)
                  { return std::pair(a.m_upload->m_initiated, a.m_id) < std::pair(b.m_upload->m_initiated, b.m_id); });
    }

    auto const page = ListMap<decltype(byKey), SListedUpload>(
        byKey, listing, !uploadMarker.empty(),
        [&](std::string const& key, std::vector<SListedUpload> const& uploads, auto const& take)
        {
            bool skips = key == listing.m_marker && !uploadMarker.empty();
            for (auto const& upload : uploads)
            {
                if (!skips && !take(upload))
                {
                    return;
                }
                skips = skips && upload.m_id != uploadMarker;
            }
        });

    SUploadPage result;
    result.m_isTruncated = page.m_isTruncated;
    for (auto const& item : page.m_items)
    {
        if (item.m_entry == nullptr)
        {
            result.m_prefixes.push_back(item.m_name);
        }
        else
        {
            result.m_uploads.push_back(*item.m_entry);
        }
        result.m_nextKey = item.m_name;
        result.m_nextUpload = item.m_entry == nullptr ? std::string() : item.m_entry->m_id;
    }
    return result;
}

} // namespace bucketry::simulator
