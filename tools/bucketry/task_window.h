// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/tasks.h"

#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>

namespace bucketry::tool
{

/// What the tool holds of a body at a time: larger ones are stored as pieces of this size, in bytes, the last one
/// smaller, or streamed where there is a stream.
inline constexpr std::uint64_t PieceBytes = std::uint64_t(64) << 20;

/// Keeps a bounded number of storage operations in flight, bounded also in the bytes of their bodies. Operations end in
/// the order they were started. One thread at a time; everything but the operations themselves runs on that thread.
class CTaskWindow
{
public:
    using start_t = std::function<std::shared_ptr<task::IAsyncTask>()>;
    /// Gets the failure of the operation, or null. What it throws ends the work.
    using finish_t = std::function<void(std::exception_ptr failure)>;

    /// Room for at most three pieces.
    static constexpr std::uint64_t MaxBytes = 3 * PieceBytes;

    /// \param limit  operations in flight; 0 counts as 1
    explicit CTaskWindow(std::uint32_t limit);

    /// Starts an operation as soon as there is room for it, then finishes those that had to go for it. So with a limit
    /// of 1 one operation runs while the one before is finished. An operation of more than MaxBytes runs alone.
    void Run(std::uint64_t bytes, start_t const& start, finish_t finish);

    /// Finishes all that is in flight.
    void Drain();

private:
    struct SPending
    {
        std::uint64_t m_bytes = 0;
        std::shared_ptr<task::IAsyncTask> m_task;
        finish_t m_finish;
        std::exception_ptr m_failure;
    };
    SPending TakeOldest();

    std::size_t const m_limit;
    std::uint64_t m_bytes = 0; ///< of all in m_pending
    std::deque<SPending> m_pending;
};

/// A finish_t for operations whose failure ends the work.
void ThrowFailure(std::exception_ptr failure);

} // namespace bucketry::tool
