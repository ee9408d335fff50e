// SPDX-License-Identifier: Apache-2.0
#include "backup/manifest.h"
#include "backup/names.h"
#include "json.h"
#include "progress.h"
#include "text.h"

#include "bucketry/base/exceptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace bucketry::tool
{

namespace
{

using testing::HasSubstr;

SEntry Entry(EEntryKind kind, std::string path)
{
    SEntry entry;
    entry.m_kind = kind;
    entry.m_path = std::move(path);
    return entry;
}

std::string ManifestOf(std::vector<SEntry> const& entries)
{
    CManifestWriter writer("run 1");
    writer.Add(Entry(EEntryKind::Directory, ""));
    for (SEntry const& entry : entries)
    {
        writer.Add(entry);
    }
    return writer.Finish();
}

/// A manifest with the lines given, a right digest, and an end that counts `count` entries.
std::string Forged(std::string const& lines, int count)
{
    std::string text = "bucketry-backup 1\nrun r\n" + lines + "end " + std::to_string(count) + " complete\n";
    CSha256 hash;
    hash.Update(text.data(), text.size());
    return text + "sha256 " + ToHex(hash.Finish()) + "\n";
}

void ExpectDamaged(std::string const& text, std::string const& words)
{
    try
    {
        ParseManifest(text);
        ADD_FAILURE() << "accepted:\n" << text;
    }
    catch (exc::CRuntimeExc const& error)
    {
        EXPECT_THAT(error.what(), HasSubstr("The manifest is damaged: " + words)) << text;
    }
}

TEST(Names, EscapeAndUnescapeEveryByteInOneWayOnly)
{
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
    {
        all += static_cast<char>(byte);
    }
    EXPECT_EQ(EscapeName("a b/\xC3\xA4%.-_"), "a%20b%2F%C3%A4%25.-_");
    EXPECT_EQ(EscapePath("a b/c"), "a%20b/c");
    EXPECT_EQ(Unescape(EscapeName(all), false), all);
    EXPECT_EQ(Unescape(EscapePath(all), true), all);
    for (std::string const text : {"%", "%4", "%zz", "%c3", "%41", "a b", "a/b"})
    {
        EXPECT_EQ(Unescape(text, false), std::nullopt) << text;
    }
}

TEST(Names, LongNamesAreHashedAndFitEveryFileSystem)
{
    std::string const foreign(255, '\xE4');
    std::string const hashed = ObjectNameOf("dir/" + foreign);
    EXPECT_TRUE(hashed.starts_with("%00/")) << hashed;
    EXPECT_EQ(hashed.size(), 4 + 64u);
    EXPECT_NE(hashed, ObjectNameOf("other/" + foreign));
    EXPECT_EQ(ObjectNameOf(std::string(255, 'a')), std::string(255, 'a'));
    std::string deep = "d";
    for (int level = 0; level < 400; ++level)
    {
        deep += "/d";
    }
    EXPECT_TRUE(ObjectNameOf(deep).starts_with("%00/"));
    EXPECT_EQ(PieceNameOf("a", 12), "a/000012");
}

TEST(Names, OrderIsThatOfADepthFirstWalk)
{
    std::vector<std::string> const ordered{"", "a", "a/b", "a/b/c", "a/c", "a b", "a-b", "a\xFF", "b"};
    for (std::size_t i = 0; i + 1 < ordered.size(); ++i)
    {
        EXPECT_TRUE(IsPathBefore(ordered[i], ordered[i + 1])) << ordered[i] << " " << ordered[i + 1];
        EXPECT_FALSE(IsPathBefore(ordered[i + 1], ordered[i])) << ordered[i] << " " << ordered[i + 1];
    }
    EXPECT_FALSE(IsPathBefore("a", "a"));
}

TEST(Manifest, GivesBackWhatWasWritten)
{
    SEntry directory = Entry(EEntryKind::Directory, "d \n");
    directory.m_mode = 01755;
    directory.m_modified = {-5, 7};
    SEntry file = Entry(EEntryKind::File, "d \n/\xFF");
    file.m_mode = 04711;
    file.m_modified = {1700000000, 999999999};
    file.m_size = 2 * PieceBytes + 1;
    file.m_pieces = 3;
    file.m_sha256.fill(0xAB);
    SEntry link = Entry(EEntryKind::Link, "d \n/\xFFl");
    link.m_target = "../elsewhere \xFE";
    SManifest const manifest = ParseManifest(ManifestOf({directory, file, link}));

    EXPECT_EQ(manifest.m_run, "run 1");
    EXPECT_TRUE(manifest.IsComplete());
    ASSERT_EQ(manifest.m_entries.size(), 4u);
    EXPECT_EQ(manifest.m_entries[0].m_path, "");
    EXPECT_EQ(manifest.m_entries[1].m_mode, 01755u);
    EXPECT_EQ(manifest.m_entries[1].m_modified.tv_sec, -5);
    EXPECT_EQ(manifest.m_entries[1].m_modified.tv_nsec, 7);
    EXPECT_EQ(manifest.m_entries[2].m_path, file.m_path);
    EXPECT_EQ(manifest.m_entries[2].m_pieces, 3u);
    EXPECT_EQ(manifest.m_entries[2].m_sha256, file.m_sha256);
    EXPECT_EQ(manifest.m_entries[3].m_target, link.m_target);
    EXPECT_EQ(manifest.TotalBytes(), file.m_size);
    EXPECT_FALSE(ParseManifest(ManifestOf({Entry(EEntryKind::Unread, "x")})).IsComplete());
}

TEST(Manifest, DamageAnywhereIsTold)
{
    std::string const text = ManifestOf({Entry(EEntryKind::File, "f"), Entry(EEntryKind::Directory, "g")});
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        std::string changed = text;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        EXPECT_THROW(ParseManifest(changed), exc::CRuntimeExc) << at;
        EXPECT_THROW(ParseManifest(text.substr(0, at)), exc::CRuntimeExc) << at;
    }
    EXPECT_THROW(ParseManifest(text + "x"), exc::CRuntimeExc);
}

TEST(Manifest, RefusesForgeriesThatLeadOutOfTheDirectory)
{
    std::string const root = "d 0755 1.000000000 .\n";
    std::string const noDigest(64, '0');
    std::string const file = "f 0644 1.000000000 0 0 " + noDigest + " ";
    ASSERT_NO_THROW(ParseManifest(Forged(root + file + "a\n", 2)));
    for (std::string const path : {"../a", "/a", "a/../b", "..", ".", "a//b", "a/"})
    {
        ExpectDamaged(Forged(root + file + path + "\n", 2), "a path leads out of the tree");
    }
    ExpectDamaged(Forged(root + file + "a%00b\n", 2), "a name is malformed");
    ExpectDamaged(Forged(root + file + "%2E%2E\n", 2), "a name is malformed");
    ExpectDamaged(Forged(root + "l 1.000000000 %2Fetc a\n" + file + "a/passwd\n", 3), "an entry lies in no directory");
    ExpectDamaged(Forged(root + file + "b\n" + file + "a\n", 3), "its entries are out of order");
    ExpectDamaged(Forged(root + file + "a\n" + file + "a\n", 3), "its entries are out of order");
    ExpectDamaged(Forged(file + "a\n", 1), "it does not begin with the tree's own directory");
    ExpectDamaged(Forged(root + "x a\n", 2), "its end does not fit");
    ExpectDamaged(Forged(root, 2), "its end does not fit");
    ExpectDamaged(Forged(root + "f 0644 1.000000000 0 5 " + noDigest + " a\n", 2),
                  "a file has a wrong number of pieces");
    ExpectDamaged(Forged(root + "f 0644 1.000000000 4611686018427387904 68719476736 " + noDigest + " a\n", 2),
                  "a file has a wrong number of pieces");
    ExpectDamaged(Forged(root + "q a\n", 2), "a line is of an unknown kind");
    for (char const* const start : {"f 0644 01.000000000 0", "f 0644 -0.000000000 0", "f 0644 1.000000000 00"})
    {
        ExpectDamaged(Forged(root + start + " 0 " + noDigest + " a\n", 2), "a number is malformed");
    }
    ExpectDamaged(Forged(root + "f 00644 1.000000000 0 0 " + noDigest + " a\n", 2), "a mode is out of range");
}

TEST(Output, JsonStaysValidWhateverTheBytes)
{
    EXPECT_EQ(CJsonObject().Add("k", "a\"\\\n\x01\xC3\xA4").Text(), "{\"k\":\"a\\\"\\\\\\u000a\\u0001\xC3\xA4\"}");
    EXPECT_EQ(CJsonObject().Add("k", "a\xFF!").Add("n", std::uint64_t(7)).Text(),
              "{\"k\":\"a\xEF\xBF\xBD!\",\"k_bytes\":\"a%FF%21\",\"n\":7}");
    EXPECT_EQ(Printable("a\n\\\xFF\xC3\xA4"), "a\\x0a\\x5c\\xff\xC3\xA4");
}

TEST(Output, ProgressTellsWhatIsLeft)
{
    EXPECT_EQ(ProgressText({10 << 20, 3}, {30 << 20, 1200}, 2),
              "10.0 MiB of 30.0 MiB, 3 of 1,200 files, 5.0 MiB/s, 0:04 left");
    EXPECT_EQ(ProgressText({4, 0}, {30 << 20, 1200}, 0.5), "4 B of 30.0 MiB, 0 of 1,200 files, 8 B/s");
    EXPECT_EQ(ProgressText({512, 1}, {}, 0), "512 B, 1 files, 0 B/s");
    EXPECT_EQ(HumanSeconds(3723), "1:02:03");
}

} // namespace

} // namespace bucketry::tool
