// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <gmock/gmock.h>

#include <set>

namespace bucketry::simulator::tests
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace
{

std::string const Interop = "x-goog-interop-list-objects-format: enabled";
std::string const Lock = "x-amz-object-lock-mode: ";
std::string const Until = "x-amz-object-lock-retain-until-date: 2100-01-01T00:00:00Z";

class SimulatedGoogle : public testing::Test
{
protected:
    explicit SimulatedGoogle(SGoogleOptions const& options = {})
        : m_simulator({.m_profile = EProfile::Google, .m_minPartSize = 1, .m_google = options})
    {
        m_simulator.CreateBucket("plain");
        m_simulator.CreateBucket("versioned", {.m_versioning = true});
        m_simulator.CreateBucket("locked", {.m_objectLock = true});
        m_client.m_region = "auto";
    }

    /// The generation that the object got.
    std::string Put(std::string const& target, std::string const& body, CClient::headers_t const& headers = {}) const
    {
        auto const put = m_client.Put(target, body, headers);
        EXPECT_EQ(put.m_status, 200) << put.m_body;
        return put.Header("x-goog-generation");
    }

    CSimulator m_simulator;
    CClient m_client{m_simulator};
};

/// Everything that a store with generations need not offer.
class SimulatedNewerGoogle : public SimulatedGoogle
{
protected:
    SimulatedNewerGoogle() : SimulatedGoogle({true, true, true, false}) {}
};

} // namespace

TEST_F(SimulatedGoogle, NumbersItsVersionsByTheClock)
{
    auto const now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    auto const micros = std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count();
    m_simulator.SetClock(now);
    EXPECT_EQ(Put("/versioned/a", "1"), std::to_string(micros));
    EXPECT_EQ(Put("/plain/a", "2"), std::to_string(micros + 1)); // of the whole store, and without versions too
    m_simulator.AdvanceClock(std::chrono::milliseconds(5));
    EXPECT_EQ(Put("/versioned/a", "hello"), std::to_string(micros + 5000));

    auto const live = m_client.Get("/versioned/a");
    EXPECT_EQ(live.m_body, "hello");
    EXPECT_EQ(live.Header("x-goog-generation"), std::to_string(micros + 5000));
    EXPECT_EQ(live.Header("x-goog-metageneration"), "1");
    EXPECT_EQ(live.Header("x-goog-hash"), "md5=XUFAKrxLKna5cZ2REBfFkg=="); // the second of two lines
    EXPECT_EQ(live.Header("x-goog-storage-class"), "STANDARD");
    EXPECT_EQ(live.Header("x-amz-version-id"), "");
    EXPECT_EQ(live.Header("x-amz-request-id"), "");
    EXPECT_EQ(m_client.Get("/versioned/a?generation=" + std::to_string(micros)).m_body, "1");
    EXPECT_EQ(m_client.Get("/plain/a?generation=1").m_status, 404);
}

TEST_F(SimulatedGoogle, HidesWhatIsDeletedAndUncoversNothing)
{
    std::string const a = "/versioned/a", first = Put(a, "1"), second = Put(a, "2");
    EXPECT_EQ(m_client.Delete(a).m_status, 204);
    EXPECT_EQ(m_client.Get(a).Element("Code"), "NoSuchKey");
    EXPECT_EQ(m_client.Delete(a).Element("Details"), "No such object: versioned/a");
    EXPECT_EQ(m_client.Get(a + "?generation=" + second).m_body, "2"); // under the same number
    EXPECT_EQ(m_simulator.ObjectCount("versioned"), 0u);
    EXPECT_EQ(m_simulator.VersionCount("versioned"), 2u);
    EXPECT_THAT(m_client.Get("/versioned?versions=").Elements("IsLatest"), ElementsAre("false", "false"));

    std::string const third = a + "?generation=" + Put(a, "3");
    EXPECT_THAT(m_client.Get("/versioned?versions=").Elements("IsLatest"), ElementsAre("false", "false", "true"));
    EXPECT_EQ(m_client.Delete(third).m_status, 204);
    EXPECT_EQ(m_client.Delete(third).m_status, 404);
    EXPECT_EQ(m_client.Get(a).m_status, 404);
    EXPECT_EQ(m_client.Delete("/versioned").Element("Code"), "BucketNotEmpty");

    std::string const gone = Put("/plain/a", "1");
    Put("/plain/a", "2");
    EXPECT_EQ(m_client.Get("/plain/a?generation=" + gone).m_status, 404);
    EXPECT_EQ(m_client.Delete("/plain/a").m_status, 204);
    EXPECT_EQ(m_simulator.VersionCount("plain"), 0u);
}

TEST_F(SimulatedGoogle, RefusesWhatItHasNot)
{
    Put("/plain/a", "1");
    std::string const part =
        "/plain/m?partNumber=1&uploadId=" + m_client.Post("/plain/m?uploads=", "").Element("UploadId");
    struct SCase
    {
        std::string m_method, m_target;
        long m_status;
        std::string m_code;
        CClient::headers_t m_headers = {};
    };
    SCase const cases[] = {
        {"GET", "/plain/a?generation=null", 400, "InvalidArgument"},
        {"DELETE", "/plain/a?generation=", 400, "InvalidArgument"},
        {"DELETE", "/plain/a?versionId=1", 400, "InvalidArgument"},
        {"GET", "/plain?list-type=2", 501, "NotImplemented"},
        {"GET", "/plain/a?x-id=GetObject", 400, "InvalidArgument"},
        {"GET", "/plain?generation-marker=1&versions=", 400, "InvalidArgument"},
        {"GET", "/plain?key-marker=a&version-id-marker=null&versions=", 400, "InvalidArgument", {Interop}},
        {"POST", "/plain?delete=", 501, "NotImplemented"},
        {"POST", "/plain/a?restore=", 501, "NotImplemented"},
        {"GET", "/plain/a?legal-hold=", 501, "NotImplemented"},
        {"PUT", "/plain?object-lock=", 501, "NotImplemented"},
        {"PUT", part, 501, "NotImplemented", {"x-amz-copy-source: plain/a"}},
        {"PUT", "/plain/b", 400, "InvalidArgument", {"x-amz-copy-source: plain/a?generation=null"}},
        {"PUT", "/plain/b", 400, "InvalidArgument", {"x-amz-storage-class: GLACIER"}},
        {"PUT", "/plain/b", 400, "InvalidArgument", {"x-amz-checksum-crc32: AAAAAA=="}},
        {"PUT", "/plain/b", 400, "InvalidArgument", {Lock + "COMPLIANCE", Until}},
        {"PUT", "/plain/a", 412, "PreconditionFailed", {"x-goog-if-generation-match: 0"}},
        {"PUT", "/plain/b", 403, "SignatureDoesNotMatch", {"Accept-Encoding: gzip"}},
        {"GET", "/none/a", 404, "NoSuchBucket"},
        {"GET", "/plain/" + std::string(1025, 'k'), 400, "KeyTooLong"},
    };
    for (auto const& wrong : cases)
    {
        auto const answer = m_client.Send(wrong.m_method, wrong.m_target, {}, wrong.m_headers);
        EXPECT_EQ(answer.m_status, wrong.m_status) << wrong.m_method << wrong.m_target << answer.m_body;
        EXPECT_EQ(answer.Element("Code"), wrong.m_code) << wrong.m_method << wrong.m_target;
        EXPECT_NE(answer.Element("Details"), "") << answer.m_body;
        EXPECT_THAT(answer.m_body, Not(HasSubstr("RequestId")));
    }
    EXPECT_EQ(m_simulator.ObjectCount("plain"), 1u);
    EXPECT_EQ(Put("/plain/c", "", {"x-amz-storage-class: ARCHIVE", "x-amz-object-lock-legal-hold: ON"}).size(), 16u);
    EXPECT_EQ(m_client.Get("/plain/c").Header("x-goog-storage-class"), "ARCHIVE");
}

TEST_F(SimulatedGoogle, ListsTheOldestGenerationFirstInBothForms)
{
    std::vector<std::string> const all = {Put("/versioned/a%20b", "1"), Put("/versioned/a%20b", "2"),
                                          Put("/versioned/c", "3")};
    struct SForm
    {
        CClient::headers_t m_headers;
        std::string m_root, m_id, m_keyMarker, m_idMarker, m_nextKey, m_nextId;
    };
    SForm const forms[] = {
        {{}, "ListBucketResult", "Generation", "marker", "generation-marker", "NextMarker", "NextGenerationMarker"},
        {{Interop},
         "ListVersionsResult",
         "VersionId",
         "key-marker",
         "version-id-marker",
         "NextKeyMarker",
         "NextVersionIdMarker"},
    };
    for (auto const& form : forms)
    {
        std::vector<std::string> seen;
        std::set<std::string> query = {"max-keys=1", "versions="}; // libcurl wants them in order
        for (bool goesOn = true; goesOn && seen.size() <= all.size();)
        {
            std::string page = "/versioned?";
            for (auto const& parameter : query)
            {
                page += parameter + "&";
            }
            page.pop_back();
            auto const answer = m_client.Get(page, form.m_headers);
            EXPECT_THAT(answer.m_body, HasSubstr("<" + form.m_root));
            seen.push_back(answer.Element(form.m_id));
            goesOn = answer.Element("IsTruncated") == "true";
            query = {"max-keys=1", "versions=", form.m_keyMarker + "=" + Escaped(answer.Element(form.m_nextKey)),
                     form.m_idMarker + "=" + answer.Element(form.m_nextId)};
        }
        EXPECT_EQ(seen, all) << form.m_root;
    }
    auto const encoded = m_client.Get("/versioned?encoding-type=url&versions=", {Interop});
    EXPECT_EQ(encoded.Element("Encoding-Type"), "url");
    EXPECT_EQ(encoded.Element("Key"), "a+b");

    auto const objects = m_client.Get("/versioned?max-keys=1");
    EXPECT_THAT(objects.Elements("Generation"), ElementsAre(all[1]));
    EXPECT_EQ(objects.Element("NextMarker"), "a b");
}

TEST_F(SimulatedGoogle, KeepsWhatIsRetained)
{
    std::string const generation = Put("/locked/a", "1", {Lock + "GOVERNANCE", Until});
    std::string const a = "/locked/a?generation=" + generation;
    EXPECT_EQ(m_client.Get(a).Header("x-goog-object-lock-mode"), "GOVERNANCE");
    EXPECT_EQ(m_client.Get(a).Header("x-amz-object-lock-mode"), "");
    EXPECT_EQ(m_client.Get(a + "&retention=").Element("Mode"), "GOVERNANCE");
    EXPECT_EQ(m_client.Delete("/locked/a").m_status, 204); // noncurrent
    std::string const later =
        "<Retention><Mode>GOVERNANCE</Mode><RetainUntilDate>2101-01-01T00:00:00Z</RetainUntilDate>"
        "</Retention>";
    EXPECT_EQ(m_client.Put(a + "&retention=", later).m_status, 200);
    EXPECT_EQ(m_client.Get(a).Header("x-goog-metageneration"), "2");
    EXPECT_EQ(m_client.Delete(a).Element("Code"), "RetentionPolicyNotMet");
    EXPECT_EQ(m_client.Delete(a, {"x-amz-bypass-governance-retention: true"}).m_status, 403);
    EXPECT_EQ(m_client.Delete(a, {"x-goog-bypass-governance-retention: true"}).m_status, 204);

    // Here the lock needs no versions, and then it keeps the name as well.
    EXPECT_EQ(m_client.Put("/single", "", {"x-amz-bucket-object-lock-enabled: true"}).m_status, 200);
    EXPECT_EQ(m_client.Get("/single?versioning=").Element("Status"), "");
    Put("/single/a", "1", {Lock + "COMPLIANCE", Until});
    EXPECT_EQ(m_client.Put("/single/a", "2").m_status, 403);
    EXPECT_EQ(m_client.Delete("/single/a").m_status, 403);
    EXPECT_EQ(m_client.Get("/single/a").m_body, "1");
}

TEST_F(SimulatedGoogle, CopiesTheGenerationThatIsNamed)
{
    std::string const first = Put("/versioned/a", "1");
    Put("/versioned/a", "2");
    std::string const source = "x-amz-copy-source: versioned/a";
    EXPECT_NE(Put("/plain/query", "", {source + "?generation=" + first}), "");
    Put("/plain/header", "", {source, "x-goog-copy-source-generation: " + first});
    Put("/plain/s3", "", {source + "?versionId=" + first}); // not heeded
    Put("/plain/query", "", {"x-amz-copy-source: plain/query"});
    EXPECT_EQ(m_client.Get("/plain/query").m_body, "1");
    EXPECT_EQ(m_client.Get("/plain/header").m_body, "1");
    EXPECT_EQ(m_client.Get("/plain/s3").m_body, "2");

    auto const upload = m_client.Post("/versioned/m?uploads=", "").Element("UploadId");
    auto const etag = m_client.Put("/versioned/m?partNumber=1&uploadId=" + upload, "x").Header("etag");
    auto const done = m_client.Post("/versioned/m?uploadId=" + upload,
                                    "<CompleteMultipartUpload><Part><PartNumber>1</PartNumber><ETag>" + etag +
                                        "</ETag></Part></CompleteMultipartUpload>");
    EXPECT_EQ(done.Header("x-goog-generation"), m_client.Get("/versioned/m").Header("x-goog-generation"));
}

TEST_F(SimulatedNewerGoogle, HasWhatTheSwitchesGive)
{
    std::string const first = Put("/versioned/a", "1"), second = Put("/versioned/a", "2");
    EXPECT_THAT(m_client.Get("/versioned?versions=", {Interop}).Elements("VersionId"), ElementsAre(second, first));
    EXPECT_THAT(m_client.Get("/versioned?generation-marker=" + second + "&marker=a&versions=").Elements("Generation"),
                ElementsAre(first));
    EXPECT_EQ(m_client.Get("/versioned?list-type=2").Element("KeyCount"), "1");
    Put("/plain/a", "", {"x-amz-copy-source: versioned/a?generation=" + first});
    EXPECT_EQ(m_client.Get("/plain/a").m_body, "2");

    std::string const list = "<Delete><Object><Key>a</Key><VersionId>" + second +
        "</VersionId></Object><Object><Key>a</Key></Object><Object><Key>a</Key><VersionId>null</VersionId></Object>"
        "</Delete>";
    auto const deleted = m_client.Post("/versioned?delete=", list);
    EXPECT_THAT(deleted.Elements("VersionId"), ElementsAre(second, "null"));
    EXPECT_THAT(deleted.Elements("Code"), ElementsAre("NoSuchKey", "NoSuchVersion"));
    EXPECT_EQ(m_simulator.VersionCount("versioned"), 1u);
}

} // namespace bucketry::simulator::tests
