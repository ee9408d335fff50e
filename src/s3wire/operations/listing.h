// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/operations/exchange.h"
#include "s3wire/wire/listing_requests.h"

#include <functional>

namespace bucketry::s3wire
{

/// Notices a listing that runs in a circle: the same place twice in a row, or again later (R. P. Brent, "An improved
/// Monte Carlo factorization algorithm", 1980, section 3), in constant memory and without any idea of the store's order
/// of keys.
class CPageGuard
{
public:
    /// Throws web::http::http_exception if the listing has been here before.
    void Pass(wire::SPagePosition const& position);

private:
    wire::SPagePosition m_last;
    wire::SPagePosition m_landmark;
    std::uint64_t m_steps = 0;
    std::uint64_t m_stepsToNextLandmark = 1;
};

/// Follow a listing from `start` to its end and hand out one page after the other; only one page is in memory. What
/// `onPage` throws ends the listing.
///
/// `older` asks for version 1 from the start. A store that answers version 2 in the form of version 1 is followed by
/// its markers.
void ForEachObjectPage(CExchange const& exchange, wire::SListing const& listing, wire::SPagePosition const& start,
                       bool older, std::function<void(wire::SObjectPage&&)> const& onPage);
void ForEachVersionPage(CExchange const& exchange, wire::SListing const& listing, wire::SPagePosition const& start,
                        std::function<void(s3::SBucketObjectVersions&&)> const& onPage);

} // namespace bucketry::s3wire
