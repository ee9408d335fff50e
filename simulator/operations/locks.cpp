// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "protocol/text.h"
#include "protocol/xml.h"

namespace bucketry::simulator
{

namespace
{

void DemandLockOnBucket(SBucket const& bucket)
{
    if (!bucket.m_objectLock)
    {
        throw CStoreError(400, "InvalidRequest", "Bucket is missing Object Lock Configuration");
    }
}

CStoreError NoLock(SCall const& call)
{
    return {404, call.m_traits.m_noLockCode, "The specified object does not have a ObjectLock configuration"};
}

/// Nothing for an empty element, which removes the retention.
std::optional<SRetention> ReadRetention(SCall const& call)
{
    CXmlReader const body(call.m_request.m_body, "Retention");
    auto const mode = body.Root().TextOf("Mode");
    auto const date = body.Root().TextOf("RetainUntilDate");
    if (!mode && !date && call.m_traits.m_removesRetention)
    {
        return std::nullopt;
    }
    auto const until = ParseIsoTime(date.value_or(""));
    if (!until || (mode != "GOVERNANCE" && mode != "COMPLIANCE"))
    {
        throw MalformedXml();
    }
    if (*until <= call.m_now)
    {
        throw CStoreError(400, "InvalidArgument", "The retain until date must be in the future!");
    }
    return SRetention{mode == "COMPLIANCE", *until};
}

} // namespace

SResponse PutObjectRetention(SCall& call)
{
    DemandIntegrity(call, "Missing required header for this request: Content-MD5 OR x-amz-checksum-*");
    SBucket& bucket = call.Bucket();
    DemandLockOnBucket(bucket);
    SVersion& version = DemandVersion(call, bucket);
    auto const wanted = ReadRetention(call);
    CheckRetentionChange(version.m_attributes.m_lock, wanted, call.BypassesGovernance(), call.m_now,
                         call.m_traits.m_lockedCode);
    version.m_attributes.m_lock.m_retention = wanted;
    ++version.m_metageneration;
    return {};
}

SResponse GetObjectRetention(SCall& call)
{
    SBucket& bucket = call.Bucket();
    DemandLockOnBucket(bucket);
    auto const& retention = DemandVersion(call, bucket).m_attributes.m_lock.m_retention;
    if (!retention)
    {
        throw NoLock(call);
    }
    CXmlWriter xml("Retention", call.m_traits.m_xmlNamespace);
    xml.Text("Mode", retention->m_compliance ? "COMPLIANCE" : "GOVERNANCE");
    xml.Text("RetainUntilDate", IsoTime(retention->m_until));
    SResponse response;
    response.SetXml(xml.Finish());
    return response;
}

SResponse PutObjectLegalHold(SCall& call)
{
    DemandIntegrity(call, "Missing required header for this request: Content-MD5 OR x-amz-checksum-*");
    SBucket& bucket = call.Bucket();
    DemandLockOnBucket(bucket);
    SLock& lock = DemandVersion(call, bucket).m_attributes.m_lock;
    std::string const status = CXmlReader(call.m_request.m_body, "LegalHold").Root().Demand("Status");
    if (status != "ON" && status != "OFF")
    {
        throw MalformedXml();
    }
    lock.m_legalHold = status == "ON";
    return {};
}

SResponse GetObjectLegalHold(SCall& call)
{
    SBucket& bucket = call.Bucket();
    DemandLockOnBucket(bucket);
    SLock const& lock = DemandVersion(call, bucket).m_attributes.m_lock;
    if (!lock.m_legalHold && !lock.m_retention)
    {
        throw NoLock(call);
    }
    CXmlWriter xml("LegalHold", call.m_traits.m_xmlNamespace);
    SResponse response;
    response.SetXml(xml.Text("Status", lock.m_legalHold ? "ON" : "OFF").Finish());
    return response;
}

} // namespace bucketry::simulator
