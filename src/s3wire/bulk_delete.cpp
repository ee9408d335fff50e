#include "s3wire/bulk_delete.h"

#include "bucketry/base/task.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/errors.h"
#include "s3wire/listing.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace bucketry::s3wire
{
namespace
{

constexpr std::size_t g_parallelDeletes = 8;

/// Calls `body(index)` for each index below `count`, on this thread and a few others; the first exception ends it.
template <class TBody>
void ForEachInParallel(std::size_t count, std::size_t threads, TBody const& body)
{
    std::atomic<std::size_t> next{0};
    auto const work = [&]
    {
        try
        {
            for (std::size_t index = next++; index < count; index = next++)
            {
                body(index);
            }
        }
        catch (...)
        {
            next = count;
            throw;
        }
    };
    std::vector<web::Task<void>> helpers;
    for (std::size_t i = 1; i < std::min(count, threads); ++i)
    {
        helpers.emplace_back(work);
    }
    work();
    for (web::Task<void> const& helper : helpers)
    {
        helper.get();
    }
}

} // namespace

CBulkDelete::CBulkDelete(COperations const& operations, EDeleteStyle style, std::string bucket,
                         std::shared_ptr<progress::progress_base_t> progress, std::size_t total)
    : m_operations(operations),
      m_style(style),
      m_bucket(std::move(bucket)),
      m_progress(std::move(progress)),
      m_total(total)
{
}

void CBulkDelete::Delete(std::vector<wire::delete_item_t> items)
{
    auto const fits = [this](wire::delete_item_t const& item)
    { return m_style == EDeleteStyle::Batch && wire::FitsDeleteBody(item); };
    auto const firstSingle = std::stable_partition(items.begin(), items.end(), fits);
    auto const inChunks = [](std::span<wire::delete_item_t const> rest, auto const& remove)
    {
        while (!rest.empty())
        {
            std::size_t const count = std::min(rest.size(), wire::g_maxDeleteItems);
            remove(rest.first(count));
            rest = rest.subspan(count);
        }
    };
    inChunks({items.begin(), firstSingle}, [this](auto chunk) { DeleteBatch(chunk); });
    inChunks({firstSingle, items.end()}, [this](auto chunk) { DeleteSingles(chunk); });
}

void CBulkDelete::DeleteBatch(std::span<wire::delete_item_t const> items)
{
    try
    {
        auto const refused = m_operations.Exchange(wire::MakeDeleteObjects(m_bucket, items), wire::ReadDeleteObjects);
        for (wire::SRefusedItem const& item : refused)
        {
            Refuse(item.m_key, item.m_code, item.m_message, StatusOfErrorCode(item.m_code), 1);
        }
    }
    catch (CS3WireException const& error)
    {
        Refuse(items.front().m_key, error.GetAmazonErrorCode(), error.what(), error.GetStatusCode(), items.size());
    }
    Advance(items.size());
}

void CBulkDelete::DeleteSingles(std::span<wire::delete_item_t const> items)
{
    ForEachInParallel(items.size(), g_parallelDeletes, [&](std::size_t index) { DeleteOne(items[index]); });
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
        operations.Exchange(wire::MakeDeleteObject(object));
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
    CBulkDelete bulk(operations, style, bucket, progress, 0);
    wire::SListing listing;
    listing.m_bucket = bucket;
    listing.m_prefix = prefix;
    listing.m_google = operations.GetTraits().m_google;
    auto const remove = [&bulk](auto& entries, auto const& toItem)
    {
        std::vector<wire::delete_item_t> items;
        items.reserve(entries.size());
        std::transform(entries.begin(), entries.end(), std::back_inserter(items), toItem);
        bulk.Delete(std::move(items));
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
