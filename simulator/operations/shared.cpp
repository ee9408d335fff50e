// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "protocol/digest.h"
#include "protocol/text.h"

#include <algorithm>

namespace bucketry::simulator
{

namespace
{

constexpr std::string_view MetadataPrefix = "x-amz-meta-";
constexpr std::string_view ContentHeaders[] = {"content-type",     "content-encoding", "content-disposition",
                                               "content-language", "cache-control",    "expires"};

void ReadStorageClass(SCall const& call, SAttributes& attributes)
{
    std::string const name = call.m_request.Header("x-amz-storage-class");
    if (name.empty())
    {
        return;
    }
    auto const& all = call.m_traits.m_storageClasses;
    auto const& own = call.m_options.m_storageClasses;
    bool const isKnown = all.empty() ? std::find(own.begin(), own.end(), name) != own.end()
                                     : std::find(all.begin(), all.end(), name) != all.end();
    if (!isKnown)
    {
        throw CStoreError(400, all.empty() ? "InvalidArgument" : "InvalidStorageClass",
                          "The storage class you specified is not valid")
            .With("StorageClassRequested", name);
    }
    attributes.m_storageClass = name;
}

CStoreError InvalidLockArgument(std::string const& message, std::string const& name)
{
    return CStoreError(400, "InvalidArgument", message).With("ArgumentName", name);
}

std::optional<SRetention> ReadRetentionHeaders(SCall const& call)
{
    std::string const mode = call.m_request.Header("x-amz-object-lock-mode");
    std::string const date = call.m_request.Header("x-amz-object-lock-retain-until-date");
    if (mode.empty() && date.empty())
    {
        return std::nullopt;
    }
    if (mode.empty() || date.empty())
    {
        throw InvalidLockArgument(
            "x-amz-object-lock-retain-until-date and x-amz-object-lock-mode must both be supplied",
            mode.empty() ? "x-amz-object-lock-mode" : "x-amz-object-lock-retain-until-date");
    }
    if (mode != "GOVERNANCE" && mode != "COMPLIANCE")
    {
        throw InvalidLockArgument("Unknown wormMode directive.", "x-amz-object-lock-mode");
    }
    auto const until = ParseIsoTime(date);
    if (!until)
    {
        throw InvalidLockArgument("The retain until date must be provided in ISO 8601 format",
                                  "x-amz-object-lock-retain-until-date");
    }
    if (*until <= call.m_now)
    {
        throw InvalidLockArgument("The retain until date must be in the future!",
                                  "x-amz-object-lock-retain-until-date");
    }
    return SRetention{mode == "COMPLIANCE", *until};
}

SLock ReadLock(SCall const& call, SBucket const& bucket)
{
    SLock lock{.m_retention = ReadRetentionHeaders(call)};
    std::string const hold =
        call.m_traits.m_hasLegalHold ? call.m_request.Header("x-amz-object-lock-legal-hold") : std::string();
    if (!hold.empty() && hold != "ON" && hold != "OFF")
    {
        throw InvalidLockArgument("Legal Hold must be either of 'ON' or 'OFF'", "x-amz-object-lock-legal-hold");
    }
    if ((lock.m_retention || !hold.empty()) && !bucket.m_objectLock)
    {
        throw CStoreError(400, "InvalidRequest", "Bucket is missing Object Lock Configuration");
    }
    lock.m_legalHold = hold == "ON";
    return lock;
}

/// The bucket behind an access point ARN, and the key behind its "/object/".
std::optional<std::pair<std::string, std::string>> ResolveArn(std::string const& arn, SHosts const& hosts)
{
    auto const object = arn.find("/object/");
    if (!arn.starts_with("arn:") || object == std::string::npos)
    {
        return std::nullopt;
    }
    std::string const key = arn.substr(object + 8);
    for (auto const& [labels, bucket] : hosts.m_accessPoints)
    {
        // "NAME-ACCOUNT" or "NAME-ACCOUNT.OUTPOST": each part stands in the ARN, the account first.
        auto const dot = labels.find('.');
        auto const dash = labels.rfind('-', dot);
        std::string const resource = arn.substr(0, object);
        std::string const account =
            ":" + labels.substr(dash + 1, dot == std::string::npos ? dot : dot - dash - 1) + ":";
        std::string const outpost = dot == std::string::npos ? "" : "outpost/" + labels.substr(dot + 1);
        std::string const name = "accesspoint/" + labels.substr(0, dash);
        std::string wanted = outpost;
        wanted.append(outpost.empty() ? "" : "/").append(name);
        if (resource.ends_with(account + wanted) || (!outpost.empty() && resource.ends_with(account + outpost)))
        {
            return std::pair(bucket, key);
        }
    }
    return std::nullopt;
}

void CheckGenerationCondition(SCall const& call, SBucket& bucket)
{
    std::string const wanted = call.m_request.Header("x-goog-if-generation-match");
    SVersion const* const live = bucket.Newest(call.Key());
    if (!wanted.empty() && wanted != (live == nullptr ? "0" : live->m_id))
    {
        throw CStoreError(412, "PreconditionFailed", "At least one of the pre-conditions you specified did not hold.");
    }
}

/// What stands behind the "?" of a copy's source is taken off. The version that it names, if the store heeds it.
std::string TakeSourceVersion(SCall const& call, std::string& source)
{
    std::string const name = std::string("?") + call.m_traits.m_copySourceParameter + "=";
    auto const query = call.m_traits.m_hasGenerations ? source.find('?') : source.find(name);
    if (query == std::string::npos)
    {
        return {};
    }
    std::string const text = source.substr(query);
    source.erase(query);
    return text.starts_with(name) ? text.substr(name.size()) : std::string();
}

} // namespace

CStoreError MissingVersion(SCall const& call, std::string const& versionId)
{
    if (versionId.empty() || !call.m_traits.m_tellsMissingVersions)
    {
        return CStoreError(404, "NoSuchKey", "The specified key does not exist.").With("Key", call.Key());
    }
    return CStoreError(404, "NoSuchVersion", "The specified version does not exist.")
        .With("Key", call.Key())
        .With("VersionId", versionId);
}

bool SCall::BypassesGovernance() const
{
    return ToLower(m_request.Header(std::string(m_traits.m_headerPrefix) + "bypass-governance-retention")) == "true";
}

SAttributes ReadAttributes(SCall const& call, SBucket const& bucket, bool takesLock)
{
    SAttributes attributes;
    std::size_t metadataSize = 0;
    for (auto const& [name, value] : call.m_request.m_headers)
    {
        if (name.starts_with(MetadataPrefix))
        {
            auto& all = attributes.m_metadata[name.substr(MetadataPrefix.size())];
            all += (all.empty() ? "" : ",") + value;
            metadataSize += name.size() - MetadataPrefix.size() + value.size();
        }
        if (std::find(std::begin(ContentHeaders), std::end(ContentHeaders), name) != std::end(ContentHeaders))
        {
            attributes.m_headers[name] = value;
        }
    }
    if (attributes.m_headers["content-encoding"] == "aws-chunked" || attributes.m_headers["content-encoding"].empty())
    {
        attributes.m_headers.erase("content-encoding");
    }
    std::size_t const limit = call.m_traits.m_maxMetadataSize;
    if (metadataSize > limit && limit != 0)
    {
        throw CStoreError(400, "MetadataTooLarge", "Your metadata headers exceed the maximum allowed metadata size")
            .With("Size", std::to_string(metadataSize))
            .With("MaxSizeAllowed", std::to_string(limit));
    }
    ReadStorageClass(call, attributes);
    if (takesLock)
    {
        attributes.m_lock = ReadLock(call, bucket);
    }
    if (!attributes.m_lock.m_retention)
    {
        attributes.m_lock.m_retention = DefaultRetention(bucket, call.m_now);
    }
    return attributes;
}

void DemandIntegrity(SCall const& call, std::string const& message)
{
    if (call.m_traits.m_demandsChecksums && !call.m_payload.m_hasIntegrity)
    {
        throw CStoreError(400, "InvalidRequest", message);
    }
}

void AddVersionId(SResponse& response, SCall const& call, SBucket const& bucket, SVersion const& version)
{
    if (!call.m_traits.m_hasGenerations)
    {
        response.AddUnlessEmpty("x-amz-version-id", bucket.m_versioning == EVersioning::Off ? "" : version.m_id);
        return;
    }
    response.Add("x-goog-generation", version.m_id);
    response.Add("x-goog-metageneration", std::to_string(version.m_metageneration));
    response.Add("x-goog-hash", "crc32c=" + Base64(Crc32c(*version.m_data)));
    if (version.m_partSizes.empty())
    {
        response.Add("x-goog-hash", "md5=" + Base64(Md5(*version.m_data)));
    }
    response.Add("x-goog-stored-content-encoding", "identity");
    response.Add("x-goog-stored-content-length", std::to_string(version.m_data->size()));
}

void AddVersionHeaders(SResponse& response, SCall const& call, SBucket const& bucket, SVersion const& version)
{
    AddVersionId(response, call, bucket, version);
    for (auto const& [algorithm, value] : version.m_checksums)
    {
        response.Add("x-amz-checksum-" + algorithm, value);
    }
    if (!version.m_checksums.empty())
    {
        response.Add("x-amz-checksum-type", version.m_checksumType);
    }
}

SVersion& DemandVersion(SCall const& call, SBucket& bucket)
{
    std::string const versionId = call.VersionId();
    SVersion* const version = bucket.Find(call.Key(), versionId);
    if (version == nullptr)
    {
        throw MissingVersion(call, versionId);
    }
    if (!version->m_isDeleteMarker)
    {
        return *version;
    }
    if (!call.m_traits.m_tellsMissingVersions)
    {
        throw MissingVersion(call, {});
    }
    CStoreError refusal = versionId.empty() ? MissingVersion(call, {})
                                            : CStoreError(405, "MethodNotAllowed",
                                                          "The specified method is not allowed "
                                                          "against this resource.")
                                                  .With("Method", call.m_request.m_method)
                                                  .With("ResourceType", "DeleteMarker");
    throw std::move(refusal).Header("x-amz-delete-marker", "true").Header("x-amz-version-id", version->m_id);
}

void CheckWriteConditions(SCall const& call, SBucket& bucket)
{
    if (call.m_traits.m_hasGenerations)
    {
        return CheckGenerationCondition(call, bucket);
    }
    bool const ifMatch = call.m_request.HasHeader("if-match");
    bool const ifNoneMatch = call.m_request.HasHeader("if-none-match");
    auto const mode = call.m_options.m_conditionalWrites;
    if ((!ifMatch && !ifNoneMatch) || mode == EConditionalWrites::Ignore)
    {
        return;
    }
    if (mode == EConditionalWrites::Refuse || (ifNoneMatch && call.m_request.Header("if-none-match") != "*"))
    {
        throw CStoreError(501, "NotImplemented", "A header you provided implies functionality that is not implemented")
            .With("Header", ifNoneMatch ? "If-None-Match" : "If-Match");
    }
    SVersion const* const newest = bucket.Newest(call.Key());
    bool const exists = newest != nullptr && !newest->m_isDeleteMarker;
    if (ifMatch && !exists && call.m_traits.m_tellsMissingVersions)
    {
        throw MissingVersion(call, {});
    }
    std::string etag = call.m_request.Header("if-match");
    std::erase(etag, '"');
    if ((ifNoneMatch && exists) || (ifMatch && (!exists || (etag != "*" && etag != newest->m_etag))))
    {
        throw CStoreError(412, "PreconditionFailed", "At least one of the pre-conditions you specified did not hold")
            .With("Condition", ifNoneMatch ? "If-None-Match" : "If-Match");
    }
}

SCopySource FindCopySource(SCall const& call)
{
    std::string source = call.m_request.Header("x-amz-copy-source");
    std::string versionId = TakeSourceVersion(call, source);
    if (call.m_traits.m_hasGenerations && call.m_request.HasHeader("x-goog-copy-source-generation"))
    {
        versionId = call.m_request.Header("x-goog-copy-source-generation");
    }
    if (call.m_traits.m_hasGenerations && !versionId.empty() && !ParseNumber(versionId))
    {
        throw CStoreError(400, "InvalidArgument", "The generation of the source is no number.");
    }
    std::string decoded = PercentDecode(source, true).value_or("");
    auto path = ResolveArn(decoded, call.m_hosts);
    if (!path)
    {
        decoded.erase(0, decoded.starts_with('/') ? 1 : 0);
        auto const slash = decoded.find('/');
        if (slash == 0 || slash == std::string::npos || slash + 1 == decoded.size())
        {
            throw CStoreError(400, "InvalidArgument",
                              "Copy Source must mention the source bucket and key: sourcebucket/sourcekey")
                .With("ArgumentName", "x-amz-copy-source");
        }
        path = std::pair(decoded.substr(0, slash), decoded.substr(slash + 1));
    }
    SBucket& bucket = call.m_store.Bucket(path->first);
    SVersion const* const version = bucket.Find(path->second, versionId);
    if (version != nullptr && version->m_isDeleteMarker && !versionId.empty())
    {
        throw CStoreError(400, "InvalidRequest",
                          "The source of a copy request may not specifically refer to a delete "
                          "marker by version id.");
    }
    if (version == nullptr || version->m_isDeleteMarker)
    {
        throw MissingVersion(call, versionId);
    }
    if (call.m_traits.m_hasArchive && !version->IsReadable(call.m_now))
    {
        throw CStoreError(403, "ObjectNotInActiveTierError",
                          "The source object of the COPY operation is not in the "
                          "active tier and is only stored in an archive class.");
    }
    bool const isSame = bucket.m_name == call.m_route.m_bucket && path->second == call.Key() && versionId.empty();
    return {&bucket, version, isSame};
}

} // namespace bucketry::simulator
