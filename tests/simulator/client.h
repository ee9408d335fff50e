// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/simulator.h"

#include <map>
#include <string>
#include <vector>

namespace bucketry::simulator::tests
{

struct SAnswer
{
    int m_curlCode = 0; ///< 0 if a whole answer came
    long m_status = 0;
    std::map<std::string, std::string> m_headers; ///< names in lower case
    std::string m_body;

    std::string Header(std::string const& name) const;
    /// The text of the first element of that name.
    std::string Element(std::string const& name) const;
    /// The texts of all elements of that name, in order.
    std::vector<std::string> Elements(std::string const& name) const;
};

/// Sends requests that libcurl signs: a second reading of the signature.
class CClient
{
public:
    explicit CClient(CSimulator const& simulator) : m_endpoint(simulator.Endpoint()) {}

    using headers_t = std::vector<std::string>; ///< "Name: value"
    SAnswer Send(std::string const& method, std::string const& target, std::string const& body = {},
                 headers_t headers = {}) const;
    SAnswer Get(std::string const& target, headers_t headers = {}) const { return Send("GET", target, {}, headers); }
    SAnswer Put(std::string const& target, std::string const& body, headers_t headers = {}) const
    {
        return Send("PUT", target, body, headers);
    }
    SAnswer Post(std::string const& target, std::string const& body, headers_t headers = {}) const
    {
        return Send("POST", target, body, headers);
    }
    SAnswer Delete(std::string const& target, headers_t headers = {}) const
    {
        return Send("DELETE", target, {}, headers);
    }

    std::string m_endpoint;
    SAccessKey m_key;
    std::string m_region = "us-east-1";
    std::string m_service = "s3";
    bool m_signs = true;
};

/// Content-MD5 as a header line.
std::string Md5Header(std::string const& body);

/// Encoded for a query.
std::string Escaped(std::string const& text);

/// Sends bytes as they are and reads all that comes back until the connection ends or `enough` has come.
std::string RawExchange(std::uint16_t port, std::string const& bytes, std::string const& enough = "\r\n\r\n");

} // namespace bucketry::simulator::tests
