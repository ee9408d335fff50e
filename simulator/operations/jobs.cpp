// SPDX-License-Identifier: Apache-2.0
#include "operations/jobs.h"

#include "operations/call.h"
#include "protocol/text.h"
#include "protocol/xml.h"

#include <algorithm>

namespace bucketry::simulator
{

namespace
{

CStoreError InvalidJob(std::string const& reason)
{
    return {400, "InvalidRequest", reason};
}

void DemandAccount(SCall const& call)
{
    if (!call.m_traits.m_hasBatchJobs)
    {
        throw CStoreError(501, "NotImplemented", "");
    }
    if (call.m_request.Header("x-amz-account-id").empty())
    {
        throw InvalidJob("Missing required header for this request: x-amz-account-id");
    }
}

/// What follows the prefix of an S3 ARN; nothing if it is none.
std::optional<std::string> BucketOfArn(std::string const& arn)
{
    constexpr std::string_view prefix = "arn:aws:s3:::";
    return arn.starts_with(prefix) ? std::optional(arn.substr(prefix.size())) : std::nullopt;
}

void ReadManifest(CXmlReader::CElement const& manifest, SJob& job)
{
    auto const spec = manifest.Child("Spec"), location = manifest.Child("Location");
    auto const path = BucketOfArn(location.Demand("ObjectArn"));
    auto const slash = path ? path->find('/') : std::string::npos;
    if (slash == std::string::npos)
    {
        throw InvalidJob("The manifest's ObjectArn is invalid.");
    }
    job.m_manifestBucket = path->substr(0, slash);
    job.m_manifestKey = path->substr(slash + 1);
    job.m_manifestVersion = location.TextOf("ObjectVersionId").value_or("");
    job.m_manifestETag = location.Demand("ETag");
    std::erase(job.m_manifestETag, '"');
    if (spec.Demand("Format") != "S3BatchOperations_CSV_20180820")
    {
        throw InvalidJob("The manifest's format is not supported.");
    }
    constexpr std::string_view known[] = {"Ignore", "Bucket", "Key", "VersionId"};
    for (auto const& member : spec.Child("Fields").Children("member"))
    {
        if (std::find(std::begin(known), std::end(known), job.m_fields.emplace_back(member.Text())) == std::end(known))
        {
            throw InvalidJob("The manifest's fields are unknown.");
        }
    }
    for (char const* const needed : {"Bucket", "Key"})
    {
        if (std::find(job.m_fields.begin(), job.m_fields.end(), needed) == job.m_fields.end())
        {
            throw InvalidJob("The manifest's fields have to name Bucket and Key.");
        }
    }
}

std::optional<SJobReport> ReadReport(CXmlReader::CElement const& report)
{
    if (report.Demand("Enabled") != "true")
    {
        return std::nullopt;
    }
    std::string const scope = report.Demand("ReportScope"), prefix = report.Demand("Prefix");
    if (report.Demand("Format") != "Report_CSV_20180820")
    {
        throw InvalidJob("The report's format is not supported.");
    }
    if (scope != "AllTasks" && scope != "FailedTasksOnly")
    {
        throw InvalidJob("The report's scope has to be AllTasks or FailedTasksOnly.");
    }
    if (prefix.empty() || prefix.size() > 512)
    {
        throw InvalidJob("The report's prefix is invalid.");
    }
    auto const bucket = BucketOfArn(report.Demand("Bucket"));
    if (!bucket || bucket->find_first_of("/:") != std::string::npos)
    {
        throw InvalidJob("The report's bucket is no ARN of a bucket.");
    }
    return SJobReport{*bucket, prefix, scope == "AllTasks"};
}

SJob ReadJob(CXmlReader::CElement const& root)
{
    SJob job;
    auto const restore = root.Child("Operation").Child("S3InitiateRestoreObject");
    if (!restore)
    {
        throw CStoreError(501, "NotImplemented", "Only S3InitiateRestoreObject is implemented.");
    }
    std::string const tier = restore.TextOf("GlacierJobTier").value_or("STANDARD");
    if (tier != "BULK" && tier != "STANDARD")
    {
        throw InvalidJob("The GlacierJobTier has to be BULK or STANDARD.");
    }
    job.m_tier = tier == "BULK" ? "Bulk" : "Standard";
    if (restore.Child("ExpirationInDays"))
    {
        job.m_days = restore.DemandNumber("ExpirationInDays");
    }
    if (root.DemandNumber("Priority") > 0x7fffffff)
    {
        throw InvalidJob("The priority is out of range.");
    }
    if (!root.Demand("RoleArn").starts_with("arn:"))
    {
        throw InvalidJob("The RoleArn is invalid.");
    }
    job.m_report = ReadReport(root.Child("Report"));
    ReadManifest(root.Child("Manifest"), job);
    return job;
}

} // namespace

void CJobs::SetScript(std::vector<std::string> statuses, std::chrono::milliseconds each)
{
    m_script = std::move(statuses);
    if (m_script.empty())
    {
        m_script.emplace_back("Complete");
    }
    m_each = each;
}

SJob* CJobs::FindByToken(std::string const& token)
{
    auto const found = m_idsByToken.find(token);
    return found == m_idsByToken.end() ? nullptr : Find(found->second);
}

SJob* CJobs::Find(std::string const& id)
{
    auto const found = m_jobs.find(id);
    return found == m_jobs.end() ? nullptr : &found->second;
}

SJob& CJobs::Add(std::string const& token, SJob job, CStore& store, time_point_t now)
{
    job.m_id = "00000000-0000-4000-8000-" + std::to_string(100000000001 + m_jobs.size());
    job.m_script = m_script;
    job.m_each = m_each;
    job.m_made = now;
    job.Work(store, now);
    m_idsByToken[token] = job.m_id;
    return m_jobs[job.m_id] = std::move(job);
}

void CJobs::Advance(CStore& store, time_point_t now)
{
    for (auto& [id, job] : m_jobs)
    {
        bool const goesByClock = job.m_each.count() > 0;
        auto const next = [&job = job] { return job.m_made + (static_cast<int>(job.m_step) + 1) * job.m_each; };
        while (goesByClock && !job.IsOver() && now >= next())
        {
            auto const at = next();
            ++job.m_step;
            job.Work(store, at);
        }
    }
}

void CJobs::Ask(SJob& job, CStore& store, time_point_t now)
{
    if (job.m_each.count() == 0 && job.m_isTold && !job.IsOver())
    {
        ++job.m_step;
        job.Work(store, now);
    }
    job.m_isTold = true;
}

SResponse CreateJob(SCall& call)
{
    DemandAccount(call);
    CXmlReader const body(call.m_request.m_body, "CreateJobRequest");
    std::string const token = body.Root().Demand("ClientRequestToken");
    if (token.empty() || token.size() > 64)
    {
        throw InvalidJob("The ClientRequestToken is invalid.");
    }
    SJob* job = call.m_jobs.FindByToken(token);
    if (job != nullptr && job->m_request != call.m_request.m_body)
    {
        throw CStoreError(400, "IdempotencyException", "The client token was used with another request before.");
    }
    if (job == nullptr)
    {
        SJob read = ReadJob(body.Root());
        read.m_request = call.m_request.m_body;
        job = &call.m_jobs.Add(token, std::move(read), call.m_store, call.m_now);
    }
    CXmlWriter xml("CreateJobResult", ControlNamespace);
    SResponse response;
    response.SetXml(xml.Text("JobId", job->m_id).Finish());
    return response;
}

SResponse DescribeJob(SCall& call)
{
    DemandAccount(call);
    SJob* const job = call.m_jobs.Find(call.Key());
    if (job == nullptr)
    {
        throw CStoreError(404, "NotFoundException", "The specified job does not exist.");
    }
    CJobs::Ask(*job, call.m_store, call.m_now);
    CXmlWriter xml("DescribeJobResult", ControlNamespace);
    xml.Open("Job").Text("JobId", job->m_id).Text("Status", job->Status());
    if (!job->m_failureCode.empty())
    {
        xml.Open("FailureReasons")
            .Open("member")
            .Text("FailureCode", job->m_failureCode)
            .Text("FailureReason", job->m_failureReason)
            .Close()
            .Close();
    }
    std::uint64_t const total = job->m_tasks.size(), failed = job->CountFailed();
    xml.Open("ProgressSummary").Number("TotalNumberOfTasks", total);
    xml.Number("NumberOfTasksSucceeded", job->m_hasRun ? total - failed : 0).Number("NumberOfTasksFailed", failed);
    SResponse response;
    response.SetXml(xml.Finish());
    return response;
}

} // namespace bucketry::simulator
