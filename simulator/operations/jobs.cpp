#include "jobs.h"

#include <algorithm>

#include "../protocol/text.h"
#include "../protocol/xml.h"
#include "call.h"

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
        throw CStoreError(501, "NotImplemented", "");
    if (call.m_request.Header("x-amz-account-id").empty())
        throw InvalidJob("Missing required header for this request: x-amz-account-id");
}

void ReadManifest(CXmlReader::CElement const& manifest, SJob& job)
{
    constexpr std::string_view prefix = "arn:aws:s3:::";
    auto const spec = manifest.Child("Spec"), location = manifest.Child("Location");
    std::string const arn = location.Demand("ObjectArn");
    auto const slash = arn.find('/');
    if (!arn.starts_with(prefix) || slash == std::string::npos)
        throw InvalidJob("The manifest's ObjectArn is invalid.");
    job.m_manifestBucket = arn.substr(prefix.size(), slash - prefix.size());
    job.m_manifestKey = arn.substr(slash + 1);
    job.m_manifestVersion = location.TextOf("ObjectVersionId").value_or("");
    job.m_manifestETag = location.Demand("ETag");
    std::erase(job.m_manifestETag, '"');
    if (spec.Demand("Format") != "S3BatchOperations_CSV_20180820")
        throw InvalidJob("The manifest's format is not supported.");
    for (auto const& member : spec.Child("Fields").Children("member"))
        job.m_fields.push_back(member.Text());
    for (char const* const needed : {"Bucket", "Key"})
        if (std::find(job.m_fields.begin(), job.m_fields.end(), needed) == job.m_fields.end())
            throw InvalidJob("The manifest's fields have to name Bucket and Key.");
}

SJob ReadJob(CXmlReader::CElement const& root)
{
    SJob job;
    auto const restore = root.Child("Operation").Child("S3InitiateRestoreObject");
    if (!restore)
        throw CStoreError(501, "NotImplemented", "Only S3InitiateRestoreObject is implemented.");
    std::string const tier = restore.TextOf("GlacierJobTier").value_or("STANDARD");
    if (tier != "BULK" && tier != "STANDARD")
        throw InvalidJob("The GlacierJobTier has to be BULK or STANDARD.");
    job.m_tier = tier == "BULK" ? "Bulk" : "Standard";
    if (restore.Child("ExpirationInDays"))
        job.m_days = restore.DemandNumber("ExpirationInDays");
    if (root.DemandNumber("Priority") > 0x7fffffff)
        throw InvalidJob("The priority is out of range.");
    if (!root.Demand("RoleArn").starts_with("arn:"))
        throw InvalidJob("The RoleArn is invalid.");
    root.Child("Report").Demand("Enabled");
    ReadManifest(root.Child("Manifest"), job);
    return job;
}

/// The fields of one line of CSV; a field may stand in double quotes.
std::vector<std::string> SplitRow(std::string_view line)
{
    std::vector<std::string> fields(1);
    bool isQuoted = false;
    for (char const c : line)
    {
        if (c == '"')
            isQuoted = !isQuoted;
        else if (c == ',' && !isQuoted)
            fields.emplace_back();
        else if (c != '\r')
            fields.back() += c;
    }
    return fields;
}

/// Asks for the restore of one row's object. False if it can't be asked for.
bool RunRow(SCall const& call, SJob const& job, std::vector<std::string> const& fields)
{
    std::map<std::string, std::string> row;
    for (std::size_t i = 0; i < std::min(fields.size(), job.m_fields.size()); ++i)
        row[job.m_fields[i]] = fields[i];
    SBucket* const bucket = call.m_store.FindBucket(row["Bucket"]);
    auto const key = PercentDecode(row["Key"], true);
    SVersion* const version = bucket == nullptr || !key ? nullptr : bucket->Find(*key, row["VersionId"]);
    if (version == nullptr)
        return false;
    try
    {
        AskForRestore(*version, job.m_days == 0 ? std::nullopt : std::optional(job.m_days), job.m_tier, call.m_now);
        return true;
    }
    catch (CStoreError const&)
    {
        return false;
    }
}

void RunJob(SCall const& call, SJob& job)
{
    job.m_hasRun = true;
    SBucket* const bucket = call.m_store.FindBucket(job.m_manifestBucket);
    SVersion const* const manifest =
        bucket == nullptr ? nullptr : bucket->Find(job.m_manifestKey, job.m_manifestVersion);
    if (manifest == nullptr || manifest->m_isDeleteMarker)
        job.m_failure = "ManifestNotFound";
    else if (manifest->m_etag != job.m_manifestETag)
        job.m_failure = "ManifestETagMismatch";
    if (!job.m_failure.empty())
        return;
    std::string_view rest = *manifest->m_data;
    while (!rest.empty())
    {
        auto const line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (!line.empty())
            ++(RunRow(call, job, SplitRow(line)) ? job.m_succeeded : job.m_failed);
    }
}

} // namespace

void CJobs::SetScript(std::vector<std::string> statuses)
{
    m_script = std::move(statuses);
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

SJob& CJobs::Add(std::string const& token, SJob job)
{
    job.m_id = "00000000-0000-4000-8000-" + std::to_string(100000000001 + m_jobs.size());
    job.m_script = m_script;
    m_idsByToken[token] = job.m_id;
    return m_jobs[job.m_id] = std::move(job);
}

SResponse CreateJob(SCall& call)
{
    DemandAccount(call);
    CXmlReader const body(call.m_request.m_body, "CreateJobRequest");
    std::string const token = body.Root().Demand("ClientRequestToken");
    if (token.empty() || token.size() > 64)
        throw InvalidJob("The ClientRequestToken is invalid.");
    SJob* job = call.m_jobs.FindByToken(token);
    if (job != nullptr && job->m_request != call.m_request.m_body)
        throw CStoreError(400, "IdempotencyException", "The client token was used with another request before.");
    if (job == nullptr)
    {
        SJob read = ReadJob(body.Root());
        read.m_request = call.m_request.m_body;
        job = &call.m_jobs.Add(token, std::move(read));
    }
    CXmlWriter xml("CreateJobResult", CONTROL_NAMESPACE);
    SResponse response;
    response.SetXml(xml.Text("JobId", job->m_id).Finish());
    return response;
}

SResponse DescribeJob(SCall& call)
{
    DemandAccount(call);
    SJob* const job = call.m_jobs.Find(call.Key());
    if (job == nullptr)
        throw CStoreError(404, "NotFoundException", "The specified job does not exist.");
    std::string status = job->m_script.empty() ? "Complete" : job->m_script[job->m_step];
    job->m_step = std::min(job->m_step + 1, std::max<std::size_t>(job->m_script.size(), 1) - 1);
    if (status == "Complete" && !job->m_hasRun)
        RunJob(call, *job);
    if (!job->m_failure.empty())
        status = "Failed";
    CXmlWriter xml("DescribeJobResult", CONTROL_NAMESPACE);
    xml.Open("Job").Text("JobId", job->m_id).Text("Status", status);
    if (!job->m_failure.empty())
        xml.Open("FailureReasons")
            .Open("member")
            .Text("FailureCode", job->m_failure)
            .Text("FailureReason", job->m_failure)
            .Close()
            .Close();
    xml.Open("ProgressSummary").Number("TotalNumberOfTasks", job->m_succeeded + job->m_failed);
    xml.Number("NumberOfTasksSucceeded", job->m_succeeded).Number("NumberOfTasksFailed", job->m_failed);
    SResponse response;
    response.SetXml(xml.Finish());
    return response;
}

} // namespace bucketry::simulator
