#include "cli.h"
#include "password.h"
#include "spec.h"
#include "text.h"

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
    s3::SS3ClientConnSpec spec;
    spec.BucketAddr = AddressOf(options);
    spec.Credentials = CredentialsOf(options);
    spec.Options.UseVirtualHostedStyle = options.m_isVirtualHosted;
    spec.Options.ObjectLockEnabledOnBucket = options.m_locksObjects;
    if (!options.m_storageClass.empty())
    {
        spec.Options.StorageClass = s3wire::s3::CObjectStorageClass::FromString(options.m_storageClass);
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
    auto const make = std::make_shared<CLI::App*>();
    CLI::App& spec = cli.AddCommand("spec", "Write and try connection specifications of stores",
                                    [options, make](CHost& host)
                                    {
                                        bool const isNew = (*make)->parsed();
                                        return isNew ? NewSpec(host, *options) : CheckSpec(host, *options);
                                    });
    spec.require_subcommand(1);
    *make = spec.add_subcommand("new",
                                "Write a specification to a new file that only its owner can read; asks for "
                                "what is not given");
    CLI::App& app = **make;
    app.add_option("FILE", options->m_file, "The file to write")->required();
    app.add_option("--endpoint", options->m_endpoint, "The URL of the service")->type_name("URL");
    app.add_option("--region", options->m_region, "The region that requests are signed for")->type_name("NAME");
    app.add_option("--bucket", options->m_bucket, "The bucket")->type_name("NAME");
    app.add_option("--arn", options->m_arn, "An access point, instead of endpoint, region and bucket");
    app.add_option("--access-key", options->m_accessKey, "The access key id; the secret key is always asked for")
        ->type_name("ID");
    app.add_option("--role", options->m_role, "A role of this instance, instead of keys")->type_name("NAME");
    app.add_option("--storage-class", options->m_storageClass, "The class of new objects, as STANDARD_IA")
        ->type_name("CLASS");
    app.add_flag("--virtual-hosted", options->m_isVirtualHosted, "The bucket stands in the host name");
    app.add_flag("--object-lock", options->m_locksObjects, "The bucket keeps versions and can lock them");
    app.footer("The file holds the secret key in the clear.");

    CLI::App& check = *spec.add_subcommand("check", "Read a specification and try its store");
    check.add_option("FILE", options->m_file, "The specification")->required();
}

} // namespace bucketry::tool
