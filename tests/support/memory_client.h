// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/forwarding.h"
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

    /// Runs around each storage call, on the thread that does the work, with its text, as "UploadFileAsync(a/b)". What
    /// `before` throws fails the call with nothing done; what `after` throws fails it although the work was done.
    /// Either may block.
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
    using task_t = ICloudClient::task_t;
    using versions_t = details::CForwardingVersioning::versions_t;

    friend class CMemoryObjects;
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
    /// The versions of the objects directly below a folder, the newest first, or only the current ones, then the
    /// subfolders.
    versions_t ChildrenOf(std::string const& folder, bool onlyCurrent) const;

    bool const m_keepsVersions;
    SHooks m_hooks;
    mutable std::mutex m_mutex; ///< guards all below
    std::vector<std::string> m_calls;
    std::map<std::string, std::vector<SVersion>> m_objects; ///< the oldest version first
    unsigned long m_lastId = 0;
};

/// A client over a CMemoryStore. Its tasks hold the store, not the client. Archives, batch jobs, locks of its own and
/// immutability are refused.
class CMemoryClient final : public details::CForwardingClient
{
public:
    explicit CMemoryClient(std::shared_ptr<CMemoryStore> store, std::uint32_t concurrentTaskLimit = 16,
                           std::size_t pageSize = 1000);
};

} // namespace bucketry::testing
