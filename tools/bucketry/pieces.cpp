// SPDX-License-Identifier: Apache-2.0
#include "pieces.h"

#include "listing.h"
#include "task_window.h"
#include "text.h"
#include "versions.h"

#include "bucketry/base/guid.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>

namespace bucketry::tool
{

namespace
{

using body_t = std::shared_ptr<io::block::CPooledBuf>;

constexpr std::string_view IndexHead = "bucketry-pieces 1\n";

/// The text form is the head, then "<run>\n<bytes>\n".
struct SIndex
{
    std::string m_run;
    std::uint64_t m_size = 0;
};

std::string FolderOf(std::string const& path)
{
    return path + ".bucketry-pieces";
}

std::string PieceName(std::string const& path, std::string const& run, std::uint64_t offset)
{
    std::string const number = std::to_string(offset / PieceBytes);
    return JoinPath(JoinPath(FolderOf(path), run),
                    std::string(6 - std::min<std::size_t>(6, number.size()), '0') + number);
}

SIndex ReadIndex(io::block::CPooledBuf const& body, std::string const& path)
{
    std::string_view text = body.GetText();
    text.remove_prefix(IndexHead.size());
    std::size_t const runEnd = std::min(text.find('\n'), text.size());
    SIndex index{std::string(text.substr(0, runEnd)), 0};
    std::string_view const number = text.substr(std::min(runEnd + 1, text.size()));
    auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), index.m_size);
    if (error != std::errc() || std::string_view(end, number.data() + number.size()) != "\n" ||
        guid::guid_t::FromAStr(index.m_run).ToAStr() != index.m_run)
    {
        throw exc::CRuntimeExc("The object [%1] is a damaged list of pieces.", Printable(path));
    }
    return index;
}

/// All pieces but those of one run. Where versions are kept, older ones need their pieces.
void RemoveOtherRuns(CHost& host, std::string const& path, std::string const& run)
{
    std::string const folder = FolderOf(path);
    ICloudClient& client = host.Client(EAccess::Read);
    if (!host.IsFolder(folder) || client.IsVersioningEnabled())
    {
        return;
    }
    for (SCloudObjectInfo const& entry : client.QueryFolder(folder))
    {
        if (entry.m_isFolder && entry.m_name != run)
        {
            RemoveFolder(host, JoinPath(folder, entry.m_name));
        }
    }
}

} // namespace

std::shared_ptr<task::IAsyncTask> StoreBody(ICloudClient& client, std::string const& path, body_t const& body,
                                            std::optional<datetime::CDateTime> const& until,
                                            std::shared_ptr<std::string> const& version)
{
    return until ? VersionsOf(client)->UploadFileAsync(path, body, version, until) : client.UploadFileAsync(path, body);
}

std::string StoreInPieces(CHost& host, std::string const& path, std::uint64_t size,
                          std::optional<datetime::CDateTime> const& until, source_t const& source)
{
    ICloudClient& client = host.Bodies(EAccess::Write);
    std::string const run = guid::guid_t::CreateNew().ToAStr();
    CTaskWindow window(client.GetConcurrentTaskLimit());
    for (std::uint64_t done = 0; done < size; done += PieceBytes)
    {
        auto const count = std::min(PieceBytes, size - done);
        body_t const body = io::block::CPooledBuf::Alloc(count, host.Pool());
        body->SetCount(count);
        source(body->GetData(), count);
        window.Run(
            count, [&] { return StoreBody(client, PieceName(path, run, done), body, until, nullptr); }, &ThrowFailure);
    }
    window.Drain();
    std::string text(IndexHead);
    (((text += run) += '\n') += std::to_string(size)) += '\n';
    auto const version = std::make_shared<std::string>();
    StoreBody(client, path, io::block::CPooledBuf::FromText(text, host.Pool()), until, version)->Wait();
    RemoveOtherRuns(host, path, run);
    return *version;
}

bool IsIndex(unsigned char const* data, std::size_t size)
{
    return std::string_view(reinterpret_cast<char const*>(data), size).starts_with(IndexHead);
}

std::uint64_t FetchPieces(CHost& host, std::string const& path, io::block::CPooledBuf const& index, sink_t const& sink)
{
    SIndex const pieces = ReadIndex(index, path);
    ICloudClient& client = host.Bodies(EAccess::Read);
    CTaskWindow window(client.GetConcurrentTaskLimit());
    for (std::uint64_t done = 0; done < pieces.m_size; done += PieceBytes)
    {
        std::string const name = PieceName(path, pieces.m_run, done);
        auto const count = std::min(PieceBytes, pieces.m_size - done);
        body_t const body = io::block::CPooledBuf::Alloc(0, host.Pool());
        window.Run(
            count, [&] { return client.DownloadFileAsync(name, body, host.Pool()); },
            [&sink, body, count, name](std::exception_ptr failure)
            {
                ThrowFailure(failure);
                if (body->GetCount() != count)
                {
                    throw exc::CRuntimeExc("The piece [%1] has %2 bytes instead of %3.", Printable(name),
                                           body->GetCount(), count);
                }
                sink(body->GetData(), count);
            });
    }
    window.Drain();
    return pieces.m_size;
}

void RemovePieces(CHost& host, std::string const& path)
{
    std::string const folder = FolderOf(path);
    if (host.IsFolder(folder) && !host.Client(EAccess::Read).IsVersioningEnabled())
    {
        RemoveFolder(host, folder);
    }
}

void RemovePiecesOfAllVersions(CHost& host, std::string const& path)
{
    RemoveFolder(host, FolderOf(path));
}

void CopyPieces(CHost& host, std::string const& source, std::string const& target)
{
    std::string const from = FolderOf(source);
    ICloudClient& client = host.Client(EAccess::Write);
    if (!host.IsFolder(from))
    {
        return;
    }
    CTaskWindow window(client.GetConcurrentTaskLimit());
    WalkFolder(client, from,
               [&](std::string const& path, SCloudObjectInfo const&)
               {
                   std::string const copy = FolderOf(target) + path.substr(from.size());
                   host.MakeParentFolder(copy);
                   window.Run(
                       0, [&] { return client.CopyFileAsync(path, copy); }, &ThrowFailure);
               });
    window.Drain();
}

} // namespace bucketry::tool
