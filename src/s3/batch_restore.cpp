// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/guid.h"
#include "bucketry/base/options.h"
#include "bucketry/s3/cloud_client.h"

#include <string_view>
#include <unordered_map>

namespace bucketry::s3
{
namespace
{

using s3wire::s3::SCreateJobRequest;
using s3wire::s3::SS3InitiateRestoreObject;

std::string JobTier(ArchiveRetrievalTier tier)
{
    switch (tier)
    {
    case ArchiveRetrievalTier::Standard:
        return "STANDARD";
    case ArchiveRetrievalTier::Bulk:
        return "BULK";
    case ArchiveRetrievalTier::Expedited:
        return "EXPEDITED";
    default:
        throw exc::CRuntimeExc("Archive retrieval tier is not supported: %1", static_cast<std::uint32_t>(tier));
    }
}

void AddReport(SCreateJobRequest& request, std::string const& container)
{
    request.m_reportEnabled = true;
    request.m_reportBucket = (container.starts_with("arn:") ? "" : "arn:aws:s3:::") + container;
    request.m_reportFormat = "Report_CSV_20180820";
    request.m_reportPrefix = "batch_reports";
    request.m_reportScope = "AllTasks";
}

SBatchJobStatus::Status JobStatus(std::string const& word)
{
    static std::unordered_map<std::string, SBatchJobStatus::Status> const statuses = {
        {"New", SBatchJobStatus::Pending},          {"Preparing", SBatchJobStatus::Pending},
        {"Suspended", SBatchJobStatus::InProgress}, {"Ready", SBatchJobStatus::InProgress},
        {"Active", SBatchJobStatus::InProgress},    {"Pausing", SBatchJobStatus::InProgress},
        {"Paused", SBatchJobStatus::InProgress},    {"Cancelling", SBatchJobStatus::InProgress},
        {"Failing", SBatchJobStatus::InProgress},   {"Completing", SBatchJobStatus::InProgress},
        {"Complete", SBatchJobStatus::Finished},    {"Cancelled", SBatchJobStatus::Finished},
        {"Failed", SBatchJobStatus::Finished}};
    auto const found = statuses.find(word);
    return found == statuses.end() ? SBatchJobStatus::Unknown : found->second;
}

} // namespace

SBatchJobInfo CS3CloudClient::StartBatchRestoreJob(SBatchManifestInfo const& manifest,
                                                   SRetrieveArchiveOptions const& options)
{
    std::shared_ptr<SS3Context> const context = GetContext();
    SCreateJobRequest request;
    request.m_manifestObjectArn = manifest.m_objectArn;
    request.m_manifestETag = manifest.m_eTag;
    request.m_operations.push_back(
        std::make_unique<SS3InitiateRestoreObject>(options.m_days, true, JobTier(options.m_tier)));
    request.m_roleArn = "arn:aws:iam::" + context->m_client.GetAccountId() + ":role/" + options.m_roleName;
    request.m_clientRequestToken = guid::guid_t::CreateNew().ToAStr();
    request.m_manifestFields = {"Bucket", "Key"};
    if (IsVersioningEnabled())
    {
        request.m_manifestFields.emplace_back("VersionId");
    }
    request.m_manifestFormat = "S3BatchOperations_CSV_20180820";
    request.m_priority = 50;
    request.m_confirmationRequired = false;
    if (options_t::GetInst().IsS3BatchReportEnabled())
    {
        AddReport(request, context->m_container);
    }
    return {context->m_client.CreateBatchJob(request).get().m_jobId};
}

SBatchJobStatus CS3CloudClient::GetBatchJobStatus(SBatchJobInfo const& job)
{
    std::string const word = GetContext()->m_client.DescribeJob(job.m_jobId).get().m_status;
    return {JobStatus(word), word};
}

} // namespace bucketry::s3
