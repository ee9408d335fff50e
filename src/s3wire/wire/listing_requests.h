// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/records.h"
#include "s3wire/wire/request.h"

#include <cstdint>
#include <optional>
#include <string>

/// Listings: one request and one answer for each page.
namespace bucketry::s3wire::wire
{

struct SListing
{
    std::string m_bucket;
    std::string m_prefix;
    std::string m_delimiter;
    std::uint64_t m_pageSize = 0; ///< keys on a page; 0 for the store's own choice
};

/// Where a page begins. Each listing uses its own fields; all empty is the beginning.
struct SPagePosition
{
    std::string m_token;         ///< of version 2, opaque
    std::string m_marker;        ///< keys behind this one
    std::string m_versionMarker; ///< within that key, versions behind this one

    bool IsStart() const { return m_token.empty() && m_marker.empty() && m_versionMarker.empty(); }
    friend bool operator==(SPagePosition const&, SPagePosition const&) = default;
};

/// What a page of objects says about itself. Keys, prefixes and markers are decoded.
struct SObjectPage
{
    s3::SBucketContents m_contents;
    s3::SBucket m_header; ///< everything but the two lists
    bool m_truncated = false;
    bool m_olderForm = false; ///< the store has answered as in version 1, whatever was asked
    std::string m_nextToken;
    std::string m_nextMarker;
};

struct SVersionPage
{
    s3::SBucketObjectVersions m_contents;
    bool m_truncated = false;
    SPagePosition m_next;
};

/// Version 2: `position.m_token`, or for the first page `position.m_marker` to start behind.
SWireRequest MakeListObjectsV2(SListing const& listing, SPagePosition const& position);
/// Version 1: `position.m_marker`.
SWireRequest MakeListObjects(SListing const& listing, SPagePosition const& position);
SObjectPage ReadListObjects(transport::SHttpResponse const& answer);

SWireRequest MakeListObjectVersions(SListing const& listing, SPagePosition const& position);
SVersionPage ReadListObjectVersions(transport::SHttpResponse const& answer);

/// Where the page that follows begins; none if this was the last. Throws web::http::http_exception if the page says
/// that more follows, but not where.
std::optional<SPagePosition> NextPosition(SObjectPage const& page);
std::optional<SPagePosition> NextPosition(SVersionPage const& page);

} // namespace bucketry::s3wire::wire
