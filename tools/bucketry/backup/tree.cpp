// SPDX-License-Identifier: Apache-2.0
#include "backup/tree.h"

#include "host.h"
#include "text.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

namespace bucketry::tool
{

namespace
{

/// Files that are not regular must neither block nor become the controlling terminal when opened.
constexpr int OpenFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

struct SName
{
    std::string m_name;
    unsigned char m_type = DT_UNKNOWN;
};

struct SCloseDirectory
{
    void operator()(DIR* directory) const noexcept { ::closedir(directory); }
};
using directory_t = std::unique_ptr<DIR, SCloseDirectory>;

directory_t OpenDirectory(int at, std::string const& name, int flags, std::string const& path)
{
    int const fd = ::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags);
    directory_t directory(fd >= 0 ? ::fdopendir(fd) : nullptr);
    if (!directory)
    {
        ThrowSystemError("open the directory", path);
    }
    return directory;
}

std::vector<SName> ReadNames(DIR* directory, std::string const& path)
{
    std::vector<SName> names;
    while (true)
    {
        errno = 0;
        dirent const* const entry = ::readdir(directory);
        if (entry == nullptr)
        {
            break;
        }
        std::string_view const name = entry->d_name;
        if (name != "." && name != "..")
        {
            names.push_back({std::string(name), entry->d_type});
        }
    }
    if (errno != 0)
    {
        ThrowSystemError("read the directory", path);
    }
    std::ranges::sort(names, {}, &SName::m_name); // std::string compares its bytes as unsigned ones
    return names;
}

SEntry MakeEntry(EEntryKind kind, std::string path, struct stat const& status)
{
    SEntry entry;
    entry.m_kind = kind;
    entry.m_path = std::move(path);
    entry.m_mode = kind == EEntryKind::Link ? 0 : status.st_mode & 07777;
    entry.m_modified = status.st_mtim;
    return entry;
}

class CTreeWalker
{
public:
    CTreeWalker(std::string root, std::optional<directory_id_t> const& leaveOut, ITreeVisitor& visitor)
        : m_root(std::move(root)), m_leaveOut(leaveOut), m_visitor(visitor)
    {
    }

    void Walk()
    {
        directory_t const directory = OpenDirectory(AT_FDCWD, m_root, 0, m_root);
        std::vector<SName> const names = ReadNames(directory.get(), m_root);
        WalkOpened(directory.get(), names, "");
    }

private:
    void WalkOpened(DIR* directory, std::vector<SName> const& names, std::string const& path)
    {
        int const fd = ::dirfd(directory);
        struct stat status
        {
        };
        if (::fstat(fd, &status) != 0)
        {
            ThrowSystemError("read", Shown(path));
        }
        if (m_leaveOut == std::pair(status.st_dev, status.st_ino))
        {
            if (path.empty())
            {
                throw exc::CRuntimeExc("The directory [%1] is the storage itself.", Printable(m_root));
            }
            m_visitor.OnSkipped(path, "The storage itself lies here and is left out");
            return;
        }
        m_visitor.OnEntry(MakeEntry(EEntryKind::Directory, path, status));
        for (SName const& name : names)
        {
            Visit(fd, name, JoinPath(path, name.m_name));
        }
    }

    void Visit(int parent, SName const& name, std::string const& path)
    {
        switch (KindOf(parent, name))
        {
        case DT_REG:
            return VisitFile(parent, name.m_name, path);
        case DT_DIR:
            return VisitDirectory(parent, name.m_name, path);
        case DT_LNK:
            return VisitLink(parent, name.m_name, path);
        case DT_UNKNOWN:
            return m_visitor.OnUnreadable(path, "it has gone, or cannot be looked at");
        default:
            return m_visitor.OnSkipped(path, "Neither file, directory nor link, so left out");
        }
    }

    /// What the directory said, or where the file system keeps that for itself, what the status says.
    static unsigned char KindOf(int parent, SName const& name)
    {
        struct stat status
        {
        };
        if (name.m_type != DT_UNKNOWN || ::fstatat(parent, name.m_name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        {
            return name.m_type;
        }
        return static_cast<unsigned char>(IFTODT(status.st_mode));
    }

    void VisitFile(int parent, std::string const& name, std::string const& path)
    {
        CFd file(::openat(parent, name.c_str(), OpenFlags | O_CLOEXEC));
        struct stat status
        {
        };
        if (!file || ::fstat(file.Get(), &status) != 0)
        {
            return m_visitor.OnUnreadable(path, std::generic_category().message(errno));
        }
        if (!S_ISREG(status.st_mode))
        {
            return m_visitor.OnUnreadable(path, "it has become something else meanwhile");
        }
        m_visitor.OnFile(MakeEntry(EEntryKind::File, path, status), std::move(file), status);
    }

    void VisitDirectory(int parent, std::string const& name, std::string const& path)
    {
        directory_t directory;
        std::vector<SName> names;
        try
        {
            directory = OpenDirectory(parent, name, O_NOFOLLOW, Shown(path));
            names = ReadNames(directory.get(), Shown(path));
        }
        catch (CSystemError const& error)
        {
            return m_visitor.OnUnreadable(path, error.Reason());
        }
        WalkOpened(directory.get(), names, path);
    }

    void VisitLink(int parent, std::string const& name, std::string const& path)
    {
        struct stat status
        {
        };
        std::string target(4097, '\0'); // a link holds at most PATH_MAX bytes
        ssize_t const size = ::readlinkat(parent, name.c_str(), target.data(), target.size());
        if (size < 0 || ::fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        {
            return m_visitor.OnUnreadable(path, std::generic_category().message(errno));
        }
        target.resize(static_cast<std::size_t>(size));
        SEntry entry = MakeEntry(EEntryKind::Link, path, status);
        entry.m_target = std::move(target);
        m_visitor.OnEntry(std::move(entry));
    }

    std::string Shown(std::string const& path) const { return JoinPath(m_root, path); }

    std::string const m_root;
    std::optional<directory_id_t> const m_leaveOut;
    ITreeVisitor& m_visitor;
};

bool IsDirectory(std::filesystem::path const& path, std::optional<directory_id_t> const& id)
{
    struct stat status
    {
    };
    return id && ::lstat(path.c_str(), &status) == 0 && *id == std::pair(status.st_dev, status.st_ino);
}

} // namespace

void WalkTree(std::string const& directory, std::optional<directory_id_t> const& leaveOut, ITreeVisitor& visitor)
{
    CTreeWalker(directory, leaveOut, visitor).Walk();
}

SAmount MeasureTree(std::string const& directory, std::optional<directory_id_t> const& leaveOut)
{
    namespace fs = std::filesystem;
    SAmount amount;
    std::error_code error;
    fs::recursive_directory_iterator at(directory, fs::directory_options::skip_permission_denied, error);
    for (; !error && at != fs::recursive_directory_iterator(); at.increment(error))
    {
        std::error_code ignored;
        if (at->is_symlink(ignored))
        {
            continue;
        }
        if (at->is_directory(ignored))
        {
            if (IsDirectory(at->path(), leaveOut))
            {
                at.disable_recursion_pending();
            }
        }
        else if (at->is_regular_file(ignored))
        {
            auto const size = at->file_size(ignored);
            amount.m_bytes += ignored ? 0 : size;
            ++amount.m_files;
        }
    }
    return amount;
}

CContentReader::CContentReader(CFd file, struct stat const& status, std::string shownPath)
    : m_file(std::move(file)),
      m_status(status),
      m_shownPath(std::move(shownPath)),
      m_expected(static_cast<std::uint64_t>(status.st_size))
{
}

std::size_t CContentReader::Read(unsigned char* buffer, std::size_t size)
{
    std::size_t const count = ReadUpTo(m_file, buffer, size, m_shownPath);
    m_hash.Update(buffer, count);
    m_done += count;
    return count;
}

void CContentReader::Finish(SEntry& entry)
{
    struct stat now
    {
    };
    if (::fstat(m_file.Get(), &now) != 0)
    {
        ThrowSystemError("read", m_shownPath);
    }
    auto const isSame = [](timespec const& a, timespec const& b)
    { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; };
    bool const isUntouched = now.st_size == m_status.st_size && isSame(now.st_mtim, m_status.st_mtim);
    entry.m_kind = isUntouched && m_done == m_expected ? EEntryKind::File : EEntryKind::TornFile;
    entry.m_size = m_done;
    entry.m_sha256 = m_hash.Finish();
}

} // namespace bucketry::tool
