// SPDX-License-Identifier: Apache-2.0
#include "backup/names.h"
#include "cli.h"
#include "files.h"
#include "pieces.h"
#include "spec.h"
#include "task_window.h"
#include "text.h"
#include "versions.h"

#include "bucketry/base/files.h"

#include <fcntl.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <limits>
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
    std::uint64_t m_largestObject = std::numeric_limits<std::uint32_t>::max(); ///< of a processed body, in bytes
    std::string m_sourceSpec; ///< of the store that a copy comes from; empty: the same storage
    std::string m_version;    ///< empty: the current one
    std::string m_keepUntil;  ///< empty: not immutable
};

using until_t = std::optional<datetime::CDateTime>;

/// What goes through a stream at a time, in bytes.
constexpr unsigned long StreamPiece = 16UL << 20;

std::string ObjectPath(std::string const& text)
{
    if (text.ends_with('/'))
    {
        throw CUsageError("The object path [" + Printable(text) + "] ends in \"/\", which names a folder.");
    }
    return StoragePathBelowRoot(text, "object path");
}

/// What reads one object, or with a version one of its versions.
class CReader
{
public:
    CReader(CHost& host, std::string const& path, std::string const& version)
        : m_host(host), m_path(path), m_version(version)
    {
        if (!version.empty())
        {
            VersionsOf(host.Client(EAccess::Read));
        }
    }

    std::uint64_t Size() const
    {
        ICloudClient& client = m_host.Client(EAccess::Read);
        return m_version.empty() ? client.GetFileSize(m_path)
                                 : VersionsOf(client)->GetFileVersionSize(m_path, m_version);
    }
    body_t Whole() const
    {
        body_t body = io::block::CPooledBuf::Alloc(0, m_host.Pool());
        ICloudClient& client = m_host.Bodies(EAccess::Read);
        auto const task = m_version.empty()
            ? client.DownloadFileAsync(m_path, body, m_host.Pool())
            : VersionsOf(client)->DownloadFileVersionAsync(m_path, m_version, body, m_host.Pool());
        task->Wait();
        return body;
    }
    std::shared_ptr<ICloudDownload> Stream() const
    {
        ICloudClient& client = m_host.Client(EAccess::Read);
        return m_version.empty() ? client.StartDownload(m_path) : VersionsOf(client)->StartDownload(m_path, m_version);
    }

private:
    CHost& m_host;
    std::string const& m_path;
    std::string const& m_version;
};

struct SInput
{
    CFd m_file;
    unsigned long m_size = 0;
};

SInput OpenRegular(std::string const& path)
{
    SInput input{OpenAt(AT_FDCWD, path, O_RDONLY | O_NONBLOCK, path)};
    struct stat status
    {
    };
    if (::fstat(input.m_file.Get(), &status) != 0)
    {
        ThrowSystemError("read", path);
    }
    if (!S_ISREG(status.st_mode))
    {
        throw exc::CRuntimeExc("[%1] is not a regular file.", Printable(path));
    }
    input.m_size = static_cast<unsigned long>(status.st_size);
    return input;
}

void ReadExactly(SInput const& input, unsigned char* data, std::size_t size, std::string const& path)
{
    if (ReadUpTo(input.m_file, data, size, path) != size)
    {
        throw exc::CRuntimeExc("[%1] became shorter while it was read.", Printable(path));
    }
}

/// Piece by piece, so that a large file takes no more memory than a small one. Gives the new version's id, if there is
/// one.
std::string StreamUp(CHost& host, SInput const& input, std::string const& file, std::string const& path,
                     until_t const& until)
{
    ICloudClient& client = host.Client(EAccess::Write);
    auto const versioned = until ? VersionsOf(client)->StartUpload(path, input.m_size, until) : nullptr;
    std::shared_ptr<ICloudUpload> const upload = versioned ? versioned : client.StartUpload(path, input.m_size);
    io::block::CPooledBuf piece(StreamPiece, host.Pool());
    for (unsigned long done = 0; done < input.m_size; done += piece.GetCount())
    {
        piece.SetCount(std::min(StreamPiece, input.m_size - done));
        ReadExactly(input, piece.GetData(), piece.GetCount(), file);
        upload->Write(piece.GetData(), piece.GetCount());
    }
    if (versioned)
    {
        return versioned->FinishVersioned();
    }
    upload->Finish();
    return {};
}

/// Such a body would be read back as a list of pieces.
bool LooksLikeIndex(SInput const& input)
{
    std::array<unsigned char, 64> begin{};
    ssize_t const count = ::pread(input.m_file.Get(), begin.data(), begin.size(), 0);
    return count > 0 && IsIndex(begin.data(), static_cast<std::size_t>(count));
}

/// The whole file in one body. Gives the new version's id, if there is one.
std::string StoreWhole(CHost& host, SInput const& input, std::string const& file, std::string const& path,
                       until_t const& until)
{
    body_t const body = io::block::CPooledBuf::Alloc(input.m_size, host.Pool());
    body->SetCount(input.m_size);
    ReadExactly(input, body->GetData(), input.m_size, file);
    auto const version = std::make_shared<std::string>();
    StoreBody(host.Bodies(EAccess::Write), path, body, until, version)->Wait();
    return *version;
}

int Put(CHost& host, SObjectOptions const& options)
{
    std::string const path = ObjectPath(options.m_path);
    until_t const until = options.m_keepUntil.empty() ? until_t() : KeepUntil(options.m_keepUntil);
    SInput const input = OpenRegular(options.m_file);
    bool const isInPieces = host.UsesPieces() && (input.m_size > options.m_largestObject || LooksLikeIndex(input));
    std::string version;
    if (host.CanStreamUp() && input.m_size > PieceBytes)
    {
        version = StreamUp(host, input, options.m_file, path, until);
    }
    else if (isInPieces)
    {
        version = StoreInPieces(host, path, input.m_size, until,
                                [&](unsigned char* data, std::size_t size)
                                { ReadExactly(input, data, size, options.m_file); });
    }
    else
    {
        version = StoreWhole(host, input, options.m_file, path, until);
    }
    if (!isInPieces)
    {
        RemovePieces(host, path); // of a body that was there before
    }
    CJsonObject json;
    json.Add("path", path).Add("bytes", input.m_size);
    if (until)
    {
        json.Add("version", version);
    }
    host.Output().Result(until ? Printable(version) + "\n" : "", json);
    return ExitOk;
}

/// Hands the object's bytes to `take`, a large one piece by piece where it can be streamed; how many there were.
std::uint64_t FetchInto(CHost& host, std::string const& path, std::string const& version, sink_t const& take)
{
    CReader const reader(host, path, version);
    std::uint64_t const size = host.CanStream() ? reader.Size() : 0;
    if (size <= PieceBytes)
    {
        body_t const body = reader.Whole();
        if (host.UsesPieces() && IsIndex(body->GetData(), body->GetCount()))
        {
            return FetchPieces(host, path, *body, take);
        }
        take(body->GetData(), body->GetCount());
        return body->GetCount();
    }
    auto const download = reader.Stream();
    io::block::CPooledBuf piece(StreamPiece, host.Pool());
    for (std::uint64_t done = 0; done < size; done += piece.GetCount())
    {
        piece.SetCount(std::min<std::uint64_t>(StreamPiece, size - done));
        download->Read(piece.GetData(), done, piece.GetCount());
        take(piece.GetData(), piece.GetCount());
    }
    return size;
}

/// The file that `get` writes: the one given, or the object's own name in the directory given or the working directory.
std::string TargetFile(std::optional<std::string> const& given, std::string const& path)
{
    std::string name(BaseNameOf(path));
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
    std::string const folder = std::filesystem::path(file).parent_path();
    CFd const directory = OpenAt(AT_FDCWD, folder.empty() ? "." : folder, O_RDONLY | O_DIRECTORY, folder);
    CReplacementFile target(directory.Get(), std::string(BaseNameOf(file)), file, 0666);
    std::uint64_t const size =
        FetchInto(host, path, options.m_version,
                  [&target](unsigned char const* data, std::size_t count) { target.Write(data, count); });
    target.Commit();
    host.Output().Result("", CJsonObject().Add("path", path).Add("file", file).Add("bytes", size));
    return ExitOk;
}

std::string Base64(std::string_view body)
{
    std::string text;
    std::size_t constexpr step = 3 << 20;
    for (std::size_t at = 0; at < body.size(); at += step)
    {
        std::size_t const size = std::min(step, body.size() - at);
        std::size_t const begin = text.size();
        text.resize(begin + 4 * ((size + 2) / 3) + 1); // and the NUL that is written behind it
        auto* const out = reinterpret_cast<unsigned char*>(text.data() + begin);
        EVP_EncodeBlock(out, reinterpret_cast<unsigned char const*>(body.data()) + at, static_cast<int>(size));
        text.pop_back();
    }
    return text;
}

int Cat(CHost& host, SObjectOptions const& options)
{
    std::string const path = ObjectPath(options.m_path);
    if (host.Output().IsJson())
    {
        std::string body;
        FetchInto(host, path, options.m_version,
                  [&body](unsigned char const* data, std::size_t size)
                  { body.append(reinterpret_cast<char const*>(data), size); });
        host.Output().Result("", CJsonObject().Add("path", path).Add("bytes", body.size()).Add("base64", Base64(body)));
        return ExitOk;
    }
    FetchInto(host, path, options.m_version,
              [&host](unsigned char const* data, std::size_t size) {
                  host.Output().Result({reinterpret_cast<char const*>(data), size}, {});
              });
    return ExitOk;
}

int Stat(CHost& host, SObjectOptions const& options)
{
    std::string const path = StoragePath(options.m_path);
    ICloudClient& client = host.Client(EAccess::Read);
    CJsonObject json;
    json.Add("path", path);
    if (host.IsFolder(path))
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

/// Inside the stores, without a way through this machine.
void CopyFromStore(CHost& host, std::string const& spec, std::string const& source, std::string const& target)
{
    std::shared_ptr<ICloudClient> const from = OpenStore(spec);
    ICloudClient& client = host.Client(EAccess::Write);
    auto const sourceOfCopy = from->GetFileInterRegionSource(source);
    if (!client.IsFileInterRegionSourceCompatible(sourceOfCopy))
    {
        throw exc::CRuntimeExc("The storage cannot copy from the store of [%1] itself.", Printable(spec));
    }
    client.CopyFileInterRegionAsync(sourceOfCopy, target)->Wait();
}

void CopyInside(CHost& host, std::string const& source, std::string const& target)
{
    ICloudClient& client = host.Client(EAccess::Read);
    if (!client.IsFileExist(source) || (host.LocalRoot() && client.IsFolderExist(source)))
    {
        throw exc::CRuntimeExc("There is no object [%1].", Printable(source));
    }
    host.MakeParentFolder(target);
    CopyPieces(host, source, target);
    client.CopyFileAsync(source, target)->Wait();
}

int Copy(CHost& host, SObjectOptions const& options)
{
    std::string const source = ObjectPath(options.m_path);
    std::string const target = ObjectPath(options.m_target);
    if (options.m_sourceSpec.empty())
    {
        CopyInside(host, source, target);
    }
    else
    {
        CopyFromStore(host, options.m_sourceSpec, source, target);
    }
    host.Output().Result("", CJsonObject().Add("source", source).Add("path", target));
    return ExitOk;
}

CCommand AddObjectCommand(CCli& cli, std::shared_ptr<SObjectOptions> const& options, std::string const& name,
                          std::string const& description, int (*run)(CHost&, SObjectOptions const&))
{
    return cli.AddCommand(name, description, [options, run](CHost& host) { return run(host, *options); });
}

/// The same for one that moves bodies.
CCommand AddBodyCommand(CCli& cli, std::shared_ptr<SObjectOptions> const& options, std::string const& name,
                        std::string const& description, int (*run)(CHost&, SObjectOptions const&))
{
    return cli.AddBodyCommand(name, description, [options, run](CHost& host) { return run(host, *options); });
}

} // namespace

void AddObjectCommands(CCli& cli)
{
    auto const options = std::make_shared<SObjectOptions>();
    CCommand put = AddBodyCommand(cli, options, "put", "Store a file as an object", &Put);
    put.AddOption("FILE", options->m_file, "The file to read").Required();
    put.AddOption("PATH", options->m_path, "The object to write; one that is there is replaced").Required();

    put.AddOption("--in-pieces-above", options->m_largestObject,
                  "Compressed or encrypted, a larger file is stored in pieces; 4 GiB and more always are")
        .Takes("BYTES")
        .Between(std::uint64_t(0), options->m_largestObject);

    put.AddOption("--keep-until", options->m_keepUntil,
                  "Make it immutable until then, as 2026-12-31 or 2026-12-31T10:00:00Z, UTC; writes the version's id")
        .Takes("DATE");

    auto const addVersion = [options](CCommand& command) {
        command.AddOption("--version-id", options->m_version, "Which version; the current one if left out").Takes("ID");
    };
    CCommand get = AddBodyCommand(cli, options, "get", "Fetch an object into a file", &Get);
    get.AddOption("PATH", options->m_path, "The object to read").Required();
    get.AddOption("FILE", options->m_into,
                  "The file to write, or a directory for it; the working directory if left out");
    addVersion(get);

    CCommand cat = AddBodyCommand(cli, options, "cat", "Write an object to the standard output", &Cat);
    cat.AddOption("PATH", options->m_path, "The object to read").Required();
    addVersion(cat);
    cat.SetFooter("With --json the body is the member \"base64\".");

    CCommand stat = AddObjectCommand(cli, options, "stat", "Tell kind and size of an object or folder", &Stat);
    stat.AddOption("PATH", options->m_path, "The object or folder").Required();

    CCommand copy =
        AddObjectCommand(cli, options, "cp", "Copy an object inside the storage, or from another store", &Copy);
    copy.AddOption("SOURCE", options->m_path, "The object to copy").Required();
    copy.AddOption("TARGET", options->m_target, "The copy; an object that is there is replaced").Required();
    copy.AddOption("--from-spec", options->m_sourceSpec, "The specification of the store that holds SOURCE")
        .Takes("FILE");
}

} // namespace bucketry::tool
