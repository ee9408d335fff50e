#include "backup/names.h"
#include "cli.h"
#include "files.h"
#include "text.h"

#include "bucketry/base/files.h"

#include <fcntl.h>
#include <openssl/evp.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

namespace bucketry::tool
{

namespace
{

using body_t = std::shared_ptr<io::block::CPooledBuf>;

/// What the commands of this file are called with; each uses its own part.
struct SObjectOptions
{
    std::string m_file;
    std::optional<std::string> m_into;
    std::string m_path;
    std::string m_target;
};

std::string ObjectPath(std::string const& text)
{
    if (text.ends_with('/'))
    {
        throw CUsageError("The object path [" + Printable(text) + "] ends in \"/\", which names a folder.");
    }
    return StoragePathBelowRoot(text, "object path");
}

body_t Fetch(CHost& host, std::string const& path)
{
    body_t const body = io::block::CPooledBuf::Alloc(0, host.Pool());
    host.Bodies(EAccess::Read).DownloadFileAsync(path, body, host.Pool())->Wait();
    return body;
}

body_t ReadWhole(CHost& host, std::string const& path)
{
    CFd const file = OpenAt(AT_FDCWD, path, O_RDONLY | O_NONBLOCK, path);
    struct stat status
    {
    };
    if (::fstat(file.Get(), &status) != 0)
    {
        ThrowSystemError("read", path);
    }
    if (!S_ISREG(status.st_mode))
    {
        throw exc::CRuntimeExc("[%1] is not a regular file.", Printable(path));
    }
    auto const size = static_cast<unsigned long>(status.st_size);
    host.CheckBodySize(size, path);
    body_t const body = io::block::CPooledBuf::Alloc(size, host.Pool());
    body->SetCount(size);
    if (ReadUpTo(file, body->GetData(), size, path) != size)
    {
        throw exc::CRuntimeExc("[%1] became shorter while it was read.", Printable(path));
    }
    return body;
}

int Put(CHost& host, SObjectOptions const& options)
{
    std::string const path = ObjectPath(options.m_path);
    body_t const body = ReadWhole(host, options.m_file);
    host.Bodies(EAccess::Write).UploadFileAsync(path, body)->Wait();
    host.Output().Result("", CJsonObject().Add("path", path).Add("bytes", body->GetCount()));
    return ExitOk;
}

/// The file that `get` writes: the one given, or the object's own name in the directory given or the working directory.
std::string TargetFile(std::optional<std::string> const& given, std::string const& path)
{
    std::string const name(BaseNameOf(path));
    if (!given)
    {
        return name;
    }
    if (given->empty())
    {
        throw CUsageError("The name of the file is empty.");
    }
    struct stat status
    {
    };
    bool const isDirectory = ::stat(given->c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    return isDirectory ? util::fs_merge_path(*given, name) : *given;
}

int Get(CHost& host, SObjectOptions const& options)
{
    std::string const path = ObjectPath(options.m_path);
    std::string const file = TargetFile(options.m_into, path);
    body_t const body = Fetch(host, path);
    std::string const folder = std::filesystem::path(file).parent_path();
    CFd const directory = OpenAt(AT_FDCWD, folder.empty() ? "." : folder, O_RDONLY | O_DIRECTORY, folder);
    CReplacementFile target(directory.Get(), std::string(BaseNameOf(file)), file, 0666);
    target.Write(body->GetData(), body->GetCount());
    target.Commit();
    host.Output().Result("", CJsonObject().Add("path", path).Add("file", file).Add("bytes", body->GetCount()));
    return ExitOk;
}

std::string Base64(io::block::CPooledBuf const& body)
{
    std::string text;
    std::size_t constexpr step = 3 << 20;
    for (std::size_t at = 0; at < body.GetCount(); at += step)
    {
        std::size_t const size = std::min(step, body.GetCount() - at);
        std::size_t const begin = text.size();
        text.resize(begin + 4 * ((size + 2) / 3) + 1); // and the NUL that is written behind it
        auto* const out = reinterpret_cast<unsigned char*>(text.data() + begin);
        EVP_EncodeBlock(out, body.GetData() + at, static_cast<int>(size));
        text.pop_back();
    }
    return text;
}

int Cat(CHost& host, SObjectOptions const& options)
{
    std::string const path = ObjectPath(options.m_path);
    body_t const body = Fetch(host, path);
    if (host.Output().IsJson())
    {
        CJsonObject json;
        json.Add("path", path).Add("bytes", body->GetCount()).Add("base64", Base64(*body));
        host.Output().Result("", json);
        return ExitOk;
    }
    host.Output().Result({reinterpret_cast<char const*>(body->GetData()), body->GetCount()}, {});
    return ExitOk;
}

int Stat(CHost& host, SObjectOptions const& options)
{
    std::string const path = StoragePath(options.m_path);
    ICloudClient& client = host.Client(EAccess::Read);
    CJsonObject json;
    json.Add("path", path);
    if (path.empty() || client.IsFolderExist(path))
    {
        host.Output().Result("folder " + Printable(path) + "/\n", json.Add("kind", "folder"));
        return ExitOk;
    }
    if (!client.IsFileExist(path))
    {
        throw exc::CRuntimeExc("There is no object or folder [%1].", Printable(path));
    }
    std::uint64_t const size = client.GetFileSize(path);
    host.Output().Result(util::str_format("object %1 %2 bytes\n", Printable(path), size),
                         json.Add("kind", "object").Add("bytes", size));
    return ExitOk;
}

/// A copy makes no directories on a local root, where an upload does.
void MakeParentFolder(CHost& host, std::string const& path)
{
    std::string const folder(ParentOf(path));
    ICloudClient& client = host.Client(EAccess::Write);
    if (host.LocalRoot() && !folder.empty() && !client.IsFolderExist(folder))
    {
        client.CreateFolderAsync(folder)->Wait();
    }
}

int Copy(CHost& host, SObjectOptions const& options)
{
    std::string const source = ObjectPath(options.m_path);
    std::string const target = ObjectPath(options.m_target);
    ICloudClient& client = host.Client(EAccess::Read);
    if (!client.IsFileExist(source) || client.IsFolderExist(source))
    {
        throw exc::CRuntimeExc("There is no object [%1].", Printable(source));
    }
    MakeParentFolder(host, target);
    client.CopyFileAsync(source, target)->Wait();
    host.Output().Result("", CJsonObject().Add("source", source).Add("path", target));
    return ExitOk;
}

CLI::App& AddObjectCommand(CCli& cli, std::shared_ptr<SObjectOptions> const& options, std::string const& name,
                           std::string const& description, int (*run)(CHost&, SObjectOptions const&))
{
    return cli.AddCommand(name, description, [options, run](CHost& host) { return run(host, *options); });
}

/// The same for one that moves bodies.
CLI::App& AddBodyCommand(CCli& cli, std::shared_ptr<SObjectOptions> const& options, std::string const& name,
                         std::string const& description, int (*run)(CHost&, SObjectOptions const&))
{
    return cli.AddBodyCommand(name, description, [options, run](CHost& host) { return run(host, *options); });
}

} // namespace

void AddObjectCommands(CCli& cli)
{
    auto const options = std::make_shared<SObjectOptions>();
    CLI::App& put = AddBodyCommand(cli, options, "put", "Store a file as an object", &Put);
    put.add_option("FILE", options->m_file, "The file to read")->required();
    put.add_option("PATH", options->m_path, "The object to write; one that is there is replaced")->required();

    CLI::App& get = AddBodyCommand(cli, options, "get", "Fetch an object into a file", &Get);
    get.add_option("PATH", options->m_path, "The object to read")->required();
    get.add_option("FILE", options->m_into,
                   "The file to write, or a directory for it; the working directory if left out");

    CLI::App& cat = AddBodyCommand(cli, options, "cat", "Write an object to the standard output", &Cat);
    cat.add_option("PATH", options->m_path, "The object to read")->required();
    cat.footer("With --json the body is the member \"base64\".");

    CLI::App& stat = AddObjectCommand(cli, options, "stat", "Tell kind and size of an object or folder", &Stat);
    stat.add_option("PATH", options->m_path, "The object or folder")->required();

    CLI::App& copy = AddObjectCommand(cli, options, "cp", "Copy an object inside the root", &Copy);
    copy.add_option("SOURCE", options->m_path, "The object to copy")->required();
    copy.add_option("TARGET", options->m_target, "The copy; an object that is there is replaced")->required();
}

} // namespace bucketry::tool
