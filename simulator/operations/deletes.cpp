// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "protocol/text.h"
#include "protocol/xml.h"

namespace bucketry::simulator
{

namespace
{

constexpr std::size_t MaxDeletes = 1000;

void AddDeleted(CXmlWriter& xml, std::string const& key, std::string const& versionId, CStore::SDeleted const& deleted)
{
    xml.Open("Deleted").Text("Key", key);
    if (!versionId.empty())
    {
        xml.Text("VersionId", versionId);
    }
    if (deleted.m_isDeleteMarker)
    {
        xml.Flag("DeleteMarker", true).Text("DeleteMarkerVersionId", deleted.m_versionId);
    }
    xml.Close();
}

void AddRefused(CXmlWriter& xml, std::string const& key, std::string const& versionId, CStoreError const& refusal)
{
    xml.Open("Error").Text("Key", key);
    if (!versionId.empty())
    {
        xml.Text("VersionId", versionId);
    }
    xml.Text("Code", refusal.m_code).Text("Message", refusal.m_message).Close();
}

/// A version id that this store never gave and that is not "null"; a generation that is no number.
bool IsInvalidId(SCall const& call, std::string const& versionId)
{
    if (call.m_traits.m_hasGenerations)
    {
        return !versionId.empty() && !ParseNumber(versionId);
    }
    return call.m_traits.m_tellsMissingVersions && !versionId.empty() && versionId != "null" &&
        !CStore::SequenceOf(versionId);
}

SResponse DeleteListed(SCall& call)
{
    SBucket& bucket = call.Bucket();
    CXmlReader const body(call.m_request.m_body, "Delete");
    auto const objects = body.Root().Children("Object");
    bool const isEmpty = objects.empty() && !call.m_traits.m_deleteListMayBeEmpty;
    if (isEmpty || objects.size() > MaxDeletes)
    {
        throw MalformedXml();
    }
    bool const isQuiet = body.Root().TextOf("Quiet") == "true";
    // All keys are read before the first object goes, so that a list that can't be read deletes nothing.
    pairs_t items;
    for (auto const& object : objects)
    {
        items.emplace_back(object.Demand("Key"), object.TextOf("VersionId").value_or(""));
    }

    CXmlWriter xml("DeleteResult", call.m_traits.m_xmlNamespace);
    for (auto const& [key, versionId] : items)
    {
        try
        {
            if (key.empty())
            {
                throw CStoreError(400, "UserKeyMustBeSpecified",
                                  "The bucket POST must contain the specified field name.");
            }
            if (IsInvalidId(call, versionId))
            {
                throw CStoreError(400, "NoSuchVersion", "The specified version does not exist.");
            }
            auto const deleted = call.m_store.Delete(bucket, key, versionId, call.BypassesGovernance(), call.m_now);
            if (!deleted.m_existed && !call.m_traits.m_deletesWhatIsNot)
            {
                throw MissingVersion(call, versionId);
            }
            if (!isQuiet)
            {
                AddDeleted(xml, key, versionId, deleted);
            }
        }
        catch (CStoreError const& refusal)
        {
            AddRefused(xml, key, versionId, refusal);
        }
    }
    SResponse response;
    response.SetXml(xml.Finish());
    return response;
}

} // namespace

SResponse DeleteObject(SCall& call)
{
    SBucket& bucket = call.Bucket();
    std::string const versionId = call.VersionId();
    if (IsInvalidId(call, versionId))
    {
        throw CStoreError(400, "InvalidArgument", "Invalid version id specified");
    }
    if (call.m_request.HasHeader("if-match") || call.m_traits.m_hasGenerations)
    {
        CheckWriteConditions(call, bucket);
    }
    auto const deleted = call.m_store.Delete(bucket, call.Key(), versionId, call.BypassesGovernance(), call.m_now);
    if (!deleted.m_existed && !call.m_traits.m_deletesWhatIsNot)
    {
        throw MissingVersion(call, versionId);
    }
    SResponse response{.m_status = 204};
    if (deleted.m_isDeleteMarker)
    {
        response.Add("x-amz-delete-marker", "true");
    }
    response.AddUnlessEmpty("x-amz-version-id", deleted.m_versionId);
    return response;
}

SResponse DeleteObjects(SCall& call)
{
    DemandIntegrity(call, "Missing required header for this request: Content-MD5");
    try
    {
        return DeleteListed(call);
    }
    catch (CStoreError& refusal)
    {
        refusal.m_hasBody = refusal.m_code != "MalformedXML" || !call.m_traits.m_refusesDeleteListsBare;
        throw;
    }
}

} // namespace bucketry::simulator
