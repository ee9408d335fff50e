// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/progress.h"
#include "s3wire/operations/operations.h"
#include "s3wire/wire/delete_requests.h"

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace bucketry::s3wire
{

/// How many objects are deleted.
enum class EDeleteStyle
{
    Batch, ///< requests of 1000
    Single ///< one request for each object, a few at a time, for stores without batch deletes
};

/// What is to be deleted, as requests: a batch goes out as it stands here, so no list of objects has to be kept beside
/// it.
struct SDeletePlan
{
    struct SBatch
    {
        wire::SWireRequest m_request;
        std::string m_firstKey;
        std::size_t m_count = 0;
    };
    std::vector<SBatch> m_batches;
    std::vector<wire::delete_item_t> m_singles; ///< in style Single, and what no request body can name
    std::size_t m_count = 0;
};
/// Throws exc::CRuntimeExc for an item without a key or with one over 1024 bytes.
SDeletePlan PlanDeletes(EDeleteStyle style, std::string const& bucket, std::span<wire::delete_item_t const> items);

/// Deletes many objects. A batch whose answer is lost is sent again without a look at its objects: in a bucket with
/// versions this may leave a second delete marker above the first. What a store refuses stops nothing: all requests are
/// tried, and then the first refusal is thrown. Only a connection that fails ends it at once. For one thread.
class CBulkDelete
{
public:
    /// `progress` may be null; `total` is the number of objects, 0 while unknown.
    CBulkDelete(COperations const& operations, std::string bucket, std::shared_ptr<progress::progress_base_t> progress,
                std::size_t total);

    void Delete(SDeletePlan const& plan);
    /// Throws CS3WireException, with code and status of the first refusal and the number of all, if anything was
    /// refused.
    void Finish() const;

private:
    void DeleteBatch(SDeletePlan::SBatch const& batch);
    void DeleteSingles(std::span<wire::delete_item_t const> items);
    void DeleteOne(wire::delete_item_t const& item);
    void Advance(std::size_t count);
    void Refuse(std::string const& key, std::string const& code, std::string const& message, unsigned status,
                std::size_t count);

    COperations const& m_operations;
    std::string const m_bucket;
    std::shared_ptr<progress::progress_base_t> const m_progress;
    std::size_t const m_total;
    std::size_t m_done = 0;

    std::mutex m_mutex; ///< guards the refusals
    std::size_t m_refused = 0;
    std::string m_firstCode;
    std::string m_firstText;
    unsigned m_firstStatus = 0;
};

/// Deletes one object; that it is not there is no failure on any store.
void DeleteSingleObject(COperations const& operations, wire::SObjectRef const& object);

/// Delete what is under a prefix, page by page. `allVersions` with all versions and delete markers.
void DeletePrefix(COperations const& operations, EDeleteStyle style, std::string const& bucket,
                  std::string const& prefix, bool allVersions,
                  std::shared_ptr<progress::progress_base_t> const& progress);

} // namespace bucketry::s3wire
