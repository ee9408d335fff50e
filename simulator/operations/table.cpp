#include <map>

#include "../protocol/xml.h"
#include "call.h"

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
        {"GetCallerIdentity", GetCallerIdentity},
        {"GetMetadataToken", GetMetadataToken},
        {"GetMetadataRole", GetMetadataRole},
        {"GetMetadataCredentials", GetMetadataCredentials},
    };
    auto const found = operations.find(name);
    return found == operations.end() ? nullptr : found->second;
}

SResponse GetCallerIdentity(SCall& call)
{
    std::string const form = "&" + call.m_request.m_body + "&";
    if (form.find("&Action=GetCallerIdentity&") == std::string::npos)
        throw CStoreError(400, "InvalidAction", "Could not find operation for version 2011-06-15");
    std::string const& account = call.m_options.m_accountId;
    CXmlWriter xml("GetCallerIdentityResponse", "https://sts.amazonaws.com/doc/2011-06-15/");
    xml.Open("GetCallerIdentityResult").Text("Arn", "arn:aws:iam::" + account + ":user/simulated");
    xml.Text("UserId", "AIDASIMULATED").Text("Account", account).Close();
    xml.Open("ResponseMetadata").Text("RequestId", call.m_request.m_id);
    SResponse response;
    response.SetXml(xml.Finish());
    return response;
}

} // namespace bucketry::simulator
