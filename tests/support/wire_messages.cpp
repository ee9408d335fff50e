// SPDX-License-Identifier: Apache-2.0
#include "support/wire_messages.h"

namespace bucketry::s3wire::tests
{

using transport::SHttpResponse;
using wire::SWireRequest;

SHttpResponse Answer(unsigned status, std::string body,
                     std::initializer_list<std::pair<char const*, char const*>> headers)
{
    SHttpResponse answer;
    answer.m_status = status;
    answer.m_text = std::move(body);
    for (auto const& [name, value] : headers)
    {
        answer.m_headers.Add(name, value);
    }
    return answer;
}

std::string ToText(SWireRequest const& request)
{
    std::string text = std::string(transport::ToText(request.m_method)) + " " + request.m_bucket + "/" + request.m_key;
    char separator = '?';
    for (auto const& [name, value] : request.m_query)
    {
        text += separator + name + (value.empty() ? "" : "=" + value);
        separator = '&';
    }
    for (auto const [name, value] : request.m_headers)
    {
        text.append("\n").append(name).append(": ").append(value);
    }
    text += request.m_contentMd5 ? "\n[md5]" : "";
    if (request.m_body.m_size != 0)
    {
        text.append("\n\n").append(reinterpret_cast<char const*>(request.m_body.m_data), request.m_body.m_size);
    }
    return text;
}

} // namespace bucketry::s3wire::tests
