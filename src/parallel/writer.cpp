// SPDX-License-Identifier: Apache-2.0
#include "bucketry/parallel.h"

#include "bucketry/base/exceptions.h"

namespace bucketry
{

namespace
{

std::function<void()> PushTo(std::shared_ptr<CObjectVersionPusher> const& pusher,
                             std::shared_ptr<std::string> const& version)
{
    return [pusher, version]
    {
        if (pusher)
        {
            pusher->PushVersion(*version);
        }
    };
}

} // namespace

CCloudParallelWriter::CCloudParallelWriter(std::shared_ptr<ICloudClient> const& client)
    : m_client(client), m_executor(client)
{
}

void CCloudParallelWriter::Write(std::string const& path, bufs_t const& buffer, pusher_t const& pusher,
                                 immutable_till_t immutableTill)
{
    m_executor.PushTask(CreateWriteTask(path, buffer, pusher, immutableTill));
}

void CCloudParallelWriter::Write(std::string const& path, bufs_t const& buffer, immutable_till_t immutableTill)
{
    Write(path, buffer, nullptr, immutableTill);
}

void CCloudParallelWriter::Copy(std::string const& sourcePath, std::string const& path)
{
    m_executor.PushTask(CreateCopyTask(sourcePath, path));
}

void CCloudParallelWriter::CopyInterRegion(source_t source, std::string const& path, pusher_t const& pusher,
                                           immutable_till_t const& immutableTill)
{
    m_executor.PushTask(CreateCopyInterRegionTask(std::move(source), path, pusher, immutableTill));
}

CCloudParallelWriter::bufs_t CCloudParallelWriter::Read(std::string const& path)
{
    {
        lock_t const lock(m_mutex);
        if (auto const found = m_pending.find(path); found != m_pending.end())
        {
            return found->second.value();
        }
    }
    auto const pool = io::block::bufs_pool_t::GetInst();
    auto buffer = std::make_shared<io::block::CPooledBuf>(0, pool);
    m_client->DownloadFileAsync(path, buffer, pool)->Wait();
    return buffer;
}

void CCloudParallelWriter::Flush()
{
    m_executor.Flush();
}

CCloudParallelWriter::task_t CCloudParallelWriter::CreateWriteTask(std::string const& path, bufs_t const& buffer,
                                                                   pusher_t const& pusher,
                                                                   immutable_till_t immutableTill)
{
    auto const version = std::make_shared<std::string>();
    auto const upload = [&]
    {
        return m_client->IsVersioningEnabled()
            ? m_client->GetVersioningUtils()->UploadFileAsync(path, buffer, version, immutableTill)
            : m_client->UploadFileAsync(path, buffer);
    };
    return Start(path, buffer, upload, PushTo(pusher, version));
}

CCloudParallelWriter::task_t CCloudParallelWriter::CreateCopyTask(std::string const& sourcePath,
                                                                  std::string const& path)
{
    auto const copy = [&]
    {
        if (m_client->IsVersioningEnabled())
        {
            throw exc::CRuntimeExc("CCloudParallelWriter::CreateCopyTask is not implemented for versioning buckets");
        }
        return m_client->CopyFileAsync(sourcePath, path);
    };
    return Start(path, std::nullopt, copy, [] {});
}

CCloudParallelWriter::task_t CCloudParallelWriter::CreateCopyInterRegionTask(source_t source, std::string const& path,
                                                                             pusher_t const& pusher,
                                                                             immutable_till_t const& immutableTill)
{
    auto const version = std::make_shared<std::string>();
    auto const copy = [&]
    {
        return m_client->IsVersioningEnabled()
            ? m_client->GetVersioningUtils()->CopyFileInterRegionAsync(source, path, version, immutableTill)
            : m_client->CopyFileInterRegionAsync(source, path);
    };
    return Start(path, std::nullopt, copy, PushTo(pusher, version));
}

/// Starts an operation on a path once none is in flight there, and keeps its entry until the operation has ended.
/// `onSuccess` runs before that. Whatever throws here has left no entry.
CCloudParallelWriter::task_t CCloudParallelWriter::Start(std::string const& path, std::optional<bufs_t> const& pending,
                                                         std::function<task_t()> const& start,
                                                         std::function<void()> onSuccess)
{
    lock_t lock(m_mutex);
    WaitPending(path, lock);
    m_pending[path] = pending;
    try
    {
        return start()->ThenTask([this, path, onSuccess = std::move(onSuccess)](task_t const& operation)
                                 { HandleFinishedTask(operation, path, onSuccess); });
    }
    catch (...)
    {
        DeletePendingFile(path); // an operation without a continuation has been waited for: its handle is gone
        throw;
    }
}

/// Waits, with the mutex given up, until no operation is in flight on the path.
void CCloudParallelWriter::WaitPending(std::string const& path, lock_t& lock)
{
    m_pendingFinished.wait(lock, [&] { return !m_pending.contains(path); });
}

void CCloudParallelWriter::DeletePendingFile(std::string const& path)
{
    lock_t const lock(m_mutex);
    m_pending.erase(path);
    m_pendingFinished.notify_all();
}

/// The end of an operation: one continuation for all that has to be done, since each would be a thread.
void CCloudParallelWriter::HandleFinishedTask(task_t const& task, std::string const& path,
                                              std::function<void()> const& onSuccess)
{
    try
    {
        task->Wait();
        onSuccess();
    }
    catch (...)
    {
        DeletePendingFile(path);
        throw;
    }
    DeletePendingFile(path);
}

} // namespace bucketry
