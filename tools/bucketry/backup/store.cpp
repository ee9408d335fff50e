// SPDX-License-Identifier: Apache-2.0
#include "backup/store.h"

#include "backup/names.h"
#include "text.h"

#include "bucketry/base/datetime.h"
#include "bucketry/base/guid.h"

#include <algorithm>

namespace bucketry::tool
{

namespace
{

constexpr std::string_view RunPrefix = "run-";

} // namespace

std::string ManifestPath(std::string_view path)
{
    return JoinPath(path, "manifest");
}

std::string RunFolder(std::string_view path, std::string_view run)
{
    return JoinPath(path, std::string(RunPrefix) + EscapeName(run));
}

bool IsRunFolder(std::string_view path, std::string_view folder)
{
    return ParentOf(folder) == path && BaseNameOf(folder).starts_with(RunPrefix);
}

std::string NewRunName()
{
    return datetime::CDateTime::currentUtcTime().toStdString("%Y%m%dT%H%M%SZ-") +
        guid::guid_t::CreateNew().ToAStr().substr(0, 8);
}

std::vector<SStoredPiece> PiecesOf(std::string_view runFolder, SEntry const& entry)
{
    std::string const name = JoinPath(runFolder, ObjectNameOf(entry.m_path));
    if (entry.m_pieces == 0)
    {
        return {{name, entry.m_size}};
    }
    std::vector<SStoredPiece> pieces;
    std::uint64_t rest = entry.m_size;
    for (std::size_t piece = 0; piece < entry.m_pieces; ++piece)
    {
        std::uint64_t const size = std::min(rest, PieceBytes);
        pieces.push_back({PieceNameOf(name, piece), size});
        rest -= size;
    }
    return pieces;
}

SManifest LoadManifest(CHost& host, std::string const& path)
{
    std::string const object = ManifestPath(path);
    ICloudClient& client = host.Bodies(EAccess::Read);
    if (!client.IsFileExist(object))
    {
        throw exc::CRuntimeExc("There is no backup at [%1]: the manifest is missing.", Printable(path));
    }
    auto const text = io::block::CPooledBuf::Alloc(0, host.Pool());
    client.DownloadFileAsync(object, text, host.Pool())->Wait();
    try
    {
        return ParseManifest(text->GetText());
    }
    catch (exc::exc_base_t const& error)
    {
        exc::RegenExc("Failed to read the backup [%1].", Printable(path), error);
    }
}

} // namespace bucketry::tool
