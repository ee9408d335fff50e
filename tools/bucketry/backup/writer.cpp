// SPDX-License-Identifier: Apache-2.0
#include "backup/writer.h"

#include "backup/manifest.h"
#include "backup/names.h"
#include "backup/store.h"
#include "backup/tree.h"
#include "listing.h"
#include "task_window.h"
#include "text.h"

#include "bucketry/parallel.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace bucketry::tool
{

namespace
{

using body_t = std::shared_ptr<io::block::CPooledBuf>;

constexpr unsigned long SmallBytes = 4UL << 20;

/// Stores what a walk meets, and notes it in the manifest.
class CBackupWriter final : public ITreeVisitor
{
public:
    CBackupWriter(CHost& host, std::string const& directory, std::string const& path)
        : m_host(host),
          m_output(host.Output()),
          m_client(host.Bodies(EAccess::Write)),
          m_pool(host.Pool()),
          m_directory(directory),
          m_path(path),
          m_leaveOut(host.LocalRoot()),
          m_run(NewRunName()),
          m_runFolder(RunFolder(path, m_run)),
          m_manifest(m_run),
          m_progress(m_output.StartProgress()),
          m_writer(Borrowed(m_client)),
          m_window(m_client.GetConcurrentTaskLimit())
    {
    }

    bool Run()
    {
        if (m_progress.IsShown())
        {
            m_progress.SetTotal(MeasureTree(m_directory, m_leaveOut));
        }
        WalkTree(m_directory, m_leaveOut, *this);
        m_window.Drain();
        m_writer.Flush();
        if (!m_stray.empty())
        {
            m_client.DeleteFileListAsync(m_stray)->Wait();
        }
        WriteManifest();
        RemoveOldRuns();
        ShowSummary();
        return Failed() == 0;
    }

    void OnEntry(SEntry entry) override
    {
        ++(entry.m_kind == EEntryKind::Link ? m_links : m_directories);
        m_manifest.Add(entry);
    }

    void OnFile(SEntry entry, CFd file, struct stat const& status) override
    {
        try
        {
            StoreContent(entry, std::move(file), status);
        }
        catch (CSystemError const& error) // of the file: failures of the storage are of other classes, and end the walk
        {
            for (std::size_t piece = 0; piece < entry.m_pieces; ++piece)
            {
                m_stray.push_back(PieceNameOf(ObjectPath(entry), piece));
            }
            return OnUnreadable(std::move(entry.m_path), error.Reason());
        }
        if (entry.m_kind == EEntryKind::TornFile)
        {
            m_output.Problem("changed", Shown(entry.m_path), "Changed while it was read");
        }
        ++m_files;
        m_progress.Add({0, 1});
        m_manifest.Add(entry);
    }

    void OnUnreadable(std::string path, std::string const& reason) override
    {
        m_output.Problem("unreadable", Shown(path), util::str_format("Could not be read, %1", reason));
        SEntry entry;
        entry.m_kind = EEntryKind::Unread;
        entry.m_path = std::move(path);
        m_manifest.Add(entry);
    }

    void OnSkipped(std::string const& path, std::string_view reason) override
    {
        m_output.Problem("skipped", Shown(path), reason);
    }

private:
    std::string Shown(std::string const& path) const { return JoinPath(m_directory, path); }

    /// Uploads the content in one object or several, and fills in the entry. While it fails, `m_pieces` of the entry
    /// counts the pieces that were handed over.
    void StoreContent(SEntry& entry, CFd file, struct stat const& status)
    {
        std::string const name = ObjectPath(entry);
        CContentReader reader(std::move(file), status, Shown(entry.m_path));
        if (reader.Remaining() > MaxPieces * PieceBytes)
        {
            throw CSystemError("back up", Shown(entry.m_path), "it is too large");
        }
        if (reader.Remaining() <= PieceBytes)
        {
            Upload(name, ReadPiece(reader));
        }
        else
        {
            for (bool isMore = true; isMore; isMore = reader.Remaining() > 0)
            {
                body_t const body = ReadPiece(reader);
                bool const isCut = body->GetCount() < PieceBytes && reader.Remaining() > 0;
                Upload(PieceNameOf(name, entry.m_pieces++), body);
                if (isCut)
                {
                    break;
                }
            }
        }
        reader.Finish(entry);
    }

    std::string ObjectPath(SEntry const& entry) const { return JoinPath(m_runFolder, ObjectNameOf(entry.m_path)); }

    body_t ReadPiece(CContentReader& reader)
    {
        auto const size = std::min(reader.Remaining(), PieceBytes);
        body_t body = io::block::CPooledBuf::Alloc(size, m_pool);
        body->SetCount(size);
        body->SetCount(reader.Read(body->GetData(), size));
        return body;
    }

    /// Small bodies are bounded in their number, large ones also in the bytes in flight.
    void Upload(std::string const& path, body_t const& body)
    {
        if (body->GetCount() <= SmallBytes)
        {
            m_writer.Write(path, body, std::nullopt);
        }
        else
        {
            // the writer keeps the body until its operation ends, and a processed one is a second block
            std::uint64_t const held = body->GetCount() * (m_host.IsProcessed() ? 2 : 1);
            m_window.Run(
                held, [&] { return m_writer.CreateWriteTask(path, body, nullptr, std::nullopt); }, &ThrowFailure);
        }
        m_bytes += body->GetCount();
        ++m_objects;
        m_progress.Add({body->GetCount(), 0});
    }

    void WriteManifest()
    {
        body_t const body = io::block::CPooledBuf::FromText(m_manifest.Finish(), m_pool);
        m_client.UploadFileAsync(ManifestPath(m_path), body)->Wait();
    }

    /// What an earlier backup stored, and what one that was interrupted left.
    void RemoveOldRuns()
    {
        for (SCloudObjectInfo const& entry : m_client.QueryFolder(m_path))
        {
            std::string const folder = JoinPath(m_path, entry.m_name);
            if (entry.m_isFolder && IsRunFolder(m_path, folder) && folder != m_runFolder)
            {
                RemoveFolder(m_host, folder);
            }
        }
    }

    std::uint64_t Failed() { return m_output.CountProblems("unreadable") + m_output.CountProblems("changed"); }

    void ShowSummary()
    {
        bool const isComplete = Failed() == 0;
        CJsonObject json;
        json.Add("directory", m_directory).Add("path", m_path).Add("complete", isComplete);
        std::string const title = util::str_format("Backed up [%1] to [%2]%3", Printable(m_directory),
                                                   Printable(m_path), isComplete ? "" : ", incomplete");
        m_output.Summary(isComplete, title, json,
                         {{"files", "files", m_files},
                          {"directories", "directories", m_directories},
                          {"links", "links", m_links},
                          {"bytes", "bytes", m_bytes, true},
                          {"objects", "objects written", m_objects},
                          {"skipped", "skipped", m_output.CountProblems("skipped")},
                          {"failed", "problems", Failed()}},
                         m_progress);
    }

    CHost& m_host;
    COutput& m_output;
    ICloudClient& m_client;
    std::shared_ptr<io::block::bufs_pool_t> const m_pool;
    std::string const m_directory;
    std::string const m_path;
    std::optional<directory_id_t> const m_leaveOut;
    std::string const m_run;
    std::string const m_runFolder;
    CManifestWriter m_manifest;
    CProgress m_progress;
    std::vector<std::string> m_stray; ///< objects of files that could not be read to their end
    std::uint64_t m_files = 0;
    std::uint64_t m_directories = 0;
    std::uint64_t m_links = 0;
    std::uint64_t m_bytes = 0;
    std::uint64_t m_objects = 0;
    CCloudParallelWriter m_writer; ///< behind what its operations use
    CTaskWindow m_window;          ///< the last member: its operations are the writer's, and go first
};

} // namespace

bool BackUp(CHost& host, std::string const& directory, std::string const& path)
{
    return CBackupWriter(host, directory, path).Run();
}

} // namespace bucketry::tool
