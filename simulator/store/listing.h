// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/bucket.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::simulator
{

/// What a listing asks for.
struct SListing
{
    std::string m_prefix;
    std::string m_delimiter;
    std::string m_marker; ///< keys after it; a marker that is a common prefix skips all below that
    std::size_t m_maxKeys = 1000;
};

/// One line of a page: a key with its entry, or a common prefix.
template <class TEntry>
struct SListed
{
    std::string m_name;
    TEntry const* m_entry = nullptr; ///< null for a common prefix
};

/// One page of a listing.
template <class TEntry>
struct SPage
{
    std::vector<SListed<TEntry>> m_items; ///< in order of names
    bool m_isTruncated = false;
};

/// The common prefix that a key falls under; empty if it stands for itself.
std::string CommonPrefix(SListing const& listing, std::string const& key);
/// The least text that is greater than every text with that prefix; empty if there is none.
std::string AfterPrefix(std::string prefix);

/// Walks a sorted map. `visit(key, value, take)` may take any number of entries of its key with
/// `take(entry)`, which is false when the page is full; then `visit` returns at once.
template <class TMap, class TEntry, class TVisit>
SPage<TEntry> ListMap(TMap const& map, SListing const& listing, bool includeMarker, TVisit&& visit)
{
    SPage<TEntry> page;
    if (listing.m_maxKeys == 0)
    {
        return page;
    }
    auto const& start = std::max(listing.m_marker, listing.m_prefix);
    auto at = map.lower_bound(start);
    while (at != map.end() && at->first.starts_with(listing.m_prefix))
    {
        std::string const prefix = CommonPrefix(listing, at->first);
        bool const isPast =
            prefix.empty() ? at->first == listing.m_marker && !includeMarker : prefix == listing.m_marker;
        auto const take = [&](TEntry const& entry)
        {
            page.m_isTruncated = page.m_items.size() == listing.m_maxKeys;
            if (!page.m_isTruncated)
            {
                page.m_items.push_back({prefix.empty() ? at->first : prefix, prefix.empty() ? &entry : nullptr});
            }
            return !page.m_isTruncated && prefix.empty();
        };
        std::size_t const before = page.m_items.size();
        if (!isPast)
        {
            visit(at->first, at->second, take);
        }
        if (page.m_isTruncated)
        {
            return page;
        }
        bool const skipPrefix = !prefix.empty() && (isPast || page.m_items.size() > before);
        std::string const next = skipPrefix ? AfterPrefix(prefix) : std::string();
        if (skipPrefix && next.empty())
        {
            return page;
        }
        if (skipPrefix)
        {
            at = map.lower_bound(next);
        }
        else
        {
            ++at;
        }
    }
    return page;
}

/// Newest versions that are visible.
SPage<SVersion> ListObjects(SBucket const& bucket, SListing const& listing);
/// Which versions of a key come first, and of the marker's key the one behind which the page goes on.
struct SVersionOrder
{
    bool m_oldestFirst = false;
    std::optional<std::uint64_t> m_after{}; ///< a sequence
};
/// All versions, whatever they are.
SPage<SVersion> ListVersions(SBucket const& bucket, SListing const& listing, SVersionOrder const& order);
/// The sequence that a version marker of that key stands for; nothing if it is empty, or the version has gone. Throws
/// CStoreError if it was never a version id.
std::optional<std::uint64_t> SequenceOfMarker(SBucket& bucket, std::string const& key,
                                              std::string const& versionMarker);

/// One line of a page of uploads.
struct SListedUpload
{
    std::string m_id;
    SUpload const* m_upload = nullptr;
};
/// One page of uploads, and where the next one begins.
struct SUploadPage
{
    std::vector<SListedUpload> m_uploads{};
    std::vector<std::string> m_prefixes{};
    std::string m_nextKey, m_nextUpload{};
    bool m_isTruncated = false;
};
/// Uploads by key, then by age. With an upload marker the page goes on behind that upload of the marker's key.
SUploadPage ListUploads(SBucket const& bucket, SListing const& listing, std::string const& uploadMarker);

} // namespace bucketry::simulator
