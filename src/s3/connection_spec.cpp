// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/connection_spec.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/logging.h"
#include "bucketry/base/options.h"
#include "bucketry/base/text.h"
#include "s3wire/codec/arn.h"

namespace bucketry::s3
{

namespace
{

using xml::xml_holder_t;

constexpr char const* AddressNode = "BucketAddr";
constexpr char const* ClientIdAttribute = "AmazonS3RestClientId";

/// An attribute that may be missing.
std::string TextOf(xml_holder_t const& element, char const* name)
{
    std::string text;
    xml::TiXmlGetStrAttrSafe(element, name, text);
    return text;
}

void SetIfGiven(xml_holder_t& element, char const* name, std::string const& text)
{
    if (!text.empty())
    {
        xml::TiXmlSetStrAttr(element, name, text);
    }
}

std::optional<SS3ProxyConfig> ReadProxy(xml_holder_t const& address)
{
    xml_holder_t const proxy = xml::TiXmlGetChildSafe(address, "Proxy");
    if (proxy.IsInvalid())
    {
        return std::nullopt;
    }
    return SS3ProxyConfig{xml::TiXmlGetStrAttrExc(proxy, "Endpoint"), TextOf(proxy, "UserName"),
                          TextOf(proxy, "Password")};
}

void WriteProxy(xml_holder_t& address, SS3ProxyConfig const& config)
{
    xml_holder_t proxy = xml::TiXmlCreateChild(address, "Proxy");
    xml::TiXmlSetStrAttr(proxy, "Endpoint", config.Endpoint);
    if (!config.UserName.empty())
    {
        xml::TiXmlSetStrAttr(proxy, "UserName", config.UserName);
        xml::TiXmlSetStrAttr(proxy, "Password", config.Password);
    }
}

/// Runs a reading step; a failure is logged, and gives what a step that finds nothing gives.
template <class TRead>
auto ReadOrLog(TRead const& read) -> decltype(read())
{
    try
    {
        return read();
    }
    catch (std::exception const& error)
    {
        s3wire_log.info("Could not deserialize s3 client connection spec from string: %1", error.what());
        return {};
    }
}

} // namespace

// ---- Address
// ---------------------------------------------------------------------------------------------------------

void SS3BucketAddr::Serialize(xml_holder_t& parent) const
{
    xml_holder_t address = xml::TiXmlCreateChild(parent, AddressNode);
    if (!ARN.empty())
    {
        xml::TiXmlSetStrAttr(address, "ARN", ARN);
    }
    else
    {
        xml::TiXmlSetStrAttr(address, "ApiEndpoint", ApiEndpoint);
        xml::TiXmlSetStrAttr(address, "Region", Region);
        xml::TiXmlSetStrAttr(address, "BucketName", BucketName);
    }
    if (ServerCertificate)
    {
        xml::TiXmlSetStrAttr(address, "ServerCertificate", ServerCertificate->ToPemString());
    }
    if (Proxy)
    {
        WriteProxy(address, *Proxy);
    }
}

SS3BucketAddr SS3BucketAddr::Deserialize(xml_holder_t& parent)
{
    xml_holder_t const element = xml::TiXmlGetChildExc(parent, AddressNode);
    SS3BucketAddr address;
    if (xml::TiXmlGetStrAttrSafe(element, "ARN", address.ARN))
    {
        s3wire::CS3Arn const arn(address.ARN);
        arn.CheckIsValidS3ArnExc();
        address.Region = arn.m_region;
    }
    else
    {
        address.ApiEndpoint = xml::TiXmlGetStrAttrExc(element, "ApiEndpoint");
        address.Region = xml::TiXmlGetStrAttrExc(element, "Region");
        address.BucketName = xml::TiXmlGetStrAttrExc(element, "BucketName");
    }
    address.Proxy = ReadProxy(element);
    if (std::string pem; xml::TiXmlGetStrAttrSafe(element, "ServerCertificate", pem))
    {
        address.ServerCertificate = sockets::ssl::CX509CertBlob::FromPemString(pem);
    }
    return address;
}

std::optional<SS3BucketClient> SS3BucketClient::TryDeserialize(xml_holder_t& parent)
{
    xml_holder_t const address = xml::TiXmlGetChildSafe(parent, AddressNode);
    std::string id;
    if (address.IsInvalid() || !xml::TiXmlGetStrAttrSafe(address, ClientIdAttribute, id))
    {
        return std::nullopt;
    }
    SS3BucketClient client;
    client.ClientId = guid::guid_t::FromAStr(id);
    client.BucketName = xml::TiXmlGetStrAttrExc(address, "BucketName");
    return client;
}

SS3BucketAddr SS3BucketClient::ToBucketAddr() const
{
    SS3BucketAddr address;
    address.BucketName = BucketName;
    return address;
}

// ---- Credentials
// -----------------------------------------------------------------------------------------------------

void SS3Credentials::Serialize(xml_holder_t& parent) const
{
    if (CreationTimeUtc)
    {
        xml::TiXmlSetUInt64Attr(parent, "CreationTimeUtc", *CreationTimeUtc);
    }
    if (ClientId)
    {
        xml_holder_t address = xml::TiXmlGetChildSafe(parent, AddressNode);
        if (address.IsInvalid())
        {
            address = xml::TiXmlCreateChild(parent, AddressNode);
        }
        xml::TiXmlSetStrAttr(address, ClientIdAttribute, ClientId->ToAStr());
    }
    if (Keys)
    {
        xml_holder_t keys = xml::TiXmlCreateChild(parent, "Credentials");
        xml::TiXmlSetStrAttr(keys, "AccessKeyId", Keys->AccessKeyId);
        xml::TiXmlSetStrAttr(keys, "SecretAccessKey", Keys->SecretAccessKey);
        SetIfGiven(keys, "SessionToken", Keys->SessionToken);
    }
    if (RoleAuth)
    {
        xml_holder_t role = xml::TiXmlCreateChild(parent, "RoleAuth");
        xml::TiXmlSetStrAttr(role, "RoleName", RoleAuth->RoleName);
        SetIfGiven(role, "MetadataHost", RoleAuth->MetadataHost);
    }
}

SS3Credentials SS3Credentials::Deserialize(xml_holder_t& parent)
{
    SS3Credentials credentials;
    if (xml_holder_t const keys = xml::TiXmlGetChildSafe(parent, "Credentials"); !keys.IsInvalid())
    {
        credentials.Keys =
            SS3CredentialsKeys{xml::TiXmlGetStrAttrExc(keys, "AccessKeyId"),
                               xml::TiXmlGetStrAttrExc(keys, "SecretAccessKey"), TextOf(keys, "SessionToken")};
    }
    if (xml_holder_t const role = xml::TiXmlGetChildSafe(parent, "RoleAuth"); !role.IsInvalid())
    {
        std::string const host = TextOf(role, "MetadataHost");
        credentials.RoleAuth = SS3RoleAuth{xml::TiXmlGetStrAttrExc(role, "RoleName"),
                                           host.empty() ? options_t::GetInst().GetInstanceMetadataEndpoint() : host};
    }
    if (!credentials.Keys && !credentials.RoleAuth)
    {
        throw exc::CRuntimeExc(
            "Either <Credentials> or <RoleAuth> node or <AmazonS3RestClientId> attr should be provided");
    }
    if (std::uint64_t time = 0; xml::TiXmlGetUInt64AttrSafe(parent, "CreationTimeUtc", time))
    {
        credentials.CreationTimeUtc = time;
    }
    return credentials;
}

SS3Credentials SS3Credentials::DeserializeFromS3Spec(std::string const& text)
{
    xml_holder_t root = xml::TiXmlParseExc(text, SS3ClientConnSpec::GetRootNodeName());
    return Deserialize(root);
}

// ---- Options
// ---------------------------------------------------------------------------------------------------------

SS3Options::SS3Options() : UseVirtualHostedStyle(options_t::GetInst().IsS3VirtualHostedStyleEnabled()) {}

SS3Options SS3Options::WithStorageClass(s3wire::s3::CObjectStorageClass const& storageClass) const
{
    SS3Options options = *this;
    options.StorageClass = storageClass;
    return options;
}

void SS3Options::Serialize(xml_holder_t& parent) const
{
    xml_holder_t element = xml::TiXmlCreateChild(parent, "Options");
    xml::TiXmlSetBoolAttr(element, "UseVirtualHostedStyle", UseVirtualHostedStyle);
    xml::TiXmlSetBoolAttr(element, "ObjectLockEnabledOnBucket", ObjectLockEnabledOnBucket);
    if (!StorageClass.Is(s3wire::s3::EObjectStorageClass::Default))
    {
        xml::TiXmlSetStrAttr(element, "StorageClass", StorageClass.ToString());
    }
}

SS3Options SS3Options::Deserialize(xml_holder_t& parent)
{
    SS3Options options;
    xml_holder_t const element = xml::TiXmlGetChildSafe(parent, "Options");
    if (!element.IsInvalid())
    {
        xml::TiXmlGetBoolAttrSafe(element, "UseVirtualHostedStyle", options.UseVirtualHostedStyle);
        xml::TiXmlGetBoolAttrSafe(element, "ObjectLockEnabledOnBucket", options.ObjectLockEnabledOnBucket);
        if (std::string text; xml::TiXmlGetStrAttrSafe(element, "StorageClass", text))
        {
            options.StorageClass = s3wire::s3::CObjectStorageClass::FromString(text);
        }
    }
    return options;
}

std::string SS3BatchParams::GetRootNodeName()
{
    return "BatchParams";
}

void SS3BatchParams::Serialize(xml_holder_t& parent) const
{
    xml_holder_t element = xml::TiXmlCreateChild(parent, GetRootNodeName());
    xml::TiXmlSetStrAttr(element, "ControlApiEndpoint", ControlApiEndpoint);
    xml::TiXmlSetStrAttr(element, "AccountId", AccountId);
}

std::optional<SS3BatchParams> SS3BatchParams::TryDeserialize(xml_holder_t& parent)
{
    xml_holder_t const element = xml::TiXmlGetChildSafe(parent, GetRootNodeName());
    if (element.IsInvalid())
    {
        return std::nullopt;
    }
    return SS3BatchParams{xml::TiXmlGetStrAttrExc(element, "ControlApiEndpoint"),
                          xml::TiXmlGetStrAttrExc(element, "AccountId")};
}

// ---- Specification
// ---------------------------------------------------------------------------------------------------

std::string SS3ClientConnSpec::GetRootNodeName()
{
    return "S3ConnSpec";
}

std::string SS3ClientConnSpec::Serialize() const
{
    xml_holder_t root = xml::TiXmlCreateDoc(GetRootNodeName());
    Serialize(root);
    return xml::TiXmlSerialize(root);
}

void SS3ClientConnSpec::Serialize(xml_holder_t& root) const
{
    BucketAddr.Serialize(root);
    Credentials.Serialize(root);
    Options.Serialize(root);
    if (BatchParams)
    {
        BatchParams->Serialize(root);
    }
}

SS3ClientConnSpec SS3ClientConnSpec::Deserialize(std::string const& text)
{
    xml_holder_t root = xml::TiXmlParseExc(text, GetRootNodeName());
    return Deserialize(root);
}

SS3ClientConnSpec SS3ClientConnSpec::Deserialize(xml_holder_t& root)
{
    SS3ClientConnSpec spec;
    if (auto const client = SS3BucketClient::TryDeserialize(root))
    {
        spec.BucketAddr = client->ToBucketAddr();
        spec.Options = SS3Options::Deserialize(root);
        spec.FolderName = TryDeserializeFolderName(root);
        spec.BatchParams = SS3BatchParams::TryDeserialize(root);
        RetrieveCredentialsByClientId(client->ClientId, spec);
        return spec;
    }
    spec.BucketAddr = SS3BucketAddr::Deserialize(root);
    spec.Credentials = SS3Credentials::Deserialize(root);
    spec.Options = SS3Options::Deserialize(root);
    spec.FolderName = TryDeserializeFolderName(root);
    spec.BatchParams = SS3BatchParams::TryDeserialize(root);
    return spec;
}

std::optional<SS3ClientConnSpec> SS3ClientConnSpec::TryDeserialize(std::string const& text)
{
    return ReadOrLog(
        [&text]() -> std::optional<SS3ClientConnSpec>
        {
            xml_holder_t root = xml::TiXmlParseSafe(text, GetRootNodeName());
            return root.IsInvalid() ? std::nullopt : std::optional(Deserialize(root));
        });
}

std::string SS3ClientConnSpec::TryDeserializeFolderName(xml_holder_t& root)
{
    xml_holder_t const repository = xml::TiXmlGetChildSafe(root, "Repository");
    return repository.IsInvalid() ? std::string() : TextOf(repository, "FolderName");
}

bool SS3ClientConnSpec::IsDeserializable(std::string const& text)
{
    return text.find(GetRootNodeName()) != std::string::npos &&
        ReadOrLog([&text] { return !xml::TiXmlParseSafe(text, GetRootNodeName()).IsInvalid(); });
}

std::string SS3ClientConnSpec::ToLogStr() const
{
    std::string text = !BucketAddr.ARN.empty()
        ? util::str_format("ARN string: '%1'", BucketAddr.ARN)
        : util::str_format("region: %1, bucket: %2", BucketAddr.Region, BucketAddr.BucketName);
    if (Credentials.ClientId)
    {
        text += util::str_format(", clientId: %1", Credentials.ClientId->ToAStr());
    }
    constexpr std::size_t shown = 4;
    if (!Credentials.Keys)
    {
        text += ", no keys";
    }
    else if (std::string const& id = Credentials.Keys->AccessKeyId; id.size() >= shown)
    {
        text += util::str_format(", accessKeyId: ****%1", id.substr(id.size() - shown));
    }
    return util::str_format("S3 client connection: [%1]", text);
}

} // namespace bucketry::s3
