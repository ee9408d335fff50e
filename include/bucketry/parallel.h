// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/base/datetime.h"
#include "bucketry/base/export.h"
#include "bucketry/base/sync.h"
#include "bucketry/client.h"
#include "bucketry/tasks.h"

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/recursive_mutex.hpp>

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Many storage operations at a time over any ICloudClient: a bounded queue of tasks, a writer and a deleter on top of
/// it, one operation over alternative paths, and a walk through a folder tree.
namespace bucketry
{

// ---- Executor
// --------------------------------------------------------------------------------------------------------

/// Keeps at most so many tasks in flight; a caller that hands in one too many blocks until one has ended. It has no
/// thread of its own.
///
/// The limit is the smaller of ICloudClient::GetConcurrentTaskLimit() and the one given. With a limit of 0 nothing can
/// be queued, and every attempt fails. A task counts, and keeps what it holds, until the queue is full and it is
/// collected, or until Flush.
///
/// Failures: a task's failure comes out of the call that finds the queue full, with "Error occured while trying to
///           enqueue a new task" on top, and out of every such call until Flush; or out of Flush.
/// Threads:  any. A call that waits for room and Flush keep all others waiting: neither a factory nor a task may call
///           the executor that it belongs to.
class BUCKETRY_API CCloudParallelTaskExecutor
{
public:
    using task_t = std::shared_ptr<task::IAsyncTask>;
    using factory_t = std::function<task_t()>;

    /// With a port of its own, which nothing fails.
    explicit CCloudParallelTaskExecutor(std::shared_ptr<ICloudClient> client);
    /// \param port  cancels: see QueueTask; may be null
    CCloudParallelTaskExecutor(std::shared_ptr<ICloudClient> client,
                               std::shared_ptr<synch::completion_port_t> const& port);
    CCloudParallelTaskExecutor(std::shared_ptr<ICloudClient> client,
                               std::shared_ptr<synch::completion_port_t> const& port, unsigned int limit);
    CCloudParallelTaskExecutor(CCloudParallelTaskExecutor const&) = delete;
    CCloudParallelTaskExecutor& operator=(CCloudParallelTaskExecutor const&) = delete;
    /// Waits for what is in flight, with a warning in the log; its failure ends up there too.
    ~CCloudParallelTaskExecutor();

    /// Calls `factory` here, and keeps its task, as soon as there is room. Once the port has an error, it waits for
    /// what is in flight and throws that error without calling `factory`. Throws exc::exc_base_t "Failed to enqueue
    /// task into cloud task executor" if waiting made no room.
    void QueueTask(factory_t&& factory);
    /// The same for a task that runs already. If this throws, the task has ended; its failure is then in the log.
    void PushTask(task_t task);
    /// As QueueTask, but without a look at the port; false if waiting made no room.
    bool TryQueueTask(factory_t&& factory);

    /// Waits for all tasks and forgets them. Throws the failure of the first one, in the order in which they were
    /// queued, that failed; all are logged. The executor is then as new.
    void Flush();
    /// The same; logs what Flush would throw.
    void FlushOnCancel();
    /// A task that ends when all present tasks have, with the failure of the first one that failed. It collects none.
    task_t WhenCurrentTasksFinished();

    /// Whether the task has ended; throws its failure if it failed.
    static bool TaskCompleteCondition(task_t const& task);

private:
    void ThrowIfCancelled(task_t const& pushed);
    void Enqueue(factory_t&& factory);
    bool MakeRoom();
    void CollectFinished();

    boost::mutex m_mutex;
    std::vector<task_t> m_tasks; ///< guarded by m_mutex; never more than m_limit
    std::shared_ptr<ICloudClient> const m_client;
    std::size_t const m_limit;
    std::shared_ptr<synch::completion_port_t> const m_port;
};

// ---- Version queue
// ---------------------------------------------------------------------------------------------------

/// First in, first out; unbounded; any thread.
class BUCKETRY_API CThreadSafeQueue
{
public:
    void PushValue(std::string const& first, std::string const& second);
    /// The oldest pair, or none. Never waits.
    std::optional<std::pair<std::string, std::string>> PopValue();
    bool Empty() const;

private:
    mutable std::mutex m_mutex;
    std::deque<std::pair<std::string, std::string>> m_values; ///< guarded by m_mutex
};

/// Delivers the version ids of one object into a queue, which it keeps alive. Any thread.
class BUCKETRY_API CObjectVersionPusher
{
public:
    CObjectVersionPusher(std::string const& path, std::shared_ptr<CThreadSafeQueue> const& queue);
    /// One more pair in the queue, at each call.
    void PushVersion(std::string const& version);

private:
    std::string const m_path;
    std::shared_ptr<CThreadSafeQueue> const m_queue;
};

/// Collects the version ids of what a CCloudParallelWriter has stored, in the order in which the operations end. Any
/// thread.
class BUCKETRY_API CObjectVersionsQueue
{
public:
    CObjectVersionsQueue();
    /// The sink to hand to the writer together with `path`. It may outlive this object.
    std::shared_ptr<CObjectVersionPusher> CreateVersionSink(std::string const& path);
    /// The oldest path and version id, or none. Never waits.
    std::optional<std::pair<std::string, std::string>> PopVersion();
    bool Empty() const;

private:
    std::shared_ptr<CThreadSafeQueue> const m_queue;
};

// ---- Writer
// ----------------------------------------------------------------------------------------------------------

/// Writes many objects at once, as many as the client's limit and one more for each thread that calls in. Operations on
/// one path run one after the other, in the order of the calls, and what is being written can be read at once.
///
/// A call blocks while an operation on the same path is in flight, and while the queue is full. A failure comes out of
/// a later call that finds the queue full, on whatever path, or out of Flush; nothing is repeated. End with Flush: what
/// nobody flushed is waited for by the destructor, and its failure only logged.
///
/// Versions:    on a client with versions `pusher`, if not null, gets the id of each object that was stored; without
///              versions it gets the empty text, and `immutableTill` is dropped.
/// Threads:     any.
/// Keeps alive: buffers until their write has ended; they must not be changed from the call on.
class BUCKETRY_API CCloudParallelWriter
{
public:
    using task_t = std::shared_ptr<task::IAsyncTask>;
    using bufs_t = std::shared_ptr<io::block::CPooledBuf>;
    using pusher_t = std::shared_ptr<CObjectVersionPusher>;
    using source_t = std::shared_ptr<ICloudInterRegionSource>;
    using immutable_till_t = std::optional<datetime::CDateTime>;

    explicit CCloudParallelWriter(std::shared_ptr<ICloudClient> const& client);

    void Write(std::string const& path, bufs_t const& buffer, pusher_t const& pusher, immutable_till_t immutableTill);
    void Write(std::string const& path, bufs_t const& buffer, immutable_till_t immutableTill);
    /// The source is what the store holds, even while a write to it is in flight. Throws exc::CRuntimeExc on a client
    /// with versions.
    void Copy(std::string const& sourcePath, std::string const& path);
    void CopyInterRegion(source_t source, std::string const& path, pusher_t const& pusher,
                         immutable_till_t const& immutableTill);

    /// The very buffer of a write that is in flight, whether that will succeed or not; else the object, from the store.
    /// Throws std::bad_optional_access while a copy to the path is in flight.
    bufs_t Read(std::string const& path);

    void Flush();

    /// Start an operation as Write, Copy and CopyInterRegion do, but do not queue it: the caller waits for the task,
    /// and the writer must outlive it.
    task_t CreateWriteTask(std::string const& path, bufs_t const& buffer, pusher_t const& pusher,
                           immutable_till_t immutableTill);
    task_t CreateCopyTask(std::string const& sourcePath, std::string const& path);
    task_t CreateCopyInterRegionTask(source_t source, std::string const& path, pusher_t const& pusher,
                                     immutable_till_t const& immutableTill);

private:
    using lock_t = boost::unique_lock<boost::recursive_mutex>;

    task_t Start(std::string const& path, std::optional<bufs_t> const& pending, std::function<task_t()> const& start,
                 std::function<void()> onSuccess);
    void WaitPending(std::string const& path, lock_t& lock);
    void DeletePendingFile(std::string const& path);
    void HandleFinishedTask(task_t const& task, std::string const& path, std::function<void()> const& onSuccess);

    boost::recursive_mutex m_mutex;
    boost::condition_variable_any m_pendingFinished;        ///< notified when an entry leaves m_pending
    std::map<std::string, std::optional<bufs_t>> m_pending; ///< guarded by m_mutex; no buffer for a copy
    std::shared_ptr<ICloudClient> const m_client;
    CCloudParallelTaskExecutor m_executor; ///< the last member, so that tasks end before what they use goes
};

// ---- Deleter
// ---------------------------------------------------------------------------------------------------------

/// Deletes a stream of objects in batches of 1000, several at a time: as many as
/// options_t::GetCloudConcurrentMultiDeleteTaskLimit() and the client's own limit allow.
///
/// Call PushObj for each object, then SignalObjsPushed, then Wait4Finish. A failed batch is neither repeated nor split;
/// its failure comes out of a later PushObj that finds the queue full, or out of Wait4Finish. If a batch cannot be
/// handed over it stays, and goes out with the next hand-over, larger than 1000 if objects were pushed in between.
///
/// Threads: any number may push; they wait for each other while the queue is full.
class BUCKETRY_API CCloudParallelObjsDeleter
{
public:
    /// \param port  cancels: the next hand-over throws its error, and what was not handed over stays; may be null
    CCloudParallelObjsDeleter(std::shared_ptr<ICloudClient> const& client,
                              std::shared_ptr<synch::completion_port_t> const& port);
    CCloudParallelObjsDeleter(CCloudParallelObjsDeleter const&) = delete;
    CCloudParallelObjsDeleter& operator=(CCloudParallelObjsDeleter const&) = delete;
    /// Sends what is left, with a warning in the log, and waits; failures are only logged.
    virtual ~CCloudParallelObjsDeleter();

    /// \param version  which version to delete, empty for the one from before versions were kept; not looked at if the
    ///                 client has no versioning
    void PushObj(std::string const& path, std::string const& version);
    /// No more objects come for now: sends the batch as it is.
    void SignalObjsPushed();
    /// Waits for the batches in flight; throws the first failure.
    void Wait4Finish();

private:
    std::size_t BatchSize() const;
    void ScheduleTask();

    std::shared_ptr<ICloudClient> const m_client;
    std::shared_ptr<synch::completion_port_t> const m_port;
    boost::mutex m_mutex;
    std::vector<std::string> m_paths;                    ///< the batch without versions; guarded by m_mutex
    std::vector<SCloudObjectPathVersionPair> m_versions; ///< the batch with versions; guarded by m_mutex
    CCloudParallelTaskExecutor m_executor;
    bool const m_versioned;
};

// ---- One operation over several paths
// ----------------------------------------------------------------------------------

/// Runs an operation on one path after the other, as a single task: until it succeeds once, or on all of them. The run
/// fails with the first of the failures after the last success; without a success, with the first of all.
///
/// A run over n paths is up to 2n + 1 threads at a time, beside those of the operation. Runs may overlap, on any
/// threads, if the processor allows it.
class BUCKETRY_API CMultiplePathsObjectProcessor
{
public:
    using task_t = std::shared_ptr<task::IAsyncTask>;

    /// \param failureFormat  logged, with the path as %1, for each path that fails
    /// \param processor      starts the operation on a path. What it throws, or that it gives no task, is the failure
    ///                       of that path; for the first path it comes out of DoAsync.
    /// \param taskUtils      of the client that the tasks of the processor belong to
    /// \param processAll     false: stop after the first success
    CMultiplePathsObjectProcessor(std::vector<std::string> const& paths, std::string const& failureFormat,
                                  std::function<task_t(std::string const&)>&& processor,
                                  std::shared_ptr<task::IAsyncTaskUtils> const& taskUtils, bool processAll);

    /// Starts a run, which may outlive this object. Throws exc::CRuntimeExc "No processing task has been started." if
    /// there are no paths.
    task_t DoAsync() const;
    /// A run, to its end.
    void Do() const;

private:
    struct SImpl;

    std::vector<std::string> const m_paths;
    std::shared_ptr<SImpl> const m_impl;
};

// ---- Walk through a tree
// ---------------------------------------------------------------------------------------------

/// Walks through a folder and all below it, page by page, one folder at a time, without keeping the tree. On a client
/// with versions each version of an object is an entry. The client must be able to list with a function per page.
class BUCKETRY_API CRecursiveObjectsEnumerator
{
public:
    struct SObjectInfo
    {
        std::string m_path;                       ///< folder, "/", name
        std::string m_versionId;                  ///< empty on a client without versions
        datetime::CDateTime m_lastModified{true}; ///< as the listing gives it
    };

    /// \param root  without a "/" at its end, which would give another key ("a//x"). The empty root gives paths that
    ///              begin with "/".
    CRecursiveObjectsEnumerator(std::string const& root, std::shared_ptr<ICloudClient> const& client);

    /// Calls back once for each page that has objects; blocks until the walk has ended. A failed listing, and what
    /// `callback` throws, ends the walk and comes out of here.
    /// \param callback  runs on task threads, one call at a time
    void Process(std::function<void(std::vector<SObjectInfo> const&)> callback);

private:
    std::string const m_root;
    std::shared_ptr<ICloudClient> const m_client;
};

} // namespace bucketry
