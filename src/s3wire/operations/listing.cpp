// SPDX-License-Identifier: Apache-2.0
#include "s3wire/operations/listing.h"

#include <optional>
#include <utility>

namespace bucketry::s3wire
{

void CPageGuard::Pass(wire::SPagePosition const& position)
{
    if (m_steps != 0 && (position == m_last || position == m_landmark))
    {
        wire::ThrowBadAnswer("the listing comes back to [" + position.m_marker + position.m_token + "]");
    }
    m_last = position;
    ++m_steps;
    if (m_steps == m_stepsToNextLandmark)
    {
        m_landmark = position;
        m_stepsToNextLandmark *= 2;
    }
}

void ForEachObjectPage(CExchange const& exchange, wire::SListing const& listing, wire::SPagePosition const& start,
                       bool older, std::function<void(wire::SObjectPage&&)> const& onPage)
{
    CPageGuard guard;
    std::optional<wire::SPagePosition> position = start;
    older = older || exchange.Store().Traits().m_google; // some of Google's stores refuse version 2
    while (position)
    {
        wire::SWireRequest const request =
            older ? wire::MakeListObjects(listing, *position) : wire::MakeListObjectsV2(listing, *position);
        wire::SObjectPage page;
        exchange.Exchange(request,
                          [&](transport::SHttpResponse const& answer)
                          {
                              page = wire::ReadListObjects(answer);
                              page.m_olderForm = page.m_olderForm || older;
                              position = wire::NextPosition(page);
                              if (position)
                              {
                                  guard.Pass(*position);
                              }
                          });
        older = position && position->m_token.empty();
        onPage(std::move(page));
    }
}

void ForEachVersionPage(CExchange const& exchange, wire::SListing const& listing, wire::SPagePosition const& start,
                        std::function<void(s3::SBucketObjectVersions&&)> const& onPage)
{
    CPageGuard guard;
    std::optional<wire::SPagePosition> position = start;
    while (position)
    {
        wire::SVersionPage page;
        exchange.Exchange(wire::MakeListObjectVersions(listing, *position),
                          [&](transport::SHttpResponse const& answer)
                          {
                              page = wire::ReadListObjectVersions(answer);
                              position = wire::NextPosition(page);
                              if (position)
                              {
                                  guard.Pass(*position);
                              }
                          });
        onPage(std::move(page.m_contents));
    }
}

} // namespace bucketry::s3wire
