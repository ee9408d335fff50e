// SPDX-License-Identifier: Apache-2.0
#include "s3wire/wire/service_requests.h"

#include "bucketry/base/exceptions.h"
#include "s3wire/codec/encoding.h"
#include "s3wire/codec/xml_writer.h"
#include "s3wire/wire/object_requests.h"

namespace bucketry::s3wire::wire
{
namespace
{

using s3::SCreateJobRequest;
using transport::EHttpMethod;
using transport::SHttpResponse;

SWireRequest ControlRequest(char const* operation, EHttpMethod method, std::string const& path)
{
    SWireRequest request;
    request.m_operation = operation;
    request.m_method = method;
    request.m_service = EService::S3Control;
    request.m_key = path;
    request.m_idempotent = true; // the client request token makes it so for CreateJob
    request.m_needsBody = true;
    return request;
}

void AppendReport(std::string& xml, SCreateJobRequest const& job)
{
    AppendXmlParent(xml, "Report",
                    [&]
                    {
                        if (job.m_reportEnabled)
                        {
                            AppendXmlElement(xml, "Bucket", job.m_reportBucket);
                            AppendXmlElement(xml, "Format", job.m_reportFormat);
                        }
                        AppendXmlElement(xml, "Enabled", job.m_reportEnabled ? "true" : "false");
                        if (job.m_reportEnabled)
                        {
                            AppendXmlElement(xml, "Prefix", job.m_reportPrefix);
                            AppendXmlElement(xml, "ReportScope", job.m_reportScope);
                        }
                    });
}

void AppendManifest(std::string& xml, SCreateJobRequest const& job)
{
    AppendXmlParent(xml, "Manifest",
                    [&]
                    {
                        AppendXmlParent(xml, "Spec",
                                        [&]
                                        {
                                            AppendXmlElement(xml, "Format", job.m_manifestFormat);
                                            AppendXmlParent(xml, "Fields",
                                                            [&]
                                                            {
                                                                for (std::string const& field : job.m_manifestFields)
                                                                {
                                                                    AppendXmlElement(xml, "member", field);
                                                                }
                                                            });
                                        });
                        AppendXmlParent(xml, "Location",
                                        [&]
                                        {
                                            AppendXmlElement(xml, "ObjectArn", job.m_manifestObjectArn);
                                            if (job.m_manifestObjectVersionId)
                                            {
                                                AppendXmlElement(xml, "ObjectVersionId",
                                                                 *job.m_manifestObjectVersionId);
                                            }
                                            AppendXmlElement(xml, "ETag", job.m_manifestETag);
                                        });
                    });
}

void AppendJob(std::string& xml, SCreateJobRequest const& job)
{
    if (job.m_confirmationRequired)
    {
        AppendXmlElement(xml, "ConfirmationRequired", *job.m_confirmationRequired ? "true" : "false");
    }
    AppendXmlParent(xml, "Operation",
                    [&]
                    {
                        for (auto const& operation : job.m_operations)
                        {
                            operation->AppendXml(xml);
                        }
                    });
    AppendReport(xml, job);
    AppendXmlElement(xml, "ClientRequestToken", job.m_clientRequestToken);
    AppendManifest(xml, job);
    if (job.m_description)
    {
        AppendXmlElement(xml, "Description", *job.m_description);
    }
    AppendXmlElement(xml, "Priority", std::to_string(job.m_priority));
    AppendXmlElement(xml, "RoleArn", job.m_roleArn);
}

void ReadProgress(CXmlReader& reader, s3::SDescribeJobResult& job)
{
    std::string total;
    std::string succeeded;
    std::string failed;
    reader.ReadFields(
        {{"TotalNumberOfTasks", &total}, {"NumberOfTasksSucceeded", &succeeded}, {"NumberOfTasksFailed", &failed}});
    job.m_totalTasks = ParseNumber(total).value_or(0);
    job.m_succeededTasks = ParseNumber(succeeded).value_or(0);
    job.m_failedTasks = ParseNumber(failed).value_or(0);
}

void ReadFailureReasons(CXmlReader& reader, std::string& reasons)
{
    reader.ForEachChild(
        [&](std::string_view)
        {
            reasons.append(reasons.empty() ? "" : "\n");
            std::string_view separator;
            reader.ForEachChild(
                [&](std::string_view)
                {
                    reasons.append(separator).append(reader.Text());
                    separator = ": ";
                });
        });
}

} // namespace

SWireRequest MakeHeadBucket(std::string const& bucket)
{
    SWireRequest request = BucketRequest("HeadBucket", EHttpMethod::Head, bucket);
    request.m_returnRefusals = true;
    return request;
}

SWireRequest MakeGetBucketLocation(std::string const& bucket)
{
    SWireRequest request = BucketRequest("GetBucketLocation", EHttpMethod::Get, bucket);
    AddSubResource(request, "location");
    request.m_needsBody = true;
    return request;
}

s3::SBucketRegion ReadGetBucketLocation(SHttpResponse const& answer)
{
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "LocationConstraint");
    std::string const region = reader.Text();
    reader.Finish();
    return {region.empty() ? "us-east-1" : region == "EU" ? "eu-west-1" : region};
}

void AddControlAddress(SWireRequest& request, SControlAddress const& address)
{
    request.m_endpoint = address.m_endpoint;
    request.m_headers.Set("x-amz-account-id", address.m_accountId);
}

SWireRequest MakeCreateJob(SCreateJobRequest const& job)
{
    SWireRequest request = ControlRequest("CreateJob", EHttpMethod::Post, "v20180820/jobs");
    SetXmlBody(request,
               XmlDocument("CreateJobRequest", S3ControlNamespace, [&](std::string& xml) { AppendJob(xml, job); }));
    request.m_contentMd5 = false;
    return request;
}

s3::SCreateJobResult ReadCreateJob(SHttpResponse const& answer)
{
    return {TextAt(answer, {"CreateJobResult", "JobId"})};
}

SWireRequest MakeDescribeJob(std::string const& jobId)
{
    if (jobId.empty())
    {
        throw exc::CRuntimeExc("The id of the batch job is empty");
    }
    return ControlRequest("DescribeJob", EHttpMethod::Get, "v20180820/jobs/" + jobId);
}

s3::SDescribeJobResult ReadDescribeJob(SHttpResponse const& answer)
{
    s3::SDescribeJobResult job;
    CXmlReader reader(answer.m_text);
    ExpectRoot(reader, "DescribeJobResult");
    reader.ForEachChild(
        [&](std::string_view)
        {
            reader.ForEachChild(
                [&](std::string_view name)
                {
                    if (name == "ProgressSummary")
                    {
                        ReadProgress(reader, job);
                    }
                    else if (name == "FailureReasons")
                    {
                        ReadFailureReasons(reader, job.m_failureReasons);
                    }
                    else
                    {
                        reader.ReadInto({{"JobId", &job.m_jobId},
                                         {"JobArn", &job.m_jobArn},
                                         {"Description", &job.m_description},
                                         {"RoleArn", &job.m_roleArn},
                                         {"Status", &job.m_status}});
                    }
                });
        });
    reader.Finish();
    if (job.m_status.empty())
    {
        ThrowBadAnswer("no Status of the job");
    }
    return job;
}

SWireRequest MakeGetCallerIdentity()
{
    static constexpr std::string_view form = "Action=GetCallerIdentity&Version=2011-06-15";
    SWireRequest request;
    request.m_operation = "GetCallerIdentity";
    request.m_method = EHttpMethod::Post;
    request.m_service = EService::Sts;
    request.m_headers.Set("Content-Type", "application/x-www-form-urlencoded");
    request.m_body = {reinterpret_cast<unsigned char const*>(form.data()), form.size(), nullptr};
    request.m_idempotent = true;
    request.m_needsBody = true;
    return request;
}

std::string ReadGetCallerIdentity(SHttpResponse const& answer)
{
    return TextAt(answer, {"GetCallerIdentityResponse", "GetCallerIdentityResult", "Account"});
}

} // namespace bucketry::s3wire::wire

namespace bucketry::s3wire::s3
{

IS3BatchOperation::~IS3BatchOperation() = default;

SS3InitiateRestoreObject::SS3InitiateRestoreObject(std::uint32_t expirationInDays, bool hasExpiration,
                                                   std::optional<std::string> glacierJobTier)
    : m_expirationInDays(expirationInDays), m_hasExpiration(hasExpiration), m_glacierJobTier(std::move(glacierJobTier))
{
}

SS3InitiateRestoreObject::~SS3InitiateRestoreObject() = default;

void SS3InitiateRestoreObject::AppendXml(std::string& xml) const
{
    AppendXmlParent(xml, "S3InitiateRestoreObject",
                    [&]
                    {
                        if (m_hasExpiration)
                        {
                            AppendXmlElement(xml, "ExpirationInDays", std::to_string(m_expirationInDays));
                        }
                        if (m_glacierJobTier)
                        {
                            AppendXmlElement(xml, "GlacierJobTier", *m_glacierJobTier);
                        }
                    });
}

} // namespace bucketry::s3wire::s3
