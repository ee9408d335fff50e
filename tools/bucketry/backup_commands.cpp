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
    CLI::App& backup = cli.AddBodyCommand("backup", "Back up a directory",
                                          [options](CHost& host)
                                          { return StatusOf(BackUp(host, options->Directory(), options->Path())); });
    backup.add_option("DIR", options->m_directory, "The directory to back up")->required();
    backup.add_option("PATH", options->m_path, "The backup's folder; a backup that is there is replaced")->required();
    backup.footer(
        "Keeps names, content, modes, modification times, symbolic links and empty directories. Owners are not\n"
        "kept, hard links become files of their own, sockets and devices are left out.");

    CLI::App& verify = cli.AddBodyCommand("verify", "Compare a backup with itself and with a directory",
                                          [options](CHost& host)
                                          { return StatusOf(Verify(host, options->Directory(), options->Path())); });
    verify.add_option("DIR", options->m_directory, "The directory that was backed up, or a restored copy")->required();
    verify.add_option("PATH", options->m_path, "The backup's folder")->required();
    verify.footer("Compares kinds, modes, link targets and SHA-256 of contents, no times. Names what has changed, is\n"
                  "missing or extra.");

    CLI::App& restore = cli.AddBodyCommand(
        "restore", "Restore a backup into a directory",
        [options](CHost& host)
        { return StatusOf(Restore(host, options->Path(), options->Directory(), options->m_overwrite)); });
    restore.add_option("PATH", options->m_path, "The backup's folder")->required();
    restore.add_option("DIR", options->m_directory, "The directory to write; made if it is missing")->required();
    restore.add_flag("--overwrite", options->m_overwrite,
                     "Write into a directory that is not empty, replacing files there");
}

} // namespace bucketry::tool
