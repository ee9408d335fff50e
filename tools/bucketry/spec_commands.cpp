// SPDX-License-Identifier: Apache-2.0
#include "cli.h"
#include "password.h"
#include "spec.h"
#include "text.h"

#include "bucketry/base/options.h"

#include <memory>

namespace bucketry::tool
{

namespace
{

struct SSpecOptions
{
    std::string m_file;
    std::string m_endpoint;
    std::string m_region;
    std::string m_bucket;
    std::string m_arn;
    std::string m_accessKey;
    std::string m_role;
    std::string m_storageClass;
    bool m_isVirtualHosted = false;
    bool m_locksObjects = false;
    bool m_isGoogle = false;
};

void AskFor(std::string& value, std::string const& prompt)
{
    if (value.empty())
    {
        value = AskLine(prompt);
    }
}

s3::SS3BucketAddr AddressOf(SSpecOptions options)
{
    s3::SS3BucketAddr address;
    address.ARN = options.m_arn;
    if (options.m_isGoogle)
    {
        options.m_endpoint =
            options.m_endpoint.empty() ? "https://" + options_t::GetInst().GetGoogleStorageHost() : options.m_endpoint;
        options.m_region = options.m_region.empty() ? "auto" : options.m_region;
    }
    if (options.m_arn.empty())
    {
        AskFor(options.m_endpoint, "Endpoint, as https://s3.eu-central-1.amazonaws.com: ");
        AskFor(options.m_region, "Region: ");
        AskFor(options.m_bucket, "Bucket: ");
        address.ApiEndpoint = options.m_endpoint;
        address.Region = options.m_region;
        address.BucketName = options.m_bucket;
    }
    return address;
}

s3::SS3Credentials CredentialsOf(SSpecOptions options)
{
    s3::SS3Credentials credentials;
    if (!options.m_role.empty())
    {
        credentials.RoleAuth = s3::SS3RoleAuth{options.m_role, {}};
        return credentials;
    }
    AskFor(options.m_accessKey, "Access key id: ");
    CSecret secret;
    AskPassword("Secret access key: ", secret);
    credentials.Keys = s3::SS3CredentialsKeys{options.m_accessKey, secret.Text(), {}};
    return credentials;
}

int NewSpec(CHost& host, SSpecOptions const& options)
{
    if (options.m_isGoogle && (!options.m_arn.empty() || !options.m_role.empty()))
    {
        throw CUsageError("Google Cloud Storage takes a bucket and the HMAC keys of an account: no --arn, no --role.");
    }
    s3::SS3ClientConnSpec spec;
    spec.BucketAddr = AddressOf(options);
    spec.Credentials = CredentialsOf(options);
    spec.Options.UseVirtualHostedStyle = options.m_isVirtualHosted;
    spec.Options.ObjectLockEnabledOnBucket = options.m_locksObjects;
    if (!options.m_storageClass.empty())
    {
        bool const isShort = options.m_isGoogle && !options.m_storageClass.starts_with("GCS_");
        spec.Options.StorageClass =
            s3wire::s3::CObjectStorageClass::FromString((isShort ? "GCS_" : "") + options.m_storageClass);
    }
    s3::SS3ClientConnSpec::Deserialize(spec.Serialize()); // what could not be read back is not written
    WriteNewSpec(spec, options.m_file);
    host.Output().Result("", CJsonObject().Add("file", options.m_file).Add("connection", spec.ToLogStr()));
    return ExitOk;
}

/// Reads the specification, then asks the store for its time and for a listing.
int CheckSpec(CHost& host, SSpecOptions const& options)
{
    std::string const connection = LoadSpec(options.m_file).ToLogStr();
    std::shared_ptr<ICloudClient> const client = OpenStore(options.m_file);
    client->GetServerTime();
    client->QueryFolder("bucketry-spec-check");
    std::string const container = client->GetCloudContainerName();
    host.Output().Result(util::str_format("%1\nThe store answers; bucket [%2].\n", connection, container),
                         CJsonObject().Add("connection", connection).Add("bucket", container));
    return ExitOk;
}

} // namespace

void AddSpecCommands(CCli& cli)
{
    auto const options = std::make_shared<SSpecOptions>();
    CCommand spec = cli.AddGroup("spec", "Write and try connection specifications of stores");
    CCommand make = spec.AddPart("new",
                                 "Write a specification to a new file that only its owner can read; asks for "
                                 "what is not given",
                                 [options](CHost& host) { return NewSpec(host, *options); });
    make.AddOption("FILE", options->m_file, "The file to write").Required();
    make.AddOption("--endpoint", options->m_endpoint, "The URL of the service").Takes("URL");
    make.AddOption("--region", options->m_region, "The region that requests are signed for").Takes("NAME");
    make.AddOption("--bucket", options->m_bucket, "The bucket").Takes("NAME");
    make.AddOption("--arn", options->m_arn, "An access point, instead of endpoint, region and bucket");
    make.AddOption("--access-key", options->m_accessKey, "The access key id; the secret key is always asked for")
        .Takes("ID");
    make.AddOption("--role", options->m_role, "A role of this instance, instead of keys").Takes("NAME");
    make.AddOption("--storage-class", options->m_storageClass, "The class of new objects, as STANDARD_IA")
        .Takes("CLASS");
    make.AddFlag("--google", options->m_isGoogle,
                 "A bucket of Google Cloud Storage, with HMAC keys; its classes are STANDARD, NEARLINE, COLDLINE and "
                 "ARCHIVE");
    make.AddFlag("--virtual-hosted", options->m_isVirtualHosted, "The bucket stands in the host name");
    make.AddFlag("--object-lock", options->m_locksObjects, "The bucket keeps versions and can lock them");
    make.SetFooter("The file holds the secret key in the clear.");

    CCommand check = spec.AddPart("check", "Read a specification and try its store",
                                  [options](CHost& host) { return CheckSpec(host, *options); });
    check.AddOption("FILE", options->m_file, "The specification").Required();
}

} // namespace bucketry::tool
