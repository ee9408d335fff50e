// SPDX-License-Identifier: Apache-2.0
#include "s3wire/sending/address.h"

#include "bucketry/base/exceptions.h"
#include "s3wire/codec/arn.h"
#include "s3wire/codec/encoding.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include <algorithm>

namespace bucketry::s3wire
{

namespace
{

bool IsLowerOrDigit(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

/// One DNS label of 3 to 63 characters: what the wildcard certificate of a store covers.
bool IsDnsLabel(std::string_view bucket)
{
    return bucket.size() >= 3 && bucket.size() <= 63 && IsLowerOrDigit(bucket.front()) &&
        IsLowerOrDigit(bucket.back()) &&
        std::all_of(bucket.begin(), bucket.end(), [](char c) { return IsLowerOrDigit(c) || c == '-'; });
}

std::string const& OrDefault(std::string const& region)
{
    static std::string const usual = "us-east-1";
    return region.empty() ? usual : region;
}

/// The host of an AWS service in a region.
SEndpoint AmazonEndpoint(std::string const& service, std::string const& region)
{
    std::string const suffix = region.starts_with("cn-") ? ".amazonaws.com.cn" : ".amazonaws.com";
    return {"https", service + "." + OrDefault(region) + suffix, "", ""};
}

SAddress AddressOf(SEndpoint const& endpoint, std::string const& region)
{
    return {endpoint.Origin(), endpoint.HostAndPort(), endpoint.m_path, region, endpoint.IsTls(), false};
}

} // namespace

bool SEndpoint::IsAddress() const
{
    bool const isNumber =
        std::all_of(m_host.begin(), m_host.end(), [](char c) { return (c >= '0' && c <= '9') || c == '.'; });
    return isNumber || m_host.starts_with('[');
}

bool SEndpoint::IsAmazon() const
{
    return m_host.ends_with(".amazonaws.com") || m_host.ends_with(".amazonaws.com.cn");
}

SEndpoint ParseEndpoint(std::string const& text)
{
    std::string const url = text.find("://") == std::string::npos ? "https://" + text : text;
    auto const parsed = boost::urls::parse_uri(url);
    if (!parsed || parsed->host().empty() || parsed->has_userinfo() || parsed->has_query() || parsed->has_fragment())
    {
        throw exc::CRuntimeExc("[%1] is no endpoint of a store: expected https://host[:port].", text);
    }
    SEndpoint endpoint{ToLower(parsed->scheme()), ToLower(parsed->encoded_host()), std::string(parsed->port()),
                       std::string(parsed->encoded_path())};
    if (endpoint.m_scheme != "http" && endpoint.m_scheme != "https")
    {
        throw exc::CRuntimeExc("The endpoint [%1] has the unknown scheme [%2]: only http and https are served.", text,
                               endpoint.m_scheme);
    }
    if (endpoint.m_port == (endpoint.IsTls() ? "443" : "80"))
    {
        endpoint.m_port.clear();
    }
    while (endpoint.m_path.ends_with('/'))
    {
        endpoint.m_path.pop_back();
    }
    return endpoint;
}

void CheckBucketName(std::string const& bucket)
{
    // The rules of the stores differ; this is what all of them agree on. A colon separates a gateway's tenant.
    auto const isAllowed = [](char c)
    { return IsLowerOrDigit(c) || (c >= 'A' && c <= 'Z') || c == '-' || c == '.' || c == '_' || c == ':'; };
    if (bucket.size() < 3 || bucket.size() > 255 || !std::all_of(bucket.begin(), bucket.end(), isAllowed) ||
        bucket.find("..") != std::string::npos)
    {
        throw exc::CRuntimeExc("[%1] is no name of a bucket.", bucket);
    }
}

SAddress AddressOfBucket(SEndpoint const& endpoint, std::string const& bucket, std::string const& region,
                         bool virtualHosted)
{
    if (virtualHosted && IsDnsLabel(bucket) && !endpoint.IsAddress())
    {
        SEndpoint hosted = endpoint;
        hosted.m_host.insert(0, bucket + ".");
        return AddressOf(hosted, region);
    }
    SAddress address = AddressOf(endpoint, region);
    address.m_path.append("/").append(EncodePath(bucket));
    return address;
}

SAddress AddressOfArn(SEndpoint const* endpoint, std::string const& arn)
{
    CS3Arn const parsed(arn);
    parsed.CheckIsValidS3ArnExc();
    SEndpoint hosted = endpoint ? *endpoint : ParseEndpoint(CS3EndpointCreator::CreateFromArnWithPrefix(parsed));
    if (endpoint)
    {
        if (endpoint->IsAddress())
        {
            throw exc::CRuntimeExc("[%1] can't be reached at [%2]: an access point needs a host name.", arn,
                                   endpoint->Origin());
        }
        hosted.m_host.insert(0, CS3EndpointCreator::HostPrefix(parsed));
    }
    SAddress address = AddressOf(hosted, parsed.m_region);
    address.m_isArn = true;
    return address;
}

SAddress AddressOfControl(SEndpoint const* endpoint, std::string const& account, std::string const& region)
{
    SEndpoint hosted = endpoint ? *endpoint : AmazonEndpoint("s3-control", region);
    bool const isLocal = hosted.IsAddress() || hosted.m_host == "localhost";
    if (!isLocal && !account.empty() && !hosted.m_host.starts_with(account + "."))
    {
        hosted.m_host.insert(0, account + ".");
    }
    return AddressOf(hosted, region);
}

SAddress AddressOfSts(SEndpoint const* endpoint, std::string const& region)
{
    bool const own = endpoint && !endpoint->IsAmazon();
    return AddressOf(own ? *endpoint : AmazonEndpoint("sts", region), region);
}

SEndpoint InRegion(SEndpoint endpoint, std::string const& region)
{
    if (endpoint.IsAmazon() && endpoint.m_host.starts_with("s3."))
    {
        bool const dualStack = endpoint.m_host.starts_with("s3.dualstack.");
        endpoint.m_host = AmazonEndpoint(dualStack ? "s3.dualstack" : "s3", region).m_host;
    }
    return endpoint;
}

SAddress AddressOfRedirect(std::string const& location, SAddress const& from)
{
    SEndpoint const target = ParseEndpoint(location.substr(0, location.find_first_of("?#")));
    if (from.m_isTls && !target.IsTls())
    {
        throw exc::CRuntimeExc("The store sends us on from [%1] to [%2], which is not encrypted.", from.m_origin,
                               location);
    }
    return AddressOf(target, from.m_region);
}

} // namespace bucketry::s3wire
