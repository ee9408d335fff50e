// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/datetime.h"
#include "bucketry/s3wire/client.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/auth/auth.h"
#include "s3wire/client_over.h"
#include "s3wire/connection.h"
#include "s3wire/context.h"
#include "s3wire/operations/operations.h"
#include "s3wire/streams.h"
#include "support/bufs.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace bucketry::s3wire::s3
{
namespace
{

using testing::BufsOf;
using testing::TextOf;

constexpr unsigned long Mebibyte = 1024 * 1024;

/// Where this store differs from S3: it forgets the lock headers of copies and multipart uploads and names no version
/// of a copy, which the layer makes good; and it knows no archive.
constexpr bool RestoresFromArchive = false;

std::string Setting(char const* name)
{
    char const* const value = std::getenv(name);
    return value != nullptr ? value : throw std::runtime_error(std::string(name) + " is not set: run with-gateway.sh");
}

std::shared_ptr<IS3WireAuth> AuthOf(std::string const& id, std::string const& secret, std::string const& token)
{
    return CS3WireAuthFactory(CS3WireContext::Instance().GetTempKeyStore())
        .CreateForS3(id, secret, token, "", "", "", "", 0);
}

SConnectionSettings Settings(char const* endpoint)
{
    SConnectionSettings settings;
    settings.m_endpoint = Setting(endpoint);
    settings.m_auth = AuthOf(Setting("BUCKETRY_LIVE_ACCESS_KEY"), Setting("BUCKETRY_LIVE_SECRET_KEY"), "");
    return settings;
}

/// Trusts the authority of the store.
SConnectionSettings TlsSettings(char const* endpoint)
{
    std::ifstream file(Setting("BUCKETRY_LIVE_CA"));
    std::stringstream pem;
    pem << file.rdbuf();
    SConnectionSettings settings = Settings(endpoint);
    settings.m_trustList = {sockets::ssl::CX509CertBlob::FromPemString(pem.str())};
    return settings;
}

std::string Pattern(unsigned long size)
{
    std::string text(size, '\0');
    for (unsigned long i = 0; i < size; ++i)
    {
        text[i] = static_cast<char>(i * 2654435761u >> 13);
    }
    return text;
}

class LiveStore : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        std::shared_ptr<COperations> const store = Connect(Settings("BUCKETRY_LIVE_ENDPOINT"));
        for (char const* const bucket : {"plain", "locked"})
        {
            wire::SWireRequest request = wire::BucketRequest("CreateBucket", transport::EHttpMethod::Put, bucket);
            request.m_headers.Set("x-amz-bucket-object-lock-enabled",
                                  bucket == std::string("locked") ? "true" : "false");
            store->Exchange(request);
        }
    }

    std::string Put(std::string const& bucket, std::string const& key, std::string const& text,
                    SObjectLockConfig const& lock = {})
    {
        return m_client.PutObject(bucket, key, BufsOf(text), {{"note", "日 " + text.substr(0, 5)}}, lock, {}, {}, {})
            .get()
            .m_versionId;
    }

    std::string Get(std::string const& bucket, std::string const& key, std::string const& version = "")
    {
        return TextOf(*m_client.GetObject(bucket, key, nullptr, 0, 0, version).get().m_content);
    }

    std::set<std::string> Keys(std::string const& bucket, std::string const& prefix, bool older = false,
                               unsigned long pageSize = 0)
    {
        SBucket const all = (older ? m_client.CompatibleGetBucket(bucket, prefix, "", "", pageSize)
                                   : m_client.GetBucket(bucket, prefix, "", "", pageSize))
                                .get();
        std::set<std::string> keys;
        for (SObjectMetadata const& entry : all.m_contents)
        {
            EXPECT_TRUE(keys.insert(entry.m_key).second) << entry.m_key;
        }
        return keys;
    }

    unsigned StatusOfDelete(std::string const& bucket, std::string const& key, std::string const& version)
    {
        try
        {
            m_client.DeleteObjects(bucket, SMultiObjectDeleteRequest{{{key, version}}}, nullptr).get();
            return 200;
        }
        catch (CS3WireException const& refusal)
        {
            EXPECT_EQ(refusal.GetAmazonErrorCode(), "AccessDenied");
            return refusal.GetStatusCode();
        }
    }

    std::unique_ptr<CS3WireWriteStream> Open(std::string const& bucket, std::string const& key, unsigned long size,
                                             SObjectLockConfig const& lock = {})
    {
        return std::make_unique<CS3WireWriteStream>(m_client, bucket, key, size, CObjectStorageClass(), lock,
                                                    CS3WireClient::metadata_t(), CS3WireClient::metadata_t(),
                                                    SPutObjectExtraAgruments());
    }

    CS3WireClient m_client{ClientOver(Connect(Settings("BUCKETRY_LIVE_ENDPOINT")))};
};

TEST_F(LiveStore, CarriesEveryKeyThroughEveryOperation)
{
    std::set<std::string> const keys = {"dir/sub dir/file+plus&amp.txt",
                                        "ünïcödé/日本語",
                                        "a//b",
                                        "tilde~star*paren()quote'",
                                        "trailing/",
                                        "percent%20literal",
                                        "question?mark#hash",
                                        "dot/./dotdot/../x",
                                        "/leading",
                                        "back\\slash|pipe\"<>",
                                        "at@:;=$,!",
                                        "[]{}^`",
                                        "lf\ntab\tcr\rend",
                                        "😀",
                                        "bell\x07",
                                        std::string(1024, 'k')};
    for (std::string const& key : keys)
    {
        std::string const version = Put("locked", key, "body of " + key);
        EXPECT_FALSE(version.empty());
        EXPECT_EQ(Get("locked", key, version), "body of " + key) << key;
        EXPECT_EQ(m_client.GetObjectHead("locked", key, "").get().m_metadata.at("note"), "日 body ");
        std::string const copied =
            m_client.CopyObject("locked", "plain", key, key, {}, version, {}, "").get().m_versionId;
        EXPECT_EQ(copied, "");
        EXPECT_EQ(Get("plain", key), "body of " + key) << key;
    }
    EXPECT_EQ(Keys("locked", "", false, 3), keys);
    EXPECT_EQ(Keys("plain", "", true, 3), keys);
    std::set<std::string> seen;
    m_client
        .GetBucketObjectVersions(
            [&](SBucketObjectVersions const& page)
            {
                for (SObjectVersionEntry const& entry : page.m_versions)
                {
                    seen.insert(entry.m_key);
                }
            },
            "locked", "", "", "", "", 3)
        .get();
    EXPECT_EQ(seen, keys);
    m_client.DeleteObjectsAllVersions("locked", "", nullptr).get();
    m_client.CompatibleDeleteObjects("plain", std::vector<std::string>(keys.begin(), keys.end()), nullptr).get();
    EXPECT_TRUE(Keys("locked", "").empty());
    EXPECT_TRUE(Keys("plain", "").empty());
}

TEST_F(LiveStore, ListsFoldersAndVersionsOverManyPages)
{
    std::set<std::string> prefixes;
    for (int i = 0; i < 11; ++i)
    {
        std::string const folder = "list/sub " + std::to_string(i) + "/";
        prefixes.insert(folder);
        Put("locked", folder + "a", "1");
        Put("locked", folder + "a", "2");
        Put("locked", "list/file" + std::to_string(i), "x");
    }
    m_client.DeleteObject("locked", "list/file0", "").get();
    for (bool const older : {false, true})
    {
        SBucket const page = (older ? m_client.CompatibleGetBucket("locked", "list/", "/", "", 4)
                                    : m_client.GetBucket("locked", "list/", "/", "", 4))
                                 .get();
        EXPECT_EQ(page.m_contents.size(), 10u);
        EXPECT_EQ(std::set<std::string>(page.m_commonPrefixes.begin(), page.m_commonPrefixes.end()), prefixes);
        EXPECT_EQ(page.m_commonPrefixes.size(), prefixes.size());
    }
    std::size_t versions = 0;
    std::size_t markers = 0;
    m_client
        .GetBucketObjectVersions(
            [&](SBucketObjectVersions const& page)
            {
                EXPECT_LE(page.m_versions.size(), 4u);
                for (SObjectVersionEntry const& entry : page.m_versions)
                {
                    ++(entry.m_isDeleteMarker ? markers : versions);
                }
            },
            "locked", "list/", "", "", "", 4)
        .get();
    EXPECT_EQ(versions, 33u);
    EXPECT_EQ(markers, 1u);
    m_client.CompatibleDeleteObjectsAllVersions("locked", "list/", nullptr).get();
    EXPECT_TRUE(Keys("locked", "list/").empty());
}

TEST_F(LiveStore, DeletesOneAndTwoAndAHalfThousand)
{
    SMultiObjectDeleteRequest request;
    std::deque<web::Task<SPutObjectResult>> puts;
    for (int i = 0; i < 2500; ++i)
    {
        request.m_objects.push_back({"many/" + std::to_string(i), ""});
        puts.push_back(m_client.PutObject("plain", request.m_objects.back().m_key, nullptr, {}, {}, {}, {}, {}));
        if (puts.size() == 16)
        {
            puts.front().get();
            puts.pop_front();
        }
    }
    puts.clear();
    EXPECT_EQ(Keys("plain", "many/").size(), 2500u);
    m_client.DeleteObjects("plain", SMultiObjectDeleteRequest{{request.m_objects.front()}}, nullptr).get();
    EXPECT_EQ(Keys("plain", "many/", true).size(), 2499u);
    m_client.DeleteObjects("plain", request, nullptr).get();
    EXPECT_TRUE(Keys("plain", "many/").empty());
}

TEST_F(LiveStore, StreamsObjectsOfEverySize)
{
    for (unsigned long const size : {0UL, 5UL, 8 * Mebibyte, 8 * Mebibyte + 1, 27 * Mebibyte})
    {
        std::string const text = Pattern(size);
        auto const stream = Open("plain", "stream", size);
        stream->Write(reinterpret_cast<unsigned char const*>(text.data()), size);
        EXPECT_TRUE(stream->Finish());
        EXPECT_TRUE(Get("plain", "stream") == text) << size;
        CS3WireReadStream reader(m_client, "plain", "stream", "");
        EXPECT_EQ(reader.ObjectSize(), size);
        std::string part(7, '\0');
        unsigned long const offset = size / 2;
        part.resize(reader.Read(reinterpret_cast<unsigned char*>(part.data()), part.size(), offset));
        EXPECT_EQ(part, text.substr(offset, 7));
        EXPECT_EQ(reader.Read(reinterpret_cast<unsigned char*>(part.data()), 1, size), 0u);
    }
    Open("plain", "dropped", 0)->WriteZeroes(20 * Mebibyte);
    EXPECT_FALSE(m_client.IsObjectExist("plain", "dropped", "").get());
    wire::SWireRequest uploads = wire::BucketRequest("ListMultipartUploads", transport::EHttpMethod::Get, "plain");
    wire::AddSubResource(uploads, "uploads");
    EXPECT_EQ(Connect(Settings("BUCKETRY_LIVE_ENDPOINT"))->Exchange(uploads).m_text.find("<Upload>"),
              std::string::npos);
}

TEST_F(LiveStore, KeepsTheLockOfEveryRouteByWhichAnObjectCanCome)
{
    std::string const until =
        datetime::CDateTime::fromUnixTime(datetime::CDateTime::currentUtcTime().toUnixTime() + 3600, true)
            .toStdString("%Y-%m-%dT%H:%M:%S.000Z");
    SObjectLockConfig const lock(true, EObjectLockMode::Governance, until, false);
    auto const expectLocked = [&](std::string const& key, std::string const& version)
    {
        ASSERT_FALSE(version.empty());
        auto const found = m_client.GetObjectHead("locked", key, version).get().m_objectLock;
        ASSERT_TRUE(found) << key;
        EXPECT_EQ(found->m_retainUntil.substr(0, 19), until.substr(0, 19)) << key;
        EXPECT_EQ(StatusOfDelete("locked", key, version), 403u) << key;
    };
    for (int round = 0; round < 2; ++round) // the first teaches the layer what the store forgets
    {
        expectLocked("lock/put", Put("locked", "lock/put", "x", lock));
        auto const stream = Open("locked", "lock/parts", 0, lock);
        stream->WriteZeroes(9 * Mebibyte);
        expectLocked("lock/parts", stream->Finish()->m_versionId);
        Put("locked", "free", "x");
        expectLocked("lock/copy",
                     m_client.CopyObject("locked", "locked", "free", "lock/copy", {}, "", lock, "").get().m_versionId);
    }
    std::string const version = Put("locked", "lock/later", "x");
    m_client.PutObjectRetention("locked", "lock/later", EObjectLockMode::Governance, until, version).get();
    expectLocked("lock/later", version);
    EXPECT_EQ(StatusOfDelete("locked", "lock/later", ""), 200u) << "a delete marker";
    EXPECT_THROW(Put("plain", "k", "x", lock), CS3WireException);
}

TEST_F(LiveStore, AnswersWhatIsAskedAboutItself)
{
    EXPECT_EQ(m_client.GetBucketRegion("plain").get().m_region, "default");
    EXPECT_NO_THROW(
        datetime::CDateTime::fromString(m_client.GetServerTimeUtc("plain"), "%a, %d %b %Y %H:%M:%S GMT", true));
    EXPECT_NO_THROW(datetime::CDateTime::fromString(m_client.GetServerTimeUtc("no-such-bucket"),
                                                    "%a, %d %b %Y %H:%M:%S GMT", true));
    try
    {
        m_client.GetObject("plain", "missing", nullptr, 0, 0, "").get();
        FAIL();
    }
    catch (CS3WireException const& refusal)
    {
        EXPECT_EQ(refusal.GetStatusCode(), 404);
        EXPECT_EQ(refusal.GetAmazonErrorCode(), "NoSuchKey");
    }
    if (!RestoresFromArchive)
    {
        Put("plain", "archive", "x");
        EXPECT_THROW(m_client.PostObjectRestore("plain", "archive", 1, EGlacierRetrievalTier::Bulk, "").get(),
                     CS3WireException);
    }
}

TEST_F(LiveStore, IsReachedOverTlsWithItsOwnAuthority)
{
    CS3WireClient const client = ClientOver(Connect(TlsSettings("BUCKETRY_LIVE_TLS_ENDPOINT")));
    std::string const text = Pattern(3 * Mebibyte);
    client.PutObject("plain", "tls", BufsOf(text), {}, {}, {}, {}, {}).get();
    EXPECT_TRUE(Get("plain", "tls") == text);
    SObjectData const part = client.GetObject("plain", "tls", nullptr, 1000, 0, "").get();
    EXPECT_EQ(part.m_content->GetCount(), text.size() - 1000);
    EXPECT_EQ(part.m_contentLength, text.size());
}

TEST_F(LiveStore, IsReachedByTheNameOfTheBucket)
{
    SConnectionSettings plain = Settings("BUCKETRY_LIVE_VIRTUAL_ENDPOINT");
    SConnectionSettings tls = TlsSettings("BUCKETRY_LIVE_TLS_VIRTUAL_ENDPOINT");
    for (SConnectionSettings* const settings : {&plain, &tls})
    {
        settings->m_virtualHosted = true;
        CS3WireClient const client = ClientOver(Connect(std::move(*settings)));
        std::string const key = "//virtual/a b+c";
        client.PutObject("plain", key, BufsOf("hosted"), {}, {}, {}, {}, {}).get();
        EXPECT_EQ(Get("plain", key), "hosted");
        EXPECT_EQ(client.GetBucket("plain", "//virtual/", "", "", 0).get().m_contents.size(), 1u);
        client.DeleteObjects("plain", "//virtual/", nullptr).get();
    }
}

TEST_F(LiveStore, TakesTemporaryKeysWithTheirTokenOnly)
{
    static constexpr std::string_view form = "Action=GetSessionToken&DurationSeconds=900&Version=2011-06-15";
    wire::SWireRequest ask = wire::MakeGetCallerIdentity();
    ask.m_body = {reinterpret_cast<unsigned char const*>(form.data()), form.size(), nullptr};
    transport::SHttpResponse const answer = Connect(Settings("BUCKETRY_LIVE_ENDPOINT"))->Exchange(ask);
    auto const field = [&](char const* name) {
        return wire::TextAt(answer, {"GetSessionTokenResponse", "GetSessionTokenResult", "Credentials", name});
    };
    std::string const id = field("AccessKeyId");
    std::string const secret = field("SecretAccessKey");
    auto const with = [&](std::string const& token)
    {
        SConnectionSettings settings = Settings("BUCKETRY_LIVE_ENDPOINT");
        settings.m_auth = AuthOf(id, secret, token);
        return ClientOver(Connect(std::move(settings)));
    };
    with(field("SessionToken")).PutObject("plain", "temporary", BufsOf("x"), {}, {}, {}, {}, {}).get();
    EXPECT_EQ(Get("plain", "temporary"), "x");
    EXPECT_THROW(with("").GetObjectHead("plain", "temporary", "").get(), CS3WireException);
}

/// Refuses to copy in one request, as a store does for what is too large.
class CSmallCopies final : public wire::IWireSender
{
public:
    transport::SHttpResponse Send(wire::SWireRequest const& request) override
    {
        return request.m_operation == std::string("CopyObject")
            ? throw CS3WireException("too large", 400, "InvalidRequest")
            : m_store->Exchange(request);
    }

private:
    std::shared_ptr<COperations> const m_store = Connect(Settings("BUCKETRY_LIVE_ENDPOINT"));
};

TEST_F(LiveStore, CopiesInPartsWhatIsTooLargeForOneRequest)
{
    std::string const text = Pattern(12 * Mebibyte);
    std::string const version = Put("locked", "large source", text);
    Put("locked", "large source", "newer");
    SStoreTraits const small{false, false, 8 * Mebibyte, 5 * Mebibyte};
    COperations operations(std::make_shared<CSmallCopies>(), std::make_shared<CStoreRecord>(SStoreAddress{}, small));
    std::string const copied =
        operations.CopyObject({"locked", "large source", version}, {"locked", "large copy", ""}, {}, {}, "")
            .m_versionId;
    EXPECT_FALSE(copied.empty());
    EXPECT_TRUE(Get("locked", "large copy", copied) == text);
    EXPECT_EQ(m_client.GetObjectHead("locked", "large copy", "").get().m_metadata.at("note"),
              m_client.GetObjectHead("locked", "large source", version).get().m_metadata.at("note"));
}

} // namespace
} // namespace bucketry::s3wire::s3
