// SPDX-License-Identifier: Apache-2.0
#include "backup/verifier.h"

#include "backup/fetch.h"
#include "backup/names.h"
#include "backup/store.h"
#include "backup/tree.h"
#include "listing.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

namespace bucketry::tool
{

namespace
{

constexpr std::array<std::string_view, 5> FailureKinds{"changed", "missing", "extra", "unreadable", "failed"};
constexpr std::size_t ScratchBytes = std::size_t(1) << 20;

/// Reports how a file's stored content turned out.
class CCheckReceiver final : public IContentReceiver
{
public:
    CCheckReceiver(COutput& output, CProgress& progress) : m_output(output), m_progress(progress) {}

    void OnData(unsigned char const* /*data*/, std::size_t size) override { m_progress.Add({size, 0}); }
    void OnEnd(SFetchOutcome const& outcome) override
    {
        if (!outcome.IsWhole())
        {
            m_output.Problem(outcome.m_kind, outcome.m_object, outcome.m_text);
        }
    }

private:
    COutput& m_output;
    CProgress& m_progress;
};

/// The objects of a backup against its manifest.
class CObjectCheck
{
public:
    CObjectCheck(CHost& host, SManifest const& manifest, std::string const& path, CProgress& progress)
        : m_host(host),
          m_manifest(manifest),
          m_path(path),
          m_runFolder(RunFolder(path, manifest.m_run)),
          m_receiver(std::make_shared<CCheckReceiver>(host.Output(), progress)),
          m_window(host.Bodies(EAccess::Read).GetConcurrentTaskLimit())
    {
    }

    /// How many objects were held against the manifest.
    std::uint64_t Run()
    {
        List();
        std::uint64_t const found = m_found.size();
        for (SEntry const& entry : m_manifest.m_entries)
        {
            if (entry.IsFile() && AreAllFound(entry))
            {
                FetchContent(m_host, m_window, m_runFolder, entry, m_receiver);
            }
        }
        m_window.Drain();
        std::vector<std::string> extra(m_found.begin(), m_found.end());
        std::ranges::sort(extra);
        for (std::string const& object : extra)
        {
            m_host.Output().Problem("extra", object, "This object does not belong to the backup");
        }
        return found;
    }

private:
    void List()
    {
        auto const visit = [this](std::string const& object, SCloudObjectInfo const&) { m_found.insert(object); };
        auto const enter = [this](std::string const& folder)
        {
            bool const isLeftOver = IsRunFolder(m_path, folder) && folder != m_runFolder;
            if (isLeftOver)
            {
                m_host.Output().Problem("extra", folder, "Another backup that did not end has left objects here");
            }
            return !isLeftOver;
        };
        WalkFolder(m_host.Bodies(EAccess::Read), m_path, visit, enter);
        m_found.erase(ManifestPath(m_path));
    }

    /// Takes the objects of the file off those that were listed, and names the missing ones.
    bool AreAllFound(SEntry const& entry)
    {
        bool areAllFound = true;
        for (SStoredPiece const& piece : PiecesOf(m_runFolder, entry))
        {
            if (m_found.erase(piece.m_path) == 0)
            {
                m_host.Output().Problem("missing", piece.m_path, "This object is missing");
                areAllFound = false;
            }
        }
        return areAllFound;
    }

    CHost& m_host;
    SManifest const& m_manifest;
    std::string const m_path;
    std::string const m_runFolder;
    std::shared_ptr<IContentReceiver> const m_receiver;
    std::unordered_set<std::string> m_found;
    CTaskWindow m_window; ///< the last member: its operations go first
};

/// A directory against a manifest: both come in the same order, so that one pass over the two is enough.
class CTreeCheck final : public ITreeVisitor
{
public:
    CTreeCheck(COutput& output, SManifest const& manifest, std::string const& directory, CProgress& progress)
        : m_output(output),
          m_directory(directory),
          m_progress(progress),
          m_next(manifest.m_entries.begin()),
          m_end(manifest.m_entries.end())
    {
    }

    void Run(std::optional<directory_id_t> const& leaveOut)
    {
        WalkTree(m_directory, leaveOut, *this);
        while (m_next != m_end)
        {
            ReportMissing(*m_next++);
        }
    }

    void OnEntry(SEntry entry) override
    {
        SEntry const* const expected = Expected(entry.m_path);
        if (IsSameKind(expected, entry) && (entry.m_mode != expected->m_mode || entry.m_target != expected->m_target))
        {
            m_output.Problem("changed", Shown(entry.m_path),
                             entry.m_kind == EEntryKind::Link ? "The link leads elsewhere" : "The mode is another");
        }
    }

    void OnFile(SEntry entry, CFd file, struct stat const& status) override
    {
        SEntry const* const expected = Expected(entry.m_path);
        if (!IsSameKind(expected, entry))
        {
            return;
        }
        if (PlainMode(entry.m_mode) != PlainMode(expected->m_mode))
        {
            m_output.Problem("changed", Shown(entry.m_path), "The mode is another");
        }
        CContentReader reader(std::move(file), status, Shown(entry.m_path));
        if (reader.Remaining() != expected->m_size || !HasContent(reader, entry, *expected))
        {
            m_output.Problem("changed", Shown(entry.m_path), "The content is another");
        }
        m_progress.Add({expected->m_size, 1});
    }

    void OnUnreadable(std::string path, std::string const& reason) override
    {
        m_output.Problem("unreadable", Shown(path), "Could not be read, " + reason);
        if (Expected(path) != nullptr)
        {
            std::string const below = path + '/';
            m_next =
                std::find_if(m_next, m_end, [&below](SEntry const& entry) { return !entry.m_path.starts_with(below); });
        }
    }

    void OnSkipped(std::string const& path, std::string_view reason) override
    {
        if (Expected(path) != nullptr)
        {
            m_output.Problem("changed", Shown(path), "It is of another kind");
        }
        else
        {
            m_output.Problem("skipped", Shown(path), reason);
        }
    }

private:
    /// A restore does not set these two for files, since owners are not kept.
    static mode_t PlainMode(mode_t mode) { return mode & ~static_cast<mode_t>(S_ISUID | S_ISGID); }

    std::string Shown(std::string const& path) const { return JoinPath(m_directory, path); }

    /// The manifest's entry for a path of the walk, if there is one. Those before it have not been met, so they are
    /// missing.
    SEntry const* Expected(std::string const& path)
    {
        while (m_next != m_end && IsPathBefore(m_next->m_path, path))
        {
            ReportMissing(*m_next++);
        }
        return m_next != m_end && m_next->m_path == path ? &*m_next++ : nullptr;
    }

    void ReportMissing(SEntry const& entry)
    {
        if (entry.m_kind != EEntryKind::Unread)
        {
            m_output.Problem("missing", Shown(entry.m_path), "This is in the backup, but not in the directory");
        }
    }

    /// Whether there is something to compare; reports what is not in the backup or of another kind there.
    bool IsSameKind(SEntry const* expected, SEntry const& entry)
    {
        if (expected == nullptr)
        {
            m_output.Problem("extra", Shown(entry.m_path), "This is not in the backup");
            return false;
        }
        if (expected->m_kind == EEntryKind::Unread)
        {
            return false; // that the backup lacks it has been said
        }
        bool const isSame = entry.IsFile() ? expected->IsFile() : entry.m_kind == expected->m_kind;
        if (!isSame)
        {
            m_output.Problem("changed", Shown(entry.m_path), "It is of another kind");
        }
        return isSame;
    }

    bool HasContent(CContentReader& reader, SEntry& entry, SEntry const& expected)
    {
        try
        {
            while (reader.Read(m_scratch.data(), m_scratch.size()) == m_scratch.size())
            {
            }
            reader.Finish(entry);
        }
        catch (CSystemError const& error)
        {
            m_output.Problem("unreadable", Shown(entry.m_path), "Could not be read, " + error.Reason());
            return true;
        }
        return entry.m_sha256 == expected.m_sha256;
    }

    COutput& m_output;
    std::string const m_directory;
    CProgress& m_progress;
    std::vector<SEntry>::const_iterator m_next; ///< the first entry that the walk has not reached
    std::vector<SEntry>::const_iterator const m_end;
    std::vector<unsigned char> m_scratch = std::vector<unsigned char>(ScratchBytes);
};

void ReportIncomplete(COutput& output, SManifest const& manifest)
{
    for (SEntry const& entry : manifest.m_entries)
    {
        if (entry.m_kind == EEntryKind::Unread)
        {
            output.Problem("unreadable", entry.m_path, "The backup is incomplete; this could not be read");
        }
        else if (entry.m_kind == EEntryKind::TornFile)
        {
            output.Problem("changed", entry.m_path, "The backup is incomplete; this changed while it was read");
        }
    }
}

bool ShowSummary(COutput& output, SManifest const& manifest, std::string const& directory, std::string const& path,
                 std::uint64_t objects, CProgress const& progress)
{
    std::vector<SSummaryRow> rows{{"entries", "entries", manifest.m_entries.size()},
                                  {"files", "files", manifest.CountFiles()},
                                  {"objects", "objects", objects},
                                  {"bytes", "bytes", manifest.TotalBytes(), true}};
    std::uint64_t failures = 0;
    for (std::string_view const kind : FailureKinds)
    {
        rows.push_back({std::string(kind), std::string(kind), output.CountProblems(kind)});
        failures += rows.back().m_value;
    }
    std::string const title = util::str_format("%1: [%2] and [%3]", failures == 0 ? "Verified" : "NOT the same",
                                               Printable(directory), Printable(path));
    CJsonObject json;
    json.Add("directory", directory).Add("path", path).Add("complete", manifest.IsComplete());
    output.Summary(failures == 0, title, json, rows, progress);
    return failures == 0;
}

} // namespace

bool Verify(CHost& host, std::string const& directory, std::string const& path)
{
    COutput& output = host.Output();
    SManifest const manifest = LoadManifest(host, path);
    CProgress progress = output.StartProgress();
    progress.SetTotal(
        {2 * manifest.TotalBytes(), manifest.CountFiles()}); // each byte from the storage and from the tree
    ReportIncomplete(output, manifest);
    std::uint64_t const objects = CObjectCheck(host, manifest, path, progress).Run();
    CTreeCheck(output, manifest, directory, progress).Run(host.LocalRoot());
    return ShowSummary(output, manifest, directory, path, objects, progress);
}

} // namespace bucketry::tool
