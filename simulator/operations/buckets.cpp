// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "protocol/text.h"
#include "protocol/xml.h"

#include <algorithm>

namespace bucketry::simulator
{

namespace
{

bool IsBucketName(std::string const& name)
{
    auto const isPlain = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); };
    auto const isAllowed = [&](char c) { return isPlain(c) || c == '-' || c == '.'; };
    return name.size() >= 3 && name.size() <= 63 && std::all_of(name.begin(), name.end(), isAllowed) &&
        isPlain(name.front()) && isPlain(name.back()) && name.find("..") == std::string::npos;
}

std::string ReadLocationConstraint(SCall const& call)
{
    if (call.m_request.m_body.empty())
    {
        return call.m_options.m_region;
    }
    CXmlReader const body(call.m_request.m_body, "CreateBucketConfiguration");
    std::string const region = body.Root().TextOf("LocationConstraint").value_or("");
    return region.empty() ? call.m_options.m_region : region == "EU" ? "eu-west-1" : region;
}

SResponse XmlResponse(CXmlWriter& xml)
{
    SResponse response;
    response.SetXml(xml.Finish());
    return response;
}

void ReadDefaultRetention(CXmlReader::CElement const& rule, SBucket& bucket)
{
    auto const retention = rule.Child("DefaultRetention");
    std::string const mode = retention.Demand("Mode");
    bool const inYears = retention.TextOf("Years").has_value();
    auto const amount = retention.DemandNumber(inYears ? "Years" : "Days");
    if ((mode != "GOVERNANCE" && mode != "COMPLIANCE") || (inYears && retention.TextOf("Days")))
    {
        throw MalformedXml();
    }
    if (amount == 0 || amount > (inYears ? 100u : 36500u))
    {
        throw CStoreError(400, "InvalidArgument", "Default retention period must be a positive integer value.");
    }
    bucket.m_defaultCompliance = mode == "COMPLIANCE";
    bucket.m_defaultDays = static_cast<unsigned>(amount) * (inYears ? 365 : 1);
}

} // namespace

SResponse ListBuckets(SCall& call)
{
    CXmlWriter xml("ListAllMyBucketsResult", call.m_traits.m_xmlNamespace);
    xml.Open("Owner").Text("ID", call.m_options.m_accountId).Text("DisplayName", "owner").Close();
    xml.Open("Buckets");
    for (auto const& [name, bucket] : call.m_store.Buckets())
    {
        xml.Open("Bucket").Text("Name", name).Text("CreationDate", IsoTime(bucket.m_created)).Close();
    }
    return XmlResponse(xml);
}

SResponse CreateBucket(SCall& call)
{
    std::string const& name = call.m_route.m_bucket;
    if (!IsBucketName(name))
    {
        throw CStoreError(400, "InvalidBucketName", "The specified bucket is not valid.").With("BucketName", name);
    }
    std::string const region = ReadLocationConstraint(call);
    SResponse response;
    response.Add("Location", "/" + name);
    if (call.m_store.FindBucket(name) != nullptr)
    {
        if (call.m_traits.m_creatingTwiceIsFine)
        {
            return response;
        }
        throw CStoreError(409, "BucketAlreadyOwnedByYou",
                          "Your previous request to create the named bucket succeeded "
                          "and you already own it.")
            .With("BucketName", name);
    }
    SBucket& bucket = call.m_store.AddBucket(name);
    bucket.m_region = region;
    bucket.m_created = call.m_now;
    bucket.m_objectLock = ToLower(call.m_request.Header("x-amz-bucket-object-lock-enabled")) == "true";
    if (bucket.m_objectLock && call.m_traits.m_lockNeedsVersions)
    {
        bucket.m_versioning = EVersioning::Enabled;
    }
    return response;
}

SResponse DeleteBucket(SCall& call)
{
    SBucket const& bucket = call.Bucket();
    if (!bucket.m_objects.empty())
    {
        throw CStoreError(409, "BucketNotEmpty", "The bucket you tried to delete is not empty")
            .With("BucketName", bucket.m_name);
    }
    call.m_store.RemoveBucket(call.m_route.m_bucket);
    return {.m_status = 204};
}

SResponse HeadBucket(SCall& call)
{
    SBucket const& bucket = call.Bucket();
    SResponse response;
    if (call.m_traits.m_namesBucketRegion)
    {
        response.Add("x-amz-bucket-region", bucket.m_region);
    }
    return response;
}

SResponse GetBucketLocation(SCall& call)
{
    std::string const& region = call.Bucket().m_region;
    std::string const text = call.m_traits.m_emptyLocationIsDefault ? "default" : region == "us-east-1" ? "" : region;
    SResponse response;
    response.SetXml("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<LocationConstraint xmlns=\"" +
                    std::string(call.m_traits.m_xmlNamespace) + "\">" + text + "</LocationConstraint>");
    return response;
}

SResponse GetBucketVersioning(SCall& call)
{
    auto const versioning = call.Bucket().m_versioning;
    CXmlWriter xml("VersioningConfiguration", call.m_traits.m_xmlNamespace);
    if (versioning != EVersioning::Off)
    {
        xml.Text("Status", versioning == EVersioning::Enabled ? "Enabled" : "Suspended");
    }
    return XmlResponse(xml);
}

SResponse PutBucketVersioning(SCall& call)
{
    SBucket& bucket = call.Bucket();
    std::string const status = CXmlReader(call.m_request.m_body, "VersioningConfiguration").Root().Demand("Status");
    if (status != "Enabled" && status != "Suspended")
    {
        throw CStoreError(400, "IllegalVersioningConfigurationException", "The Versioning element must be specified");
    }
    if (status == "Suspended" && bucket.m_objectLock && call.m_traits.m_lockNeedsVersions)
    {
        throw CStoreError(409, "InvalidBucketState",
                          "An Object Lock configuration is present on this bucket, so the "
                          "versioning state cannot be changed.");
    }
    bucket.m_versioning = status == "Enabled" ? EVersioning::Enabled : EVersioning::Suspended;
    return {};
}

SResponse GetObjectLockConfiguration(SCall& call)
{
    SBucket const& bucket = call.Bucket();
    if (!bucket.m_objectLock)
    {
        throw CStoreError(404, "ObjectLockConfigurationNotFoundError",
                          "Object Lock configuration does not exist for this bucket")
            .With("BucketName", bucket.m_name);
    }
    CXmlWriter xml("ObjectLockConfiguration", call.m_traits.m_xmlNamespace);
    xml.Text("ObjectLockEnabled", "Enabled");
    if (bucket.m_defaultDays)
    {
        xml.Open("Rule")
            .Open("DefaultRetention")
            .Text("Mode", bucket.m_defaultCompliance ? "COMPLIANCE" : "GOVERNANCE")
            .Number("Days", *bucket.m_defaultDays);
    }
    return XmlResponse(xml);
}

SResponse PutObjectLockConfiguration(SCall& call)
{
    SBucket& bucket = call.Bucket();
    DemandIntegrity(call, "Missing required header for this request: Content-MD5 OR x-amz-checksum-*");
    CXmlReader const body(call.m_request.m_body, "ObjectLockConfiguration");
    if (bucket.m_versioning != EVersioning::Enabled)
    {
        throw CStoreError(409, "InvalidBucketState",
                          "Versioning must be 'Enabled' on the bucket to apply a Object Lock configuration");
    }
    bucket.m_defaultDays.reset();
    if (auto const rule = body.Root().Child("Rule"))
    {
        ReadDefaultRetention(rule, bucket);
    }
    bucket.m_objectLock = true;
    return {};
}

} // namespace bucketry::simulator
