// SPDX-License-Identifier: Apache-2.0
#include "s3wire/operations/bulk_delete.h"

#include "bucketry/s3wire/exception.h"
#include "s3wire/operations/listing.h"
#include "s3wire/operations/parallel.h"
#include "s3wire/sending/errors.h"

#include <algorithm>
#include <utility>

namespace bucketry::s3wire
{
namespace
{

constexpr std::size_t ParallelDeletes = 8;

} // namespace

SDeletePlan PlanDeletes(EDeleteStyle style, std::string const& bucket, std::span<wire::delete_item_t const> items)
{
    SDeletePlan plan;
    plan.m_count = items.size();
    std::vector<wire::delete_item_t> fitting;
    for (wire::delete_item_t const& item : items)
    {
        wire::CheckKey(item.m_key);
    }
    auto const fits = [style](wire::delete_item_t const& item)
    { return style == EDeleteStyle::Batch && wire::FitsDeleteBody(item); };
    if (!std::all_of(items.begin(), items.end(), fits)) // seldom, so that lists are seldom copied
    {
        std::partition_copy(items.begin(), items.end(), std::back_inserter(fitting), std::back_inserter(plan.m_singles),
                            fits);
        items = fitting;
    }
    while (!items.empty())
    {
        auto const batch = items.first(std::min(items.size(), wire::MaxDeleteItems));
        plan.m_batches.push_back({wire::MakeDeleteObjects(bucket, batch), batch.front().m_key, batch.size()});
        items = items.subspan(batch.size());
    }
    return plan;
}

CBulkDelete::CBulkDelete(COperations const& operations, std::string bucket,
                         std::shared_ptr<progress::progress_base_t> progress, std::size_t total)
    : m_operations(operations), m_bucket(std::move(bucket)), m_progress(std::move(progress)), m_total(total)
{
}

void CBulkDelete::Delete(SDeletePlan const& plan)
{
    for (SDeletePlan::SBatch const& batch : plan.m_batches)
    {
        DeleteBatch(batch);
    }
    std::span<wire::delete_item_t const> singles = plan.m_singles;
    while (!singles.empty())
    {
        std::size_t const count = std::min(singles.size(), wire::MaxDeleteItems);
        DeleteSingles(singles.first(count));
        singles = singles.subspan(count);
    }
}

void CBulkDelete::DeleteBatch(SDeletePlan::SBatch const& batch)
{
    try
    {
        auto const refused = m_operations.Exchange(batch.m_request, wire::ReadDeleteObjects);
        for (wire::SRefusedItem const& item : refused)
        {
            Refuse(item.m_key, item.m_code, item.m_message, StatusOfErrorCode(item.m_code), 1);
        }
    }
    catch (CS3WireException const& error)
    {
        Refuse(batch.m_firstKey, error.GetAmazonErrorCode(), error.what(), error.GetStatusCode(), batch.m_count);
    }
    Advance(batch.m_count);
}

void CBulkDelete::DeleteSingles(std::span<wire::delete_item_t const> items)
{
    ForEachInParallel(items.size(), ParallelDeletes, [&](std::size_t index) { DeleteOne(items[index]); });
    Advance(items.size());
}

void CBulkDelete::DeleteOne(wire::delete_item_t const& item)
{
    try
    {
        DeleteSingleObject(m_operations, {m_bucket, item.m_key, item.m_versionId});
    }
    catch (CS3WireException const& error)
    {
        Refuse(item.m_key, error.GetAmazonErrorCode(), error.what(), error.GetStatusCode(), 1);
    }
}

void CBulkDelete::Advance(std::size_t count)
{
    m_done += count;
    if (m_progress)
    {
        m_progress->OnProgress(m_done, m_total);
    }
}

void CBulkDelete::Refuse(std::string const& key, std::string const& code, std::string const& message, unsigned status,
                         std::size_t count)
{
    std::lock_guard const lock(m_mutex);
    if (m_refused == 0)
    {
        m_firstCode = code;
        m_firstText = util::str_format("[%1]: %2 %3", key, code, message);
        m_firstStatus = status;
    }
    m_refused += count;
}

void CBulkDelete::Finish() const
{
    if (m_refused != 0)
    {
        throw CS3WireException(util::str_format("%1 objects of [%2] were not deleted, the first of them %3", m_refused,
                                                m_bucket, m_firstText),
                               static_cast<std::uint16_t>(m_firstStatus), m_firstCode);
    }
}

void DeleteSingleObject(COperations const& operations, wire::SObjectRef const& object)
{
    try
    {
        operations.DeleteObject(object);
    }
    catch (CS3WireException const& error)
    {
        if (error.GetStatusCode() != 404 || error.GetAmazonErrorCode() == "NoSuchBucket")
        {
            throw;
        }
    }
}

void DeletePrefix(COperations const& operations, EDeleteStyle style, std::string const& bucket,
                  std::string const& prefix, bool allVersions,
                  std::shared_ptr<progress::progress_base_t> const& progress)
{
    CBulkDelete bulk(operations, bucket, progress, 0);
    wire::SListing listing;
    listing.m_bucket = bucket;
    listing.m_prefix = prefix;
    auto const remove = [&](auto& entries, auto const& toItem)
    {
        std::vector<wire::delete_item_t> items;
        items.reserve(entries.size());
        std::transform(entries.begin(), entries.end(), std::back_inserter(items), toItem);
        bulk.Delete(PlanDeletes(style, bucket, items));
    };
    if (allVersions)
    {
        ForEachVersionPage(operations, listing, {},
                           [&](s3::SBucketObjectVersions&& page)
                           {
                               remove(
                                   page.m_versions,
                                   [](s3::SObjectVersionEntry& entry) {
                                       return wire::delete_item_t{std::move(entry.m_key), std::move(entry.m_versionId)};
                                   });
                           });
    }
    else
    {
        ForEachObjectPage(operations, listing, {}, style == EDeleteStyle::Single,
                          [&](wire::SObjectPage&& page)
                          {
                              remove(page.m_contents.m_contents,
                                     [](s3::SObjectMetadata& entry) {
                                         return wire::delete_item_t{std::move(entry.m_key), ""};
                                     });
                          });
    }
    bulk.Finish();
}

} // namespace bucketry::s3wire
