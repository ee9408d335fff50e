// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/options.h"
#include "bucketry/s3.h"
#include "s3wire/context.h"
#include "support/certificates.h"
#include "support/expect_failure.h"
#include "support/log_capture.h"

namespace bucketry::s3
{
namespace
{

using testing::CLogCapture;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char const* Arn = "arn:aws:s3:eu-west-1:123456789012:accesspoint/backup";

std::string Root(std::string const& inside)
{
    return "<S3ConnSpec>" + inside + "</S3ConnSpec>";
}

std::string const Address = R"(<BucketAddr ApiEndpoint="http://h" Region="r" BucketName="b"/>)";
std::string const KeysOfSpec = R"(<Credentials AccessKeyId="AKID" SecretAccessKey="hidden"/>)";

SS3ClientConnSpec FullSpec()
{
    SS3ClientConnSpec spec;
    spec.BucketAddr.ApiEndpoint = "https://store:9000";
    spec.BucketAddr.Region = "eu-west-1";
    spec.BucketAddr.BucketName = "backup";
    spec.BucketAddr.Proxy = SS3ProxyConfig{"http://proxy", "joe", "a<&\"b"};
    spec.Credentials.Keys = SS3CredentialsKeys{"AKID", "hidden", "token"};
    spec.Credentials.RoleAuth = SS3RoleAuth{"role", "http://meta"};
    spec.Credentials.CreationTimeUtc = 1'700'000'000;
    spec.Options.StorageClass = s3wire::s3::EAmazonS3StorageClass::StandardIA;
    spec.Options.UseVirtualHostedStyle = true;
    spec.BatchParams = SS3BatchParams{"https://control", "123456789012"};
    return spec;
}

TEST(ConnectionSpec, TextHasAPlaceForEverythingAndReadsBackTheSame)
{
    std::string const text = FullSpec().Serialize();
    EXPECT_THAT(
        text,
        HasSubstr(
            R"(<S3ConnSpec CreationTimeUtc="1700000000"><BucketAddr ApiEndpoint="https://store:9000" Region="eu-west-1" BucketName="backup"><Proxy Endpoint="http://proxy" UserName="joe" Password="a&lt;&amp;&quot;b"/></BucketAddr><Credentials AccessKeyId="AKID" SecretAccessKey="hidden" SessionToken="token"/><RoleAuth RoleName="role" MetadataHost="http://meta"/><Options UseVirtualHostedStyle="true" ObjectLockEnabledOnBucket="false" StorageClass="STANDARD_IA"/><BatchParams ControlApiEndpoint="https://control" AccountId="123456789012"/></S3ConnSpec>)"));
    EXPECT_EQ(SS3ClientConnSpec::Deserialize(text).Serialize(), text);

    SS3ClientConnSpec spec;
    spec.BucketAddr.ARN = Arn;
    spec.BucketAddr.Region = "set by hand";
    spec.BucketAddr.Proxy = SS3ProxyConfig{"http://proxy", "", "lost"};
    auto const pem = testing::CTestAuthority().CertificatePem();
    spec.BucketAddr.ServerCertificate = sockets::ssl::CX509CertBlob::FromPemString(pem);
    spec.Credentials.RoleAuth = SS3RoleAuth{"role", ""};
    spec.FolderName = "not written";
    EXPECT_THAT(spec.Serialize(), Not(HasSubstr("Region")));
    SS3ClientConnSpec const read = SS3ClientConnSpec::Deserialize(spec.Serialize());
    EXPECT_EQ(read.BucketAddr.ARN, Arn);
    EXPECT_EQ(read.BucketAddr.Region, "eu-west-1");
    EXPECT_EQ(read.BucketAddr.Proxy->Password, "");
    EXPECT_TRUE(read.BucketAddr.ServerCertificate == spec.BucketAddr.ServerCertificate);
    EXPECT_EQ(read.Credentials.RoleAuth->MetadataHost, options_t::GetInst().GetInstanceMetadataEndpoint());
    EXPECT_EQ(read.FolderName, "");
    EXPECT_EQ(SS3ClientConnSpec::Deserialize(Root(Address + KeysOfSpec + R"(<Repository FolderName="f"/>)")).FolderName,
              "f");
}

TEST(ConnectionSpec, OptionsThatAreMissingKeepTheirDefaults)
{
    for (bool const isVirtualHosted : {false, true})
    {
        options_t::GetInst().SetS3VirtualHostedStyleEnabled(isVirtualHosted);
        EXPECT_EQ(SS3ClientConnSpec::Deserialize(Root(Address + KeysOfSpec)).Options.UseVirtualHostedStyle,
                  isVirtualHosted);
        EXPECT_EQ(
            SS3ClientConnSpec::Deserialize(Root(Address + KeysOfSpec + "<Options/>")).Options.UseVirtualHostedStyle,
            isVirtualHosted);
    }
    options_t::GetInst().SetS3VirtualHostedStyleEnabled(false);
}

TEST(ConnectionSpec, RefusesWhatIsNone)
{
    struct SRow
    {
        std::string m_text;
        char const* m_reason; ///< null: another root, which is refused without a line in the log
        bool m_hasRoot;
    };
    for (SRow const& row :
         {SRow{"", "Malformed XML", false}, SRow{"<S3ConnSpec>", "Malformed XML", false},
          SRow{"<Other S3ConnSpec='1'/>", nullptr, false}, SRow{"<S3ConnSpec/>", "BucketAddr", true},
          SRow{Root(R"(<BucketAddr ApiEndpoint="h" Region="r"/>)" + KeysOfSpec), "BucketName", true},
          SRow{Root(R"(<BucketAddr ARN="arn:aws:s3:::bucket"/>)" + KeysOfSpec), "Invalid S3 ARN", true},
          SRow{Root(Address), "Either <Credentials> or <RoleAuth> node or <AmazonS3RestClientId>", true},
          SRow{Root(Address + R"(<Credentials AccessKeyId="a"/>)"), "SecretAccessKey", true},
          SRow{Root(Address + "<RoleAuth/>"), "RoleName", true},
          SRow{Root(Address + KeysOfSpec + R"(<Options StorageClass="COLD"/>)"), "COLD", true},
          SRow{Root(Address + KeysOfSpec + R"(<Options UseVirtualHostedStyle="maybe"/>)"), "maybe", true},
          SRow{Root(Address + KeysOfSpec + R"(<BatchParams AccountId="1"/>)"), "ControlApiEndpoint", true},
          SRow{Root(R"(<BucketAddr ARN=")" + std::string(Arn) + R"(" ServerCertificate="x"/>)" + KeysOfSpec),
               "certificate", true},
          SRow{Root(R"(<BucketAddr BucketName="b" AmazonS3RestClientId="no guid"/>)"), "no guid", true},
          SRow{Root(R"(<BucketAddr BucketName="b" AmazonS3RestClientId="00000000-0000-4000-8000-0000000000aa"/>)"),
               "0000000000aa", true}})
    {
        EXPECT_THROW(SS3ClientConnSpec::Deserialize(row.m_text), exc::CRuntimeExc) << row.m_text;
        CLogCapture const log;
        EXPECT_FALSE(SS3ClientConnSpec::TryDeserialize(row.m_text)) << row.m_text;
        std::size_t const expectedLines = row.m_reason != nullptr ? 1 : 0;
        EXPECT_EQ(log.Lines().size(), expectedLines);
        EXPECT_EQ(log.Count(logging::ELevel::Info, row.m_reason != nullptr ? row.m_reason : ""), expectedLines)
            << row.m_text << (log.Lines().empty() ? "" : log.Lines()[0].m_text);
        EXPECT_EQ(SS3ClientConnSpec::IsDeserializable(row.m_text), row.m_hasRoot) << row.m_text;
    }
}

TEST(ConnectionSpec, ShortFormTakesEverythingElseFromTheCredentialStore)
{
    auto const id = guid::guid_t::CreateNew();
    SS3ClientConnSpec const full = FullSpec();
    SS3ClientConnSpec shortSpec;
    shortSpec.BucketAddr.BucketName = "b";
    shortSpec.Credentials = CS3CloudClient::StoreCredentials(id, full.BucketAddr, full.Credentials, true);
    EXPECT_FALSE(shortSpec.Credentials.Keys);
    std::string text = shortSpec.Serialize();
    EXPECT_THROW(SS3Credentials::DeserializeFromS3Spec(text), exc::CRuntimeExc);
    text.replace(text.find("<Options"), 0, KeysOfSpec); // not looked at

    SS3ClientConnSpec const read = SS3ClientConnSpec::Deserialize(text);
    EXPECT_EQ(read.BucketAddr.BucketName, "b");
    EXPECT_EQ(read.BucketAddr.ApiEndpoint + read.BucketAddr.Region, "https://store:9000eu-west-1");
    EXPECT_EQ(read.BucketAddr.Proxy->Password, full.BucketAddr.Proxy->Password);
    EXPECT_EQ(read.Credentials.Keys->SessionToken, "token");
    EXPECT_EQ(read.Credentials.ClientId, id);
    EXPECT_EQ(read.Credentials.CreationTimeUtc, 1'700'000'000U);
    EXPECT_FALSE(read.Credentials.RoleAuth) << "roles are not stored";
    EXPECT_TRUE(read.Options.UseVirtualHostedStyle);

    SS3BucketAddr address;
    SS3Credentials credentials;
    bool isVirtualHosted = false;
    EXPECT_TRUE(CS3CloudClient::RetrieveCredentials(id, address, credentials, isVirtualHosted));
    EXPECT_TRUE(isVirtualHosted);
    EXPECT_EQ(address.Region + address.Proxy->UserName + credentials.Keys->SecretAccessKey, "eu-west-1joehidden");
    EXPECT_THROW(CS3CloudClient::StoreCredentials(id, address, {}, false), std::bad_optional_access);
    s3wire::s3::CS3WireContext::Instance().RemoveCredentials(id);
    CLogCapture const log;
    EXPECT_FALSE(CS3CloudClient::RetrieveCredentials(id, address, credentials, isVirtualHosted));
    EXPECT_EQ(log.Count(logging::ELevel::Error, "Cannot find Amazon S3 credentials for clientId [" + id.ToAStr() + "]"),
              1U);
}

TEST(ConnectionSpec, LogLineShowsNoSecret)
{
    SS3ClientConnSpec spec = FullSpec();
    EXPECT_EQ(spec.ToLogStr(), "S3 client connection: [region: eu-west-1, bucket: backup, accessKeyId: ****AKID]");
    spec.Credentials.Keys->AccessKeyId = "AKI";
    EXPECT_EQ(spec.ToLogStr(), "S3 client connection: [region: eu-west-1, bucket: backup]");
    spec.BucketAddr.ARN = Arn;
    spec.Credentials.Keys.reset();
    spec.Credentials.ClientId = guid::guid_t::FromAStr("00000000-0000-4000-8000-0000000000aa");
    EXPECT_EQ(spec.ToLogStr(),
              "S3 client connection: [ARN string: '" + std::string(Arn) +
                  "', clientId: 00000000-0000-4000-8000-0000000000aa, no keys]");
}

} // namespace
} // namespace bucketry::s3
