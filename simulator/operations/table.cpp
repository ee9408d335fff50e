// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "operations/metadata.h"
#include "protocol/text.h"
#include "protocol/xml.h"

#include <map>

namespace bucketry::simulator
{

operation_t FindOperation(std::string const& name)
{
    static std::map<std::string_view, operation_t> const operations = {
        {"ListBuckets", ListBuckets},
        {"CreateBucket", CreateBucket},
        {"DeleteBucket", DeleteBucket},
        {"HeadBucket", HeadBucket},
        {"GetBucketLocation", GetBucketLocation},
        {"GetBucketVersioning", GetBucketVersioning},
        {"PutBucketVersioning", PutBucketVersioning},
        {"GetObjectLockConfiguration", GetObjectLockConfiguration},
        {"PutObjectLockConfiguration", PutObjectLockConfiguration},
        {"ListObjects", ListObjectsV1},
        {"ListObjectsV2", ListObjectsV2},
        {"ListObjectVersions", ListObjectVersions},
        {"ListMultipartUploads", ListMultipartUploads},
        {"PutObject", PutObject},
        {"GetObject", GetObject},
        {"HeadObject", GetObject},
        {"CopyObject", CopyObject},
        {"DeleteObject", DeleteObject},
        {"DeleteObjects", DeleteObjects},
        {"RestoreObject", RestoreObject},
        {"PutObjectRetention", PutObjectRetention},
        {"GetObjectRetention", GetObjectRetention},
        {"PutObjectLegalHold", PutObjectLegalHold},
        {"GetObjectLegalHold", GetObjectLegalHold},
        {"CreateMultipartUpload", CreateMultipartUpload},
        {"UploadPart", UploadPart},
        {"UploadPartCopy", UploadPartCopy},
        {"CompleteMultipartUpload", CompleteMultipartUpload},
        {"AbortMultipartUpload", AbortMultipartUpload},
        {"ListParts", ListParts},
        {"CreateJob", CreateJob},
        {"DescribeJob", DescribeJob},
        {"GetCallerIdentity", AnswerSts},
        {"GetMetadataToken", GetMetadataToken},
        {"GetMetadataRole", GetMetadataRole},
        {"GetMetadataCredentials", GetMetadataCredentials},
    };
    auto const found = operations.find(name);
    return found == operations.end() ? nullptr : found->second;
}

namespace
{

constexpr char const* StsNamespace = "https://sts.amazonaws.com/doc/2011-06-15/";

void FillIdentity(CXmlWriter& xml, SCall const& call)
{
    std::string const& account = call.m_options.m_accountId;
    xml.Open("GetCallerIdentityResult").Text("Arn", "arn:aws:iam::" + account + ":user/simulated");
    xml.Text("UserId", "AIDASIMULATED").Text("Account", account).Close();
}

void FillSession(CXmlWriter& xml, SCall const& call, std::string const& form)
{
    static constexpr std::string_view name = "&DurationSeconds=";
    auto const at = form.find(name);
    auto const from = at == std::string::npos ? form.size() : at + name.size();
    auto const asked = ParseNumber(form.substr(from, form.find('&', from) - from));
    SAccessKey const keys = call.m_metadata.NewKeys(std::chrono::seconds(asked.value_or(12 * 60 * 60)), call.m_now);
    xml.Open("GetSessionTokenResult").Open("Credentials").Text("AccessKeyId", keys.m_id);
    xml.Text("SecretAccessKey", keys.m_secret).Text("SessionToken", keys.m_sessionToken);
    xml.Text("Expiration", IsoSeconds(*keys.m_expires)).Close().Close();
}

} // namespace

SResponse AnswerSts(SCall& call)
{
    std::string const form = "&" + call.m_request.m_body + "&";
    bool const asksForIdentity = form.find("&Action=GetCallerIdentity&") != std::string::npos;
    if (!asksForIdentity && form.find("&Action=GetSessionToken&") == std::string::npos)
    {
        throw CStoreError(400, "InvalidAction", "Could not find operation for version 2011-06-15");
    }
    CXmlWriter xml(asksForIdentity ? "GetCallerIdentityResponse" : "GetSessionTokenResponse", StsNamespace);
    if (asksForIdentity)
    {
        FillIdentity(xml, call);
    }
    else
    {
        FillSession(xml, call, form);
    }
    xml.Open("ResponseMetadata").Text("RequestId", call.m_request.m_id);
    SResponse response;
    response.SetXml(xml.Finish());
    return response;
}

} // namespace bucketry::simulator
