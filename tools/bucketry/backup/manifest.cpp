// SPDX-License-Identifier: Apache-2.0
#include "backup/manifest.h"

#include "backup/names.h"

#include "bucketry/base/exceptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <optional>
#include <utility>

namespace bucketry::tool
{

namespace
{

constexpr std::string_view FirstLine = "bucketry-backup 1\n";
constexpr std::string_view RootName = ".";
constexpr mode_t ModeBits = 07777;

[[noreturn]] void ThrowDamaged(std::string_view what)
{
    throw exc::CRuntimeExc("The manifest is damaged: %1.", what);
}

std::string_view StateWord(bool isComplete)
{
    return isComplete ? "complete" : "incomplete";
}

std::string DigestLine(std::string_view text)
{
    CSha256 hash;
    hash.Update(text.data(), text.size());
    return "sha256 " + ToHex(hash.Finish()) + "\n";
}

std::string ModeText(mode_t mode)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode));
    return text.data();
}

std::string TimeText(timespec const& time)
{
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%lld.%09ld", static_cast<long long>(time.tv_sec), time.tv_nsec);
    return text.data();
}

/// Takes the fields of one line from left to right.
class CFields
{
public:
    explicit CFields(std::string_view line) : m_rest(line) {}

    std::string_view Next()
    {
        if (m_isAtEnd)
        {
            ThrowDamaged("a field is missing");
        }
        std::size_t const end = m_rest.find(' ');
        std::string_view const field = m_rest.substr(0, end);
        m_isAtEnd = end == std::string_view::npos;
        m_rest = m_isAtEnd ? std::string_view() : m_rest.substr(end + 1);
        return field;
    }
    template <class T>
    T NextNumber()
    {
        return DecimalOf<T>(Next());
    }
    mode_t NextMode()
    {
        std::string_view const field = Next();
        auto const mode = NumberOf<mode_t>(field, 8);
        if (field.size() != 4 || mode > ModeBits)
        {
            ThrowDamaged("a mode is out of range");
        }
        return mode;
    }
    timespec NextTime()
    {
        std::string_view const field = Next();
        std::size_t const point = field.find('.');
        if (point == std::string_view::npos || field.size() - point != 10)
        {
            ThrowDamaged("a time is malformed");
        }
        return {DecimalOf<std::int64_t>(field.substr(0, point)), NumberOf<std::uint32_t>(field.substr(point + 1), 10)};
    }
    digest_t NextDigest()
    {
        auto const digest = DigestFromHex(Next());
        if (!digest)
        {
            ThrowDamaged("a digest is malformed");
        }
        return *digest;
    }
    std::string NextName(bool isPath)
    {
        auto name = Unescape(Next(), isPath);
        if (!name || name->find('\0') != std::string::npos)
        {
            ThrowDamaged("a name is malformed");
        }
        return std::move(*name);
    }
    void ExpectEnd() const
    {
        if (!m_isAtEnd)
        {
            ThrowDamaged("a line is too long");
        }
    }

private:
    /// Refuses zeros in front, and a minus before a zero: a number has one form.
    template <class T>
    static T DecimalOf(std::string_view field)
    {
        if (field.size() > 1 && (field.front() == '0' || field.starts_with("-0")))
        {
            ThrowDamaged("a number is malformed");
        }
        return NumberOf<T>(field, 10);
    }
    template <class T>
    static T NumberOf(std::string_view field, int base)
    {
        T value{};
        auto const [end, error] = std::from_chars(field.data(), field.data() + field.size(), value, base);
        if (error != std::errc() || end != field.data() + field.size())
        {
            ThrowDamaged("a number is malformed");
        }
        return value;
    }

    std::string_view m_rest;
    bool m_isAtEnd = false;
};

SEntry ParseEntry(std::string_view line)
{
    CFields fields(line);
    std::string_view const kind = fields.Next();
    if (kind.size() != 1 || std::string_view("dftlx").find(kind) == std::string_view::npos)
    {
        ThrowDamaged("a line is of an unknown kind");
    }
    SEntry entry;
    entry.m_kind = static_cast<EEntryKind>(kind.front());
    if (entry.IsFile() || entry.m_kind == EEntryKind::Directory)
    {
        entry.m_mode = fields.NextMode();
    }
    if (entry.m_kind != EEntryKind::Unread)
    {
        entry.m_modified = fields.NextTime();
    }
    if (entry.IsFile())
    {
        entry.m_size = fields.NextNumber<std::uint64_t>();
        entry.m_pieces = fields.NextNumber<std::size_t>();
        entry.m_sha256 = fields.NextDigest();
    }
    if (entry.m_kind == EEntryKind::Link)
    {
        entry.m_target = fields.NextName(false);
    }
    entry.m_path = fields.NextName(true);
    fields.ExpectEnd();
    return entry;
}

/// Holds the entries against each other: one tree, in order, every parent a directory of it.
class CTreeCheck
{
public:
    void Check(SEntry& entry)
    {
        if (m_directories.empty())
        {
            if (entry.m_path != RootName || entry.m_kind != EEntryKind::Directory)
            {
                ThrowDamaged("it does not begin with the tree's own directory");
            }
            entry.m_path.clear();
        }
        else
        {
            CheckPlace(entry);
        }
        if (entry.m_kind == EEntryKind::Directory)
        {
            m_directories.push_back(entry.m_path);
        }
        m_last = entry.m_path;
    }

private:
    void CheckPlace(SEntry const& entry)
    {
        if (!IsRelativePath(entry.m_path))
        {
            ThrowDamaged("a path leads out of the tree");
        }
        if (!IsPathBefore(m_last, entry.m_path))
        {
            ThrowDamaged("its entries are out of order");
        }
        std::string_view const parent = ParentOf(entry.m_path);
        while (!m_directories.empty() && m_directories.back() != parent)
        {
            m_directories.pop_back();
        }
        if (m_directories.empty())
        {
            ThrowDamaged("an entry lies in no directory");
        }
    }

    std::vector<std::string> m_directories; ///< from the tree's own to the one of the last entry
    std::string m_last;
};

/// As many pieces as the size asks for. A file that became shorter while it was read may have been stored in one more.
bool ArePiecesPlausible(SEntry const& entry)
{
    std::uint64_t const needed = entry.m_size / PieceBytes + (entry.m_size % PieceBytes == 0 ? 0 : 1);
    bool const isCut = entry.m_kind == EEntryKind::TornFile && entry.m_pieces > 0 &&
        (entry.m_pieces == needed || entry.m_pieces == needed + 1);
    return entry.m_pieces <= MaxPieces && (isCut || entry.m_pieces == (needed > 1 ? needed : 0));
}

/// The next line without its line feed; takes it off the text.
std::string_view TakeLine(std::string_view& text)
{
    std::size_t const end = text.find('\n');
    if (end == std::string_view::npos)
    {
        ThrowDamaged("it is cut off");
    }
    std::string_view const line = text.substr(0, end);
    text.remove_prefix(end + 1);
    return line;
}

/// The lines between the first one and the digest, which has been found right.
std::string_view CheckedBody(std::string_view text)
{
    if (!text.starts_with("bucketry-backup "))
    {
        ThrowDamaged("it does not begin as a manifest");
    }
    static constexpr std::size_t digestLineSize = 7 + 64 + 1;
    std::size_t const size = text.size() < digestLineSize ? 0 : text.size() - digestLineSize;
    if (text.substr(size) != DigestLine(text.substr(0, size)))
    {
        ThrowDamaged("its content does not match its SHA-256");
    }
    if (!text.starts_with(FirstLine))
    {
        throw exc::CRuntimeExc("The manifest is of another version: %1.", text.substr(0, text.find('\n')));
    }
    return text.substr(FirstLine.size(), size - FirstLine.size());
}

} // namespace

bool SManifest::IsComplete() const
{
    return std::ranges::none_of(m_entries,
                                [](SEntry const& entry)
                                { return entry.m_kind == EEntryKind::Unread || entry.m_kind == EEntryKind::TornFile; });
}

std::uint64_t SManifest::TotalBytes() const
{
    std::uint64_t bytes = 0;
    for (SEntry const& entry : m_entries)
    {
        bytes += entry.m_size;
    }
    return bytes;
}

std::uint64_t SManifest::CountFiles() const
{
    return static_cast<std::uint64_t>(std::ranges::count_if(m_entries, &SEntry::IsFile));
}

CManifestWriter::CManifestWriter(std::string_view run) : m_text(FirstLine)
{
    m_text.append("run ").append(EscapeName(run)).append("\n");
}

void CManifestWriter::Add(SEntry const& entry)
{
    m_text += static_cast<char>(entry.m_kind);
    if (entry.IsFile() || entry.m_kind == EEntryKind::Directory)
    {
        m_text += ' ' + ModeText(entry.m_mode);
    }
    if (entry.m_kind != EEntryKind::Unread)
    {
        m_text += ' ' + TimeText(entry.m_modified);
    }
    if (entry.IsFile())
    {
        m_text += util::str_format(" %1 %2 %3", entry.m_size, entry.m_pieces, ToHex(entry.m_sha256));
    }
    if (entry.m_kind == EEntryKind::Link)
    {
        m_text += ' ' + EscapeName(entry.m_target);
    }
    m_text += ' ' + (entry.m_path.empty() ? std::string(RootName) : EscapePath(entry.m_path)) + '\n';
    m_isComplete = m_isComplete && entry.m_kind != EEntryKind::Unread && entry.m_kind != EEntryKind::TornFile;
    ++m_count;
}

std::string CManifestWriter::Finish()
{
    m_text += util::str_format("end %1 %2\n", m_count, StateWord(m_isComplete));
    m_text += DigestLine(m_text);
    return std::move(m_text);
}

SManifest ParseManifest(std::string_view text)
{
    std::string_view rest = CheckedBody(text);
    SManifest manifest;
    CFields head(TakeLine(rest));
    if (head.Next() != "run")
    {
        ThrowDamaged("it names no run");
    }
    manifest.m_run = head.NextName(false);
    head.ExpectEnd();
    if (manifest.m_run.empty())
    {
        ThrowDamaged("it names no run");
    }

    CTreeCheck tree;
    std::string_view line = TakeLine(rest);
    for (; !line.starts_with("end "); line = TakeLine(rest))
    {
        SEntry& entry = manifest.m_entries.emplace_back(ParseEntry(line));
        tree.Check(entry);
        if (!ArePiecesPlausible(entry))
        {
            ThrowDamaged("a file has a wrong number of pieces");
        }
    }
    std::string const end = util::str_format("end %1 %2", manifest.m_entries.size(), StateWord(manifest.IsComplete()));
    if (line != end || !rest.empty() || manifest.m_entries.empty())
    {
        ThrowDamaged("its end does not fit its entries");
    }
    return manifest;
}

} // namespace bucketry::tool
