// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/transport/http.h"
#include "s3wire/wire/request.h"

#include <chrono>
#include <string>
#include <string_view>

namespace bucketry::s3wire
{

/// What the body of a refusal says; each field is empty where the body has no such element.
struct SStoreError
{
    std::string m_code;
    std::string m_message;
    std::string m_region;
    std::string m_endpoint;
    std::string m_requestId;
};

/// Reads <Error> and <ErrorResponse> bodies. Any other text, such as a proxy's page, gives an empty record.
SStoreError ReadErrorBody(std::string_view body);

/// The local name of the root element, found without reading the document; empty if there is none.
std::string_view RootName(std::string_view xml);

/// The status that an error code stands for where it comes without one, inside the answer of a multi-object delete.
unsigned StatusOfErrorCode(std::string_view code);

/// How often and how long was tried.
struct SEffort
{
    unsigned m_attempts = 1;
    std::chrono::milliseconds m_elapsed{0};
};

/// Raises a refusal: the one place where a status becomes a CS3WireException.
[[noreturn]] void RaiseRefusal(wire::SWireRequest const& request, transport::SHttpResponse const& answer,
                               unsigned status, SStoreError const& error, SEffort const& effort,
                               std::string const& note);

/// "PutObject of [bucket/key]"
std::string Describe(wire::SWireRequest const& request);
/// "2 attempts in 1500 ms"
std::string Describe(SEffort const& effort);

} // namespace bucketry::s3wire
