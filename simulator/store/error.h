// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace bucketry::simulator
{

/// Names with values, in order.
using pairs_t = std::vector<std::pair<std::string, std::string>>;

/// A refusal in the store's words: the status, the code, and what else the error document and the headers say.
class CStoreError : public std::exception
{
public:
    CStoreError(unsigned status, std::string code, std::string message)
        : m_status(status), m_code(std::move(code)), m_message(std::move(message))
    {
    }

    /// Adds an element to the error document.
    CStoreError&& With(std::string element, std::string value) &&
    {
        m_elements.emplace_back(std::move(element), std::move(value));
        return std::move(*this);
    }
    /// Adds a header to the answer.
    CStoreError&& Header(std::string name, std::string value) &&
    {
        m_headers.emplace_back(std::move(name), std::move(value));
        return std::move(*this);
    }

    char const* what() const noexcept override { return m_message.c_str(); }

    unsigned m_status;
    std::string m_code;
    std::string m_message;
    pairs_t m_elements;
    pairs_t m_headers;
    bool m_hasBody = true;
    bool m_isWrapped = false; ///< the error stands inside an ErrorResponse, as with services other than S3
    bool m_isBare = false;    ///< the document names neither the resource nor the request
};

} // namespace bucketry::simulator
