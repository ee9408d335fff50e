#pragma once

#include "bucketry/statistics.h"

#include <string_view>
#include <utility>

namespace bucketry::details
{

/// The id of a kind of request; a name that is not in the table does not compile.
consteval std::size_t SlotOf(std::string_view name)
{
    for (auto const& row : RequestIDArrayGenerator::value)
    {
        if (name == row.m_name)
        {
            return row.m_id;
        }
    }
    throw "no such kind of request";
}

/// What the counting decorators of the client and of its versioning operations share: the inner object, the writer, and
/// the three ways in which an operation counts.
template <class TInner>
class CCounting
{
public:
    using task_t = std::shared_ptr<task::IAsyncTask>;
    using bufs_t = std::shared_ptr<io::block::CPooledBuf>;

    CCounting(std::shared_ptr<TInner> inner, CCloudStatisticsManager::CWriter writer)
        : m_inner(std::move(inner)), m_writer(std::move(writer))
    {
    }

    /// Counts before the call: a failed request counts, too.
    template <class TCall>
    std::invoke_result_t<TCall, TInner&> Counted(std::size_t slot, TCall&& call) const
    {
        m_writer.CountRequest(slot);
        return call(*m_inner);
    }
    template <class TCall>
    task_t Download(std::size_t slot, bufs_t const& bufs, TCall&& call) const
    {
        return Counted(slot, call)
            ->Then([bufs, writer = m_writer] { writer.UpdateDownloadCounter(bufs->GetByteSize()); });
    }
    template <class TCall>
    task_t Upload(std::size_t slot, bufs_t const& bufs, TCall&& call) const
    {
        return Counted(slot, call)
            ->Then([bufs, writer = m_writer] { writer.UpdateUploadCounter(bufs->GetByteSize()); });
    }

    std::shared_ptr<TInner> const m_inner;
    CCloudStatisticsManager::CWriter const m_writer;
};

} // namespace bucketry::details
