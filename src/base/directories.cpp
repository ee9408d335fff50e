// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/files.h"

#include "posix_handle.h"

#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bucketry::posix
{

namespace
{

constexpr int OpenDirectory = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

struct SEntry
{
    std::string m_name;
    unsigned char m_type; ///< DT_DIR, DT_LNK, ...; DT_UNKNOWN where the file system does not say
};

struct SDirCloser
{
    void operator()(DIR* directory) const { ::closedir(directory); }
};

// An open directory whose entries are read at once, so that they may be deleted meanwhile.
class CDirectory
{
public:
    CDirectory(CHandle handle, std::string path) : m_path(std::move(path)), m_directory(::fdopendir(handle.Get()))
    {
        if (!m_directory)
        {
            ThrowSystemError("list", m_path, errno);
        }
        handle.Release();
    }

    int Handle() const { return ::dirfd(m_directory.get()); }
    std::string PathOf(std::string const& name) const { return util::fs_merge_path(m_path, name); }

    std::vector<SEntry> ReadEntries() const
    {
        std::vector<SEntry> entries;
        for (;;)
        {
            errno = 0;
            ::dirent const* const entry = ::readdir(m_directory.get());
            if (entry == nullptr && errno != 0)
            {
                ThrowSystemError("list", m_path, errno);
            }
            if (entry == nullptr)
            {
                return entries;
            }
            std::string_view const name = entry->d_name;
            if (name != "." && name != "..")
            {
                entries.push_back({std::string(name), entry->d_type});
            }
        }
    }

    // The type of an entry, seen through links if wished; DT_UNKNOWN if nothing is there, or nothing that a link leads
    // to.
    unsigned char TypeOf(SEntry const& entry, bool followLinks) const
    {
        bool const isKnown = entry.m_type != DT_UNKNOWN && !(followLinks && entry.m_type == DT_LNK);
        if (isKnown)
        {
            return entry.m_type;
        }
        struct ::stat info
        {
        };
        int const flags = followLinks ? 0 : AT_SYMLINK_NOFOLLOW;
        if (::fstatat(Handle(), entry.m_name.c_str(), &info, flags) == 0)
        {
            return static_cast<unsigned char>(IFTODT(info.st_mode));
        }
        if (errno != ENOENT && errno != ELOOP)
        {
            ThrowSystemError("look at", PathOf(entry.m_name), errno);
        }
        return DT_UNKNOWN;
    }

    // A handle on a directory below, never through a link; negative with errno if there is none.
    int OpenBelow(std::string const& name) const
    {
        return Uninterrupted([&] { return ::openat(Handle(), name.c_str(), OpenDirectory | O_NOFOLLOW); });
    }

private:
    std::string const m_path;
    std::unique_ptr<DIR, SDirCloser> const m_directory;
};

void DeleteContent(CDirectory const& directory)
{
    for (SEntry const& entry : directory.ReadEntries())
    {
        char const* const name = entry.m_name.c_str();
        bool const isGone = ::unlinkat(directory.Handle(), name, 0) == 0 || errno == ENOENT;
        if (isGone)
        {
            continue;
        }
        std::string const path = directory.PathOf(entry.m_name);
        if (errno != EISDIR)
        {
            ThrowSystemError("delete", path, errno);
        }
        int const handle = directory.OpenBelow(entry.m_name);
        if (handle < 0)
        {
            ThrowSystemError("list", path, errno);
        }
        DeleteContent(CDirectory(CHandle(handle), path));
        if (::unlinkat(directory.Handle(), name, AT_REMOVEDIR) != 0 && errno != ENOENT)
        {
            ThrowSystemError("delete", path, errno);
        }
    }
}

} // namespace

} // namespace bucketry::posix

namespace bucketry::util
{

using namespace posix;

std::string fs_merge_path(std::string const& first, std::string const& second)
{
    std::size_t const firstEnd = first.find_last_not_of('/') + 1; // 0 for nothing but delimiters
    std::size_t const secondStart = std::min(second.find_first_not_of('/'), second.size());
    return first.substr(0, firstEnd) + "/" + second.substr(secondStart);
}

void fs_make_directory(std::string const& path)
{
    ToSystemPath("make the directory", path);
    std::string const directory = path.substr(0, path.rfind('/') + 1);
    if (directory.empty() || fs_is_directory_exists(directory))
    {
        return;
    }
    for (std::size_t end = directory.find('/', 1); end != std::string::npos; end = directory.find('/', end + 1))
    {
        std::string const part = directory.substr(0, end);
        if (::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST)
        {
            ThrowSystemError("make the directory", part, errno);
        }
    }
    if (!fs_is_directory_exists(directory))
    {
        ThrowSystemError("make the directory", directory, ENOTDIR);
    }
}

void fs_directory_delete(std::string const& path)
{
    std::size_t const end = path.find_last_not_of('/');
    std::string const bare = end == std::string::npos ? path : path.substr(0, end + 1); // "link/" would follow the link
    DeleteContent(CDirectory(CHandle(OpenExc("delete the directory", bare, OpenDirectory | O_NOFOLLOW)), bare));
    if (::rmdir(bare.c_str()) != 0)
    {
        ThrowSystemError("delete the directory", bare, errno);
    }
}

} // namespace bucketry::util

namespace bucketry::filesys::browser
{

using namespace posix;

namespace
{

struct SSubDirectoryQuery
{
    bool m_followLinks;
    bool m_recursive;
    bool m_includeHidden;
    bool m_skipUnreadable;
};

// Adds the directories below one directory, each before what is in it.
void AddSubDirectories(CDirectory const& directory, SSubDirectoryQuery const& query, std::vector<CFsItemInfo>& found)
{
    for (SEntry const& entry : directory.ReadEntries())
    {
        bool const isWanted = query.m_includeHidden || !entry.m_name.starts_with('.');
        if (!isWanted || directory.TypeOf(entry, query.m_followLinks) != DT_DIR)
        {
            continue;
        }
        CFsItemInfo const item(directory.PathOf(entry.m_name), entry.m_name);
        if (!query.m_recursive || directory.TypeOf(entry, false) != DT_DIR)
        {
            found.push_back(item);
            continue;
        }
        int const handle = directory.OpenBelow(entry.m_name);
        if (handle >= 0)
        {
            found.push_back(item);
            AddSubDirectories(CDirectory(CHandle(handle), item.GetPath()), query, found);
        }
        else if (!query.m_skipUnreadable || errno != EACCES)
        {
            ThrowSystemError("list", item.GetPath(), errno);
        }
    }
}

} // namespace

CFsItemInfo::CFsItemInfo(std::string path, std::string name) : m_path(std::move(path)), m_name(std::move(name)) {}

CFsDirectoryInfo::CFsDirectoryInfo(std::string path) : m_path(std::move(path)) {}

std::vector<CFsItemInfo> CFsDirectoryInfo::EnumFiles(bool followLinks) const
{
    CDirectory const directory(CHandle(OpenExc("list", m_path, OpenDirectory)), m_path);
    std::vector<CFsItemInfo> files;
    for (SEntry const& entry : directory.ReadEntries())
    {
        unsigned char const type = directory.TypeOf(entry, followLinks);
        if (type != DT_DIR && type != DT_UNKNOWN)
        {
            files.emplace_back(directory.PathOf(entry.m_name), entry.m_name);
        }
    }
    return files;
}

std::vector<CFsItemInfo> CFsDirectoryInfo::EnumSubDirectories(bool followLinks, bool recursive, bool includeHidden,
                                                              bool skipUnreadable) const
{
    CDirectory const directory(CHandle(OpenExc("list", m_path, OpenDirectory)), m_path);
    std::vector<CFsItemInfo> found;
    AddSubDirectories(directory, {followLinks, recursive, includeHidden, skipUnreadable}, found);
    return found;
}

} // namespace bucketry::filesys::browser
