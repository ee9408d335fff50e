// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/records.h"
#include "s3wire/wire/request.h"

#include <string>

/// The operations on a bucket, on batch jobs (S3 Control) and on the caller's own account (STS).
namespace bucketry::s3wire::wire
{

/// Any status comes back: a refusal names region and time, too.
SWireRequest MakeHeadBucket(std::string const& bucket);

SWireRequest MakeGetBucketLocation(std::string const& bucket);
s3::SBucketRegion ReadGetBucketLocation(transport::SHttpResponse const& answer);

/// Where batch jobs are started, and for whom.
struct SControlAddress
{
    std::string m_endpoint;
    std::string m_accountId;
};

/// Requests for batch jobs are built first and addressed then: the account may have to be asked for.
void AddControlAddress(SWireRequest& request, SControlAddress const& address);

SWireRequest MakeCreateJob(s3::SCreateJobRequest const& job);
s3::SCreateJobResult ReadCreateJob(transport::SHttpResponse const& answer);

SWireRequest MakeDescribeJob(std::string const& jobId);
s3::SDescribeJobResult ReadDescribeJob(transport::SHttpResponse const& answer);

SWireRequest MakeGetCallerIdentity();
/// The account id.
std::string ReadGetCallerIdentity(transport::SHttpResponse const& answer);

} // namespace bucketry::s3wire::wire
