// SPDX-License-Identifier: Apache-2.0
#include "s3wire/codec/arn.h"

#include "bucketry/base/exceptions.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace bucketry::s3wire
{
namespace
{

/// Letters, digits and hyphens: what may become part of a host name.
bool IsHostLabel(std::string_view text)
{
    return !text.empty() &&
        std::all_of(text.begin(), text.end(),
                    [](char c)
                    { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-'; });
}

std::vector<std::string> SplitResource(std::string const& resource)
{
    std::vector<std::string> parts(1);
    for (char const c : resource)
    {
        if (c == '/' || c == ':')
        {
            parts.emplace_back();
        }
        else
        {
            parts.back().push_back(c);
        }
    }
    return parts;
}

} // namespace

CS3Arn::CS3Arn(std::string const& text) : m_text(text)
{
    std::array<std::string, 5> fields; // arn, partition, service, region, account
    std::size_t position = 0;
    for (std::string& field : fields)
    {
        std::size_t const colon = text.find(':', position);
        if (colon == std::string::npos)
        {
            return;
        }
        field = text.substr(position, colon - position);
        position = colon + 1;
    }
    if (fields[0] != "arn")
    {
        return;
    }
    m_isArn = true;
    m_partition = fields[1];
    m_service = fields[2];
    m_region = fields[3];
    m_account = fields[4];
    ReadResource(text.substr(position));
}

void CS3Arn::ReadResource(std::string const& resource)
{
    std::vector<std::string> const parts = SplitResource(resource);
    bool const onS3 = m_service == "s3" && parts.size() == 2 && parts[0] == "accesspoint";
    bool const onOutpost =
        m_service == "s3-outposts" && parts.size() == 4 && parts[0] == "outpost" && parts[2] == "accesspoint";
    m_knownResource = onS3 || onOutpost;
    if (m_knownResource)
    {
        m_accessPoint = parts.back();
        m_outpost = onOutpost ? parts[1] : "";
    }
}

void CS3Arn::CheckIsValidS3ArnExc() const
{
    auto const check = [this](bool condition, char const* what)
    {
        if (!condition)
        {
            throw exc::CRuntimeExc("Invalid S3 ARN [%1]: %2", m_text, what);
        }
    };
    check(m_isArn, "not an ARN");
    check(m_partition == "aws" || m_partition.starts_with("aws-"), "unknown partition");
    check(m_service == "s3" || m_service == "s3-outposts", "not a service that holds objects");
    check(m_knownResource, "not an access point");
    check(IsHostLabel(m_region), "no region");
    check(IsHostLabel(m_account), "no account");
    check(IsHostLabel(m_accessPoint), "malformed access point name");
    check(m_outpost.empty() ? m_service == "s3" : IsHostLabel(m_outpost), "malformed outpost id");
}

bool CS3Arn::IsOutpostArn() const
{
    return m_isArn && m_service == "s3-outposts";
}

std::string CS3EndpointCreator::RegionHost(CS3Arn const& arn)
{
    std::string const service = arn.IsOutpostArn() ? "s3-outposts." : "s3-accesspoint.";
    return service + arn.m_region + (arn.m_partition == "aws-cn" ? ".amazonaws.com.cn" : ".amazonaws.com");
}

std::string CS3EndpointCreator::HostPrefix(CS3Arn const& arn)
{
    std::string const accessPoint = arn.GetAccessPointName() + "-" + arn.m_account + ".";
    return arn.IsOutpostArn() ? accessPoint + arn.GetOutpostId() + "." : accessPoint;
}

std::string CS3EndpointCreator::CreateFromArnWithPrefix(CS3Arn const& arn)
{
    return "https://" + HostPrefix(arn) + RegionHost(arn);
}

} // namespace bucketry::s3wire
