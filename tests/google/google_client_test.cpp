// SPDX-License-Identifier: Apache-2.0
#include "bucketry/google.h"

#include "bucketry/base/logging.h"
#include "bucketry/locks.h"
#include "bucketry/parallel.h"
#include "bucketry/s3.h"
#include "bucketry/versions.h"
#include "google/google_versioning_utils.h"
#include "support/bufs.h"
#include "support/expect_failure.h"
#include "support/log_capture.h"

#include <bucketry/simulator.h>

#include <algorithm>

namespace bucketry::google
{
namespace
{

using bucketry::testing::BufsOf;
using bucketry::testing::CLogCapture;
using bucketry::testing::ExpectFailure;
using bucketry::testing::ExpectStorageFailure;
using bucketry::testing::TextOf;
using s3::SS3ClientConnSpec;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using versions_t = std::vector<SCloudObjectVersion>;

/// A simulated store with one bucket, and the factory's client of it.
class Google : public ::testing::Test
{
protected:
    explicit Google(simulator::SGoogleOptions const& options = {})
        : m_store({.m_profile = simulator::EProfile::Google, .m_google = options})
    {
        m_store.CreateBucket("bucket", {.m_versioning = true, .m_objectLock = true});
        m_store.CreateBucket("plain");
    }

    SS3ClientConnSpec Spec(std::string const& bucket, bool keepsVersions) const
    {
        simulator::SAccessKey const key;
        SS3ClientConnSpec spec;
        spec.BucketAddr.ApiEndpoint = m_store.Endpoint();
        spec.BucketAddr.Region = "auto";
        spec.BucketAddr.BucketName = bucket;
        spec.Credentials.Keys = s3::SS3CredentialsKeys{key.m_id, key.m_secret, {}};
        spec.Options.ObjectLockEnabledOnBucket = keepsVersions;
        return spec;
    }

    std::shared_ptr<ICloudClient> Client(std::string const& bucket = "bucket", bool keepsVersions = true) const
    {
        return s3::CS3CompatibleClientFactory::Create(Spec(bucket, keepsVersions), "google", nullptr);
    }

    static std::string Upload(ICloudClient& client, std::string const& path, std::string const& text)
    {
        auto const version = std::make_shared<std::string>();
        client.GetVersioningUtils()->UploadFileAsync(path, BufsOf(text), version, std::nullopt)->Wait();
        return *version;
    }

    static std::string Get(ICloudClient& client, std::string const& path, std::string const& version = "")
    {
        auto const pool = io::block::bufs_pool_t::GetInst();
        auto const bufs = std::make_shared<io::block::CPooledBuf>(0, pool);
        (version.empty() ? client.DownloadFileAsync(path, bufs, pool)
                         : client.GetVersioningUtils()->DownloadFileVersionAsync(path, version, bufs, pool))
            ->Wait();
        return TextOf(*bufs);
    }

    /// Requests so far, by method.
    std::size_t Count(std::string const& method) const
    {
        auto const log = m_store.Log();
        return static_cast<std::size_t>(
            std::ranges::count(log, method, [](simulator::SLoggedRequest const& request) { return request.m_method; }));
    }

    simulator::CSimulator m_store;
};

TEST_F(Google, RefusesInTheCallWhatTheStoreDoesNotOffer)
{
    auto const client = Client();
    auto const utils = client->GetVersioningUtils();
    std::pair<char const*, std::function<void()>> const rows[] = {
        {"CGoogleCloudClient::RetrieveArchiveAsync", [&] { client->RetrieveArchiveAsync("a", "a", {}); }},
        {"CGoogleCloudClient::GetArchiveRetrievalStatusAsync",
         [&] { client->GetArchiveRetrievalStatusAsync("a", std::make_shared<SArchiveRetrievalStatus>()); }},
        {"CGoogleCloudClient::StartBatchRestoreJob", [&] { client->StartBatchRestoreJob({}, {}); }},
        {"CGoogleCloudClient::GetBatchJobStatus", [&] { client->GetBatchJobStatus({"j"}); }},
        {"CGoogleVersioningUtils::RetrieveArchiveAsync", [&] { utils->RetrieveArchiveAsync("a", "1", "a", {}); }},
        {"CGoogleVersioningUtils::GetArchiveRetrievalStatusAsync",
         [&] { utils->GetArchiveRetrievalStatusAsync("a", "1", std::make_shared<SArchiveRetrievalStatus>()); }},
    };
    for (auto const& [text, call] : rows)
    {
        ExpectFailure<exc::CNotImplExc>(StartsWith(text), call);
    }
    EXPECT_EQ(client->GetArchiveRetrievalBehavior(), EArchiveRetrievalBehavior::NotNeeded);
    EXPECT_TRUE(m_store.Log().empty());

    auto const plain = Client("plain", false);
    EXPECT_FALSE(plain->IsVersioningEnabled());
    ExpectFailure<exc::CRuntimeExc>(StartsWith("Cannot get Google versioning utils: versioning is not enabled"),
                                    [&] { plain->GetVersioningUtils(); });
    CGoogleCloudClient const empty(nullptr, nullptr);
    ExpectFailure<exc::CRuntimeExc>(StartsWith("Google cloud client is not initialised"), [&] { empty.GetImpl(); });
    ExpectFailure<exc::CRuntimeExc>(StartsWith("Google cloud client is not initialised"), [&] { empty.GetContext(); });
    EXPECT_FALSE(empty.IsVersioningEnabled());

    SS3ClientConnSpec spec = Spec("plain", false);
    spec.Options.StorageClass = s3wire::s3::EGoogleCSStorageClass::Nearline;
    auto const nearline = s3::CS3CompatibleClientFactory::Create(spec, "google", nullptr);
    nearline->UploadFileAsync("whole", BufsOf("x"))->Wait();
    ExpectFailure<exc::CRuntimeExc>(HasSubstr("is not supported by AWS"), [&] { nearline->StartUpload("stream", 0); });
}

TEST_F(Google, KeepsFormerGenerationsAndUncoversNone)
{
    auto const client = Client();
    std::string const first = Upload(*client, "dir/a b", "one");
    std::string const second = Upload(*client, "dir/a b", "two");
    EXPECT_NE(first, second);
    EXPECT_TRUE(std::ranges::all_of(second, [](char c) { return c >= '0' && c <= '9'; })) << second;
    EXPECT_EQ(Get(*client, "dir/a b", first), "one");
    EXPECT_EQ(EnumAllVersionsOfObject(*client, "dir/a b", ECloudObjectVersionSortOrder::NewestFirst),
              (std::vector<std::string>{second, first}))
        << "of one second, and listed the other way round";

    auto const copied = std::make_shared<std::string>();
    client->GetVersioningUtils()->CopyFileVersionAsync("dir/a b", first, "dir/copy", copied, std::nullopt)->Wait();
    EXPECT_EQ(Get(*client, "dir/copy"), "one") << "not the live one";
    EXPECT_FALSE(copied->empty());

    client->GetVersioningUtils()->DeleteFileVersionAsync("dir/a b", second)->Wait();
    ExpectStorageFailure(404, HasSubstr("NoSuchKey"), [&] { Get(*client, "dir/a b"); });
    EXPECT_EQ(Get(*client, "dir/a b", first), "one");
    client->DeleteFileAsync("dir/a b")->Wait(); // what is gone already is no failure
    client->GetVersioningUtils()->DeleteFileVersionAsync("dir/a b", second)->Wait();
    Upload(*client, "dir/a b", "three");
    client->DeleteFileAsync("dir/a b")->Wait();
    auto const versions = std::make_shared<versions_t>();
    client->GetVersioningUtils()->QueryFileVersionsAsync("dir/a b", versions)->Wait();
    EXPECT_EQ(versions->size(), 2u) << "kept, without a marker";
    ExpectStorageFailure(400, HasSubstr("InvalidArgument"), [&] { Get(*client, "dir/a b", "null"); });
    client->GetVersioningUtils()->DeleteFolderAllVersionsAsync("dir")->Wait();
    EXPECT_TRUE(EnumAllVersionsOfObjectsInFolder(client, "dir").empty());
}

TEST_F(Google, NamesTheVersionOfAWriteOnlyWhereTheBucketKeepsThem)
{
    // Its client believes in versions; the bucket keeps none, and is asked once.
    auto const client = Client("plain", true);
    for (int i = 0; i < 2; ++i)
    {
        ExpectFailure<exc::CRuntimeExc>(HasSubstr("S3 returned empty versionId"),
                                        [&] { Upload(*client, "object", "text"); });
    }
    EXPECT_EQ(Count("GET"), 1u);
    EXPECT_EQ(Get(*client, "object"), "text");
}

TEST_F(Google, DeletesOneByOne)
{
    auto const client = Client();
    for (char const* const name : {"a", "b", "c"})
    {
        Upload(*client, name, "x");
    }
    CLogCapture const log;
    client->DeleteFileListAsync({"/a", "", "b", "missing"})->Wait();
    EXPECT_EQ(Count("DELETE"), 3u);
    EXPECT_EQ(Count("POST"), 0u);
    EXPECT_EQ(client->GetObjectCount(""), 1u);
    m_store.LoadFaults("on DeleteObject do status 403 AccessDenied");
    ExpectStorageFailure(403, HasSubstr("AccessDenied"), [&] { client->DeleteFileListAsync({"c", "", "d"})->Wait(); });
    EXPECT_EQ(log.Count(logging::ELevel::Info,
                        "CGoogleCloudClient::DeleteFileListAsync async task has failed, items count [3]"),
              1u);
}

TEST_F(Google, FollowsVersionsOfOneObjectOverSeveralPages)
{
    auto const client = Client();
    constexpr std::size_t Versions = 1100;
    auto const utils = client->GetVersioningUtils();
    auto const version = std::make_shared<std::string>();
    for (std::size_t i = 0; i < Versions; ++i)
    {
        utils->UploadFileAsync("object", BufsOf("x"), version, std::nullopt)->Wait();
    }
    EXPECT_EQ(EnumAllVersionsOfObject(*client, "object", ECloudObjectVersionSortOrder::NewestFirst).front(), *version);
    DeleteAllVersions("object", *client, true)->Wait();
    EXPECT_THAT(EnumAllVersionsOfObject(*client, "object", ECloudObjectVersionSortOrder::OldestFirst),
                ElementsAre(*version));
}

TEST_F(Google, WaitsASecondWhereAnObjectTakesOneWriteASecond)
{
    m_store.LoadFaults("on PutObject|DeleteObject rate=1/s per=key do status 429 SlowDown");
    auto const client = Client();
    Upload(*client, "object", "one");
    auto const start = std::chrono::steady_clock::now();
    Upload(*client, "object", "two");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
    EXPECT_EQ(Get(*client, "object"), "two");
}

TEST_F(Google, TakesALostAnswerOfADeletionForDone)
{
    auto const client = Client();
    std::string const version = Upload(*client, "object", "text");
    m_store.LoadFaults("on DeleteObject times=1 do lost-answer");
    client->GetVersioningUtils()->DeleteFileVersionIgnoreImmutabilityAsync("object", version)->Wait();
    ExpectStorageFailure(404, HasSubstr("NoSuchKey"), [&] { Get(*client, "object"); });
    ExpectStorageFailure(
        404, HasSubstr(""),
        [&] { client->GetVersioningUtils()->DeleteFileVersionIgnoreImmutabilityAsync("object", version)->Wait(); });
}

TEST_F(Google, KeepsADateOfImmutability)
{
    auto const client = Client();
    auto const utils = client->GetVersioningUtils();
    auto const until =
        datetime::CDateTime::fromUnixTime(datetime::CDateTime::currentUtcTime().toUnixTime() + 7200, true);
    auto const version = std::make_shared<std::string>();
    utils->UploadFileAsync("object", BufsOf("kept"), version, until)->Wait();
    auto const read = std::make_shared<std::optional<datetime::CDateTime>>();
    utils->GetFileVersionImmutabilityAsync("object", *version, read)->Wait();
    EXPECT_EQ(*read, until);
    ExpectStorageFailure(403, HasSubstr("Retention"),
                         [&] { utils->DeleteFileVersionAsync("object", *version)->Wait(); });
    utils->DeleteFileVersionIgnoreImmutabilityAsync("object", *version)->Wait();
    EXPECT_EQ(Get(*client, "object", *version), "kept");
}

TEST_F(Google, WritesAndDeletesInParallel)
{
    for (bool const keepsVersions : {true, false})
    {
        auto const client = Client(keepsVersions ? "bucket" : "plain", keepsVersions);
        CObjectVersionsQueue versions;
        CCloudParallelWriter writer(client);
        for (int i = 0; i < 60; ++i)
        {
            std::string const path = "folder/" + std::to_string(i % 20);
            writer.Write(path, BufsOf(std::to_string(i)), versions.CreateVersionSink(path), std::nullopt);
        }
        writer.Flush();
        EXPECT_EQ(Get(*client, "folder/7"), "47") << "the writes of one path keep their order";
        EXPECT_EQ(client->GetObjectCount("folder"), 20u);
        CCloudParallelObjsDeleter deleter(client, nullptr);
        std::size_t written = 0;
        while (auto const version = keepsVersions ? versions.PopVersion() : std::nullopt)
        {
            ++written;
            deleter.PushObj(version->first, version->second);
        }
        for (int i = 0; !keepsVersions && i < 20; ++i)
        {
            deleter.PushObj("folder/" + std::to_string(i), "");
        }
        deleter.SignalObjsPushed();
        deleter.Wait4Finish();
        EXPECT_EQ(written, keepsVersions ? 60u : 0u);
        EXPECT_EQ(m_store.VersionCount(keepsVersions ? "bucket" : "plain"), 0u);
    }
}

TEST_F(Google, TakesTheExclusiveLockAgainAndAgain)
{
    m_store.LoadFaults("on PutObject|DeleteObject rate=1/s per=key do status 429 SlowDown");
    SCloudLockParams params;
    params.m_sleepEnabled = false;
    for (bool const keepsVersions : {true, false})
    {
        auto const client = Client(keepsVersions ? "bucket" : "plain", keepsVersions);
        for (int i = 0; i < 2; ++i)
        {
            client->Lock("locks/job", params, nullptr)->Unlock();
        }
        EXPECT_TRUE(client->QueryFolder("locks/job").empty());
    }
}

} // namespace
} // namespace bucketry::google
