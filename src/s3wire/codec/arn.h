// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace bucketry::s3wire
{

/// The address of an access point, on S3 or on Outposts:
/// arn:PARTITION:SERVICE:REGION:ACCOUNT:accesspoint/NAME or ...:outpost/ID/accesspoint/NAME, where ":" may stand for
/// "/". A plain value.
class CS3Arn
{
public:
    /// Never throws for a text that is no ARN: then `m_isArn` is false and all else is empty.
    explicit CS3Arn(std::string const& text);

    /// Throws exc::CRuntimeExc that quotes the text unless it is an access point ARN with region and account.
    void CheckIsValidS3ArnExc() const;
    /// Whether it names an access point on Outposts.
    bool IsOutpostArn() const;
    std::string const& GetAccessPointName() const { return m_accessPoint; }
    /// Empty for an access point on S3.
    std::string const& GetOutpostId() const { return m_outpost; }
    /// The text as it was given.
    std::string const& GetText() const { return m_text; }

    bool m_isArn = false;
    std::string m_partition;
    std::string m_service;
    std::string m_region;
    std::string m_account;

private:
    void ReadResource(std::string const& resource);

    std::string m_text;
    std::string m_outpost;
    std::string m_accessPoint;
    bool m_knownResource = false;
};

/// Where the store of an ARN is reached.
class CS3EndpointCreator
{
public:
    /// The host that serves the ARN's region and partition, without scheme.
    static std::string RegionHost(CS3Arn const& arn);
    /// What stands before that host, or before a custom endpoint's: "NAME-ACCOUNT." or "NAME-ACCOUNT.OUTPOST.".
    static std::string HostPrefix(CS3Arn const& arn);
    /// The endpoint of a valid ARN: "https://", prefix and host.
    static std::string CreateFromArnWithPrefix(CS3Arn const& arn);
};

} // namespace bucketry::s3wire
