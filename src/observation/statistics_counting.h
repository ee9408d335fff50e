// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/statistics.h"

#include "bucketry/forwarding.h"

#include <optional>
#include <string_view>
#include <utility>

namespace bucketry::details
{

/// The operations that count neither under their own name nor under that without "Async"; an empty name: not at all.
inline constexpr std::pair<std::string_view, std::string_view> OtherRequestNames[] = {
    {"IsFileExist", "IsObjectExist"},
    {"GetAbsolutePath", ""},
    {"IsFileInterRegionSourceCompatible", ""},
    {"GetArchiveRetrievalBehavior", ""},
    {"CheckAndUpdateImmutabilityAsync", "UpdateFileVersionImmutability"},
    {"DeleteFileVersionIgnoreImmutabilityAsync", "DeleteFileVersion"},
};

consteval std::optional<std::size_t> FindSlot(std::string_view request)
{
    for (auto const& row : RequestIDArrayGenerator::value)
    {
        if (request == row.m_name)
        {
            return row.m_id;
        }
    }
    return std::nullopt;
}

/// The id of the kind of request that an operation counts as, if it counts. An operation without a kind does not
/// compile.
consteval std::optional<std::size_t> SlotOf(std::string_view operation)
{
    for (auto const& [name, request] : OtherRequestNames)
    {
        if (operation == name)
        {
            return request.empty() ? std::nullopt : std::optional(FindSlot(request).value());
        }
    }
    auto const slot = FindSlot(operation);
    return slot ? slot : FindSlot(operation.substr(0, operation.rfind("Async"))).value();
}

/// Made of the operation's name at the call, when that is compiled.
struct SCounter
{
    consteval SCounter(char const* operation) : m_slot(SlotOf(operation)) {} // NOLINT(google-explicit-constructor)

    std::optional<std::size_t> m_slot;
};

/// Counts each operation before it is passed on: a failed request counts, too.
template <class TInterface>
class CCounting : public CPassingOn<TInterface>
{
public:
    CCounting(std::shared_ptr<TInterface> inner, CCloudStatisticsManager::CWriter writer)
        : CPassingOn<TInterface>(std::move(inner)), m_writer(std::move(writer))
    {
    }

protected:
    using task_t = std::shared_ptr<task::IAsyncTask>;
    using bufs_t = std::shared_ptr<io::block::CPooledBuf>;

    template <class TResult, class TCall, class... TArgs>
    TResult Around(SCounter counter, TCall const& call, TArgs const&...) const
    {
        Count(counter);
        return call(*this->m_inner);
    }

    void Count(SCounter counter) const
    {
        if (counter.m_slot)
        {
            m_writer.CountRequest(*counter.m_slot);
        }
    }

    /// The bytes count when they have been transferred.
    task_t Downloaded(task_t const& transfer, bufs_t const& bufs) const
    {
        return transfer->Then([bufs, writer = m_writer] { writer.UpdateDownloadCounter(bufs->GetByteSize()); });
    }
    task_t Uploaded(task_t const& transfer, bufs_t const& bufs) const
    {
        return transfer->Then([bufs, writer = m_writer] { writer.UpdateUploadCounter(bufs->GetByteSize()); });
    }

    CCloudStatisticsManager::CWriter const m_writer;
};

} // namespace bucketry::details
