// SPDX-License-Identifier: Apache-2.0
#include "backup/restorer.h"
#include "backup/verifier.h"
#include "backup/writer.h"
#include "cli.h"

#include <memory>

namespace bucketry::tool
{

namespace
{

struct SBackupOptions
{
    std::string m_directory;
    std::string m_path;
    bool m_overwrite = false;

    /// The backup's folder in the storage.
    std::string Path() const { return StoragePathBelowRoot(m_path, "backup path"); }
    std::string const& Directory() const
    {
        if (m_directory.empty())
        {
            throw CUsageError("The name of the directory is empty.");
        }
        return m_directory;
    }
};

int StatusOf(bool isOk)
{
    return isOk ? ExitOk : ExitFailed;
}

} // namespace

void AddBackupCommands(CCli& cli)
{
    auto const options = std::make_shared<SBackupOptions>();
    CCommand backup = cli.AddBodyCommand("backup", "Back up a directory",
                                         [options](CHost& host)
                                         { return StatusOf(BackUp(host, options->Directory(), options->Path())); });
    backup.AddOption("DIR", options->m_directory, "The directory to back up").Required();
    backup.AddOption("PATH", options->m_path, "The backup's folder; a backup that is there is replaced").Required();
    backup.SetFooter(
        "Keeps names, content, modes, modification times, symbolic links and empty directories. Owners are not\n"
        "kept, hard links become files of their own, sockets and devices are left out.");

    CCommand verify = cli.AddBodyCommand("verify", "Compare a backup with itself and with a directory",
                                         [options](CHost& host)
                                         { return StatusOf(Verify(host, options->Directory(), options->Path())); });
    verify.AddOption("DIR", options->m_directory, "The directory that was backed up, or a restored copy").Required();
    verify.AddOption("PATH", options->m_path, "The backup's folder").Required();
    verify.SetFooter(
        "Compares kinds, modes, link targets and SHA-256 of contents, no times. Names what has changed, is\n"
        "missing or extra.");

    CCommand restore = cli.AddBodyCommand(
        "restore", "Restore a backup into a directory",
        [options](CHost& host)
        { return StatusOf(Restore(host, options->Path(), options->Directory(), options->m_overwrite)); });
    restore.AddOption("PATH", options->m_path, "The backup's folder").Required();
    restore.AddOption("DIR", options->m_directory, "The directory to write; made if it is missing").Required();
    restore.AddFlag("--overwrite", options->m_overwrite,
                    "Write into a directory that is not empty, replacing files there");
}

} // namespace bucketry::tool
