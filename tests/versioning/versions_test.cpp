// SPDX-License-Identifier: Apache-2.0
#include "bucketry/versions.h"

#include "bucketry/base/options.h"
#include "support/bufs.h"
#include "support/expect_failure.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/memory_client.h"
#include "support/raw_http_server.h"
#include "support/store_backends.h"

#include <bucketry/simulator.h>

namespace bucketry
{
namespace
{

using datetime::CDateTime;
using ::testing::_;
using testing::BufsOf;
using testing::CLogCapture;
using ::testing::ElementsAre;
using testing::ExpectFailure;
using testing::ExpectStorageFailure;
using ::testing::IsEmpty;
using ::testing::Pair;
using testing::TextOf;
using enum ECloudObjectVersionSortOrder;

CDateTime At(long seconds)
{
    return CDateTime::fromUnixTime(seconds, true);
}

TEST(Versions, AreSortedByTimeAndTheFirstListedOfOneSecondIsTheNewer)
{
    std::vector<SCloudObjectVersion> versions{
        {"new", 0, false, At(7)}, {"newer", 0, false, At(9)}, {"b", 0, false, At(8)}, {"a", 0, false, At(8)}};
    auto const ids = [&]
    {
        std::string text;
        for (auto const& version : versions)
        {
            text += version.m_versionId + " ";
        }
        return text;
    };
    auto const listed = versions;
    SortCloudObjectVersions(versions, NewestFirst);
    EXPECT_EQ(ids(), "newer b a new ");
    versions = listed;
    SortCloudObjectVersions(versions, OldestFirst);
    EXPECT_EQ(ids(), "new a b newer ");
    std::vector<SCloudObjectPathVersionPair> none;
    ExpectFailure<exc::CRuntimeExc>("SortCloudObjectVersions: unknown sorting order type [2]",
                                    [&] { SortCloudObjectVersions(none, ECloudObjectVersionSortOrder(2)); });
}

TEST(Versions, ImmutabilityMustLieFarEnoughAhead)
{
    testing::CFakeClock const clock;
    CLogCapture const log;
    long const border = clock.Now().toUnixTime() + options_t::GetInst().GetMinImmutabilitySec();
    EXPECT_EQ(CImmutabilityUtils::CheckImmutabilityPeriod(At(border)), At(border));
    EXPECT_EQ(CImmutabilityUtils::CheckImmutabilityPeriod(std::nullopt), std::nullopt);
    EXPECT_EQ(CImmutabilityUtils::CheckImmutabilityPeriod(At(border - 1), true), std::nullopt);
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(CImmutabilityUtils::CheckImmutabilityPeriod(std::optional(At(border - 1))), std::nullopt);
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines()[0].m_section, "common_log");
    EXPECT_EQ(log.Lines()[0].m_text,
              "Cancelling immutability application: requested time [" + At(border - 1).toStdString() +
                  "] UTC is close to or less than current time [" + clock.Now().toStdString() + "] UTC");
}

TEST(Versions, ClientWithoutThemIsServedOrRefusedFromTheCall)
{
    auto const store = std::make_shared<testing::CMemoryStore>(false);
    std::shared_ptr<ICloudClient> const client = std::make_shared<testing::CMemoryClient>(store);
    store->Put("f/a", "1");
    store->Put("f/s/b", "2");
    EXPECT_THAT(EnumAllVersionsOfObjectsInFolder(client, "f"),
                ElementsAre(Pair("f/a", ElementsAre("")), Pair("f/s", ElementsAre(""))));
    auto const rows = EnumNewestVersionsOfObjectsPathInFolder(client, "f/");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[1].m_fullPath + " " + rows[1].m_name + rows[1].m_versionId, "f//s s");
    EXPECT_TRUE(rows[1].m_isFolder);
    SubstituteNonImmutableFileAsync(client, "f/a", BufsOf("new"))->Wait();
    auto const body = BufsOf("");
    DownloadOldestVersionAsync(client, "f/a", body, nullptr)->Wait();
    EXPECT_EQ(TextOf(*body), "new");
    DeleteAllVersions("f/a", client)->Wait();
    EXPECT_FALSE(client->IsFileExist("f/a"));

    store->ClearCalls();
    auto const ids = std::make_shared<std::vector<std::string>>();
    for (auto const& call :
         std::vector<std::function<void()>>{[&] { EnumAllVersionsOfObjectAsync(*client, "x", ids, OldestFirst); },
                                            [&] { EnumOldestVersionsOfObjectsInFolder(client, "x"); },
                                            [&] { DeleteAllVersions("x", *client, true); },
                                            [&] { DeleteAllVersions("x", client, At(0), false); }})
    {
        ExpectFailure<exc::CRuntimeExc>("Versioning not enabled", call);
    }
    ExpectFailure<exc::CRuntimeExc>("Versioning is not enabled",
                                    [&] { CheckObjectExistsCleanupAndUpdateImmutabilityAsync(client, "x", At(0)); });
    EXPECT_THAT(store->Calls(), IsEmpty());
}

/// The factory's client on a store whose clock goes a minute ahead with every object.
class VersionsOnAStore : public ::testing::Test
{
protected:
    VersionsOnAStore() { m_store.SetClock(m_store.Now()); }

    std::string Put(std::string const& path, std::string const& body, std::optional<CDateTime> const& till = {})
    {
        m_store.AdvanceClock(std::chrono::minutes(1));
        auto const version = std::make_shared<std::string>();
        m_client->GetVersioningUtils()->UploadFileAsync(path, BufsOf(body), version, till)->Wait();
        return *version;
    }
    std::vector<std::string> Ids(std::string const& path)
    {
        return EnumAllVersionsOfObject(*m_client, path, OldestFirst);
    }
    /// Since the last call, with the first letters of the version that each is about.
    std::string Requests(std::vector<std::string> const& names = {})
    {
        std::string text;
        for (auto const& request : m_store.Log())
        {
            text += request.m_operation;
            for (std::size_t i = 0; i < names.size(); ++i)
            {
                text += request.m_target.find("versionId=" + names[i]) != std::string::npos ? std::to_string(i) : "";
            }
            text += " ";
        }
        m_store.ClearLog();
        return text;
    }
    /// The same at every call.
    CDateTime In(int hours) const { return At(m_start + hours * 3600L); }

    long const m_start = CDateTime::currentUtcTime().toUnixTime();
    simulator::CSimulator m_store{{.m_maxSkew = std::chrono::hours(24)}};
    std::shared_ptr<ICloudClient> const m_client = s3::CS3CompatibleClientFactory::Create(
        testing::NewBucket(
            {m_store.Endpoint(), "us-east-1", simulator::SAccessKey().m_id, simulator::SAccessKey().m_secret},
            {"", false, true}),
        "versions", nullptr);
};

TEST_F(VersionsOnAStore, FoldersAreToldByOldestAndNewest)
{
    std::string const a1 = Put("f/a", "1");
    std::string const b1 = Put("f/b", "1");
    std::string const a2 = Put("f/a", "2");
    Put("f/s/c", "1");
    EXPECT_THAT(
        EnumAllVersionsOfObjectsInFolder(m_client, "/f"),
        ElementsAre(Pair("/f/a", ElementsAre(a2, a1)), Pair("/f/b", ElementsAre(b1)), Pair("/f/s", ElementsAre(""))));
    EXPECT_THAT(EnumOldestVersionsOfObjectsInFolder(m_client, "f"),
                ElementsAre(Pair("a", a1), Pair("b", b1), Pair("s", "")));
    auto const shown = [](std::vector<SObjectPath> const& rows)
    {
        std::string text;
        for (SObjectPath const& row : rows)
        {
            text += row.m_fullPath + "," + row.m_name + "," + row.m_versionId + (row.m_isFolder ? " folder|" : "|");
        }
        return text;
    };
    EXPECT_EQ(shown(EnumOldestVersionsOfObjectsPathInFolder(m_client, "f")),
              "f/a,a," + a1 + "|f/b,b," + b1 + "|f/s,s, folder|");
    EXPECT_EQ(shown(EnumNewestVersionsOfObjectsPathInFolder(m_client, "f")),
              "f/a,a," + a2 + "|f/b,b," + b1 + "|f/s,s, folder|");
    auto const ids = std::make_shared<std::vector<std::string>>(1, "kept");
    EnumAllVersionsOfObjectAsync(*m_client, "f/a", ids, NewestFirst)->Wait();
    EXPECT_THAT(*ids, ElementsAre("kept", a2, a1));
}

TEST_F(VersionsOnAStore, AllOrAllButTheNewestAreDeleted)
{
    Put("a", "1");
    Put("a", "2");
    std::string const newest = Put("a", "3");
    Requests();
    DeleteAllVersions("/a", *m_client, true)->Wait();
    EXPECT_EQ(Requests(), "ListObjectVersions DeleteObjects ");
    EXPECT_THAT(Ids("a"), ElementsAre(newest));
    DeleteAllVersions("a", *m_client, true)->Wait();
    EXPECT_THAT(Ids("a"), ElementsAre(newest));
    DeleteAllVersions("a", m_client)->Wait();
    DeleteAllVersions("a", *m_client)->Wait(); // nothing left
    EXPECT_THAT(Ids("a"), IsEmpty());

    CDateTime const till = In(2);
    std::string const free = Put("a", "1");
    std::string const locked = Put("a", "2", till);
    std::string const longer = Put("a", "3", In(5));
    std::string const last = Put("a", "4");
    Requests();
    EXPECT_FALSE(DeleteAllVersions("a", m_client, till, true));
    EXPECT_EQ(Requests({free, locked, longer, last}),
              "ListObjectVersions HeadObject0 DeleteObject0 HeadObject1 HeadObject2 ");
    ExpectStorageFailure(403, _, [&] { DeleteAllVersions("a", m_client, In(3), false); });
    EXPECT_THAT(Ids("a"), ElementsAre(locked, longer, last));
    EXPECT_TRUE(DeleteAllVersions("absent", m_client, till, false));
}

TEST_F(VersionsOnAStore, NewestIsProtectedBeforeOlderOnesGo)
{
    CheckObjectExistsCleanupAndUpdateImmutabilityAsync(m_client, "a", In(2))->Wait(); // no object: nothing to do
    std::string const first = Put("a", "1");
    std::string const locked = Put("a", "2", In(9));
    std::string const newest = Put("a", "3");
    m_store.LoadFaults("on PutObjectRetention times=1 do status 400 InvalidArgument");
    ExpectStorageFailure(400, _,
                         [&] { CheckObjectExistsCleanupAndUpdateImmutabilityAsync(m_client, "a", In(2))->Wait(); });
    EXPECT_EQ(Ids("a").size(), 3U);
    Requests();
    CheckObjectExistsCleanupAndUpdateImmutabilityAsync(m_client, "a", In(2))->Wait();
    EXPECT_THAT(Requests({first, locked, newest}),
                ::testing::StartsWith("ListObjectVersions HeadObject2 PutObjectRetention2 DeleteObject"));
    EXPECT_THAT(Ids("a"), ElementsAre(locked, newest));
    EXPECT_EQ(GetImmutability(m_client, "a", newest), In(2));
    CheckObjectExistsCleanupAndUpdateImmutabilityAsync(m_client, "a", In(0))->Wait(); // too near: no request for it
    EXPECT_EQ(Requests({first, locked, newest}),
              "ListObjectVersions HeadObject2 ListObjectVersions DeleteObject1 HeadObject1 ");

    Requests();
    UpdateImmutability(m_client, "a", newest, In(1));
    UpdateImmutabilityAsync(m_client, "a", newest, In(1))->Wait();
    EXPECT_EQ(Requests(), "HeadObject HeadObject ");
    UpdateImmutability(m_client, "a", newest, In(4));
    UpdateImmutabilityAsync(m_client, "a", newest, In(5))->Wait();
    EXPECT_EQ(GetImmutability(m_client, "a", newest), In(5));
}

TEST_F(VersionsOnAStore, NewBodyIsStoredBeforeOlderOnesGo)
{
    SubstituteNonImmutableFileAsync(m_client, "a", BufsOf("1"))->Wait();
    Put("a", "2");
    m_store.LoadFaults("on PutObject times=1 do status 400 InvalidArgument");
    Requests();
    ExpectStorageFailure(400, _, [&] { SubstituteNonImmutableFileAsync(m_client, "a", BufsOf("3"))->Wait(); });
    EXPECT_EQ(Requests(), "ListObjectVersions PutObject ");
    SubstituteNonImmutableFileAsync(m_client, "a", BufsOf("3"))->Wait();
    EXPECT_EQ(Requests(), "ListObjectVersions PutObject DeleteObjects ");
    ASSERT_EQ(Ids("a").size(), 1U);
    auto const body = std::make_shared<io::block::CPooledBuf>();
    DownloadVersionAsync(m_client, "a", NewestFirst, body, nullptr)->Wait();
    EXPECT_EQ(TextOf(*body), "3");
    DeleteAllVersions("a", m_client)->Wait();
    ExpectStorageFailure(404, "No version of object [a] was found.",
                         [&] { DownloadOldestVersionAsync(m_client, "a", body, nullptr)->Wait(); });
}

TEST(Versions, SubstitutionDeletesNothingWhereTheStoreGivesAnIdTwice)
{
    testing::CRawHttpServer const suspended(
        [](std::string const& request)
        {
            return request.starts_with("GET")
                ? testing::Answer(200,
                                  "<ListVersionsResult><Version><Key>a</Key><VersionId>null</VersionId><Size>1</Size>"
                                  "<LastModified>2026-03-14T09:26:53Z</LastModified></Version></ListVersionsResult>")
                : testing::Answer(200, "", "x-amz-version-id: null\r\nETag: \"e\"\r\n");
        });
    s3::SS3ClientConnSpec spec;
    spec.BucketAddr.ApiEndpoint = suspended.Url();
    spec.BucketAddr.BucketName = "vault";
    spec.Credentials.Keys = s3::SS3CredentialsKeys{"AKID", "secret", ""};
    spec.Options.ObjectLockEnabledOnBucket = true;
    auto const client = s3::CS3CompatibleClientFactory::Create(spec, "versions", nullptr);
    ExpectFailure<exc::CRuntimeExc>("Invalid previous version ID",
                                    [&] { SubstituteNonImmutableFileAsync(client, "a", BufsOf("1"))->Wait(); });
    EXPECT_EQ(suspended.Requests().size(), 2U);
}

} // namespace
} // namespace bucketry
