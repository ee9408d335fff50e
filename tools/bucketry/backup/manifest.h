// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "backup/sha256.h"
#include "task_window.h"

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

/// What a backup holds, as a text object: docs/formats/backup.md describes it.
namespace bucketry::tool
{

enum class EEntryKind : char
{
    Directory = 'd',
    File = 'f',
    TornFile = 't', ///< a file that changed while it was read
    Link = 'l',     ///< symbolic
    Unread = 'x'    ///< something that could not be read, so that it is missing from the backup
};

/// One file, directory or link of the tree.
struct SEntry
{
    EEntryKind m_kind = EEntryKind::File;
    std::string m_path;       ///< relative to the tree, raw bytes; empty for the tree's own directory
    mode_t m_mode = 0;        ///< permission bits of a file or directory
    timespec m_modified{};    ///< of all but Unread
    std::uint64_t m_size = 0; ///< bytes of a file
    std::size_t m_pieces = 0; ///< objects that a file is stored in below its name; 0: one object of that name
    digest_t m_sha256{};      ///< of a file's content
    std::string m_target;     ///< of a link

    bool IsFile() const noexcept { return m_kind == EEntryKind::File || m_kind == EEntryKind::TornFile; }
};

/// Files of more than PieceBytes are stored as several objects, as many as have a number of six digits. It bounds what
/// a forged size can make a reader do.
inline constexpr std::uint64_t MaxPieces = 1'000'000;

struct SManifest
{
    std::string m_run;             ///< names the folder of the objects
    std::vector<SEntry> m_entries; ///< depth first, names sorted by their bytes

    /// Whether anything could not be read, or changed while it was read.
    bool IsComplete() const;
    std::uint64_t TotalBytes() const;
    std::uint64_t CountFiles() const;
};

/// Collects the text of a manifest entry by entry.
class CManifestWriter
{
public:
    explicit CManifestWriter(std::string_view run);

    void Add(SEntry const& entry);
    /// The whole text; call it once, at the end.
    std::string Finish();

private:
    std::string m_text;
    std::size_t m_count = 0;
    bool m_isComplete = true;
};

/// Reads a manifest. Throws exc::CRuntimeExc "The manifest is damaged: ..." for anything that the writer does not
/// write: a wrong digest first of all, then anything that could lead a restore out of its directory.
SManifest ParseManifest(std::string_view text);

} // namespace bucketry::tool
