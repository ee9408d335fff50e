// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/s3wire/client.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/operations/operations.h"
#include "support/bufs.h"
#include "support/fake_sender.h"

#include <gmock/gmock.h>

#include <atomic>

namespace bucketry::s3wire::tests
{
namespace
{

using namespace s3;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::TextOf;

std::string Refusal(std::string const& code)
{
    return "<Error><Code>" + code + "</Code></Error>";
}

template <class TCall>
void ExpectRefusal(unsigned status, std::string const& code, TCall const& call)
{
    try
    {
        call();
        FAIL() << "no refusal";
    }
    catch (CS3WireException const& refusal)
    {
        EXPECT_EQ(refusal.GetStatusCode(), status) << refusal.what();
        EXPECT_EQ(refusal.GetAmazonErrorCode(), code);
    }
}

TEST(WireClient, GetsWhatWasAskedForAndChecksIt)
{
    auto const get = [](transport::SHttpResponse answer, unsigned long offset, unsigned long length)
    {
        return ClientOver(Over(CFakeSender::Script({std::move(answer)})))
            .GetObject("b", "k", nullptr, offset, length, "")
            .get();
    };

    std::pair<char const*, char const*> const checksums[] = {
        {"x-amz-checksum-crc32", "y/Q5Jg=="},
        {"x-amz-checksum-crc32c", "4waSgw=="},
        {"x-amz-checksum-crc64nvme", "rosUhgp5mIg="},
        {"x-amz-checksum-sha1", "98O8HYCOBHMq32eZZczDTKeuNEE="},
        {"x-amz-checksum-sha256", "FeKw08M4keuw8e9gnsQZQgwg4yDOlMZfvIwzEkSOsiU="},
    };
    for (auto const& [header, value] : checksums)
    {
        EXPECT_EQ(TextOf(*get(Answer(200, "123456789", {{header, value}}), 0, 0).m_content), "123456789") << header;
        EXPECT_THROW(get(Answer(200, "123456780", {{header, value}}), 0, 0), web::http::http_exception) << header;
    }
    EXPECT_EQ(TextOf(*get(Answer(200, ""), 0, 0).m_content), "");
    SObjectData const part = get(Answer(206, "ell", {{"Content-Range", "bytes 1-3/5"}}), 1, 3);
    EXPECT_EQ(TextOf(*part.m_content), "ell");
    EXPECT_EQ(part.m_contentLength, 5u);
    EXPECT_EQ(TextOf(*get(Answer(200, "hello"), 0, 9).m_content), "hello");

    EXPECT_NO_THROW(get(Answer(200, "hallo", {{"x-amz-checksum-crc32", "NhCmhg==-2"}}), 0, 0));
    EXPECT_THROW(get(Answer(200, "hello"), 1, 3), web::http::http_exception) << "range ignored";
    EXPECT_THROW(get(Answer(206, "hel", {{"Content-Range", "bytes 0-2/5"}}), 1, 3), web::http::http_exception)
        << "another range";
    EXPECT_THROW(get(Answer(206, "ello", {{"Content-Range", "bytes 1-4/5"}}), 1, 3), web::http::http_exception)
        << "too much";
}

TEST(WireClient, AsksForTheAccountOnceAndForTheRegionTwiceIfNeeded)
{
    auto const sender = CFakeSender::Script({
        Answer(200, "<R><GetCallerIdentityResult><Account>12</Account></GetCallerIdentityResult></R>"),
        Answer(403, "", {{"x-amz-bucket-region", "eu-west-2"}, {"Date", "Sat, 14 Mar 2026 15:09:26 GMT"}}),
        Answer(200),
        Answer(200, "<LocationConstraint/>"),
        Answer(403, "", {{"Date", "Sat, 14 Mar 2026 15:09:26 GMT"}}),
    });
    CS3WireClient client = ClientOver(Over(sender));
    EXPECT_THROW(client.GetAccountId(), web::http::http_exception);
    EXPECT_EQ(client.GetBucketRegion("b").get().m_region, "eu-west-2");
    EXPECT_EQ(client.GetBucketRegion("b").get().m_region, "us-east-1");
    EXPECT_EQ(client.GetServerTimeUtc("b"), "Sat, 14 Mar 2026 15:09:26 GMT");
    CS3WireClient copy(client);
    copy.SetBatchParameters("https://control", "34");
    EXPECT_EQ(client.GetAccountId(), "34");
    EXPECT_THAT(sender->Lines(), ElementsAre("POST /", "HEAD b/", "HEAD b/", "GET b/?location", "HEAD b/"));
}

TEST(WireClient, FindsTheVersionOfACopyAndLooksNoMoreWhereThereAreNone)
{
    std::string const copied = "<CopyObjectResult><ETag>e</ETag></CopyObjectResult>";
    auto const head = [](char const* eTag, char const* version) {
        return Answer(200, "", {{"Content-Length", "1"}, {"ETag", eTag}, {"x-amz-version-id", version}});
    };
    auto const sender = CFakeSender::Script(
        {Answer(200, copied, {{"x-amz-version-id", "V"}}), Answer(200, copied), head("\"e\"", "W"), Answer(200, copied),
         head("\"other\"", "X"), Answer(200, copied), Answer(200, "", {{"ETag", "e"}}), Answer(200, copied),
         head("e", ""), Answer(200, copied), Answer(200, Refusal("InternalError"))});
    CS3WireClient const client = ClientOver(Over(sender));
    auto const copy = [&] { return client.CopyObject("b", "b", "s", "t", {}, "", {}, "").get().m_versionId; };
    EXPECT_EQ(copy(), "V");
    EXPECT_EQ(copy(), "W");
    EXPECT_EQ(copy(), "") << "another writer came between";
    EXPECT_EQ(copy(), "") << "an answer that makes no sense";
    EXPECT_EQ(copy(), "");
    EXPECT_EQ(copy(), "") << "no HEAD any more";
    ExpectRefusal(500, "InternalError", copy);
}

TEST(WireClient, CopiesInPartsWhatTheStoreRefusesInOne)
{
    for (bool const large : {true, false})
    {
        for (bool const replaced : {false, true})
        {
            auto const sender = std::make_shared<CFakeSender>(
                [&](wire::SWireRequest const& request)
                {
                    std::string const operation = request.m_operation;
                    if (operation == "HeadObject")
                    {
                        return Answer(200, "",
                                      {{"Content-Length", large ? "25" : "10"},
                                       {"ETag", "\"e\""},
                                       {"x-amz-version-id", "S"},
                                       {"x-amz-meta-note", "n"}});
                    }
                    if (operation == "CreateMultipartUpload")
                    {
                        EXPECT_EQ(request.m_headers.Get("x-amz-meta-note"), "n");
                        return Answer(200, "<R><UploadId>UID</UploadId></R>");
                    }
                    if (operation == "UploadPartCopy")
                    {
                        bool const last = request.m_headers.Get("x-amz-copy-source-range") == "bytes=20-24";
                        EXPECT_EQ(request.m_headers.Get("x-amz-copy-source"), "b/s?versionId=S");
                        return last && replaced ? Answer(412, Refusal("PreconditionFailed"))
                                                : Answer(200, "<CopyPartResult><ETag>p</ETag></CopyPartResult>");
                    }
                    return operation == "CopyObject"
                        ? Answer(400, Refusal("InvalidRequest"))
                        : Answer(200, "<CompleteMultipartUploadResult/>", {{"x-amz-version-id", "V"}});
                });
            auto const operations = Over(sender, {false, false, 10, 10});
            auto const copy = [&] {
                return operations->CopyObject({"b", "s", ""}, {"b", "t", ""}, {}, {}, "").m_versionId;
            };
            if (large && !replaced)
            {
                EXPECT_EQ(copy(), "V");
                EXPECT_EQ(sender->Lines().size(), 7u);
            }
            else
            {
                ExpectRefusal(large ? 412 : 400, large ? "PreconditionFailed" : "InvalidRequest", copy);
                EXPECT_EQ(sender->Lines().back(), large ? "DELETE b/t?uploadId=UID" : "HEAD b/s");
            }
        }
    }
}

TEST(WireClient, ReadsALockBackAndSetsItWhereTheHeadersAreForgotten)
{
    SObjectLockConfig const lock(true, EObjectLockMode::Governance, "2030-01-02T03:04:05.000Z", false);
    bool honoured = true;
    bool readable = true;
    bool settable = true;
    bool locked = false;
    auto const sender = std::make_shared<CFakeSender>(
        [&](wire::SWireRequest const& request)
        {
            std::string const text = ToText(request);
            bool const put = text.starts_with("PUT b/k\n");
            bool const set = text.starts_with("PUT b/k?retention");
            locked = (put && honoured) || (locked && !put) || (settable && set);
            if (set && !settable && !readable)
            {
                return Answer(403, Refusal("AccessDenied"));
            }
            if (text.starts_with("HEAD") && locked && readable)
            {
                return Answer(200, "",
                              {{"Content-Length", "0"},
                               {"x-amz-object-lock-mode", "GOVERNANCE"},
                               {"x-amz-object-lock-retain-until-date", "2030-01-02T03:04:05Z"}});
            }
            if (text.starts_with("GET"))
            {
                return readable ? Answer(404, Refusal("NoSuchObjectLockConfiguration"))
                                : Answer(403, Refusal("AccessDenied"));
            }
            return Answer(200, "", {{"Content-Length", "0"}, {"x-amz-version-id", "V"}});
        });
    auto const put = [&] { ClientOver(Over(sender)).PutObject("b", "k", nullptr, {}, lock, {}, {}, {}).get(); };
    put();
    CS3WireClient const forgetful = ClientOver(Over(sender));
    honoured = false;
    for (int i = 0; i < 2; ++i)
    {
        forgetful.PutObject("b", "k", nullptr, {}, lock, {}, {}, {}).get();
    }
    EXPECT_THAT(sender->Lines(),
                ElementsAre("PUT b/k", "HEAD b/k?versionId=V", "PUT b/k", "HEAD b/k?versionId=V",
                            "GET b/k?retention&versionId=V", "PUT b/k?retention&versionId=V", "HEAD b/k?versionId=V",
                            "PUT b/k", "PUT b/k?retention&versionId=V"));
    settable = false;
    ExpectRefusal(501, "NotImplemented", put);

    // Who may not read locks sets each of them again, and hears of it if that is refused.
    readable = false;
    ExpectRefusal(403, "AccessDenied", put);
    settable = true;
    CS3WireClient const blind = ClientOver(Over(sender));
    std::size_t const before = sender->Lines().size();
    for (int i = 0; i < 2; ++i)
    {
        blind.PutObject("b", "k", nullptr, {}, lock, {}, {}, {}).get();
    }
    std::vector<std::string> const lines = sender->Lines();
    EXPECT_THAT(std::vector<std::string>(lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()),
                ElementsAre("PUT b/k", "HEAD b/k?versionId=V", "GET b/k?retention&versionId=V",
                            "PUT b/k?retention&versionId=V", "PUT b/k", "PUT b/k?retention&versionId=V"));
}

std::string Page(std::string const& key, std::string const& markers)
{
    return "<ListBucketResult><Contents><Key>" + key + "</Key><Size>1</Size></Contents>" + markers +
        "</ListBucketResult>";
}

std::string More(std::string const& markers)
{
    return "<IsTruncated>true</IsTruncated>" + markers;
}

TEST(WireListing, FollowsEveryKindOfMarker)
{
    auto const list = [](std::vector<transport::SHttpResponse> pages, bool older, std::vector<std::string> const& lines)
    {
        auto const sender = CFakeSender::Script(std::move(pages));
        CS3WireClient const client = ClientOver(Over(sender));
        SBucket const all =
            (older ? client.CompatibleGetBucket("b", "", "/", "", 0) : client.GetBucket("b", "", "/", "", 0)).get();
        EXPECT_EQ(all.m_contents.size(), lines.size());
        std::vector<std::string> seen = sender->Lines();
        for (std::string& line : seen)
        {
            line = util::str_replace(line, "&delimiter=/&encoding-type=url", "");
        }
        EXPECT_EQ(seen, lines);
    };
    list({Answer(200, Page("a", More("<NextContinuationToken>t</NextContinuationToken>"))), Answer(200, Page("b", ""))},
         false, {"GET b/?list-type=2", "GET b/?list-type=2&continuation-token=t"});
    // Version 1 in answer to version 2: with its marker, and without.
    list({Answer(200, Page("a", More("<NextMarker>m</NextMarker>"))),
          Answer(200, Page("b", More("<Marker>m</Marker>"))), Answer(200, Page("c", ""))},
         false,
         {"GET b/?list-type=2", "GET b/?delimiter=/&encoding-type=url&marker=m",
          "GET b/?delimiter=/&encoding-type=url&marker=b"});
    list({Answer(200, Page("a", More("<CommonPrefixes><Prefix>p/</Prefix></CommonPrefixes>"))),
          Answer(200, Page("b", ""))},
         true, {"GET b/?delimiter=/&encoding-type=url", "GET b/?delimiter=/&encoding-type=url&marker=p/"});
}

TEST(WireListing, NeverLoopsAndNeverEndsEarly)
{
    auto const fails = [](std::vector<std::string> const& tokens)
    {
        std::size_t page = 0;
        auto const sender = std::make_shared<CFakeSender>(
            [&](wire::SWireRequest const&)
            {
                std::string const& token = tokens[page++ % tokens.size()];
                return Answer(
                    200,
                    Page("k",
                         More(token.empty() ? "" : "<NextContinuationToken>" + token + "</NextContinuationToken>")));
            });
        EXPECT_THROW(ClientOver(Over(sender)).GetBucket("b", "", "", "", 0).get(), web::http::http_exception);
        return page;
    };
    EXPECT_EQ(fails({""}), 1u) << "more follows, but not where";
    EXPECT_EQ(fails({"t"}), 2u) << "the same again";
    EXPECT_LE(fails({"a", "b", "c", "d", "e"}), 20u) << "in a circle";

    auto const cut = CFakeSender::Script({Answer(200, Page("a", "").substr(0, 60))});
    EXPECT_THROW(ClientOver(Over(cut)).GetBucket("b", "", "", "", 0).get(), web::http::http_exception);
    std::string const versions =
        "<ListVersionsResult>" + More("<NextKeyMarker>k</NextKeyMarker>") + "</ListVersionsResult>";
    auto const circling = CFakeSender::Script({Answer(200, versions), Answer(200, versions)});
    int pages = 0;
    EXPECT_THROW(
        ClientOver(Over(circling)).GetBucketObjectVersions([&](auto const&) { ++pages; }, "b", "", "", "", "", 0).get(),
        web::http::http_exception);
    EXPECT_EQ(pages, 1);
    auto const two =
        CFakeSender::Script({Answer(200, Page("a", More("<NextContinuationToken>t</NextContinuationToken>")))});
    EXPECT_THROW(ClientOver(Over(two))
                     .GetBucket([](SBucketContents const&) { throw exc::CRuntimeExc("enough"); }, "b", "", "", "", 0)
                     .get(),
                 exc::CRuntimeExc);
}

class CProgress final : public progress::progress_base_t
{
public:
    void OnProgress(unsigned long done, unsigned long total) override { m_calls.emplace_back(done, total); }
    std::vector<std::pair<unsigned long, unsigned long>> m_calls;
};

SMultiObjectDeleteRequest Items(std::size_t count)
{
    SMultiObjectDeleteRequest request;
    for (std::size_t i = 0; i < count; ++i)
    {
        request.m_objects.push_back({"key" + std::to_string(i), ""});
    }
    return request;
}

TEST(WireDelete, TakesAThousandAtATimeAndTellsOfRefusals)
{
    for (auto const& [count, requests] : {std::pair<std::size_t, std::size_t>{0, 0}, {1, 1}, {1000, 1}, {2500, 3}})
    {
        auto const sender =
            std::make_shared<CFakeSender>([](wire::SWireRequest const&) { return Answer(200, "<DeleteResult/>"); });
        auto const progress = std::make_shared<CProgress>();
        ClientOver(Over(sender)).DeleteObjects("b", Items(count), progress).get();
        EXPECT_EQ(sender->Lines().size(), requests);
        if (count != 0)
        {
            EXPECT_EQ(progress->m_calls.back(), std::pair(count, count));
        }
    }
    auto const error = [](std::string const& code) { return "<Error><Key>k</Key><Code>" + code + "</Code></Error>"; };
    auto const sender = CFakeSender::Script(
        {Answer(200, "<DeleteResult>" + error("SlowDown") + error("AccessDenied") + "</DeleteResult>"),
         Answer(200, Refusal("InternalError")), Answer(200, "<DeleteResult/>")});
    try
    {
        ClientOver(Over(sender)).DeleteObjects("b", Items(2500), nullptr).get();
        FAIL();
    }
    catch (CS3WireException const& refusal)
    {
        EXPECT_EQ(refusal.GetStatusCode(), 503);
        EXPECT_EQ(refusal.GetAmazonErrorCode(), "SlowDown");
        EXPECT_THAT(refusal.what(), HasSubstr("1002 objects"));
    }
    EXPECT_EQ(sender->Lines().size(), 3u);

    SMultiObjectDeleteRequest odd = Items(1);
    odd.m_objects.push_back({"bell\x07", "V"});
    odd.m_objects.push_back({"k", "\x01"});
    auto const mixed = std::make_shared<CFakeSender>(
        [](wire::SWireRequest const& request)
        { return request.m_method == transport::EHttpMethod::Post ? Answer(200, "<DeleteResult/>") : Answer(204); });
    ClientOver(Over(mixed)).DeleteObjects("b", odd, nullptr).get();
    EXPECT_THAT(mixed->Lines(),
                ::testing::UnorderedElementsAre("POST b/?delete", "DELETE b/bell\x07?versionId=V",
                                                "DELETE b/k?versionId=\x01"));
    odd.m_objects.push_back({"", ""});
    EXPECT_THROW(ClientOver(Over(mixed)).DeleteObjects("b", odd, nullptr), exc::CRuntimeExc);
}

TEST(WireDelete, OfAPrefixTakesEveryPage)
{
    std::string const versions =
        "<ListVersionsResult><Version><Key>p/a</Key><VersionId>1</VersionId><Size>1</Size></Version>"
        "<DeleteMarker><Key>p/a</Key><VersionId>2</VersionId></DeleteMarker></ListVersionsResult>";
    auto const batch =
        CFakeSender::Script({Answer(200, Page("p/a", More("<NextContinuationToken>t</NextContinuationToken>"))),
                             Answer(200, "<DeleteResult/>"), Answer(200, Page("p/b", "")),
                             Answer(200, "<DeleteResult/>"), Answer(200, versions), Answer(200, "<DeleteResult/>")});
    ClientOver(Over(batch)).DeleteObjects("b", "p/", nullptr).get();
    ClientOver(Over(batch)).DeleteObjectsAllVersions("b", "p/", nullptr).get();
    EXPECT_EQ(batch->Lines().size(), 6u);

    std::atomic<unsigned> deleted{0};
    auto const single = std::make_shared<CFakeSender>(
        [&](wire::SWireRequest const& request)
        {
            if (request.m_method == transport::EHttpMethod::Get)
            {
                return Answer(200, versions);
            }
            ++deleted;
            return request.m_key == "key7" ? Answer(403, Refusal("AccessDenied"))
                                           : Answer(request.m_key == "key3" ? 404 : 204, Refusal("NoSuchKey"));
        });
    CS3WireClient const client = ClientOver(Over(single));
    client.CompatibleDeleteObjectsAllVersions("b", "p/", nullptr).get();
    EXPECT_EQ(deleted.exchange(0), 2u);
    ExpectRefusal(403, "AccessDenied", [&] { client.CompatibleDeleteObjects("b", Items(100), nullptr).get(); });
    EXPECT_EQ(deleted, 100u);
    client.CompatibleDeleteObject("b", "key3", "").get();
    ExpectRefusal(403, "AccessDenied", [&] { client.CompatibleDeleteObject("b", "key7", "").get(); });
}

} // namespace
} // namespace bucketry::s3wire::tests
