#include "support/memory_client.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <set>

namespace bucketry::testing
{

namespace
{

using task_t = ICloudClient::task_t;

[[noreturn]] void Fail(unsigned short status, std::string const& text)
{
    throw CObjectStorageException(exc::CRuntimeExc("%1", text), status);
}

std::string KeyOf(std::string const& path)
{
    return GetCanonicalPath(path);
}

/// The folder's prefix: empty for the root, else ending in the delimiter.
std::string PrefixOf(std::string const& path)
{
    std::string prefix = KeyOf(path);
    if (!prefix.empty() && prefix.back() != '/')
    {
        prefix += '/';
    }
    return prefix;
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

task_t Run(std::function<void()> work)
{
    return CPplxTaskUtils().CreateTask(std::move(work));
}

template <class T>
void InPages(std::vector<T> const& all, std::size_t pageSize, std::function<void(std::vector<T> const&)> const& onPage)
{
    std::size_t begin = 0;
    do
    {
        std::size_t const end = begin + std::min(pageSize, all.size() - begin);
        onPage({all.begin() + static_cast<std::ptrdiff_t>(begin), all.begin() + static_cast<std::ptrdiff_t>(end)});
        begin = end;
    } while (begin < all.size());
}

class CMemoryLock final : public ICloudLock
{
public:
    void Unlock() override {}
    guid::guid_t GetLockId() const override { return m_lockId; }

private:
    guid::guid_t const m_lockId = guid::guid_t::CreateNew();
};

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
    std::string m_body;
};

} // namespace

class CMemoryUpload final : public ICloudUploadVersioned
{
public:
    CMemoryUpload(std::shared_ptr<CMemoryStore> store, std::string path,
                  std::optional<datetime::CDateTime> immutableTill)
        : m_store(std::move(store)), m_path(std::move(path)), m_immutableTill(std::move(immutableTill))
    {
    }
    void Write(unsigned char const* data, unsigned long size) override
    {
        m_body.append(reinterpret_cast<char const*>(data), size);
    }
    void WriteZeroes(unsigned long size) override { m_body.append(size, '\0'); }
    void Flush() override {}
    std::optional<std::string> Finish() override
    {
        FinishVersioned();
        return "finished";
    }
    std::string FinishVersioned() override
    {
        std::string id;
        m_store->Do(
            "Finish(" + m_path + ")",
            [&]
            { id = m_store->Add(KeyOf(m_path), {.m_id = {}, .m_body = m_body, .m_immutableTill = m_immutableTill}); });
        return id;
    }

private:
    std::shared_ptr<CMemoryStore> const m_store;
    std::string const m_path;
    std::optional<datetime::CDateTime> const m_immutableTill;
    std::string m_body;
};

// ---- Store -----------------------------------------------------------------------------------------------------------

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
    for (auto const& [key, versions] : m_objects)
    {
        if (!versions.back().m_isDeleteMarker)
        {
            objects.emplace(key, versions.back().m_body);
        }
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
    Add(KeyOf(path), {.m_id = {}, .m_body = body});
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

CMemoryStore::SVersion const& CMemoryStore::Current(std::string const& key) const
{
    auto const found = m_objects.find(key);
    if (found == m_objects.end() || found->second.back().m_isDeleteMarker)
    {
        Fail(404, "NoSuchKey: " + key);
    }
    return found->second.back();
}

CMemoryStore::SVersion const& CMemoryStore::Exactly(std::string const& key, std::string const& version) const
{
    if (version.empty())
    {
        return Current(key);
    }
    if (auto const found = m_objects.find(key); found != m_objects.end())
    {
        for (SVersion const& stored : found->second)
        {
            if (stored.m_id == version && !stored.m_isDeleteMarker)
            {
                return stored;
            }
        }
    }
    Fail(404, "NoSuchVersion: " + key + " " + version);
}

std::string CMemoryStore::Add(std::string const& key, SVersion version)
{
    version.m_lastModified = CCurrentTimeAccessor::CurrentTime();
    version.m_id = m_keepsVersions ? std::string("v").append(std::to_string(++m_lastId)) : "";
    std::vector<SVersion>& versions = m_objects[key];
    if (!m_keepsVersions)
    {
        versions.clear();
    }
    versions.push_back(std::move(version));
    return versions.back().m_id;
}

void CMemoryStore::Remove(std::string const& key)
{
    if (m_keepsVersions)
    {
        Add(key, {.m_id = {}, .m_body = {}, .m_isDeleteMarker = true});
    }
    else
    {
        m_objects.erase(key);
    }
}

void CMemoryStore::RemoveVersion(std::string const& key, std::string const& version, bool evenImmutable)
{
    auto const found = m_objects.find(key);
    if (found == m_objects.end())
    {
        return;
    }
    std::erase_if(found->second,
                  [&](SVersion const& stored)
                  {
                      bool const matches = stored.m_id == version;
                      if (matches && !evenImmutable && stored.m_immutableTill > CCurrentTimeAccessor::CurrentTime())
                      {
                          Fail(403, "AccessDenied: " + key);
                      }
                      return matches;
                  });
    if (found->second.empty())
    {
        m_objects.erase(found);
    }
}

std::vector<std::string> CMemoryStore::KeysBelow(std::string const& prefix) const
{
    std::vector<std::string> keys;
    for (auto const& [key, versions] : m_objects)
    {
        if (key.starts_with(prefix))
        {
            keys.push_back(key);
        }
    }
    return keys;
}

// ---- Versions --------------------------------------------------------------------------------------------------------

class CMemoryVersioning final : public ICloudVersioningUtils, public std::enable_shared_from_this<CMemoryVersioning>
{
public:
    CMemoryVersioning(std::shared_ptr<CMemoryStore> store, std::size_t pageSize)
        : m_store(std::move(store)), m_pageSize(pageSize)
    {
    }

    task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs, pool_t) override
    {
        return Do("DownloadFileVersionAsync", path, version,
                  [=, this] { Fill(*bufs, m_store->Exactly(KeyOf(path), version).m_body); });
    }
    task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs, pool_t,
                                    unsigned long offset, unsigned long length) override
    {
        return Do("DownloadFileVersionAsync", path, version,
                  [=, this] { Fill(*bufs, RangeOf(m_store->Exactly(KeyOf(path), version).m_body, offset, length)); });
    }
    task_t UploadFileAsync(std::string const& path, bufs_t bufs, version_out_t version,
                           immutable_till_t immutableTill) override
    {
        return UploadFileWithMetadataAsync(path, bufs, {}, version, immutableTill);
    }
    task_t UploadFileWithMetadataAsync(std::string const& path, bufs_t bufs, object_metadata_t const& metadata,
                                       version_out_t version, immutable_till_t immutableTill) override
    {
        return Do("UploadFileAsync", path, "",
                  [=, this]
                  {
                      Return(version,
                             m_store->Add(KeyOf(path),
                                          {.m_id = {},
                                           .m_body = TextOf(*bufs),
                                           .m_immutableTill = immutableTill,
                                           .m_metadata = metadata}));
                  });
    }
    task_t CopyFileVersionAsync(std::string const& sourcePath, std::string const& sourceVersion,
                                std::string const& targetPath, version_out_t version,
                                immutable_till_t immutableTill) override
    {
        return Do("CopyFileVersionAsync", sourcePath, sourceVersion,
                  [=, this]
                  {
                      CMemoryStore::SVersion copy = m_store->Exactly(KeyOf(sourcePath), sourceVersion);
                      copy.m_immutableTill = immutableTill;
                      Return(version, m_store->Add(KeyOf(targetPath), std::move(copy)));
                  });
    }
    task_t UpdateFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                              datetime::CDateTime immutableTill) override
    {
        return Do("UpdateFileVersionImmutabilityAsync", path, version,
                  [=, this] {
                      const_cast<CMemoryStore::SVersion&>(m_store->Exactly(KeyOf(path), version)).m_immutableTill =
                          immutableTill;
                  });
    }
    task_t GetFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                           std::shared_ptr<immutable_till_t> immutableTill) override
    {
        return Do("GetFileVersionImmutabilityAsync", path, version,
                  [=, this] { *immutableTill = m_store->Exactly(KeyOf(path), version).m_immutableTill; });
    }
    task_t GetFileVersionMetadataAsync(std::string const& path, std::string const& version,
                                       std::shared_ptr<object_metadata_t> metadata) override
    {
        return Do("GetFileVersionMetadataAsync", path, version,
                  [=, this] { *metadata = m_store->Exactly(KeyOf(path), version).m_metadata; });
    }
    task_t DeleteFileVersionAsync(std::string const& path, std::string const& version) override
    {
        return Do("DeleteFileVersionAsync", path, version,
                  [=, this] { m_store->RemoveVersion(KeyOf(path), version, false); });
    }
    task_t DeleteFileVersionListAsync(std::vector<SCloudObjectPathVersionPair> const& versions) override
    {
        return Do("DeleteFileVersionListAsync", std::to_string(versions.size()), "",
                  [=, this]
                  {
                      for (SCloudObjectPathVersionPair const& pair : versions)
                      {
                          m_store->RemoveVersion(KeyOf(pair.m_path), pair.m_version.m_versionId, false);
                      }
                  });
    }
    task_t DeleteFolderAllVersionsAsync(std::string const& path) override
    {
        return Do("DeleteFolderAllVersionsAsync", path, "",
                  [=, this]
                  {
                      for (std::string const& key : m_store->KeysBelow(PrefixOf(path)))
                      {
                          m_store->m_objects.erase(key);
                      }
                  });
    }
    task_t QueryFileVersionsAsync(std::string const& path,
                                  std::shared_ptr<std::vector<SCloudObjectVersion>> versions) override
    {
        return Do("QueryFileVersionsAsync", path, "",
                  [=, this]
                  {
                      for (SCloudObjectPathVersionPair& pair : VersionsOf(KeyOf(path), KeyOf(path)))
                      {
                          versions->push_back(std::move(pair.m_version));
                      }
                  });
    }
    task_t QueryFolderVersionsAsync(std::string const& path,
                                    std::shared_ptr<std::vector<SCloudObjectPathVersionPair>> versions) override
    {
        return QueryFolderVersionsAsync(path,
                                        [versions](std::vector<SCloudObjectPathVersionPair> const& page)
                                        { versions->insert(versions->end(), page.begin(), page.end()); });
    }
    task_t QueryFolderVersionsAsync(
        std::string const& path, std::function<void(std::vector<SCloudObjectPathVersionPair> const&)> onPage) override
    {
        return Run(
            [self = shared_from_this(), path, onPage]
            {
                std::vector<SCloudObjectPathVersionPair> all;
                self->m_store->Do("QueryFolderVersionsAsync(" + path + ")",
                                  [&] { all = self->ChildrenOf(PrefixOf(path)); });
                InPages(all, self->m_pageSize, onPage);
            });
    }
    task_t QuerySubfoldersAsync(std::string const& path, std::shared_ptr<std::vector<std::string>> subfolders) override
    {
        return Do("QuerySubfoldersAsync", path, "",
                  [=, this]
                  {
                      std::set<std::string> names;
                      for (std::string const& key : m_store->KeysBelow(PrefixOf(path)))
                      {
                          std::string const name = key.substr(PrefixOf(path).size());
                          if (auto const end = name.find('/'); end != std::string::npos)
                          {
                              names.insert(name.substr(0, end));
                          }
                      }
                      subfolders->insert(subfolders->end(), names.begin(), names.end());
                  });
    }
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path, std::string const& version) override
    {
        std::string body;
        m_store->Do("StartDownload(" + path + ")", [&] { body = m_store->Exactly(KeyOf(path), version).m_body; });
        return std::make_shared<CMemoryDownload>(std::move(body));
    }
    std::shared_ptr<ICloudUploadVersioned> StartUpload(std::string const& path, unsigned long,
                                                       immutable_till_t immutableTill) override
    {
        return std::make_shared<CMemoryUpload>(m_store, path, immutableTill);
    }
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& version, std::string const&,
                                SRetrieveArchiveOptions const&) override
    {
        return Do("RetrieveArchiveAsync", sourcePath, version, [] {});
    }
    task_t GetArchiveRetrievalStatusAsync(std::string const& path, std::string const& version,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override
    {
        return Do("GetArchiveRetrievalStatusAsync", path, version, [=] { *status = {}; });
    }
    std::uint64_t GetFileVersionSize(std::string const& path, std::string const& version) override
    {
        std::uint64_t size = 0;
        m_store->Do("GetFileVersionSize(" + path + "," + version + ")",
                    [&] { size = m_store->Exactly(KeyOf(path), version).m_body.size(); });
        return size;
    }
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> const& source,
                                    std::string const& targetPath, version_out_t version,
                                    immutable_till_t immutableTill) override
    {
        return Do("CopyFileInterRegionAsync", targetPath, "",
                  [=, this]
                  {
                      Return(version,
                             m_store->Add(KeyOf(targetPath),
                                          {.m_id = {},
                                           .m_body = dynamic_cast<SMemorySource&>(*source).m_body,
                                           .m_immutableTill = immutableTill}));
                  });
    }
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path,
                                                                      std::string const& version) override
    {
        auto const source = std::make_shared<SMemorySource>();
        m_store->Do("GetFileInterRegionSource(" + path + ")",
                    [&] { source->m_body = m_store->Exactly(KeyOf(path), version).m_body; });
        return source;
    }
    task_t CheckAndUpdateImmutabilityAsync(std::string const& path, std::string const& version,
                                           datetime::CDateTime const& immutableTill) override
    {
        return UpdateFileVersionImmutabilityAsync(path, version, immutableTill);
    }
    task_t DeleteFileVersionIgnoreImmutabilityAsync(std::string const& path, std::string const& version) override
    {
        return Do("DeleteFileVersionIgnoreImmutabilityAsync", path, version,
                  [=, this] { m_store->RemoveVersion(KeyOf(path), version, true); });
    }

private:
    /// `work` may use this object: the task holds it.
    task_t Do(char const* operation, std::string const& path, std::string const& version, std::function<void()> work)
    {
        return Run([self = shared_from_this(), work = std::move(work),
                    call = std::string(operation) + "(" + path + (version.empty() ? "" : "," + version) + ")"]
                   { self->m_store->Do(call, work); });
    }

    static void Return(version_out_t const& out, std::string id)
    {
        if (out)
        {
            *out = std::move(id);
        }
    }

    /// The newest first, as stores list them; without delete markers.
    std::vector<SCloudObjectPathVersionPair> VersionsOf(std::string const& key, std::string const& name) const
    {
        std::vector<SCloudObjectPathVersionPair> pairs;
        if (auto const found = m_store->m_objects.find(key); found != m_store->m_objects.end())
        {
            for (auto stored = found->second.rbegin(); stored != found->second.rend(); ++stored)
            {
                if (!stored->m_isDeleteMarker)
                {
                    bool const isFolder = stored->m_body.empty() && key.ends_with('/');
                    pairs.emplace_back(name, stored->m_id, stored->m_body.size(), isFolder, stored->m_lastModified);
                }
            }
        }
        return pairs;
    }

    /// The versions of the objects directly below the prefix, then the subfolders; without the folder's own marker.
    std::vector<SCloudObjectPathVersionPair> ChildrenOf(std::string const& prefix) const
    {
        std::vector<SCloudObjectPathVersionPair> children;
        std::set<std::string> folders;
        for (std::string const& key : m_store->KeysBelow(prefix))
        {
            std::string const name = key.substr(prefix.size());
            if (auto const end = name.find('/'); end != std::string::npos)
            {
                folders.insert(name.substr(0, end));
            }
            else if (!name.empty())
            {
                std::ranges::move(VersionsOf(key, name), std::back_inserter(children));
            }
        }
        for (std::string const& folder : folders)
        {
            children.emplace_back(folder, "", 0, true, datetime::CDateTime(true));
        }
        return children;
    }

    std::shared_ptr<CMemoryStore> const m_store;
    std::size_t const m_pageSize;
};

// ---- Client ----------------------------------------------------------------------------------------------------------

CMemoryClient::CMemoryClient(std::shared_ptr<CMemoryStore> store, std::uint32_t concurrentTaskLimit,
                             std::size_t pageSize)
    : m_store(std::move(store)), m_concurrentTaskLimit(concurrentTaskLimit), m_pageSize(pageSize)
{
}

task_t CMemoryClient::DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t)
{
    return Run(
        [store = m_store, path, bufs]
        { store->Do("DownloadFileAsync(" + path + ")", [&] { Fill(*bufs, store->Current(KeyOf(path)).m_body); }); });
}

task_t CMemoryClient::DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t, unsigned long offset,
                                        unsigned long length)
{
    return Run(
        [store = m_store, path, bufs, offset, length]
        {
            store->Do("DownloadFileAsync(" + path + ")",
                      [&] { Fill(*bufs, RangeOf(store->Current(KeyOf(path)).m_body, offset, length)); });
        });
}

task_t CMemoryClient::UploadFileAsync(std::string const& path, bufs_t bufs)
{
    return Run(
        [store = m_store, path, bufs]
        {
            store->Do("UploadFileAsync(" + path + ")",
                      [&] { store->Add(KeyOf(path), {.m_id = {}, .m_body = TextOf(*bufs)}); });
        });
}

task_t CMemoryClient::CopyFileAsync(std::string const& itemPath, std::string const& newPath)
{
    return Run(
        [store = m_store, itemPath, newPath]
        {
            store->Do("CopyFileAsync(" + itemPath + "," + newPath + ")",
                      [&]
                      {
                          CMemoryStore::SVersion copy = store->Current(KeyOf(itemPath));
                          store->Add(KeyOf(newPath), std::move(copy));
                      });
        });
}

task_t CMemoryClient::DeleteFileAsync(std::string const& path)
{
    return Run([store = m_store, path]
               { store->Do("DeleteFileAsync(" + path + ")", [&] { store->Remove(KeyOf(path)); }); });
}

task_t CMemoryClient::DeleteFileListAsync(std::vector<std::string> const& paths)
{
    return Run(
        [store = m_store, paths]
        {
            store->Do("DeleteFileListAsync(" + std::to_string(paths.size()) + ")",
                      [&]
                      {
                          for (std::string const& path : paths)
                          {
                              store->Remove(KeyOf(path));
                          }
                      });
        });
}

std::uint64_t CMemoryClient::GetFileSize(std::string const& path)
{
    std::uint64_t size = 0;
    m_store->Do("GetFileSize(" + path + ")", [&] { size = m_store->Current(KeyOf(path)).m_body.size(); });
    return size;
}

bool CMemoryClient::IsFileExist(std::string const& path)
{
    bool exists = false;
    m_store->Do("IsFileExist(" + path + ")",
                [&]
                {
                    auto const found = m_store->m_objects.find(KeyOf(path));
                    exists = found != m_store->m_objects.end() && !found->second.back().m_isDeleteMarker;
                });
    return exists;
}

task_t CMemoryClient::IsFileExistAsync(std::string const& path, std::shared_ptr<bool> flag)
{
    return Run([client = CMemoryClient(m_store), path, flag]() mutable { *flag = client.IsFileExist(path); });
}

task_t CMemoryClient::CreateFolderAsync(std::string const& path)
{
    return Run([store = m_store, path]
               { store->Do("CreateFolderAsync(" + path + ")", [&] { store->Add(PrefixOf(path), {}); }); });
}

task_t CMemoryClient::DeleteFolderAsync(std::string const& path, std::shared_ptr<progress::progress_base_t>)
{
    return Run(
        [store = m_store, path]
        {
            store->Do("DeleteFolderAsync(" + path + ")",
                      [&]
                      {
                          for (std::string const& key : store->KeysBelow(PrefixOf(path)))
                          {
                              store->Remove(key);
                          }
                      });
        });
}

std::uint64_t CMemoryClient::GetFolderSize(std::string const& path)
{
    std::uint64_t size = 0;
    m_store->Do("GetFolderSize(" + path + ")",
                [&]
                {
                    for (std::string const& key : m_store->KeysBelow(PrefixOf(path)))
                    {
                        size += m_store->m_objects[key].back().m_body.size();
                    }
                });
    return size;
}

bool CMemoryClient::IsFolderExist(std::string const& path)
{
    return !QueryFolder(path).empty() || m_store->Objects().contains(PrefixOf(path));
}

std::vector<SCloudObjectInfo> CMemoryClient::QueryFolder(std::string const& path)
{
    auto const objects = std::make_shared<std::vector<SCloudObjectInfo>>();
    QueryFolderAsync(path, objects)->Wait();
    return *objects;
}

task_t CMemoryClient::QueryFolderAsync(std::string const& path, std::shared_ptr<std::vector<SCloudObjectInfo>> objects)
{
    return QueryFolderAsync(path,
                            [objects](std::vector<SCloudObjectInfo> const& page)
                            { objects->insert(objects->end(), page.begin(), page.end()); });
}

task_t CMemoryClient::QueryFolderAsync(std::string const& path,
                                       std::function<void(std::vector<SCloudObjectInfo> const&)> onPage)
{
    return Run(
        [store = m_store, path, onPage, pageSize = m_pageSize]
        {
            std::vector<SCloudObjectInfo> all;
            store->Do("QueryFolderAsync(" + path + ")",
                      [&]
                      {
                          std::set<std::string> folders;
                          for (std::string const& key : store->KeysBelow(PrefixOf(path)))
                          {
                              CMemoryStore::SVersion const& current = store->m_objects[key].back();
                              std::string const name = key.substr(PrefixOf(path).size());
                              auto const end = name.find('/');
                              if (current.m_isDeleteMarker || name.empty())
                              {
                                  continue;
                              }
                              if (end != std::string::npos)
                              {
                                  folders.insert(name.substr(0, end));
                                  continue;
                              }
                              all.emplace_back(name, current.m_body.size(), false);
                          }
                          for (std::string const& folder : folders)
                          {
                              all.emplace_back(folder, 0, true);
                          }
                      });
            InPages(all, pageSize, onPage);
        });
}

std::uint64_t CMemoryClient::GetObjectCount(std::string const& path)
{
    std::uint64_t count = 0;
    m_store->Do("GetObjectCount(" + path + ")", [&] { count = m_store->KeysBelow(PrefixOf(path)).size(); });
    return count;
}

std::int64_t CMemoryClient::GetStorageQuota()
{
    return std::numeric_limits<std::int64_t>::max();
}

std::uint32_t CMemoryClient::GetConcurrentTaskLimit()
{
    return m_concurrentTaskLimit;
}

std::string CMemoryClient::GetCloudContainerName()
{
    return "memory";
}

std::string CMemoryClient::GetAbsolutePath(std::string const& path)
{
    return path;
}

std::shared_ptr<task::IAsyncTaskUtils> CMemoryClient::CreateAsyncTaskUtils()
{
    return std::make_shared<CPplxTaskUtils>();
}

std::shared_ptr<ICloudDownload> CMemoryClient::StartDownload(std::string const& path)
{
    return GetVersioningUtils()->StartDownload(path, "");
}

std::shared_ptr<ICloudUpload> CMemoryClient::StartUpload(std::string const& path, unsigned long size)
{
    return GetVersioningUtils()->StartUpload(path, size, std::nullopt);
}

std::shared_ptr<ICloudVersioningUtils> CMemoryClient::GetVersioningUtils()
{
    return std::make_shared<CMemoryVersioning>(m_store, m_pageSize);
}

bool CMemoryClient::IsVersioningEnabled() const
{
    return m_store->m_keepsVersions;
}

std::shared_ptr<ICloudInterRegionSource> CMemoryClient::GetFileInterRegionSource(std::string const& path)
{
    return GetVersioningUtils()->GetFileInterRegionSource(path, "");
}

bool CMemoryClient::IsFileInterRegionSourceCompatible(std::shared_ptr<ICloudInterRegionSource> source)
{
    return dynamic_cast<SMemorySource*>(source.get()) != nullptr;
}

task_t CMemoryClient::CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> source,
                                               std::string const& targetPath)
{
    return GetVersioningUtils()->CopyFileInterRegionAsync(source, targetPath, nullptr, std::nullopt);
}

task_t CMemoryClient::RetrieveArchiveAsync(std::string const& sourcePath, std::string const& targetPath,
                                           SRetrieveArchiveOptions const& options)
{
    return GetVersioningUtils()->RetrieveArchiveAsync(sourcePath, "", targetPath, options);
}

task_t CMemoryClient::GetArchiveRetrievalStatusAsync(std::string const& path,
                                                     std::shared_ptr<SArchiveRetrievalStatus> status)
{
    return GetVersioningUtils()->GetArchiveRetrievalStatusAsync(path, "", status);
}

EArchiveRetrievalBehavior CMemoryClient::GetArchiveRetrievalBehavior() const
{
    return EArchiveRetrievalBehavior::NotNeeded;
}

std::shared_ptr<ICloudLock> CMemoryClient::Lock(std::string const& path, SCloudLockParams const&,
                                                std::shared_ptr<synch::completion_port_t>)
{
    m_store->Do("Lock(" + path + ")", [] {});
    return std::make_shared<CMemoryLock>();
}

std::shared_ptr<CServerTime> CMemoryClient::GetServerTime()
{
    return m_serverTime;
}

SBatchJobInfo CMemoryClient::StartBatchRestoreJob(SBatchManifestInfo const& manifest, SRetrieveArchiveOptions const&)
{
    m_store->Do("StartBatchRestoreJob(" + manifest.m_objectArn + ")", [] {});
    return {"job-" + manifest.m_objectArn};
}

SBatchJobStatus CMemoryClient::GetBatchJobStatus(SBatchJobInfo const& job)
{
    m_store->Do("GetBatchJobStatus(" + job.m_jobId + ")", [] {});
    return {SBatchJobStatus::Finished, "Complete"};
}

} // namespace bucketry::testing
