// SPDX-License-Identifier: Apache-2.0
#include "protocol/route.h"

#include "protocol/text.h"

#include <algorithm>

namespace bucketry::simulator
{

namespace
{

constexpr std::size_t MaxKeySize = 1024;

enum class ELevel
{
    Service,
    Bucket,
    Object
};

struct SRow
{
    std::string_view m_method;
    ELevel m_level;
    std::string_view m_subresource; ///< query parameter that must be there
    std::string_view m_header;      ///< header that must be there
    std::string_view m_operation;
};

/// The first row that fits names the operation.
constexpr SRow Rows[] = {
    {"GET", ELevel::Service, "", "", "ListBuckets"},
    {"GET", ELevel::Bucket, "location", "", "GetBucketLocation"},
    {"GET", ELevel::Bucket, "versioning", "", "GetBucketVersioning"},
    {"PUT", ELevel::Bucket, "versioning", "", "PutBucketVersioning"},
    {"GET", ELevel::Bucket, "object-lock", "", "GetObjectLockConfiguration"},
    {"PUT", ELevel::Bucket, "object-lock", "", "PutObjectLockConfiguration"},
    {"GET", ELevel::Bucket, "versions", "", "ListObjectVersions"},
    {"GET", ELevel::Bucket, "uploads", "", "ListMultipartUploads"},
    {"GET", ELevel::Bucket, "list-type", "", "ListObjectsV2"},
    {"GET", ELevel::Bucket, "", "", "ListObjects"},
    {"HEAD", ELevel::Bucket, "", "", "HeadBucket"},
    {"PUT", ELevel::Bucket, "", "", "CreateBucket"},
    {"DELETE", ELevel::Bucket, "", "", "DeleteBucket"},
    {"POST", ELevel::Bucket, "delete", "", "DeleteObjects"},
    {"GET", ELevel::Object, "uploadId", "", "ListParts"},
    {"GET", ELevel::Object, "retention", "", "GetObjectRetention"},
    {"GET", ELevel::Object, "legal-hold", "", "GetObjectLegalHold"},
    {"GET", ELevel::Object, "", "", "GetObject"},
    {"HEAD", ELevel::Object, "", "", "HeadObject"},
    {"PUT", ELevel::Object, "uploadId", "x-amz-copy-source", "UploadPartCopy"},
    {"PUT", ELevel::Object, "uploadId", "", "UploadPart"},
    {"PUT", ELevel::Object, "retention", "", "PutObjectRetention"},
    {"PUT", ELevel::Object, "legal-hold", "", "PutObjectLegalHold"},
    {"PUT", ELevel::Object, "", "x-amz-copy-source", "CopyObject"},
    {"PUT", ELevel::Object, "", "", "PutObject"},
    {"POST", ELevel::Object, "uploads", "", "CreateMultipartUpload"},
    {"POST", ELevel::Object, "uploadId", "", "CompleteMultipartUpload"},
    {"POST", ELevel::Object, "restore", "", "RestoreObject"},
    {"DELETE", ELevel::Object, "uploadId", "", "AbortMultipartUpload"},
    {"DELETE", ELevel::Object, "", "", "DeleteObject"},
};

/// Sub-resources of S3 that this store doesn't have.
constexpr std::string_view MissingSubresources[] = {
    "accelerate",        "acl",          "analytics",           "attributes", "cors",
    "encryption",        "inventory",    "intelligent-tiering", "lifecycle",  "logging",
    "metrics",           "notification", "ownershipControls",   "policy",     "policyStatus",
    "publicAccessBlock", "replication",  "requestPayment",      "select",     "tagging",
    "torrent",           "website"};

std::string HostName(SRequest const& request)
{
    std::string const host = ToLower(request.Header("host"));
    if (host.starts_with('['))
    {
        return host.substr(0, host.find(']') + 1);
    }
    return host.substr(0, host.find(':'));
}

/// The labels before the part of the host that is the service's own; empty for path style.
std::string HostPrefix(std::string const& host, SHosts const& hosts)
{
    auto const before = [&](std::size_t end) { return host.substr(0, end); };
    for (auto const& name : hosts.m_names)
    {
        if (host == name)
        {
            return {};
        }
        if (host.ends_with("." + name))
        {
            return before(host.size() - name.size() - 1);
        }
    }
    if (host.find(".amazonaws.com") == std::string::npos)
    {
        return {};
    }
    for (std::string_view const service :
         {".s3-accesspoint.", ".s3-accesspoint-fips.", ".s3-outposts.", ".s3-control.", ".s3.", ".s3-"})
    {
        if (auto const at = host.find(service); at != std::string::npos)
        {
            return before(at);
        }
    }
    return {};
}

/// Services beside S3 itself, told by their paths.
std::optional<SRoute> RouteOtherService(SRequest const& request)
{
    auto const& path = request.m_path;
    std::string const roles = "/latest/meta-data/iam/security-credentials/";
    if (request.m_method == "PUT" && path == "/latest/api/token")
    {
        return SRoute{.m_operation = "GetMetadataToken", .m_isSigned = false};
    }
    if (request.m_method == "GET" && (path == roles || path + "/" == roles))
    {
        return SRoute{.m_operation = "GetMetadataRole", .m_isSigned = false};
    }
    if (request.m_method == "GET" && path.starts_with(roles))
    {
        return SRoute{.m_operation = "GetMetadataCredentials", .m_key = path.substr(roles.size()), .m_isSigned = false};
    }
    if (request.m_method == "POST" && path == "/v20180820/jobs")
    {
        return SRoute{.m_operation = "CreateJob"};
    }
    if (request.m_method == "GET" && path.starts_with("/v20180820/jobs/"))
    {
        return SRoute{.m_operation = "DescribeJob", .m_key = path.substr(std::size("/v20180820/jobs/") - 1)};
    }
    bool const isForm = request.Header("content-type").starts_with("application/x-www-form-urlencoded");
    if (request.m_method == "POST" && path == "/" && isForm)
    {
        return SRoute{.m_operation = "GetCallerIdentity", .m_service = "sts"};
    }
    return std::nullopt;
}

std::string FindOperation(SRequest const& request, ELevel level)
{
    for (auto const& row : Rows)
    {
        if (row.m_method == request.m_method && row.m_level == level &&
            (row.m_subresource.empty() || request.Query(row.m_subresource)) &&
            (row.m_header.empty() || request.HasHeader(row.m_header)))
        {
            return std::string(row.m_operation);
        }
    }
    return "Unknown";
}

bool IsMissingSubresource(SRequest const& request)
{
    return std::any_of(std::begin(MissingSubresources), std::end(MissingSubresources),
                       [&](std::string_view name) { return request.Query(name).has_value(); });
}

CStoreError NotImplemented()
{
    return {501, "NotImplemented", "A header or query you provided implies functionality that is not implemented."};
}

void CheckQuery(SRequest const& request, STraits const& traits)
{
    for (std::string_view const name : traits.m_wrongParameters)
    {
        if (request.Query(name))
        {
            throw CStoreError(400, "InvalidArgument", "There is no parameter " + std::string(name) + ".");
        }
    }
    auto const generation = traits.m_hasGenerations ? request.Query("generation") : std::nullopt;
    if (generation && !ParseNumber(*generation))
    {
        throw CStoreError(400, "InvalidArgument", "The generation is no number.");
    }
}

} // namespace

SRoute Route(SRequest const& request, SHosts const& hosts, STraits const& traits)
{
    if (auto other = RouteOtherService(request);
        other && traits.m_hasOtherServices && (traits.m_hasBatchJobs || other->m_operation != "DescribeJob"))
    {
        return *other;
    }

    SRoute route;
    std::string const host = HostName(request);
    std::string const prefix = HostPrefix(host, hosts);
    std::string path = request.m_path.empty() ? request.m_path : request.m_path.substr(1);
    if (auto const accessPoint = hosts.m_accessPoints.find(prefix); accessPoint != hosts.m_accessPoints.end())
    {
        route.m_bucket = accessPoint->second;
        route.m_service = prefix.find('.') == std::string::npos ? "s3" : "s3-outposts";
    }
    else if (!prefix.empty())
    {
        route.m_bucket = prefix;
    }
    else
    {
        auto const slash = path.find('/');
        route.m_bucket = PercentDecode(path.substr(0, slash), false).value_or("");
        path = slash == std::string::npos ? std::string() : path.substr(slash + 1);
    }
    route.m_key = PercentDecode(path, false).value_or("");

    ELevel const level = !path.empty() ? ELevel::Object : route.m_bucket.empty() ? ELevel::Service : ELevel::Bucket;
    bool const isMissing = !traits.m_dropsUnknownSubresources && IsMissingSubresource(request);
    route.m_operation = isMissing ? "Unknown" : FindOperation(request, level);
    return route;
}

void CheckRoute(SRoute const& route, SRequest const& request, STraits const& traits)
{
    auto const path = PercentDecode(request.m_path, false);
    if (!request.m_hasValidTarget || !path || !IsUtf8(*path))
    {
        throw CStoreError(400, "InvalidURI", "Couldn't parse the specified URI.").With("URI", request.m_path);
    }
    if (route.m_key.size() > MaxKeySize && traits.m_keyTooLongIsInvalidName)
    {
        throw CStoreError(400, "InvalidObjectName", "");
    }
    if (route.m_key.size() > MaxKeySize)
    {
        throw CStoreError(400, "KeyTooLongError", "Your key is too long")
            .With("Size", std::to_string(route.m_key.size()))
            .With("MaxSizeAllowed", std::to_string(MaxKeySize));
    }
    auto const& missing = traits.m_missingOperations;
    if (std::find(missing.begin(), missing.end(), route.m_operation) != missing.end())
    {
        throw NotImplemented();
    }
    if (route.m_operation != "Unknown")
    {
        return CheckQuery(request, traits);
    }
    if (IsMissingSubresource(request))
    {
        throw NotImplemented();
    }
    throw CStoreError(405, "MethodNotAllowed", "The specified method is not allowed against this resource.")
        .With("Method", request.m_method);
}

} // namespace bucketry::simulator
