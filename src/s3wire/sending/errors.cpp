// SPDX-License-Identifier: Apache-2.0
#include "s3wire/sending/errors.h"

#include "bucketry/base/http.h"
#include "bucketry/base/text.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/codec/xml_reader.h"

namespace bucketry::s3wire
{

namespace
{

void ReadErrorElement(CXmlReader& reader, SStoreError& error)
{
    reader.ReadFields({{"Code", &error.m_code},
                       {"Message", &error.m_message},
                       {"Region", &error.m_region},
                       {"Endpoint", &error.m_endpoint},
                       {"RequestId", &error.m_requestId}});
}

SStoreError ReadDocument(std::string_view body)
{
    SStoreError error;
    CXmlReader reader(body);
    if (reader.Name() == "Error")
    {
        ReadErrorElement(reader, error);
    }
    else if (reader.Name() == "ErrorResponse")
    {
        reader.ForEachChild(
            [&](std::string_view name)
            {
                if (name == "Error")
                {
                    ReadErrorElement(reader, error);
                }
                else
                {
                    reader.ReadInto({{"RequestId", &error.m_requestId}, {"RequestID", &error.m_requestId}});
                }
            });
    }
    return error;
}

} // namespace

SStoreError ReadErrorBody(std::string_view body)
{
    std::string_view const root = RootName(body);
    if (root != "Error" && root != "ErrorResponse")
    {
        return {};
    }
    try
    {
        return ReadDocument(body);
    }
    catch (web::http::http_exception const&)
    {
        return {};
    }
}

std::string_view RootName(std::string_view xml)
{
    for (std::size_t at = xml.find('<'); at != std::string_view::npos; at = xml.find('<', at))
    {
        std::string_view const rest = xml.substr(at + 1);
        if (rest.starts_with('?') || rest.starts_with('!'))
        {
            at = xml.find(rest.starts_with("!--") ? "-->" : ">", at);
            continue;
        }
        std::string_view const name = rest.substr(0, rest.find_first_of(" \t\r\n/>"));
        std::size_t const colon = name.find(':');
        return colon == std::string_view::npos ? name : name.substr(colon + 1);
    }
    return {};
}

unsigned StatusOfErrorCode(std::string_view code)
{
    return code == "AccessDenied" ? 403 : code == "SlowDown" ? 503 : code == "InternalError" ? 500 : 400;
}

std::string Describe(wire::SWireRequest const& request)
{
    std::string text = request.m_operation;
    text.append(" of [").append(request.m_bucket).append(request.m_key.empty() ? "" : "/").append(request.m_key);
    return text.append("]");
}

std::string Describe(SEffort const& effort)
{
    return util::str_format(effort.m_attempts == 1 ? "%1 attempt in %2 ms" : "%1 attempts in %2 ms", effort.m_attempts,
                            effort.m_elapsed.count());
}

void RaiseRefusal(wire::SWireRequest const& request, transport::SHttpResponse const& answer, unsigned status,
                  SStoreError const& error, SEffort const& effort, std::string const& note)
{
    std::string message = util::str_format("%1 failed with status %2", Describe(request), status);
    if (!error.m_code.empty() || !error.m_message.empty())
    {
        message += util::str_format(", %1: %2", error.m_code, error.m_message);
    }
    std::string_view const headerId = answer.m_headers.Get("x-amz-request-id");
    std::string_view const requestId = headerId.empty() ? std::string_view(error.m_requestId) : headerId;
    message += util::str_format(" (request id [%1], host id [%2], %3", requestId, answer.m_headers.Get("x-amz-id-2"),
                                Describe(effort));
    message += note.empty() ? ")" : "; " + note + ")";
    throw CS3WireException(message, static_cast<std::uint16_t>(status), error.m_code);
}

} // namespace bucketry::s3wire
