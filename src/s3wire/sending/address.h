// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// Where a bucket is on the network, and how keys and queries are written there.
namespace bucketry::s3wire
{

/// The parts of an endpoint.
struct SEndpoint
{
    std::string m_scheme; ///< "http" or "https"
    std::string m_host;   ///< in lower case; an IPv6 address with its brackets
    std::string m_port;   ///< empty for the scheme's own
    std::string m_path;   ///< encoded, without "/" at its end

    bool IsTls() const { return m_scheme == "https"; }
    /// Whether the host is an IP address, which can't have a bucket's name before it.
    bool IsAddress() const;
    bool IsAmazon() const;
    /// As the Host header has it.
    std::string HostAndPort() const { return m_port.empty() ? m_host : m_host + ":" + m_port; }
    std::string Origin() const { return m_scheme + "://" + HostAndPort(); }
};

/// Reads "https://host[:port][/path]"; without a scheme it is https. Throws exc::CRuntimeExc that quotes any other
/// text.
SEndpoint ParseEndpoint(std::string const& text);

/// Throws exc::CRuntimeExc for a bucket name that no store takes.
void CheckBucketName(std::string const& bucket);

/// A place where requests go: what stands before the key.
struct SAddress
{
    std::string m_origin; ///< "https://host[:port]"
    std::string m_host;   ///< the Host header
    std::string m_path;   ///< encoded, without "/" at its end; object paths go on with "/KEY"
    std::string m_region; ///< to sign for
    bool m_isTls = true;
    bool m_isArn = false;
};

/// The address of a bucket name. In virtual-hosted style the name stands before the host, unless it is no single DNS
/// label or the host is an IP address.
SAddress AddressOfBucket(SEndpoint const& endpoint, std::string const& bucket, std::string const& region,
                         bool virtualHosted);
/// The address of an access point's ARN; without an endpoint that of the ARN's region. Throws exc::CRuntimeExc if the
/// ARN can't be served or the endpoint is an IP address.
SAddress AddressOfArn(SEndpoint const* endpoint, std::string const& arn);
/// The address of the batch jobs: `endpoint` may be null for that of the region.
SAddress AddressOfControl(SEndpoint const* endpoint, std::string const& account, std::string const& region);
/// The address that tells who a key belongs to: that of the region for a client of AWS, else the client's own.
SAddress AddressOfSts(SEndpoint const* endpoint, std::string const& region);

/// The same endpoint in another region, as far as its name tells a region.
SEndpoint InRegion(SEndpoint endpoint, std::string const& region);

/// Where a temporary redirect leads, with its whole path in place of what stands before the key. Throws
/// exc::CRuntimeExc if that is no URL, or one without TLS after one with it.
SAddress AddressOfRedirect(std::string const& location, SAddress const& from);

} // namespace bucketry::s3wire
