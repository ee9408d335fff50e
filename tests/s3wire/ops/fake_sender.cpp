#include "s3wire/ops/fake_sender.h"

#include "bucketry/s3wire/exception.h"
#include "s3wire/errors.h"

#include <atomic>
#include <stdexcept>

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

std::shared_ptr<CFakeSender> CFakeSender::Script(std::vector<SHttpResponse> answers)
{
    auto const next = std::make_shared<std::atomic<std::size_t>>(0);
    return std::make_shared<CFakeSender>(
        [answers = std::move(answers), next](SWireRequest const& request)
        {
            std::size_t const index = (*next)++;
            if (index >= answers.size())
            {
                throw std::logic_error("unexpected request: " + ToText(request));
            }
            return answers[index];
        });
}

SHttpResponse CFakeSender::Send(SWireRequest const& request)
{
    {
        std::lock_guard const lock(m_mutex);
        std::string const text = ToText(request);
        m_lines.push_back(text.substr(0, text.find('\n')));
    }
    SHttpResponse answer = m_handler(request);
    bool const hiddenError =
        request.m_needsBody && answer.m_status == 200 && (answer.m_text.empty() || RootName(answer.m_text) == "Error");
    if (!request.m_returnRefusals && (answer.m_status >= 300 || hiddenError))
    {
        throw CS3WireException(answer.m_text, static_cast<std::uint16_t>(hiddenError ? 500 : answer.m_status),
                               ReadErrorBody(answer.m_text).m_code);
    }
    if (request.m_sink != nullptr)
    {
        request.m_sink->Prepare(answer.m_status, answer.m_text.size());
        request.m_sink->Write(reinterpret_cast<unsigned char const*>(answer.m_text.data()), answer.m_text.size());
        answer.m_text.clear();
    }
    return answer;
}

std::vector<std::string> CFakeSender::Lines() const
{
    std::lock_guard const lock(m_mutex);
    return m_lines;
}

} // namespace bucketry::s3wire::tests
