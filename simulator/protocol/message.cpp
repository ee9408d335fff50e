// SPDX-License-Identifier: Apache-2.0
#include "protocol/message.h"

#include "protocol/text.h"
#include "protocol/xml.h"

namespace bucketry::simulator
{

void SRequest::ParseTarget()
{
    m_hasValidTarget = m_target.starts_with('/');
    auto const question = m_target.find('?');
    m_path = m_target.substr(0, question);
    std::string_view rest =
        question == std::string::npos ? std::string_view() : std::string_view(m_target).substr(question + 1);
    while (!rest.empty())
    {
        auto const item = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), item.size() + 1));
        if (item.empty())
        {
            continue;
        }
        auto const equals = item.find('=');
        auto name = PercentDecode(item.substr(0, equals), true);
        auto value =
            PercentDecode(equals == std::string_view::npos ? std::string_view() : item.substr(equals + 1), true);
        m_hasValidTarget = m_hasValidTarget && name && value;
        if (name && value)
        {
            m_query.emplace_back(std::move(*name), std::move(*value));
        }
    }
}

std::string SRequest::Header(std::string_view name) const
{
    std::string joined;
    for (auto const& [header, value] : m_headers)
    {
        if (header == name)
        {
            joined += (joined.empty() ? "" : ",") + value;
        }
    }
    return joined;
}

bool SRequest::HasHeader(std::string_view name) const
{
    for (auto const& header : m_headers)
    {
        if (header.first == name)
        {
            return true;
        }
    }
    return false;
}

std::optional<std::string> SRequest::Query(std::string_view name) const
{
    for (auto const& [parameter, value] : m_query)
    {
        if (parameter == name)
        {
            return value;
        }
    }
    return std::nullopt;
}

std::string SRequest::QueryOr(std::string_view name, std::string fallback) const
{
    return Query(name).value_or(std::move(fallback));
}

std::string_view SResponse::Body() const
{
    return m_blob ? std::string_view(*m_blob).substr(m_offset, m_length) : std::string_view(m_body);
}

void SResponse::SetXml(std::string document)
{
    m_body = std::move(document);
    Add("Content-Type", "application/xml");
}

SResponse MakeErrorResponse(CStoreError const& error, SRequest const& request)
{
    SResponse response{.m_status = error.m_status, .m_headers = error.m_headers, .m_errorCode = error.m_code};
    if (!error.m_hasBody || request.m_method == "HEAD")
    {
        return response;
    }
    CXmlWriter xml(error.m_isWrapped ? "ErrorResponse" : "Error");
    if (error.m_isWrapped)
    {
        xml.Open("Error").Text("Type", error.m_status < 500 ? "Sender" : "Receiver");
    }
    xml.Text("Code", error.m_code).Text("Message", error.m_message);
    for (auto const& [name, value] : error.m_elements)
    {
        xml.Text(name, value);
    }
    if (error.m_isWrapped)
    {
        xml.Close();
    }
    else if (!error.m_isBare)
    {
        xml.Text("Resource", request.m_path).Text("HostId", HostId);
    }
    if (!error.m_isBare)
    {
        xml.Text("RequestId", request.m_id);
    }
    response.SetXml(xml.Finish());
    return response;
}

} // namespace bucketry::simulator
