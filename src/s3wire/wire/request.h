// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/transport/http.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bucketry::s3wire::wire
{

enum class EService
{
    S3,
    S3Control,
    Sts
};

/// One S3 operation before it meets an endpoint, a clock or a key: what a builder function returns.
/// Nothing in it is encoded or signed.
struct SWireRequest
{
    char const* m_operation = ""; ///< name of the S3 operation, for messages and counters
    transport::EHttpMethod m_method = transport::EHttpMethod::Get;
    EService m_service = EService::S3;
    std::string m_bucket; ///< bucket name, access point alias or ARN text; empty for service-level requests
    std::string m_key; ///< object key (S3) or path below the host without its leading "/" (other services); raw bytes
    std::vector<std::pair<std::string, std::string>> m_query; ///< raw names and values
    transport::CHeaders m_headers;
    transport::SBody m_body;
    transport::IBodySink* m_sink = nullptr;
    bool m_idempotent = false; ///< may be sent again when it is unknown whether the store has seen it
    /// Asked where a failure leaves that open, before the request is sent again or given up: true if the store has done
    /// the work. Then no answer is needed, and an empty one comes back. Never throws.
    std::function<bool()> m_isDone;
    /// Status 404 is a success where an attempt before has left open what the store did: it has removed what is gone.
    bool m_goneIsDone = false;
    bool m_contentMd5 = false; ///< the store demands Content-MD5
    /// What every store says when the work is done. A success without it counts as a failure of the store.
    bool m_needsBody = false;
    bool m_needsETag = false;
    /// Any status comes back as the answer, after the usual repeats and without redirects.
    bool m_returnRefusals = false;
    std::uint64_t m_expectedSize = 0; ///< bytes that the answer will bring, if known
    /// S3Control only: the control endpoint; empty for the one of the region.
    std::string m_endpoint;
};

/// Signs, sends, retries, counts. A status of 300 and above, and an <Error> as the body of a success, come out as
/// CS3WireException; no answer as web::http::http_exception. Blocks; any number of threads at once.
class IWireSender
{
public:
    virtual ~IWireSender() = default;
    virtual transport::SHttpResponse Send(SWireRequest const& request) = 0;
};

} // namespace bucketry::s3wire::wire
