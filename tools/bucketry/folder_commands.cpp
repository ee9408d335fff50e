// SPDX-License-Identifier: Apache-2.0
#include "backup/names.h"
#include "cli.h"
#include "listing.h"
#include "pieces.h"
#include "text.h"
#include "versions.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace bucketry::tool
{

namespace
{

/// What the commands of this file are called with; each uses its own part.
struct SFolderOptions
{
    std::string m_path;
    bool m_isLong = false;
    bool m_isRecursive = false;
    std::string m_version; ///< empty: the object, whatever versions it has
    bool m_isAllVersions = false;
};

[[noreturn]] void ThrowNotThere(std::string const& path)
{
    throw exc::CRuntimeExc("There is no object or folder [%1].", Printable(path));
}

/// The entries of a folder by name, or the one object that the path names.
std::vector<SCloudObjectInfo> Entries(CHost& host, std::string const& path)
{
    ICloudClient& client = host.Client(EAccess::Read);
    if (!host.IsFolder(path))
    {
        if (!client.IsFileExist(path))
        {
            ThrowNotThere(path);
        }
        return {{std::string(BaseNameOf(path)), client.GetFileSize(path), false}};
    }
    std::vector<SCloudObjectInfo> entries = client.QueryFolder(path);
    std::ranges::sort(entries, {}, &SCloudObjectInfo::m_name);
    return entries;
}

int List(CHost& host, SFolderOptions const& options)
{
    std::string const path = StoragePath(options.m_path);
    std::string text;
    std::vector<CJsonObject> items;
    for (SCloudObjectInfo const& entry : Entries(host, path))
    {
        if (options.m_isLong)
        {
            std::string const size = entry.m_isFolder ? "-" : std::to_string(entry.m_size);
            text += std::string(size.size() < 14 ? 14 - size.size() : 0, ' ') + size + "  ";
        }
        text += Printable(entry.m_name) + (entry.m_isFolder ? "/\n" : "\n");
        items.push_back(CJsonObject().Add("name", entry.m_name).Add("kind", entry.m_isFolder ? "folder" : "object"));
        if (!entry.m_isFolder)
        {
            items.back().Add("bytes", entry.m_size);
        }
    }
    host.Output().Result(text, CJsonObject().Add("path", path).Add("entries", items));
    return ExitOk;
}

int MakeFolder(CHost& host, SFolderOptions const& options)
{
    std::string const path = StoragePathBelowRoot(options.m_path, "folder path");
    host.Client(EAccess::Write).CreateFolderAsync(path)->Wait();
    host.Output().Result("", CJsonObject().Add("path", path));
    return ExitOk;
}

int DiskUsage(CHost& host, SFolderOptions const& options)
{
    std::string const path = StoragePath(options.m_path);
    ICloudClient& client = host.Client(EAccess::Read);
    std::uint64_t bytes = 0;
    std::uint64_t objects = 0;
    if (host.IsFolder(path))
    {
        WalkFolder(client, path,
                   [&bytes, &objects](std::string const&, SCloudObjectInfo const& object)
                   {
                       bytes += object.m_size;
                       ++objects;
                   });
    }
    else
    {
        bytes = Entries(host, path).front().m_size;
        objects = 1;
    }
    host.Output().Result(util::str_format("%1 bytes in %2 objects, %3\n", bytes, objects, HumanBytes(bytes)),
                         CJsonObject().Add("path", path).Add("bytes", bytes).Add("objects", objects));
    return ExitOk;
}

/// For good, also where removing the object leaves them.
void RemoveVersions(CHost& host, std::string const& path, std::string const& version)
{
    ICloudClient& client = host.Client(EAccess::Read);
    auto const utils = VersionsOf(client);
    if (!version.empty())
    {
        utils->GetFileVersionSize(path, version); // a store is content to delete what it does not have
        utils->DeleteFileVersionAsync(path, version)->Wait();
        return;
    }
    if (EnumAllVersionsOfObject(client, path, ECloudObjectVersionSortOrder::OldestFirst).empty())
    {
        ThrowNotThere(path);
    }
    DeleteAllVersions(path, client)->Wait();
    RemovePiecesOfAllVersions(host, path);
}

int Remove(CHost& host, SFolderOptions const& options)
{
    std::string const path = StoragePathBelowRoot(options.m_path, "path to remove");
    ICloudClient& client = host.Client(EAccess::Read);
    if (options.m_isAllVersions || !options.m_version.empty())
    {
        RemoveVersions(host, path, options.m_version);
    }
    else if (!host.IsFolder(path))
    {
        if (!client.IsFileExist(path))
        {
            ThrowNotThere(path);
        }
        client.DeleteFileAsync(path)->Wait();
        RemovePieces(host, path);
    }
    else if (options.m_isRecursive)
    {
        RemoveFolder(host, path);
    }
    else
    {
        throw exc::CRuntimeExc("[%1] is a folder; rm -r removes it with all its content.", Printable(path));
    }
    host.Output().Result("", CJsonObject().Add("path", path));
    return ExitOk;
}

CCommand AddFolderCommand(CCli& cli, std::shared_ptr<SFolderOptions> const& options, std::string const& name,
                          std::string const& description, int (*run)(CHost&, SFolderOptions const&))
{
    return cli.AddCommand(name, description, [options, run](CHost& host) { return run(host, *options); });
}

} // namespace

void AddFolderCommands(CCli& cli)
{
    auto const options = std::make_shared<SFolderOptions>();
    CCommand list = AddFolderCommand(cli, options, "ls", "List a folder", &List);
    list.AddOption("PATH", options->m_path, "The folder or object; the root if left out");
    list.AddFlag("-l,--long", options->m_isLong, "With sizes in bytes");
    list.SetFooter(
        "Folders end in \"/\". Control characters, backslashes and bytes that are no UTF-8 are shown as \\xNN.");

    CCommand make = AddFolderCommand(cli, options, "mkdir", "Make a folder", &MakeFolder);
    make.AddOption("PATH", options->m_path, "The folder").Required();

    CCommand usage = AddFolderCommand(cli, options, "du", "Sum up the sizes of all objects below a folder", &DiskUsage);
    usage.AddOption("PATH", options->m_path, "The folder or object; the root if left out");

    CCommand remove = AddFolderCommand(cli, options, "rm", "Remove an object, or a folder with -r", &Remove);
    remove.AddOption("PATH", options->m_path, "What to remove").Required();
    COption const recursive =
        remove.AddFlag("-r,--recursive", options->m_isRecursive, "Remove a folder with all its content");
    COption version = remove.AddOption("--version-id", options->m_version, "Remove this version for good").Takes("ID");
    remove.AddFlag("--all-versions", options->m_isAllVersions, "Remove all versions of an object for good")
        .Excludes(version)
        .Excludes(recursive);
    version.Excludes(recursive);
    remove.SetFooter(
        "Where versions are kept, an object that is removed leaves them behind a marker of deletion; a folder\n"
        "goes with all versions.");
}

} // namespace bucketry::tool
