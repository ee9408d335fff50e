// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bucketry::simulator::tests
{

using testing::HasSubstr;

namespace
{

class SimulatedVersions : public testing::Test
{
protected:
    SimulatedVersions()
    {
        m_simulator.CreateBucket("plain");
        m_simulator.CreateBucket("locked", {.m_objectLock = true});
    }

    std::string PutVersion(std::string const& target, std::string const& body, CClient::headers_t headers = {}) const
    {
        headers.push_back(Md5Header(body));
        auto const put = m_client.Put(target, body, headers);
        EXPECT_EQ(put.m_status, 200) << put.m_body;
        return put.Header("x-amz-version-id");
    }
    SAnswer SetVersioning(std::string const& target, std::string const& status) const
    {
        return m_client.Put(target + "?versioning=",
                            "<VersioningConfiguration><Status>" + status + "</Status></VersioningConfiguration>");
    }
    SAnswer Retain(std::string const& target, std::string const& mode, std::string const& until,
                   CClient::headers_t headers = {}) const
    {
        std::string const body =
            "<Retention><Mode>" + mode + "</Mode><RetainUntilDate>" + until + "</RetainUntilDate></Retention>";
        headers.push_back(Md5Header(body));
        return m_client.Put(target, body, headers);
    }

    CSimulator m_simulator;
    CClient m_client{m_simulator};
    std::string const m_bypass = "x-amz-bypass-governance-retention: true";
};

} // namespace

TEST_F(SimulatedVersions, AreHiddenByMarkersAndKeptUntilTheyAreNamed)
{
    std::string const old = PutVersion("/locked/a", "1"), newest = PutVersion("/locked/a", "2");
    EXPECT_EQ(m_client.Get("/locked/a?versionId=" + old).m_body, "1");
    auto const marker = m_client.Delete("/locked/a");
    EXPECT_EQ(marker.m_status, 204);
    std::string const markerId = marker.Header("x-amz-version-id");

    auto const hidden = m_client.Get("/locked/a");
    EXPECT_EQ(hidden.m_status, 404);
    EXPECT_EQ(hidden.Header("x-amz-delete-marker"), "true");
    auto const named = m_client.Get("/locked/a?versionId=" + markerId);
    EXPECT_EQ(named.m_status, 405);
    EXPECT_EQ(named.Element("Code"), "MethodNotAllowed");
    EXPECT_EQ(m_simulator.ObjectCount("locked"), 0u);
    EXPECT_EQ(m_simulator.VersionCount("locked"), 3u);

    auto const removed = m_client.Delete("/locked/a?versionId=" + markerId);
    EXPECT_EQ(removed.Header("x-amz-delete-marker"), "true");
    EXPECT_EQ(m_client.Get("/locked/a").m_body, "2");
    EXPECT_EQ(m_client.Delete("/locked/a?versionId=" + newest).m_status, 204);
    EXPECT_EQ(m_client.Get("/locked/a").m_body, "1");
    EXPECT_EQ(m_client.Get("/locked/a?versionId=" + newest).Element("Code"), "NoSuchVersion");
}

TEST_F(SimulatedVersions, AreCalledNullWhileVersioningIsOffOrSuspended)
{
    EXPECT_EQ(PutVersion("/plain/a", "before"), "");
    EXPECT_EQ(SetVersioning("/plain", "Enabled").m_status, 200);
    std::string const enabled = PutVersion("/plain/a", "enabled");
    EXPECT_EQ(m_client.Get("/plain/a?versionId=null").m_body, "before");
    SetVersioning("/plain", "Suspended");
    EXPECT_EQ(m_client.Get("/plain?versioning=").Element("Status"), "Suspended");
    EXPECT_EQ(PutVersion("/plain/a", "suspended"), "null");
    EXPECT_EQ(m_client.Get("/plain/a?versionId=null").m_body, "suspended");
    EXPECT_EQ(m_simulator.VersionCount("plain"), 2u);
    EXPECT_EQ(m_client.Delete("/plain/a").Header("x-amz-version-id"), "null");
    EXPECT_EQ(m_simulator.VersionCount("plain"), 2u);
    EXPECT_EQ(m_client.Get("/plain/a?versionId=" + enabled).m_body, "enabled");

    EXPECT_EQ(SetVersioning("/locked", "Suspended").Element("Code"), "InvalidBucketState");
    EXPECT_EQ(SetVersioning("/plain", "Else").Element("Code"), "IllegalVersioningConfigurationException");
}

TEST_F(SimulatedVersions, AreKeptByTheirRetention)
{
    std::string const until = "x-amz-object-lock-retain-until-date: 2100-01-02T03:04:05Z";
    std::string const governed = PutVersion("/locked/g", "1", {"x-amz-object-lock-mode: GOVERNANCE", until});
    std::string const complied = PutVersion("/locked/c", "1", {"x-amz-object-lock-mode: COMPLIANCE", until});
    EXPECT_EQ(m_client.Get("/locked/g").Header("x-amz-object-lock-retain-until-date"), "2100-01-02T03:04:05.000Z");
    std::string const g = "/locked/g?versionId=" + governed, c = "/locked/c?versionId=" + complied;
    EXPECT_EQ(m_client.Delete(g).Element("Code"), "AccessDenied");
    EXPECT_EQ(m_client.Delete(c, {m_bypass}).Element("Code"), "AccessDenied");
    EXPECT_EQ(m_client.Delete("/locked/g").m_status, 204); // a marker
    std::string const list = "<Delete><Object><Key>g</Key><VersionId>" + governed + "</VersionId></Object></Delete>";
    EXPECT_EQ(m_client.Post("/locked?delete=", list, {Md5Header(list)}).Element("Code"), "AccessDenied");

    std::string const gRetention = "/locked/g?retention=&versionId=" + governed;
    std::string const cRetention = "/locked/c?retention=&versionId=" + complied;
    EXPECT_EQ(Retain(gRetention, "GOVERNANCE", "2099-01-01T00:00:00Z").Element("Code"), "AccessDenied");
    EXPECT_EQ(Retain(gRetention, "GOVERNANCE", "2099-01-01T00:00:00Z", {m_bypass}).m_status, 200);
    EXPECT_EQ(Retain(gRetention, "GOVERNANCE", "2101-01-01T00:00:00.5Z").m_status, 200);
    EXPECT_EQ(Retain(cRetention, "COMPLIANCE", "2099-01-01T00:00:00Z", {m_bypass}).Element("Code"), "AccessDenied");
    EXPECT_EQ(Retain(cRetention, "GOVERNANCE", "2101-01-01T00:00:00Z", {m_bypass}).Element("Code"), "AccessDenied");
    EXPECT_EQ(Retain(cRetention, "COMPLIANCE", "2101-01-01T00:00:00Z").m_status, 200);
    EXPECT_EQ(m_client.Get(gRetention).Element("RetainUntilDate"), "2101-01-01T00:00:00.500Z");
    EXPECT_EQ(m_client.Delete(g, {m_bypass}).m_status, 204);

    // Judged by the store's clock.
    auto const soon = std::chrono::system_clock::to_time_t(m_simulator.Now() + std::chrono::minutes(5));
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&soon));
    std::string const brief =
        PutVersion("/locked/b", "1",
                   {"x-amz-object-lock-mode: COMPLIANCE", std::string("x-amz-object-lock-retain-until-date: ") + text});
    EXPECT_EQ(m_client.Delete("/locked/b?versionId=" + brief).m_status, 403);
    m_simulator.AdvanceClock(std::chrono::minutes(6));
    EXPECT_EQ(m_client.Delete("/locked/b?versionId=" + brief).m_status, 204);
}

TEST_F(SimulatedVersions, AreKeptByALegalHoldAndByTheBucketsDefault)
{
    std::string const held = PutVersion("/locked/h", "1", {"x-amz-object-lock-legal-hold: ON"});
    EXPECT_EQ(m_client.Delete("/locked/h?versionId=" + held, {m_bypass}).m_status, 403);
    std::string const off = "<LegalHold><Status>OFF</Status></LegalHold>";
    EXPECT_EQ(m_client.Put("/locked/h?legal-hold=", off, {Md5Header(off)}).m_status, 200);
    EXPECT_EQ(m_client.Delete("/locked/h?versionId=" + held).m_status, 204);

    std::string const rule = "<ObjectLockConfiguration><ObjectLockEnabled>Enabled</ObjectLockEnabled><Rule>"
                             "<DefaultRetention><Mode>GOVERNANCE</Mode><Days>2</Days></DefaultRetention></Rule>"
                             "</ObjectLockConfiguration>";
    EXPECT_EQ(m_client.Put("/locked?object-lock=", rule, {Md5Header(rule)}).m_status, 200);
    EXPECT_EQ(m_client.Get("/locked?object-lock=").Element("Days"), "2");
    EXPECT_EQ(m_client.Put("/locked/d", "1").Element("Code"), "InvalidRequest"); // no checksum
    EXPECT_EQ(m_client.Delete("/locked/d?versionId=" + PutVersion("/locked/d", "1")).m_status, 403);

    auto const upload = m_client.Post("/locked/m?uploads=", "").Element("UploadId");
    std::string const part = "/locked/m?partNumber=1&uploadId=" + upload;
    EXPECT_EQ(m_client.Put(part, "x").Element("Code"), "InvalidRequest");
    EXPECT_EQ(m_client.Put(part, "x", {Md5Header("x")}).m_status, 200);
}

TEST_F(SimulatedVersions, RefuseWrongLocks)
{
    PutVersion("/locked/a", "1");
    PutVersion("/plain/a", "1");
    std::string const mode = "x-amz-object-lock-mode: ", date = "x-amz-object-lock-retain-until-date: ";
    struct SCase
    {
        CClient::headers_t m_headers;
        std::string m_code;
    };
    SCase const cases[] = {
        {{mode + "GOVERNANCE"}, "InvalidArgument"},
        {{date + "2100-01-01T00:00:00Z"}, "InvalidArgument"},
        {{mode + "ELSE", date + "2100-01-01T00:00:00Z"}, "InvalidArgument"},
        {{mode + "GOVERNANCE", date + "2001-01-01T00:00:00Z"}, "InvalidArgument"},
        {{mode + "GOVERNANCE", date + "tomorrow"}, "InvalidArgument"},
        {{"x-amz-object-lock-legal-hold: MAYBE"}, "InvalidArgument"},
        {{mode + "GOVERNANCE", date + "2100-01-01T00:00:00Z"}, "InvalidRequest"}, // no checksum
    };
    for (auto const& wrong : cases)
    {
        EXPECT_EQ(m_client.Put("/locked/a", "1", wrong.m_headers).Element("Code"), wrong.m_code) << wrong.m_headers[0];
    }
    EXPECT_EQ(m_client.Get("/locked/a?retention=").Element("Code"), "NoSuchObjectLockConfiguration");
    EXPECT_EQ(Retain("/plain/a?retention=", "GOVERNANCE", "2100-01-01T00:00:00Z").Element("Code"), "InvalidRequest");
    EXPECT_EQ(Retain("/locked/a?retention=", "ELSE", "2100-01-01T00:00:00Z").Element("Code"), "MalformedXML");
    EXPECT_EQ(Retain("/locked/a?retention=", "GOVERNANCE", "2001-01-01T00:00:00Z").Element("Code"), "InvalidArgument");
    EXPECT_EQ(m_client.Get("/plain?object-lock=").Element("Code"), "ObjectLockConfigurationNotFoundError");
}

} // namespace bucketry::simulator::tests
