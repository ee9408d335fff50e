// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/bucket.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace bucketry::simulator
{

/// What every answer names as x-amz-id-2.
constexpr char HostId[] = "bucketry-simulator";

/// One HTTP request as it came over the wire, with what is read from it at once.
struct SRequest
{
    std::string m_method;
    std::string m_target; ///< as sent
    pairs_t m_headers;    ///< names in lower case, in order
    std::string m_body;
    bool m_isTls = false;
    std::string m_id; ///< that the answer names

    std::string m_path; ///< of the target, as sent
    pairs_t m_query;    ///< decoded, in order
    bool m_hasValidTarget = true;

    /// Splits the target as far as it can be read.
    void ParseTarget();

    /// Empty if it is missing; several lines of one name are joined with a comma.
    std::string Header(std::string_view name) const;
    /// Whether there is such a header, be it empty.
    bool HasHeader(std::string_view name) const;
    /// The first value of that name; nothing if there is none.
    std::optional<std::string> Query(std::string_view name) const;
    /// The same with a value for its absence.
    std::string QueryOr(std::string_view name, std::string fallback = {}) const;
};

/// One answer, without the headers that all answers have.
struct SResponse
{
    unsigned m_status = 200;
    pairs_t m_headers{};
    std::string m_body{};
    blob_t m_blob{}; ///< if set, the body is `m_length` bytes of it from `m_offset` on
    std::uint64_t m_offset = 0;
    std::uint64_t m_length = 0;
    bool m_isHead = false;     ///< length announced, no body sent
    std::string m_errorCode{}; ///< for the log

    /// Adds a header.
    void Add(std::string name, std::string value) { m_headers.emplace_back(std::move(name), std::move(value)); }
    /// Adds a header that has a value.
    void AddUnlessEmpty(std::string name, std::string value)
    {
        if (!value.empty())
        {
            Add(std::move(name), std::move(value));
        }
    }
    /// The bytes to send, from the blob if there is one.
    std::string_view Body() const;
    /// Makes the document the body, with its Content-Type.
    void SetXml(std::string document);
};

/// The error document and headers of a refusal. HEAD gets no body.
SResponse MakeErrorResponse(CStoreError const& error, SRequest const& request);

} // namespace bucketry::simulator
