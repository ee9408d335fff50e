// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "operations/jobs.h"
#include "protocol/message.h"
#include "protocol/route.h"
#include "protocol/signature.h"
#include "protocol/traits.h"

namespace bucketry::simulator
{

class CMetadataService;

/// What one operation works with. The store is locked while it runs.
struct SCall
{
    SRequest& m_request;
    SRoute const& m_route;
    SPayload const& m_payload;
    STraits const& m_traits;
    SSimulatorOptions const& m_options;
    time_point_t m_now;
    CStore& m_store;
    CJobs& m_jobs;
    CMetadataService& m_metadata;
    SHosts const& m_hosts;

    SBucket& Bucket() const { return m_store.Bucket(m_route.m_bucket); }
    std::string const& Key() const { return m_route.m_key; }
    /// Empty if the request names none.
    std::string VersionId() const { return m_request.QueryOr(m_traits.m_hasGenerations ? "generation" : "versionId"); }
    /// Whether the request may end a retention in governance mode.
    bool BypassesGovernance() const;
};

/// One operation of the store; throws CStoreError where the store refuses.
using operation_t = SResponse (*)(SCall&);

/// Null if there is no operation of that name.
operation_t FindOperation(std::string const& name);

SResponse ListBuckets(SCall& call);
SResponse CreateBucket(SCall& call);
SResponse DeleteBucket(SCall& call);
SResponse HeadBucket(SCall& call);
SResponse GetBucketLocation(SCall& call);
SResponse GetBucketVersioning(SCall& call);
SResponse PutBucketVersioning(SCall& call);
SResponse GetObjectLockConfiguration(SCall& call);
SResponse PutObjectLockConfiguration(SCall& call);

SResponse ListObjectsV1(SCall& call);
SResponse ListObjectsV2(SCall& call);
SResponse ListObjectVersions(SCall& call);
SResponse ListMultipartUploads(SCall& call);

SResponse PutObject(SCall& call);
SResponse GetObject(SCall& call);
SResponse CopyObject(SCall& call);
SResponse DeleteObject(SCall& call);
SResponse DeleteObjects(SCall& call);
SResponse RestoreObject(SCall& call);

SResponse PutObjectRetention(SCall& call);
SResponse GetObjectRetention(SCall& call);
SResponse PutObjectLegalHold(SCall& call);
SResponse GetObjectLegalHold(SCall& call);

SResponse CreateMultipartUpload(SCall& call);
SResponse UploadPart(SCall& call);
SResponse UploadPartCopy(SCall& call);
SResponse CompleteMultipartUpload(SCall& call);
SResponse AbortMultipartUpload(SCall& call);
SResponse ListParts(SCall& call);

SResponse CreateJob(SCall& call);
SResponse DescribeJob(SCall& call);
/// Who asks, or keys for a session; logged as GetCallerIdentity either way.
SResponse AnswerSts(SCall& call);
SResponse GetMetadataToken(SCall& call);
SResponse GetMetadataRole(SCall& call);
SResponse GetMetadataCredentials(SCall& call);

// What several operations share.

/// Metadata, content headers, class and lock that the request's headers name; the class is STANDARD if none is.
/// Throws CStoreError for what the store doesn't take.
SAttributes ReadAttributes(SCall const& call, SBucket const& bucket, bool takesLock);
/// Throws InvalidRequest unless Content-MD5 or a checksum came with the body.
void DemandIntegrity(SCall const& call, std::string const& message);
/// Headers that tell the version's id, or its generation and what comes with it.
void AddVersionId(SResponse& response, SCall const& call, SBucket const& bucket, SVersion const& version);
/// The same, and the checksums of a version that was written.
void AddVersionHeaders(SResponse& response, SCall const& call, SBucket const& bucket, SVersion const& version);
/// The refusal of what isn't there.
CStoreError MissingVersion(SCall const& call, std::string const& versionId);
/// The version that the request names, with S3's refusals for missing ones and markers.
SVersion& DemandVersion(SCall const& call, SBucket& bucket);
/// If-Match and If-None-Match of a write, or the condition on the live object's generation.
void CheckWriteConditions(SCall const& call, SBucket& bucket);
/// Asks for the restore of an archived version; true if it can be read already. Throws CStoreError.
bool AskForRestore(CStore const& store, SVersion& version, std::optional<std::uint64_t> days, std::string const& tier,
                   time_point_t now);

/// The version that x-amz-copy-source names.
struct SCopySource
{
    SBucket* m_bucket;
    SVersion const* m_version;
    bool m_isSameObject; ///< as the target, and no version of it was named
};
/// Throws CStoreError where there is none, or its object cannot be read.
SCopySource FindCopySource(SCall const& call);

} // namespace bucketry::simulator
