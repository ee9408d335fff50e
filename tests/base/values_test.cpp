// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/certificate.h"
#include "bucketry/base/datetime.h"
#include "bucketry/base/exceptions.h"
#include "bucketry/base/guid.h"
#include "bucketry/base/keys.h"
#include "bucketry/base/options.h"
#include "bucketry/base/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

using namespace bucketry;
using datetime::CDateTime;

namespace
{

constexpr char const* HttpDate = "%a, %d %b %Y %H:%M:%S GMT";

// Local time of the process for one test.
class CTimeZone
{
public:
    explicit CTimeZone(char const* zone) : m_before(std::getenv("TZ") != nullptr ? std::getenv("TZ") : "")
    {
        Set(zone);
    }
    ~CTimeZone() { m_before.empty() ? static_cast<void>(::unsetenv("TZ")) : Set(m_before.c_str()); }

private:
    static void Set(char const* zone)
    {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    std::string const m_before;
};

} // namespace

TEST(DateTime, ReadsAndWritesEachFormInUse)
{
    struct SCase
    {
        char const* m_text;
        char const* m_format;
        long m_seconds;
    };
    for (SCase const& each :
         {SCase{"1994-11-06 08:49:37", CDateTime::DefaultFormat, 784111777},
          SCase{"Sun, 06 Nov 1994 08:49:37 GMT", HttpDate, 784111777},
          SCase{"1994-11-06T08:49:37.000Z", "%Y-%m-%dT%H:%M:%S.000Z", 784111777},
          SCase{"Sunday  6 November 310 1994 %", "%A %e %B %j %Y %%", 784080000},
          SCase{"1969-12-31T23:59:59", "%FT%T", -1}, SCase{"0000-03-01T00:00:00", "%FT%T", -62162035200},
          SCase{"9999-12-31T23:59:59", "%FT%T", 253402300799}, SCase{"1900-03-01T00:00:00", "%FT%T", -2203891200},
          SCase{"2000-02-29T00:00:00", "%FT%T", 951782400}, SCase{"2024 366", "%Y %j", 1735603200}})
    {
        CDateTime const time = CDateTime::fromString(each.m_text, each.m_format, true);
        EXPECT_EQ(time.toUnixTime(), each.m_seconds) << each.m_text;
        if (each.m_text[0] != '0')
        {
            EXPECT_EQ(time.toStdString(each.m_format), each.m_text);
        }
    }
}

TEST(DateTime, RefusesRubbishAndDatesThatDoNotExist)
{
    for (char const* const text :
         {"", "2024-01-01", "2024-01-01 00:00:00 ", " 2024-01-01 00:00:00", "2024-1-01 00:00:00", "2024-02-31 00:00:00",
          "2023-02-29 00:00:00", "1900-02-29 00:00:00", "2024-13-01 00:00:00", "2024-00-01 00:00:00",
          "2024-01-00 00:00:00", "2024-01-01 24:00:00", "2024-01-01 00:60:00", "2024-01-01 00:00:60",
          "+024-01-01 00:00:00", "2024-01-01 00:00:-1", "2024/01/01 00:00:00"})
    {
        EXPECT_THROW(CDateTime::fromString(text, CDateTime::DefaultFormat, true), exc::CRuntimeExc) << text;
    }
    EXPECT_THROW(CDateTime::fromString("Mon, 06 Nov 1994 08:49:37 GMT", HttpDate, true), exc::CRuntimeExc);
    EXPECT_THROW(CDateTime::fromString("Sun, 06 Nov 1994 08:49:37 UTC", HttpDate, true), exc::CRuntimeExc);
    EXPECT_THROW(CDateTime::fromString("2023 366", "%Y %j", true), exc::CRuntimeExc);
    EXPECT_THROW(CDateTime::fromString("2023-02-03 033", "%F %j", true), exc::CRuntimeExc);
    EXPECT_THROW(CDateTime::fromString("05", "%q", true), exc::CRuntimeExc);
    EXPECT_THROW(CDateTime::fromString("2024%", "%Y%", true), exc::CRuntimeExc);
    EXPECT_THROW(CDateTime::fromUnixTime(std::numeric_limits<long>::max(), true).toStdString(), exc::CRuntimeExc);
}

TEST(DateTime, ShowsLocalTimeAndComparesByTheMoment)
{
    CTimeZone const berlin("CET-1CEST,M3.5.0,M10.5.0/3");
    CDateTime const summer = CDateTime::fromString("2024-07-01 02:00:00", CDateTime::DefaultFormat, false);
    CDateTime const utc = CDateTime::fromString("2024-07-01 00:00:00", CDateTime::DefaultFormat, true);
    EXPECT_TRUE(summer == utc);
    EXPECT_EQ(summer.toStdString(), "2024-07-01 02:00:00");
    EXPECT_EQ(summer.toUtcTime().toStdString(), "2024-07-01 00:00:00");
    EXPECT_EQ(CDateTime::fromString("1960-01-01 00:59:59", CDateTime::DefaultFormat, false).toUnixTime(), -315619201);
    EXPECT_THROW(CDateTime::fromString("2024-03-31 02:30:00", CDateTime::DefaultFormat, false), exc::CRuntimeExc)
        << "clocks skip this time";
    EXPECT_EQ(utc.toStdString(""), "");
    EXPECT_EQ(utc.toStdString(std::string(300, 'x')), std::string(300, 'x'));

    EXPECT_TRUE(CDateTime().IsNull() && CDateTime().toUnixTime() == 0);
    EXPECT_LT(CDateTime(), CDateTime::fromUnixTime(-1, true));
    EXPECT_NE(CDateTime(), CDateTime::fromUnixTime(0, true));
    EXPECT_GE(CDateTime::currentUtcTime(), utc);
}

TEST(Guid, ReadsBothFormsAndNothingElse)
{
    std::string const text = "01234567-89ab-cdef-0123-456789abcdef";
    EXPECT_EQ(guid::guid_t::FromAStr("{01234567-89AB-cdef-0123-456789ABCDEF}").ToAStr(), text);
    for (std::string const& rubbish :
         {std::string(), "{" + text, text + "}", "{" + text + ")", text + "0", text.substr(1), " " + text.substr(1),
          "0123456-789ab-cdef-0123-456789abcdef" + std::string(), "g" + text.substr(1), "+1" + text.substr(2)})
    {
        EXPECT_THROW(guid::guid_t::FromAStr(rubbish), exc::CRuntimeExc) << rubbish;
    }
    guid::guid_t const made = guid::guid_t::CreateNew();
    EXPECT_THAT(made.ToAStr(),
                testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
    EXPECT_NE(made, guid::guid_t::CreateNew());
    EXPECT_TRUE(guid::guid_t().IsNull() && !made.IsNull());
}

TEST(Keys, PasswordAlwaysGivesTheSameKey)
{
    crypto::SRawKeySetId id;
    std::fill(id.m_bytes.begin(), id.m_bytes.end(), static_cast<unsigned char>('s'));
    auto const keySet = crypto::CKeySet::FromPassword("correct horse", id);
    // Computed with Python's hashlib.scrypt.
    EXPECT_EQ(testing::PrintToString(keySet->GetRawKey()),
              testing::PrintToString(crypto::CKeySet::raw_key_t{
                  0xf6, 0x2c, 0xd6, 0xd0, 0x1f, 0x9f, 0x56, 0x73, 0x9f, 0x78, 0xdc, 0xb4, 0x51, 0xd3, 0x8b, 0x48,
                  0xe3, 0x7d, 0x10, 0x72, 0xe1, 0x86, 0xe4, 0xb0, 0xd6, 0x03, 0x35, 0xdd, 0x95, 0xf8, 0xf4, 0xd8}));
    EXPECT_EQ(keySet->GetId().ToLogString(), "73737373737373737373737373737373");
    EXPECT_THROW(crypto::CKeySet::FromPassword("", id), exc::CRuntimeExc);
    EXPECT_THROW(crypto::CKeySet::FromPassword("correct horse", {}), exc::CRuntimeExc);
    EXPECT_THROW(crypto::CKeySet::FromRaw({}, keySet->GetRawKey()), exc::CRuntimeExc);

    crypto::CKeySetCollection keySets;
    auto const random = crypto::CKeySet::Generate();
    keySets.Add(keySet);
    auto const clone = keySets.Clone();
    keySets.Add(random);
    keySets.Add(crypto::CKeySet::FromRaw(id, random->GetRawKey()));
    EXPECT_EQ(keySets.size(), 2U);
    EXPECT_EQ(clone->size(), 1U);
    EXPECT_EQ(clone->Find(id), keySet);
    EXPECT_EQ(keySets.Find(random->GetId().GetRaw()), random);
    EXPECT_EQ(clone->Find(random->GetId().GetRaw()), nullptr);
    EXPECT_THROW(keySets.Add(nullptr), exc::CRuntimeExc);
}

TEST(Text, EncodesEachCharacterAndReadsNothingElse)
{
    std::string text;
    for (char32_t const symbol : {0x0U, 0x7FU, 0x80U, 0x7FFU, 0x800U, 0xD7FFU, 0xE000U, 0xFFFFU, 0x10000U, 0x10FFFFU})
    {
        std::size_t const before = text.size();
        util::AppendUtf8(text, symbol);
        char32_t read = 1;
        EXPECT_EQ(util::Utf8Length(text.substr(before) + "more", &read), text.size() - before);
        EXPECT_EQ(read, symbol);
    }
    EXPECT_EQ(text.substr(2),
              "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    for (char const* const none :
         {"", "\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xE2\x82", "\xE2\x82z", "\xC3"})
    {
        EXPECT_EQ(util::Utf8Length(none), 0U) << none;
    }
}

TEST(Certificate, GoesFromTextToTextUnchanged)
{
    std::string const pem = R"(-----BEGIN CERTIFICATE-----
MIIBbzCCARWgAwIBAgIUW6PbVC5Uu1Gwz4ot0rsrU+tZVIQwCgYIKoZIzj0EAwIw
DDEKMAgGA1UEAwwBdDAgFw0yNjExMjIyMjM5NTJaGA8yMTI2MTAyOTIyMzk1Mlow
DDEKMAgGA1UEAwwBdDBZMBMGByqGSM49AgEGCCqGSM49AwEHA0IABPoC/7eiDGW6
TIted3fstXNgA9LDfAtrLzDukhtmYSKE2nFynihWciRReYmRt/QKlJGaccLBlNp/
CPKmL9/M/2yjUzBRMB0GA1UdDgQWBBQGVJAxen+p1TKm22Oxu+B9wcf8dTAfBgNV
HSMEGDAWgBQGVJAxen+p1TKm22Oxu+B9wcf8dTAPBgNVHRMBAf8EBTADAQH/MAoG
CCqGSM49BAMCA0gAMEUCIEDE2gjeAknnryjTtvEgKXgHfxCQx/LegDXMMxuGbKdp
AiEA8FmOXlgtD9w1VRgCaE+lioGoaYWX+w9PgzZ0HTCJyX4=
-----END CERTIFICATE-----
)";
    using sockets::ssl::CX509CertBlob;
    CX509CertBlob const blob = CX509CertBlob::FromPemString("some words first\n" + pem + "and after");
    EXPECT_EQ(blob.ToPemString(), pem);
    EXPECT_EQ(blob, CX509CertBlob::FromPemString(pem));
    for (std::string const& rubbish : {std::string(), pem.substr(0, 100), std::string(pem).replace(100, 1, "!")})
    {
        EXPECT_THROW(CX509CertBlob::FromPemString(rubbish), exc::CRuntimeExc);
    }
    EXPECT_THROW(CX509CertBlob().ToPemString(), exc::CRuntimeExc);
}

TEST(Options, EmptyAddressRestoresTheDefault)
{
    options_t& options = options_t::GetInst();
    std::string const before = options.GetInstanceMetadataEndpoint();
    options.SetInstanceMetadataEndpoint("http://127.0.0.1:1");
    EXPECT_EQ(options.GetInstanceMetadataEndpoint(), "http://127.0.0.1:1");
    options.SetInstanceMetadataEndpoint("");
    EXPECT_EQ(options.GetInstanceMetadataEndpoint(), before);
    EXPECT_EQ(options.GetGoogleStorageHost(), "storage.googleapis.com");
}
