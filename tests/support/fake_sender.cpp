// SPDX-License-Identifier: Apache-2.0
#include "support/fake_sender.h"

#include "bucketry/s3wire/exception.h"
#include "s3wire/sending/errors.h"

#include <atomic>
#include <stdexcept>

namespace bucketry::s3wire::tests
{

using transport::SHttpResponse;
using wire::SWireRequest;

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
