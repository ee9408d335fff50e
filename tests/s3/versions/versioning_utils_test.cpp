// SPDX-License-Identifier: Apache-2.0
#include "s3/versions/versioning_utils.h"

#include "bucketry/base/options.h"
#include "s3wire/auth/auth.h"
#include "s3wire/context.h"
#include "support/bufs.h"
#include "support/expect_failure.h"
#include "support/log_capture.h"
#include "support/raw_http_server.h"
#include "support/recording_client.h"

#include <bucketry/simulator.h>

namespace bucketry::s3::detail
{
namespace
{

using bucketry::testing::Answer;
using bucketry::testing::BufsOf;
using bucketry::testing::CLogCapture;
using bucketry::testing::CRawHttpServer;
using bucketry::testing::ExpectFailure;
using bucketry::testing::ExpectStorageFailure;
using datetime::CDateTime;
using logging::ELevel;
using s3wire::s3::CObjectStorageClass;
using s3wire::s3::CS3WireClient;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using pairs_t = std::vector<SCloudObjectPathVersionPair>;

std::shared_ptr<CS3VersioningUtils> UtilsFor(std::string const& endpoint, std::string const& bucket,
                                             CObjectStorageClass const& storageClass = {},
                                             std::map<std::string, std::string> const& metadata = {})
{
    simulator::SAccessKey const key;
    auto const auth = s3wire::CS3WireAuthFactory(s3wire::s3::CS3WireContext::Instance().GetTempKeyStore())
                          .CreateForS3(key.m_id, key.m_secret, "", endpoint, "", "", "", 0);
    return std::make_shared<CS3VersioningUtils>(std::make_shared<CS3WireClient>(endpoint, "us-east-1",
                                                                                s3wire::s3::SProxyConfig(), auth,
                                                                                std::nullopt, nullptr, false),
                                                bucket, storageClass, metadata);
}

std::string Shown(pairs_t const& pairs)
{
    std::string text;
    for (auto const& [name, version] : pairs)
    {
        text += name + ":" + version.m_versionId + ":" + std::to_string(version.m_size) + ":" +
            version.m_lastModified.toStdString() + (version.m_isFolder ? " folder|" : "|");
    }
    return text;
}

CDateTime In(long seconds)
{
    return CDateTime::fromUnixTime(CDateTime::currentUtcTime().toUnixTime() + seconds, true);
}

// ---- Queries
// ---------------------------------------------------------------------------------------------------------

TEST(S3VersionQueries, PageIsReadWithCare)
{
    auto const version = [](std::string const& key, int size, std::string const& date = "2026-03-14T09:26:53.589Z")
    {
        return "<Version><Key>" + key + "</Key><VersionId>v</VersionId><Size>" + std::to_string(size) +
            "</Size><LastModified>" + date + "</LastModified></Version>";
    };
    std::string const marker = "<DeleteMarker><Key>elsewhere</Key><VersionId>m</VersionId></DeleteMarker>";
    auto const common = [](std::string const& name)
    { return "<CommonPrefixes><Prefix>" + name + "</Prefix></CommonPrefixes>"; };
    std::string const noSubfolder = "Unexpected common prefix: 'f//', filter: '/f'";
    struct SRow
    {
        std::string m_page;
        std::string m_versions;
        std::string m_subfolders;
    };
    for (SRow const& row :
         std::vector<SRow>{{"", "", ""},
                           {version("f/", 0) + version("f/", 7) + marker, "", ""},
                           {version("f/m/", 0) + version("f/o/", 2) + version("f/x", 0) + common("f/s/"),
                            "m/:v:0:2026-03-14 09:26:53 folder|o/:v:2:2026-03-14 09:26:53|x:v:0:2026-03-14 09:26:53|"
                            "s::0:1970-01-01 00:00:00 folder|",
                            "s|"},
                           {common("f//"), "::0:1970-01-01 00:00:00 folder|", noSubfolder},
                           {version("g/x", 1), "Unexpected key path: 'g/x', filter: '/f'", ""},
                           {common("f/s"), "Unexpected common prefix: 'f/s', filter: '/f'",
                            "Unexpected common prefix: 'f/s', filter: '/f'"}})
    {
        CRawHttpServer const server(
            [&](std::string const&)
            { return Answer(200, "<ListVersionsResult>" + row.m_page + "</ListVersionsResult>"); });
        auto const utils = UtilsFor(server.Url(), "vault");
        std::string pages = "no page";
        auto const failureOf = [](task::IAsyncTask& query)
        {
            try
            {
                query.Wait();
                return std::string();
            }
            catch (exc::CRuntimeExc const& error)
            {
                return std::string(error.what());
            }
        };
        std::string failure =
            failureOf(*utils->QueryFolderVersionsAsync("/f", [&](pairs_t const& page) { pages = Shown(page); }));
        EXPECT_EQ(pages == "no page", !failure.empty());
        pages = failure.empty() ? pages : failure;
        EXPECT_EQ(pages, row.m_versions) << row.m_page;
        auto const names = std::make_shared<std::vector<std::string>>();
        failure = failureOf(*utils->QuerySubfoldersAsync("/f", names));
        EXPECT_EQ(failure.empty() && !names->empty() ? names->front() + "|" : failure, row.m_subfolders) << row.m_page;
    }
    CRawHttpServer const noDate(
        [&](std::string const&)
        { return Answer(200, "<ListVersionsResult>" + version("f", 1, "today") + "</ListVersionsResult>"); });
    auto const kept = std::make_shared<std::vector<SCloudObjectVersion>>(1);
    auto const query = UtilsFor(noDate.Url(), "vault")->QueryFileVersionsAsync("f", kept);
    EXPECT_THROW(query->Wait(), exc::CRuntimeExc);
    EXPECT_THAT(*kept, IsEmpty());
}

TEST(S3VersioningUtils, NothingIsDoneWithoutAClient)
{
    auto const utils = std::make_shared<CS3VersioningUtils>(nullptr, "vault", CObjectStorageClass(),
                                                            std::map<std::string, std::string>());
    for (auto const& operation : bucketry::testing::VersioningOperations())
    {
        if (operation.m_name == "GetFileInterRegionSource")
        {
            EXPECT_NO_THROW(operation.m_call(*utils));
            continue;
        }
        ExpectFailure<exc::CRuntimeExc>(operation.m_name == "CopyFileInterRegionAsync"
                                            ? EndsWith("file source is not an S3 source")
                                            : EndsWith("versioning utils error: restapi client is not initialised"),
                                        [&] { operation.m_call(*utils); });
    }
}

// ---- On a store
// ------------------------------------------------------------------------------------------------------

class S3Versions : public ::testing::Test
{
protected:
    S3Versions()
    {
        m_store.CreateBucket("locks", {.m_objectLock = true});
        m_store.CreateBucket("plain");
        m_store.CreateBucket("other", {.m_versioning = true});
    }

    std::string Put(CS3VersioningUtils& utils, std::string const& path, std::optional<CDateTime> const& till = {})
    {
        auto const version = std::make_shared<std::string>();
        utils.UploadFileAsync(path, BufsOf("body"), version, till)->Wait();
        return *version;
    }
    std::string Put(std::string const& path, std::optional<CDateTime> const& till = {})
    {
        return Put(*m_utils, path, till);
    }
    /// Since the last call.
    std::vector<std::string> Requests()
    {
        std::vector<std::string> operations;
        for (auto const& request : m_store.Log())
        {
            operations.push_back(request.m_operation);
        }
        m_store.ClearLog();
        return operations;
    }

    simulator::CSimulator m_store;
    std::shared_ptr<CS3VersioningUtils> const m_utils =
        UtilsFor(m_store.Endpoint(), "locks", {}, {{"note", "mine"}, {"Other", "2"}});
    std::shared_ptr<CS3VersioningUtils> const m_plain = UtilsFor(m_store.Endpoint(), "plain");
};

TEST_F(S3Versions, WriteThatWantsAnIdFailsOnceTheObjectIsStoredWhereThereIsNone)
{
    auto const id = std::make_shared<std::string>("before");
    m_plain->UploadFileAsync("/a", BufsOf("1"), nullptr, {})->Wait();
    ExpectFailure<exc::CRuntimeExc>("S3 returned empty versionId for newly uploaded object [/b], check that versioning "
                                    "is enabled on the bucket",
                                    [&]
                                    { m_plain->UploadFileWithMetadataAsync("/b", BufsOf("2"), {}, id, {})->Wait(); });
    ExpectFailure<exc::CRuntimeExc>("S3 returned empty versionId for object copy [/a] -> [/c], check that versioning "
                                    "is enabled on the bucket",
                                    [&] { m_plain->CopyFileVersionAsync("/a", "", "/c", id, {})->Wait(); });
    CLogCapture const log;
    ExpectFailure<exc::CRuntimeExc>(
        "S3 returned empty versionId for inter-region copy [a] -> [/d], check that versioning is enabled on the bucket",
        [&] { m_plain->CopyFileInterRegionAsync(m_plain->GetFileInterRegionSource("/a", ""), "/d", id, {})->Wait(); });
    EXPECT_EQ(log.Count(ELevel::Warning, "Version id is not set for file inter-region copy: [/d]"), 1U);
    EXPECT_EQ(*id, "before");
    EXPECT_EQ(m_store.ObjectCount("plain"), 4U);
    auto const stream = m_plain->StartUpload("e", 0, {});
    EXPECT_EQ(stream->FinishVersioned(), "");
    ExpectFailure<exc::CRuntimeExc>(
        "[S3UploadVersioning] Failed to finish upload: stream did not return object version",
        [&] { stream->FinishVersioned(); });
    ExpectFailure<exc::CRuntimeExc>(
        HasSubstr("is not supported by AWS"),
        [&] {
            UtilsFor(m_store.Endpoint(), "plain", s3wire::s3::EGoogleCSStorageClass::Archive)->StartUpload("f", 0, {});
        });
}

TEST_F(S3Versions, OwnMetadataWinsOverTheCallersAndStreamsHaveNone)
{
    auto const id = std::make_shared<std::string>();
    m_utils->UploadFileWithMetadataAsync("a", BufsOf("x"), {{"note", "theirs"}, {"third", "3"}}, id, {})->Wait();
    auto const found = std::make_shared<object_metadata_t>();
    m_utils->GetFileVersionMetadataAsync("a", *id, found)->Wait();
    EXPECT_THAT(*found, ElementsAre(std::pair("note", "mine"), std::pair("other", "2"), std::pair("third", "3")));
    found->clear();
    m_utils->GetFileVersionMetadataAsync("s", m_utils->StartUpload("s", 0, {})->FinishVersioned(), found)->Wait();
    EXPECT_THAT(*found, IsEmpty());
    EXPECT_EQ(m_utils->GetFileVersionSize("a", *id), 1U);
    ExpectStorageFailure(404, ::testing::StartsWith("Failed to read object size. Path: [b]. Version: [" + *id + "]\n"),
                         [&] { m_utils->GetFileVersionSize("b", *id); });
}

TEST_F(S3Versions, DateThatLiesTooNearIsLeftOutAndWarnedOfOnce)
{
    char const* const warning = "Cancelling immutability application: requested time [";
    CLogCapture const log;
    auto const isLocked = [&](std::string const& path, std::string const& version)
    {
        auto const date = std::make_shared<std::optional<CDateTime>>(In(0));
        m_utils->GetFileVersionImmutabilityAsync(path, version, date)->Wait();
        return date->has_value();
    };
    EXPECT_FALSE(isLocked("a", Put("a")));
    EXPECT_EQ(log.Count(ELevel::Warning, warning), 0U);
    std::string const near = Put("a", In(3500));
    EXPECT_FALSE(isLocked("a", near));
    Put("b", In(-1));
    Requests();
    m_utils->UpdateFileVersionImmutabilityAsync("a", near, In(3500))->Wait();
    m_utils->CheckAndUpdateImmutabilityAsync("a", near, In(3500))->Wait();
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_EQ(log.Count(ELevel::Warning, warning), 1U);
    Put(*UtilsFor(m_store.Endpoint(), "locks"), "c", In(3500));
    EXPECT_EQ(log.Count(ELevel::Warning, warning), 2U);
}

TEST_F(S3Versions, LockOfAWriteIsInUtcAndRetentionAsItIsShown)
{
    ::setenv("TZ", "XST-05:30", 1);
    ::tzset();
    CDateTime const local = CDateTime::fromUnixTime(In(36000).toUnixTime(), false);
    options_t::GetInst().SetUseS3ComplianceObjectLockMode(true);
    std::string const version = Put("a", local);
    options_t::GetInst().SetUseS3ComplianceObjectLockMode(false);
    auto const put = m_store.Log().front();
    EXPECT_EQ(put.Header("x-amz-object-lock-mode"), "COMPLIANCE");
    EXPECT_EQ(put.Header("x-amz-object-lock-retain-until-date"),
              local.toUtcTime().toStdString("%Y-%m-%dT%H:%M:%S.000Z"));
    std::string const other = Put("b");
    m_utils->UpdateFileVersionImmutabilityAsync("b", other, local)->Wait();
    auto const date = std::make_shared<std::optional<CDateTime>>();
    m_utils->GetFileVersionImmutabilityAsync("b", other, date)->Wait();
    EXPECT_EQ(date->value().toUnixTime(), local.toUnixTime() + 19800);
    ::unsetenv("TZ");
    ::tzset();
}

/// A store's answer to the question for a version's date.
bucketry::testing::SRawAnswer Head(std::string const& date)
{
    std::string const lock =
        "x-amz-object-lock-mode: GOVERNANCE\r\nx-amz-object-lock-retain-until-date: " + date + "\r\n";
    return Answer(200, "", "ETag: \"e\"\r\n" + (date.empty() ? "" : lock));
}

TEST(S3Immutability, MovesOnlyToALaterDateAndUnderstandsARefusal)
{
    std::string const wanted = "2033-05-18T03:33:20.000Z"; // 2000000000
    std::string const later = "2033-05-18T03:33:21Z";
    std::string const earlier = "2033-05-18T03:33:19.999Z";
    std::string const failed = "Failed to update object [/a] version [v] immutability. Initial date: [2033-05-18 "
                               "03:33:20]. Current date: [2033-05-18 03:33:";
    struct SRow
    {
        std::string m_first;
        int m_answer; ///< to the request for retention; 0: none is expected
        std::string m_second;
        std::string m_failure;
    };
    for (SRow const& row : std::vector<SRow>{{wanted, 0, "", ""},
                                             {later, 0, "", ""},
                                             {"", 200, "", ""},
                                             {earlier, 200, "", ""},
                                             {earlier, 403, later, ""},
                                             {earlier, 403, "", ""},
                                             {earlier, 403, wanted, failed + "20]"},
                                             {earlier, 403, earlier, failed + "19]"},
                                             {earlier, 400, "", "failed with status 400"},
                                             {"soon", 0, "", "soon"}})
    {
        int heads = 0;
        int puts = 0;
        CRawHttpServer const server(
            [&](std::string const& request)
            {
                bool const isHead = request.starts_with("HEAD");
                ++(isHead ? heads : puts);
                return isHead ? Head(heads == 1 ? row.m_first : row.m_second) : Answer(row.m_answer);
            });
        auto const task =
            UtilsFor(server.Url(), "vault")
                ->CheckAndUpdateImmutabilityAsync("/a", "v", CDateTime::fromUnixTime(2'000'000'000, true));
        std::string failure;
        try
        {
            task->Wait();
        }
        catch (exc::exc_base_t const& error)
        {
            failure = error.what();
        }
        EXPECT_EQ(failure.empty(), row.m_failure.empty()) << failure;
        EXPECT_THAT(failure, HasSubstr(row.m_failure));
        EXPECT_EQ(heads, row.m_answer == 403 ? 2 : 1) << row.m_first << row.m_second;
        EXPECT_EQ(puts, row.m_answer == 0 ? 0 : 1) << row.m_first << row.m_second;
    }
}

TEST_F(S3Versions, RefusedDeletionIsPardonedOnlyForALockThatRuns)
{
    std::string const locked = Put("a", In(7200));
    std::string const free = Put("a");
    Requests();
    m_utils->DeleteFileVersionIgnoreImmutabilityAsync("/a", locked)->Wait();
    EXPECT_THAT(Requests(), ElementsAre("DeleteObject", "HeadObject"));
    ExpectStorageFailure(403, _, [&] { m_utils->DeleteFileVersionAsync("/a", locked)->Wait(); });
    EXPECT_THAT(Requests(), ElementsAre("DeleteObject"));
    EXPECT_TRUE(m_store.ObjectContent("locks", "a", locked));

    m_store.LoadFaults("on DeleteObject times=1 do status 403 AccessDenied\n"
                       "on DeleteObject times=1 do status 409 OperationAborted");
    ExpectStorageFailure(403, HasSubstr("AccessDenied"),
                         [&] { m_utils->DeleteFileVersionIgnoreImmutabilityAsync("/a", free)->Wait(); });
    EXPECT_THAT(Requests(), ElementsAre("DeleteObject", "HeadObject"));
    ExpectStorageFailure(409, _, [&] { m_utils->DeleteFileVersionIgnoreImmutabilityAsync("/a", free)->Wait(); });
    m_utils->DeleteFileVersionIgnoreImmutabilityAsync("/a", free)->Wait();
    EXPECT_THAT(Requests(), ElementsAre("DeleteObject", "DeleteObject"));
    EXPECT_EQ(m_store.VersionCount("locks"), 1U);

    CRawHttpServer const ranOut([](std::string const& request)
                                { return request.starts_with("HEAD") ? Head("2020-01-01T00:00:00Z") : Answer(403); });
    ExpectStorageFailure(
        403, _, [&] { UtilsFor(ranOut.Url(), "vault")->DeleteFileVersionIgnoreImmutabilityAsync("a", "v")->Wait(); });
}

TEST_F(S3Versions, FailuresNameTheVersionAndAreLogged)
{
    m_store.LoadFaults("on * do status 400 InvalidArgument");
    struct SRow
    {
        std::string m_text;
        std::function<std::shared_ptr<task::IAsyncTask>(CS3VersioningUtils&)> m_call;
    };
    CDateTime const till = CDateTime::fromUnixTime(2'000'000'000, true);
    for (SRow const& row :
         std::vector<SRow>{
             {"DownloadFileVersionAsync async task has failed, path [/a], version [v], offset [7], length [9]",
              [](auto& utils) { return utils.DownloadFileVersionAsync("/a", "v", BufsOf(""), nullptr, 7, 9); }},
             {"UploadFileAsync async task has failed, path [/a]",
              [](auto& utils) { return utils.UploadFileAsync("/a", BufsOf("12"), nullptr, {}); }},
             {"UploadFileWithMetadataAsync async task has failed, path [/a], buffer size [2]",
              [](auto& utils) { return utils.UploadFileWithMetadataAsync("/a", BufsOf("12"), {}, nullptr, {}); }},
             {"CopyFileVersionAsync async task has failed, sourcePath [/a], sourceVersion [v], targetPath [/b], "
              "immutableTill [2033-05-18 03:33:20]",
              [till](auto& utils) { return utils.CopyFileVersionAsync("/a", "v", "/b", nullptr, till); }},
             {"CopyFileVersionAsync async task has failed, sourcePath [/a], sourceVersion [v], targetPath [/b], "
              "immutableTill [-]",
              [](auto& utils) { return utils.CopyFileVersionAsync("/a", "v", "/b", nullptr, In(1)); }},
             {"UpdateFileVersionImmutabilityAsync async task has failed, path [/a], version [v], immutableTill "
              "[2033-05-18 03:33:20]",
              [till](auto& utils) { return utils.UpdateFileVersionImmutabilityAsync("/a", "v", till); }},
             {"DeleteFileVersionListAsync async task has failed, objects count [2]",
              [](auto& utils) {
                  return utils.DeleteFileVersionListAsync({{"/a", "v"}, {"b", "w"}});
              }},
             {"DeleteFolderAllVersionsAsync async task has failed, path [/a]",
              [](auto& utils) { return utils.DeleteFolderAllVersionsAsync("/a"); }},
             {"RetrieveArchiveAsync async task has failed, source path [/a], version [v], target path [/b], days [3], "
              "tier [2]",
              [](auto& utils) {
                  return utils.RetrieveArchiveAsync("/a", "v", "/b", {3, ArchiveRetrievalTier::Bulk, ""});
              }},
             {"GetArchiveRetrievalStatusAsync async task has failed, path [/a], version [v]", [](auto& utils) {
                  return utils.GetArchiveRetrievalStatusAsync("/a", "v", std::make_shared<SArchiveRetrievalStatus>());
              }}})
    {
        CLogCapture const log;
        auto const task = row.m_call(*m_utils);
        EXPECT_THROW(task->Wait(), exc::exc_base_t);
        EXPECT_EQ(log.Count(ELevel::Info, "CS3VersioningUtils::" + row.m_text), 1U) << row.m_text;
    }
}

TEST_F(S3Versions, ArchivedVersionIsAskedForByItsId)
{
    auto const cold = UtilsFor(m_store.Endpoint(), "other", s3wire::s3::EAmazonS3StorageClass::Glacier);
    std::string const first = Put(*cold, "a");
    Put(*cold, "a");
    CLogCapture const log;
    SRetrieveArchiveOptions const options{1, ArchiveRetrievalTier::Expedited, ""};
    cold->RetrieveArchiveAsync("/a", first, "", options)->Wait();
    cold->RetrieveArchiveAsync("/a", first, "", options)->Wait(); // under way
    auto const status = std::make_shared<SArchiveRetrievalStatus>();
    cold->GetArchiveRetrievalStatusAsync("/a", first, status)->Wait();
    EXPECT_TRUE(status->m_isRetrievalInProgress);
    cold->GetArchiveRetrievalStatusAsync("/a", Put(*cold, "a"), status)->Wait();
    EXPECT_FALSE(status->m_isRetrievalInProgress);

    std::string const plain = Put("p");
    m_utils->RetrieveArchiveAsync("/p", plain, "", options)->Wait();
    EXPECT_EQ(log.Count(ELevel::Warning,
                        "Attempted to retrieve non-archived object from S3. Path: [p], Version: [" + plain + "]"),
              1U);
    ExpectFailure<exc::CRuntimeExc>(
        ::testing::StartsWith("Failed to retrieve archive from S3. Path: [p], Version: [v]\n"),
        [&] { m_utils->RetrieveArchiveAsync("/p", "v", "", options)->Wait(); });
}

TEST_F(S3Versions, CopyBetweenBucketsTakesTheNamedVersion)
{
    std::string const first = Put("a", In(7200));
    m_utils->UploadFileAsync("a", BufsOf("newer"), nullptr, {})->Wait();
    auto const target = UtilsFor(m_store.Endpoint(), "other");
    auto const id = std::make_shared<std::string>();
    target->CopyFileInterRegionAsync(m_utils->GetFileInterRegionSource("/a", first), "/b", id, {})->Wait();
    EXPECT_EQ(m_store.ObjectContent("other", "b", *id), "body");
    ExpectFailure<exc::CRuntimeExc>("Cannot perform inter-region file copy: file source is not an S3 source",
                                    [&] { target->CopyFileInterRegionAsync(nullptr, "/b", id, {}); });
}

} // namespace
} // namespace bucketry::s3::detail
