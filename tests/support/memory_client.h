#pragma once

#include "support/answering_client.h"
#include "support/bufs.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace bucketry::testing
{

/// A bucket in memory, shared by the clients over it. Any thread.
class CMemoryStore : public std::enable_shared_from_this<CMemoryStore>
{
public:
    struct SVersion
    {
        std::string m_id;
        std::string m_body;
        bool m_isDeleteMarker = false;
    };

    /// Runs around each storage call, on the thread that does the work, with its text, as "UploadFileAsync(a/b)". What `before`
    /// throws fails the call with nothing done; what `after` throws fails it although the work was done. Either may block.
    struct SHooks
    {
        std::function<void(std::string const& call)> m_before;
        std::function<void(std::string const& call)> m_after;
    };

    explicit CMemoryStore(bool keepsVersions) : m_keepsVersions(keepsVersions) {}

    /// Set before any call is under way.
    void SetHooks(SHooks hooks) { m_hooks = std::move(hooks); }
    /// The storage calls so far, in the order in which they began.
    std::vector<std::string> Calls() const;
    void ClearCalls();

    /// The current bodies by key.
    std::map<std::string, std::string> Objects() const;
    /// Every version of one key, delete markers among them, the oldest first.
    std::vector<SVersion> Versions(std::string const& path) const;
    void Put(std::string const& path, std::string const& body);

private:
    friend class CMemoryClient;
    friend class CMemoryVersioning;
    friend class CMemoryUpload;

    /// Runs one storage call with its hooks, the work under the mutex.
    void Do(std::string const& call, std::function<void()> const& work);
    /// The same for what gives a result.
    template <class TWork>
    auto Ask(std::string const& call, TWork const& work)
    {
        decltype(work()) result{};
        Do(call, [&] { result = work(); });
        return result;
    }
    /// The same on a task, which holds the store.
    task_t Start(std::string const& call, std::function<void(CMemoryStore&)> const& work);

    // What the work may do: the mutex is held.

    bool IsThere(std::string const& key) const;
    /// The current version if none is named; else 404.
    std::string const& BodyOf(std::string const& path, std::string const& version = "") const;
    /// Gives the new version's id.
    std::string Add(std::string const& key, std::string const& body, bool isDeleteMarker = false);
    void Remove(std::string const& key);
    void RemoveVersion(std::string const& key, std::string const& version);
    /// The keys below a folder whose object is there, its own marker included.
    std::vector<std::string> KeysBelow(std::string const& folder) const;
    /// The versions of the objects directly below a folder, the newest first, or only the current ones, then the subfolders.
    versions_t ChildrenOf(std::string const& folder, bool onlyCurrent) const;

    bool const m_keepsVersions;
    SHooks m_hooks;
    mutable std::mutex m_mutex; ///< guards all below
    std::vector<std::string> m_calls;
    std::map<std::string, std::vector<SVersion>> m_objects; ///< the oldest version first
    unsigned long m_lastId = 0;
};

/// What a store in memory does not know: archives, batch jobs, locks of its own, immutability.
struct SRefusal
{
    template <class TResult, class... TArgs>
    TResult Answer(char const* operation, TArgs const&...) const
    {
        throw exc::CNotImplExc("CMemoryStore", operation);
    }
};

/// A client over a CMemoryStore. Its tasks hold the store, not the client.
class CMemoryClient final : public CAnsweringClient<SRefusal>
{
public:
    explicit CMemoryClient(std::shared_ptr<CMemoryStore> store, std::uint32_t concurrentTaskLimit = 16,
                           std::size_t pageSize = 1000)
        : CAnsweringClient({}),
          m_store(std::move(store)),
          m_concurrentTaskLimit(concurrentTaskLimit),
          m_pageSize(pageSize)
    {
    }

    task_t DownloadFileAsync(path_t path, bufs_t bufs, pool_t pool) override;
    task_t DownloadFileAsync(path_t path, bufs_t bufs, pool_t pool, unsigned long offset,
                             unsigned long length) override;
    task_t UploadFileAsync(path_t path, bufs_t bufs) override;
    task_t CopyFileAsync(path_t itemPath, path_t newPath) override;
    task_t DeleteFileAsync(path_t path) override;
    task_t DeleteFileListAsync(std::vector<std::string> const& paths) override;
    std::uint64_t GetFileSize(path_t path) override;
    bool IsFileExist(path_t path) override;
    task_t IsFileExistAsync(path_t path, std::shared_ptr<bool> flag) override;
    task_t CreateFolderAsync(path_t path) override;
    task_t DeleteFolderAsync(path_t path, std::shared_ptr<progress::progress_base_t> progress) override;
    std::uint64_t GetFolderSize(path_t path) override;
    bool IsFolderExist(path_t path) override;
    objects_t QueryFolder(path_t path) override;
    task_t QueryFolderAsync(path_t path, std::shared_ptr<objects_t> objects) override;
    task_t QueryFolderAsync(path_t path, std::function<void(objects_t const&)> onPage) override;
    std::uint64_t GetObjectCount(path_t path) override;
    std::uint32_t GetConcurrentTaskLimit() override { return m_concurrentTaskLimit; }
    std::string GetAbsolutePath(path_t path) override { return path; }
    std::shared_ptr<task::IAsyncTaskUtils> CreateAsyncTaskUtils() override;
    std::shared_ptr<ICloudDownload> StartDownload(path_t path) override;
    std::shared_ptr<ICloudUpload> StartUpload(path_t path, unsigned long size) override;
    std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() override;
    bool IsVersioningEnabled() const override { return m_store->m_keepsVersions; }
    source_t GetFileInterRegionSource(path_t path) override;
    task_t CopyFileInterRegionAsync(source_t source, path_t targetPath) override;
    std::shared_ptr<CServerTime> GetServerTime() override { return m_serverTime; }

private:
    std::shared_ptr<CMemoryStore> const m_store;
    std::uint32_t const m_concurrentTaskLimit;
    std::size_t const m_pageSize;
    std::shared_ptr<CServerTime> const m_serverTime = std::make_shared<CServerTime>();
};

} // namespace bucketry::testing
