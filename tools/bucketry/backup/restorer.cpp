// SPDX-License-Identifier: Apache-2.0
#include "backup/restorer.h"

#include "backup/fetch.h"
#include "backup/names.h"
#include "backup/store.h"
#include "files.h"
#include "text.h"

#include "bucketry/base/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace bucketry::tool
{

namespace
{

using directory_t = std::shared_ptr<CFd>;

constexpr int DirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

/// The directory that a restore writes below. Every step of a path is opened on its own and no link is followed.
class CTarget
{
public:
    explicit CTarget(std::string path)
        : m_path(std::move(path)),
          m_root(std::make_shared<CFd>(OpenAt(AT_FDCWD, m_path, O_RDONLY | O_DIRECTORY, m_path)))
    {
    }

    std::string Shown(std::string_view path) const { return JoinPath(m_path, path); }

    /// The directory at a path below the target. It stays open as long as anybody holds it.
    directory_t Open(std::string_view path)
    {
        if (path.empty())
        {
            return m_root;
        }
        if (!m_last || m_lastPath != path)
        {
            directory_t const parent = Open(ParentOf(path));
            m_last = std::make_shared<CFd>(
                OpenAt(parent->Get(), std::string(BaseNameOf(path)), DirectoryFlags, Shown(path)));
            m_lastPath = path;
        }
        return m_last;
    }

    void MakeDirectory(std::string_view path)
    {
        directory_t const parent = Open(ParentOf(path));
        std::string const name(BaseNameOf(path));
        if (::mkdirat(parent->Get(), name.c_str(), 0700) != 0 && errno != EEXIST)
        {
            ThrowSystemError("make the directory", Shown(path));
        }
        Open(path); // what was there already must be a directory
    }

    void MakeLink(SEntry const& entry)
    {
        directory_t const parent = Open(ParentOf(entry.m_path));
        std::string const name(BaseNameOf(entry.m_path));
        std::string const temporary = TemporaryName();
        if (::symlinkat(entry.m_target.c_str(), parent->Get(), temporary.c_str()) != 0)
        {
            ThrowSystemError("make the link", Shown(entry.m_path));
        }
        std::array<timespec, 2> const times{timespec{0, UTIME_OMIT}, entry.m_modified};
        if (::utimensat(parent->Get(), temporary.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0 ||
            ::renameat(parent->Get(), temporary.c_str(), parent->Get(), name.c_str()) != 0)
        {
            int const error = errno;
            ::unlinkat(parent->Get(), temporary.c_str(), 0);
            errno = error;
            ThrowSystemError("make the link", Shown(entry.m_path));
        }
    }

private:
    std::string const m_path;
    directory_t const m_root;
    std::string m_lastPath;
    directory_t m_last; ///< the directory at m_lastPath
};

/// The bits that are set again. Owners are not kept, so a file must not gain the rights of whoever restores it.
SFileAttributes AttributesOf(SEntry const& entry)
{
    mode_t const dropped = entry.IsFile() ? S_ISUID | S_ISGID : 0;
    return {entry.m_mode & ~dropped, entry.m_modified};
}

struct SCounts
{
    std::uint64_t m_files = 0;
    std::uint64_t m_directories = 0;
    std::uint64_t m_links = 0;
    std::uint64_t m_bytes = 0;
};

/// Writes the content of one file as it comes.
class CFileReceiver final : public IContentReceiver
{
public:
    CFileReceiver(COutput& output, CProgress& progress, SCounts& counts, CTarget& target, SEntry const& entry)
        : m_output(output),
          m_progress(progress),
          m_counts(counts),
          m_entry(entry),
          m_shownPath(target.Shown(entry.m_path)),
          m_directory(target.Open(ParentOf(entry.m_path))),
          m_file(std::in_place, m_directory->Get(), std::string(BaseNameOf(entry.m_path)), m_shownPath, 0600)
    {
    }

    void OnData(unsigned char const* data, std::size_t size) override
    {
        Attempt([this, data, size] { m_file->Write(data, size); });
        m_progress.Add({size, 0});
    }

    void OnEnd(SFetchOutcome const& outcome) override
    {
        m_progress.Add({0, 1});
        if (!outcome.IsWhole())
        {
            m_output.Problem(outcome.m_kind, outcome.m_object, outcome.m_text);
            m_file.reset();
            return;
        }
        Attempt(
            [this]
            {
                m_file->SetAttributes(AttributesOf(m_entry));
                m_file->Commit();
                m_file.reset();
                ++m_counts.m_files;
                m_counts.m_bytes += m_entry.m_size;
            });
    }

private:
    /// A file that cannot be written is given up; the rest goes on.
    template <class TStep>
    void Attempt(TStep const& step)
    {
        if (!m_file)
        {
            return;
        }
        try
        {
            step();
        }
        catch (CSystemError const& error)
        {
            m_output.Problem("failed", m_shownPath, "Could not be restored, " + error.Reason());
            m_file.reset();
        }
    }

    COutput& m_output;
    CProgress& m_progress;
    SCounts& m_counts;
    SEntry const& m_entry;
    std::string const m_shownPath;
    directory_t const m_directory;
    std::optional<CReplacementFile> m_file; ///< empty once it is finished or given up
};

/// Carries one manifest out.
class CRestorer
{
public:
    CRestorer(CHost& host, SManifest const& manifest, std::string const& path, std::string const& directory)
        : m_host(host),
          m_output(host.Output()),
          m_manifest(manifest),
          m_runFolder(RunFolder(path, manifest.m_run)),
          m_target(directory),
          m_progress(m_output.StartProgress()),
          m_window(host.Bodies(EAccess::Read).GetConcurrentTaskLimit())
    {
        m_progress.SetTotal({manifest.TotalBytes(), manifest.CountFiles()});
    }

    void Run()
    {
        for (SEntry const& entry : m_manifest.m_entries)
        {
            Attempt(entry, [this, &entry] { RestoreEntry(entry); });
        }
        m_window.Drain();
        // A directory gets its mode and time when nothing in it changes any more, and may then be closed to us.
        for (auto made = m_madeDirectories.rbegin(); made != m_madeDirectories.rend(); ++made)
        {
            SEntry const* const entry = *made;
            Attempt(*entry,
                    [this, entry] {
                        ApplyAttributes(*m_target.Open(entry->m_path), AttributesOf(*entry),
                                        m_target.Shown(entry->m_path));
                    });
        }
    }

    bool ShowSummary(std::string const& path, std::string const& directory)
    {
        std::uint64_t failed = 0;
        for (std::string_view const kind : {"changed", "missing", "unreadable", "failed"})
        {
            failed += m_output.CountProblems(kind);
        }
        CJsonObject json;
        json.Add("path", path).Add("directory", directory).Add("complete", m_manifest.IsComplete());
        std::string const title = util::str_format("Restored [%1] to [%2]%3", Printable(path), Printable(directory),
                                                   failed == 0 ? "" : ", incomplete");
        m_output.Summary(failed == 0, title, json,
                         {{"files", "files", m_counts.m_files},
                          {"directories", "directories", m_counts.m_directories},
                          {"links", "links", m_counts.m_links},
                          {"bytes", "bytes", m_counts.m_bytes, true},
                          {"failed", "problems", failed}},
                         m_progress);
        return failed == 0;
    }

private:
    void RestoreEntry(SEntry const& entry)
    {
        switch (entry.m_kind)
        {
        case EEntryKind::Directory:
            if (!entry.m_path.empty())
            {
                m_target.MakeDirectory(entry.m_path);
            }
            m_madeDirectories.push_back(&entry);
            ++m_counts.m_directories;
            break;
        case EEntryKind::Link:
            m_target.MakeLink(entry);
            ++m_counts.m_links;
            break;
        case EEntryKind::Unread:
            m_output.Problem("unreadable", entry.m_path, "The backup is incomplete; this could not be read");
            break;
        case EEntryKind::TornFile:
            m_output.Problem("changed", entry.m_path, "The backup is incomplete; this changed while it was read");
            [[fallthrough]];
        case EEntryKind::File:
            FetchContent(m_host, m_window, m_runFolder, entry,
                         std::make_shared<CFileReceiver>(m_output, m_progress, m_counts, m_target, entry));
            break;
        }
    }

    template <class TStep>
    void Attempt(SEntry const& entry, TStep const& step)
    {
        try
        {
            step();
        }
        catch (CSystemError const& error)
        {
            m_output.Problem("failed", m_target.Shown(entry.m_path), "Could not be restored, " + error.Reason());
        }
    }

    CHost& m_host;
    COutput& m_output;
    SManifest const& m_manifest;
    std::string const m_runFolder;
    CTarget m_target;
    CProgress m_progress;
    SCounts m_counts;
    std::vector<SEntry const*> m_madeDirectories;
    CTaskWindow m_window; ///< the last member: its operations go first
};

void PrepareDirectory(std::string const& directory, bool overwrite)
{
    namespace fs = std::filesystem;
    util::fs_make_directory(util::fs_merge_path(directory, ""));
    if (!overwrite && fs::directory_iterator(directory) != fs::directory_iterator())
    {
        throw exc::CRuntimeExc("The directory [%1] is not empty; --overwrite restores into it nevertheless.",
                               Printable(directory));
    }
}

} // namespace

bool Restore(CHost& host, std::string const& path, std::string const& directory, bool overwrite)
{
    SManifest const manifest = LoadManifest(host, path);
    PrepareDirectory(directory, overwrite);
    CRestorer restorer(host, manifest, path, directory);
    restorer.Run();
    return restorer.ShowSummary(path, directory);
}

} // namespace bucketry::tool
