// SPDX-License-Identifier: Apache-2.0
#include "support/memory_client.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace bucketry::testing
{

namespace
{

[[noreturn]] void Fail(unsigned short status, std::string const& text)
{
    throw CObjectStorageException(exc::CRuntimeExc("%1", text), status);
}

/// "operation(first,second)", or with the first only.
std::string Call(char const* operation, std::string const& first, std::string const& second = "")
{
    return std::string(operation) + "(" + first + (second.empty() ? "" : "," + second) + ")";
}

std::string KeyOf(std::string const& path)
{
    return GetCanonicalPath(path);
}

/// The folder's prefix: empty for the root, else ending in the delimiter.
std::string PrefixOf(std::string const& path)
{
    std::string const key = KeyOf(path);
    return key.empty() || key.ends_with('/') ? key : key + '/';
}

void Fill(io::block::CPooledBuf& bufs, std::string_view body)
{
    bufs.SetCount(body.size());
    if (!body.empty())
    {
        std::memcpy(bufs.GetData(), body.data(), body.size());
    }
}

std::string_view RangeOf(std::string const& body, unsigned long offset, unsigned long length)
{
    if (offset > body.size() || length > body.size() - offset)
    {
        Fail(416, "InvalidRange");
    }
    return std::string_view(body).substr(offset, length);
}

template <class T>
void InPages(std::vector<T> const& all, std::size_t pageSize, std::function<void(std::vector<T> const&)> const& onPage)
{
    auto begin = all.begin();
    do
    {
        auto const end = begin + std::min(static_cast<std::ptrdiff_t>(pageSize), all.end() - begin);
        onPage({begin, end});
        begin = end;
    } while (begin != all.end());
}

template <class T>
std::function<void(std::vector<T> const&)> AppendTo(std::shared_ptr<std::vector<T>> all)
{
    return [all](std::vector<T> const& page) { all->insert(all->end(), page.begin(), page.end()); };
}

void Return(std::shared_ptr<std::string> const& out, std::string id)
{
    if (out)
    {
        *out = std::move(id);
    }
}

class CMemoryDownload final : public ICloudDownload
{
public:
    explicit CMemoryDownload(std::string body) : m_body(std::move(body)) {}
    void Read(unsigned char* buffer, unsigned long offset, unsigned long length) override
    {
        std::ranges::copy(RangeOf(m_body, offset, length), buffer);
    }
    std::uint64_t ObjectSize() override { return m_body.size(); }

private:
    std::string const m_body;
};

struct SMemorySource final : ICloudInterRegionSource
{
    explicit SMemorySource(std::string body) : m_body(std::move(body)) {}
    std::string const m_body;
};

} // namespace

class CMemoryUpload final : public ICloudUploadVersioned
{
public:
    CMemoryUpload(std::shared_ptr<CMemoryStore> store, std::string path)
        : m_store(std::move(store)), m_path(std::move(path))
    {
    }
    void Write(unsigned char const* data, unsigned long size) override
    {
        m_body.append(reinterpret_cast<char const*>(data), size);
    }
    void WriteZeroes(unsigned long size) override { m_body.append(size, '\0'); }
    void Flush() override {}
    std::optional<std::string> Finish() override { return FinishVersioned(), "finished"; }
    std::string FinishVersioned() override
    {
        return m_store->Ask(Call("Finish", m_path), [&] { return m_store->Add(KeyOf(m_path), m_body); });
    }

private:
    std::shared_ptr<CMemoryStore> const m_store;
    std::string const m_path;
    std::string m_body;
};

// ---- Store ----------------------------------------------------------------------------------------------------------

std::vector<std::string> CMemoryStore::Calls() const
{
    std::lock_guard const lock(m_mutex);
    return m_calls;
}

void CMemoryStore::ClearCalls()
{
    std::lock_guard const lock(m_mutex);
    m_calls.clear();
}

std::map<std::string, std::string> CMemoryStore::Objects() const
{
    std::lock_guard const lock(m_mutex);
    std::map<std::string, std::string> objects;
    for (std::string const& key : KeysBelow(""))
    {
        objects.emplace(key, m_objects.at(key).back().m_body);
    }
    return objects;
}

std::vector<CMemoryStore::SVersion> CMemoryStore::Versions(std::string const& path) const
{
    std::lock_guard const lock(m_mutex);
    auto const found = m_objects.find(KeyOf(path));
    return found == m_objects.end() ? std::vector<SVersion>() : found->second;
}

void CMemoryStore::Put(std::string const& path, std::string const& body)
{
    std::lock_guard const lock(m_mutex);
    Add(KeyOf(path), body);
}

void CMemoryStore::Do(std::string const& call, std::function<void()> const& work)
{
    {
        std::lock_guard const lock(m_mutex);
        m_calls.push_back(call);
    }
    if (m_hooks.m_before)
    {
        m_hooks.m_before(call);
    }
    {
        std::lock_guard const lock(m_mutex);
        work();
    }
    if (m_hooks.m_after)
    {
        m_hooks.m_after(call);
    }
}

CMemoryStore::task_t CMemoryStore::Start(std::string const& call, std::function<void(CMemoryStore&)> const& work)
{
    return CPplxTaskUtils().CreateTask([self = shared_from_this(), call, work]
                                       { self->Do(call, [&] { work(*self); }); });
}

bool CMemoryStore::IsThere(std::string const& key) const
{
    auto const found = m_objects.find(key);
    return found != m_objects.end() && !found->second.back().m_isDeleteMarker;
}

std::string const& CMemoryStore::BodyOf(std::string const& path, std::string const& version) const
{
    std::string const key = KeyOf(path);
    if (version.empty())
    {
        if (IsThere(key))
        {
            return m_objects.at(key).back().m_body;
        }
        Fail(404, "NoSuchKey: " + key);
    }
    if (auto const found = m_objects.find(key); found != m_objects.end())
    {
        for (SVersion const& stored : found->second)
        {
            if (stored.m_id == version && !stored.m_isDeleteMarker)
            {
                return stored.m_body;
            }
        }
    }
    Fail(404, "NoSuchVersion: " + key + " " + version);
}

std::string CMemoryStore::Add(std::string const& key, std::string const& body, bool isDeleteMarker)
{
    std::vector<SVersion>& versions = m_objects[key];
    if (!m_keepsVersions)
    {
        versions.clear();
    }
    std::string id = m_keepsVersions ? std::string("v").append(std::to_string(++m_lastId)) : "";
    versions.push_back({id, body, isDeleteMarker});
    return id;
}

void CMemoryStore::Remove(std::string const& key)
{
    m_keepsVersions ? void(Add(key, "", true)) : void(m_objects.erase(key));
}

void CMemoryStore::RemoveVersion(std::string const& key, std::string const& version)
{
    if (auto const found = m_objects.find(key); found != m_objects.end())
    {
        std::erase_if(found->second, [&](SVersion const& stored) { return stored.m_id == version; });
        found->second.empty() ? void(m_objects.erase(found)) : void();
    }
}

std::vector<std::string> CMemoryStore::KeysBelow(std::string const& folder) const
{
    std::vector<std::string> keys;
    for (auto const& [key, versions] : m_objects)
    {
        if (key.starts_with(PrefixOf(folder)) && !versions.back().m_isDeleteMarker)
        {
            keys.push_back(key);
        }
    }
    return keys;
}

CMemoryStore::versions_t CMemoryStore::ChildrenOf(std::string const& folder, bool onlyCurrent) const
{
    std::string const prefix = PrefixOf(folder);
    versions_t children;
    std::set<std::string> folders;
    for (auto const& [key, versions] : m_objects)
    {
        if (!key.starts_with(prefix) || key == prefix || (onlyCurrent && versions.back().m_isDeleteMarker))
        {
            continue;
        }
        std::string const name = key.substr(prefix.size());
        if (auto const end = name.find('/'); end != std::string::npos)
        {
            folders.insert(name.substr(0, end));
            continue;
        }
        auto const last = onlyCurrent ? versions.rbegin() + 1 : versions.rend();
        for (auto stored = versions.rbegin(); stored != last; ++stored)
        {
            if (!stored->m_isDeleteMarker)
            {
                children.emplace_back(name, SCloudObjectVersion{stored->m_id, stored->m_body.size()});
            }
        }
    }
    for (std::string const& name : folders)
    {
        children.emplace_back(name, SCloudObjectVersion{"", 0, true});
    }
    return children;
}

// ---- Versions -------------------------------------------------------------------------------------------------------

/// Refuses what is not overridden.
template <class TInterface>
class COverStore : public TInterface
{
public:
    COverStore(std::shared_ptr<CMemoryStore> store, std::size_t pageSize)
        : m_store(std::move(store)), m_pageSize(pageSize)
    {
    }

protected:
    template <class TResult, class TCall, class... TArgs>
    TResult Around(char const* operation, TCall const&, TArgs const&...) const
    {
        throw exc::CNotImplExc("CMemoryStore", operation);
    }

    std::shared_ptr<CMemoryStore> const m_store;
    std::size_t const m_pageSize;
};

class CMemoryVersioning final : public details::CVersioningAround<COverStore<ICloudVersioningUtils>>
{
public:
    using CVersioningAround::CVersioningAround;

    task_t DownloadFileVersionAsync(path_t path, path_t version, bufs_t bufs, pool_t) override
    {
        return m_store->Start(Call("DownloadFileVersionAsync", path, version),
                              [=](auto& store) { Fill(*bufs, store.BodyOf(path, version)); });
    }
    task_t DownloadFileVersionAsync(path_t path, path_t version, bufs_t bufs, pool_t, unsigned long offset,
                                    unsigned long length) override
    {
        return m_store->Start(Call("DownloadFileVersionAsync", path, version),
                              [=](auto& store) { Fill(*bufs, RangeOf(store.BodyOf(path, version), offset, length)); });
    }
    task_t UploadFileAsync(path_t path, bufs_t bufs, version_out_t version, immutable_till_t) override
    {
        return m_store->Start(Call("UploadFileAsync", path),
                              [=](auto& store) { Return(version, store.Add(KeyOf(path), TextOf(*bufs))); });
    }
    task_t UploadFileWithMetadataAsync(path_t path, bufs_t bufs, object_metadata_t const&, version_out_t version,
                                       immutable_till_t immutableTill) override
    {
        return UploadFileAsync(path, bufs, version, immutableTill);
    }
    task_t DeleteFileVersionAsync(path_t path, path_t version) override
    {
        return m_store->Start(Call("DeleteFileVersionAsync", path, version),
                              [=](auto& store) { store.RemoveVersion(KeyOf(path), version); });
    }
    task_t DeleteFileVersionListAsync(versions_t const& versions) override
    {
        return m_store->Start(Call("DeleteFileVersionListAsync", std::to_string(versions.size())),
                              [=](auto& store)
                              {
                                  for (SCloudObjectPathVersionPair const& pair : versions)
                                  {
                                      store.RemoveVersion(KeyOf(pair.m_path), pair.m_version.m_versionId);
                                  }
                              });
    }
    task_t DeleteFolderAllVersionsAsync(path_t path) override
    {
        return m_store->Start(Call("DeleteFolderAllVersionsAsync", path),
                              [=](auto& store)
                              {
                                  std::erase_if(store.m_objects,
                                                [prefix = PrefixOf(path)](auto const& object)
                                                { return object.first.starts_with(prefix); });
                              });
    }
    task_t QueryFolderVersionsAsync(path_t path, std::shared_ptr<versions_t> versions) override
    {
        return QueryFolderVersionsAsync(path, AppendTo(versions));
    }
    task_t QueryFolderVersionsAsync(path_t path, std::function<void(versions_t const&)> onPage) override
    {
        return CPplxTaskUtils().CreateTask(
            [path, onPage, store = m_store, pageSize = m_pageSize]
            {
                InPages(
                    store->Ask(Call("QueryFolderVersionsAsync", path), [&] { return store->ChildrenOf(path, false); }),
                    pageSize, onPage);
            });
    }
    std::shared_ptr<ICloudDownload> StartDownload(path_t path, path_t version) override
    {
        return std::make_shared<CMemoryDownload>(
            m_store->Ask(Call("StartDownload", path), [&] { return m_store->BodyOf(path, version); }));
    }
    std::shared_ptr<ICloudUploadVersioned> StartUpload(path_t path, unsigned long, immutable_till_t) override
    {
        return std::make_shared<CMemoryUpload>(m_store, path);
    }
    std::uint64_t GetFileVersionSize(path_t path, path_t version) override
    {
        return m_store->Ask(Call("GetFileVersionSize", path, version),
                            [&] { return m_store->BodyOf(path, version).size(); });
    }
    task_t CopyFileInterRegionAsync(source_t const& source, path_t targetPath, version_out_t version,
                                    immutable_till_t) override
    {
        return m_store->Start(Call("CopyFileInterRegionAsync", targetPath),
                              [=](auto& store)
                              {
                                  std::string const& body = dynamic_cast<SMemorySource&>(*source).m_body;
                                  Return(version, store.Add(KeyOf(targetPath), body));
                              });
    }
    source_t GetFileInterRegionSource(path_t path, path_t version) override
    {
        return std::make_shared<SMemorySource>(
            m_store->Ask(Call("GetFileInterRegionSource", path), [&] { return m_store->BodyOf(path, version); }));
    }
};

// ---- Client ---------------------------------------------------------------------------------------------------------

class CMemoryObjects final : public details::CClientAround<COverStore<ICloudClient>>
{
public:
    CMemoryObjects(std::shared_ptr<CMemoryStore> store, std::uint32_t concurrentTaskLimit, std::size_t pageSize)
        : CClientAround(std::move(store), pageSize), m_concurrentTaskLimit(concurrentTaskLimit)
    {
    }

    task_t DownloadFileAsync(path_t path, bufs_t bufs, pool_t) override
    {
        return m_store->Start(Call("DownloadFileAsync", path), [=](auto& store) { Fill(*bufs, store.BodyOf(path)); });
    }
    task_t DownloadFileAsync(path_t path, bufs_t bufs, pool_t, unsigned long offset, unsigned long length) override
    {
        return m_store->Start(Call("DownloadFileAsync", path),
                              [=](auto& store) { Fill(*bufs, RangeOf(store.BodyOf(path), offset, length)); });
    }
    task_t UploadFileAsync(path_t path, bufs_t bufs) override
    {
        return GetVersioningUtils()->UploadFileAsync(path, bufs, nullptr, std::nullopt);
    }
    task_t CopyFileAsync(path_t itemPath, path_t newPath) override
    {
        return m_store->Start(Call("CopyFileAsync", itemPath, newPath),
                              [=](auto& store) { store.Add(KeyOf(newPath), std::string(store.BodyOf(itemPath))); });
    }
    task_t DeleteFileAsync(path_t path) override
    {
        return m_store->Start(Call("DeleteFileAsync", path), [=](auto& store) { store.Remove(KeyOf(path)); });
    }
    task_t DeleteFileListAsync(std::vector<std::string> const& paths) override
    {
        return m_store->Start(Call("DeleteFileListAsync", std::to_string(paths.size())),
                              [=](auto& store)
                              {
                                  for (std::string const& path : paths)
                                  {
                                      store.Remove(KeyOf(path));
                                  }
                              });
    }
    std::uint64_t GetFileSize(path_t path) override
    {
        return m_store->Ask(Call("GetFileSize", path), [&] { return m_store->BodyOf(path).size(); });
    }
    bool IsFileExist(path_t path) override
    {
        return m_store->Ask(Call("IsFileExist", path), [&] { return m_store->IsThere(KeyOf(path)); });
    }
    task_t IsFileExistAsync(path_t path, std::shared_ptr<bool> flag) override
    {
        return m_store->Start(Call("IsFileExistAsync", path), [=](auto& store) { *flag = store.IsThere(KeyOf(path)); });
    }
    task_t CreateFolderAsync(path_t path) override
    {
        return m_store->Start(Call("CreateFolderAsync", path), [=](auto& store) { store.Add(PrefixOf(path), ""); });
    }
    task_t DeleteFolderAsync(path_t path, std::shared_ptr<progress::progress_base_t>) override
    {
        return m_store->Start(Call("DeleteFolderAsync", path),
                              [=](auto& store)
                              {
                                  for (std::string const& key : store.KeysBelow(path))
                                  {
                                      store.Remove(key);
                                  }
                              });
    }
    std::uint64_t GetFolderSize(path_t path) override
    {
        return m_store->Ask(Call("GetFolderSize", path),
                            [&]
                            {
                                std::uint64_t size = 0;
                                for (std::string const& key : m_store->KeysBelow(path))
                                {
                                    size += m_store->m_objects.at(key).back().m_body.size();
                                }
                                return size;
                            });
    }
    bool IsFolderExist(path_t path) override { return GetObjectCount(path) > 0; }
    objects_t QueryFolder(path_t path) override
    {
        auto const objects = std::make_shared<objects_t>();
        QueryFolderAsync(path, objects)->Wait();
        return *objects;
    }
    task_t QueryFolderAsync(path_t path, std::shared_ptr<objects_t> objects) override
    {
        return QueryFolderAsync(path, AppendTo(objects));
    }
    task_t QueryFolderAsync(path_t path, std::function<void(objects_t const&)> onPage) override
    {
        return CPplxTaskUtils().CreateTask(
            [path, onPage, store = m_store, pageSize = m_pageSize]
            {
                objects_t all;
                for (auto const& [name, version] :
                     store->Ask(Call("QueryFolderAsync", path), [&] { return store->ChildrenOf(path, true); }))
                {
                    all.emplace_back(name, version.m_size, version.m_isFolder);
                }
                InPages(all, pageSize, onPage);
            });
    }
    std::uint64_t GetObjectCount(path_t path) override
    {
        return m_store->Ask(Call("GetObjectCount", path), [&] { return m_store->KeysBelow(path).size(); });
    }
    std::shared_ptr<task::IAsyncTaskUtils> CreateAsyncTaskUtils() override
    {
        return std::make_shared<CPplxTaskUtils>();
    }
    std::shared_ptr<ICloudDownload> StartDownload(path_t path) override
    {
        return GetVersioningUtils()->StartDownload(path, "");
    }
    std::shared_ptr<ICloudUpload> StartUpload(path_t path, unsigned long size) override
    {
        return GetVersioningUtils()->StartUpload(path, size, std::nullopt);
    }
    std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() override
    {
        return std::make_shared<CMemoryVersioning>(m_store, m_pageSize);
    }
    source_t GetFileInterRegionSource(path_t path) override
    {
        return GetVersioningUtils()->GetFileInterRegionSource(path, "");
    }
    task_t CopyFileInterRegionAsync(source_t source, path_t targetPath) override
    {
        return GetVersioningUtils()->CopyFileInterRegionAsync(source, targetPath, nullptr, std::nullopt);
    }
    std::uint32_t GetConcurrentTaskLimit() override { return m_concurrentTaskLimit; }
    std::string GetAbsolutePath(path_t path) override { return path; }
    bool IsVersioningEnabled() const override { return m_store->m_keepsVersions; }
    std::shared_ptr<CServerTime> GetServerTime() override { return m_serverTime; }

private:
    std::uint32_t const m_concurrentTaskLimit;
    std::shared_ptr<CServerTime> const m_serverTime = std::make_shared<CServerTime>();
};

CMemoryClient::CMemoryClient(std::shared_ptr<CMemoryStore> store, std::uint32_t concurrentTaskLimit,
                             std::size_t pageSize)
    : CForwardingClient(std::make_shared<CMemoryObjects>(std::move(store), concurrentTaskLimit, pageSize))
{
}

} // namespace bucketry::testing
