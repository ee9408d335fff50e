// SPDX-License-Identifier: Apache-2.0
#include "s3wire/sending/sender.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/base/logging.h"
#include "s3wire/codec/encoding.h"
#include "s3wire/codec/http_date.h"
#include "s3wire/counters/counters.h"
#include "s3wire/sending/corrections.h"
#include "s3wire/sending/errors.h"
#include "s3wire/transport/failure.h"

#include <algorithm>
#include <chrono>

namespace bucketry::s3wire
{

namespace
{

using transport::EHttpMethod;
using transport::SHttpRequest;
using transport::SHttpResponse;
using wire::EService;
using wire::SWireRequest;

constexpr std::size_t MaxKeySize = 1024;
/// Over TLS larger bodies go unsigned: TLS guards them already, and hashing costs as much again.
constexpr std::uint64_t MaxSignedOverTls = 1u << 20;
constexpr std::string_view UnsignedPayload = "UNSIGNED-PAYLOAD";
constexpr std::string_view HashOfNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
/// Tells the caller's own failures from those of the transport.
class CWatchedSink final : public transport::IBodySink
{
public:
    explicit CWatchedSink(transport::IBodySink* inner) : m_inner(inner) {}

    bool HasThrown() const { return m_inside; }
    transport::IBodySink* Get() { return m_inner ? this : nullptr; }

    void Prepare(unsigned status, std::optional<std::uint64_t> contentLength) override
    {
        m_inside = true;
        m_inner->Prepare(status, contentLength);
        m_inside = false;
    }
    void Write(unsigned char const* data, std::size_t size) override
    {
        m_inside = true;
        m_inner->Write(data, size);
        m_inside = false;
    }

private:
    transport::IBodySink* m_inner;
    bool m_inside = false;
};

ERepeat RepeatAfter(transport::EFailure failure)
{
    switch (failure)
    {
    case transport::EFailure::Settings:
        return ERepeat::Never;
    case transport::EFailure::NotSent:
        return ERepeat::Always;
    case transport::EFailure::Lost:
        break;
    }
    return ERepeat::IfIdempotent;
}

void CheckRequest(SWireRequest const& request)
{
    if (request.m_service != EService::S3)
    {
        return;
    }
    if (!IsArn(request.m_bucket))
    {
        CheckBucketName(request.m_bucket);
    }
    if (request.m_key.size() > MaxKeySize)
    {
        throw exc::CRuntimeExc("The key [%1] has %2 bytes: no store takes more than %3.", request.m_key,
                               request.m_key.size(), MaxKeySize);
    }
}

s3::SS3Stats OneRequest(EHttpMethod method)
{
    switch (method)
    {
    case EHttpMethod::Get:
        return {.m_getRequests = 1};
    case EHttpMethod::Head:
        return {.m_headRequests = 1};
    case EHttpMethod::Put:
        return {.m_putRequests = 1};
    case EHttpMethod::Post:
        return {.m_postRequests = 1};
    case EHttpMethod::Delete:
        break;
    }
    return {.m_deleteRequests = 1};
}

} // namespace

/// One request until its end.
class CWireSender::CSending
{
public:
    CSending(CWireSender& sender, SWireRequest const& request);

    SHttpResponse Run();

private:
    SHttpResponse Exchange();
    SHttpRequest Sign() const;
    std::string_view Service() const;

    unsigned Judge(SHttpResponse const& answer, SStoreError& error) const;
    void Succeed();
    bool Correct(SHttpResponse const& answer, unsigned status, SStoreError const& error);
    bool GoesOn(ERepeat repeat, std::optional<std::chrono::milliseconds> retryAfter);
    bool Repeats(ERepeat repeat, std::optional<std::chrono::milliseconds> retryAfter);
    SEffort Effort() const;

    CWireSender& m_sender;
    SWireRequest const& m_request;
    CCorrections m_corrections;
    std::string m_query;
    std::string m_payloadHash;
    CWatchedSink m_sink;
    unsigned m_attempts = 0;
    bool m_mayBeDone = false; ///< an attempt has failed in a way that leaves open what the store did
    bool m_done = false;      ///< the store did the work, only its answer is missing
    std::chrono::steady_clock::time_point const m_start = std::chrono::steady_clock::now();
};

CWireSender::CSending::CSending(CWireSender& sender, SWireRequest const& request)
    : m_sender(sender),
      m_request(request),
      m_corrections(request, *sender.m_store, *sender.m_auth, sender.m_surroundings),
      m_query(MakeQuery(request.m_query)),
      m_sink(request.m_sink)
{
    transport::SBody const& body = request.m_body;
    if (body.m_size == 0)
    {
        m_payloadHash = HashOfNothing;
    }
    else
    {
        bool const isUnsigned = m_corrections.Outgoing().m_address.m_isTls && body.m_size > MaxSignedOverTls;
        m_payloadHash = isUnsigned ? std::string(UnsignedPayload) : ToHex(Sha256(body.m_data, body.m_size));
    }
}

std::string_view CWireSender::CSending::Service() const
{
    switch (m_request.m_service)
    {
    case EService::S3:
        return m_sender.m_auth->ServiceName();
    case EService::S3Control:
        return "s3";
    case EService::Sts:
        break;
    }
    return "sts";
}

SHttpRequest CWireSender::CSending::Sign() const
{
    SOutgoing const& next = m_corrections.Outgoing();
    SHttpRequest http;
    http.m_method = m_request.m_method;
    http.m_url.reserve(next.m_address.m_origin.size() + next.m_path.size() + m_query.size() + 1);
    http.m_url.append(next.m_address.m_origin).append(next.m_path).append(m_query.empty() ? "" : "?").append(m_query);
    http.m_body = m_request.m_body;
    http.m_expectedSize = m_request.m_expectedSize;
    http.m_isRepeatable = m_request.m_idempotent && !m_request.m_isDone && !m_request.m_goneIsDone;
    http.m_headers = m_request.m_headers;

    SSigningScope const scope{ToAmzDate(next.m_signedAt), next.m_address.m_region, Service()};
    transport::CHeaders& headers = http.m_headers;
    headers.Add("Host", next.m_address.m_host);
    headers.Add("x-amz-date", scope.m_amzDate);
    if (m_request.m_service != EService::Sts)
    {
        headers.Add("x-amz-content-sha256", m_payloadHash);
    }
    if (!next.m_keys->SessionToken().empty())
    {
        headers.Add("x-amz-security-token", next.m_keys->SessionToken());
    }
    if (!next.m_md5.empty())
    {
        headers.Set("Content-MD5", next.m_md5); // one of the caller's would be a second one
    }
    SSignedParts const parts{ToText(m_request.m_method), next.m_path, m_query, headers, m_payloadHash};
    headers.Add("Authorization",
                MakeAuthorization(parts, scope, next.m_keys->AccessKeyId(), next.m_keys->SigningKey(scope)));
    return http;
}

SHttpResponse CWireSender::CSending::Exchange()
{
    m_corrections.Outgoing().m_signedAt = m_corrections.Now();
    SHttpRequest http = Sign();
    http.m_sink = m_sink.Get();
    SHttpResponse answer = m_sender.m_transport->Exchange(http);
    AddToStats({.m_connections = answer.m_connections,
                .m_sentBytes = http.m_body.m_size,
                .m_receivedBytes = answer.m_receivedBytes});
    return answer;
}

SHttpResponse CWireSender::CSending::Run()
{
    while (!m_done)
    {
        m_corrections.Outgoing().m_keys = m_sender.m_auth->Keys();
        ++m_attempts;
        try
        {
            SHttpResponse answer = Exchange();
            SStoreError error;
            unsigned const status = Judge(answer, error);
            bool const isGone =
                status == 404 && m_mayBeDone && m_request.m_goneIsDone && error.m_code != "NoSuchBucket";
            if (status < 300 || isGone)
            {
                Succeed();
                return answer;
            }
            auto retryAfter = ReadRetryAfter(answer.m_headers.Get("Retry-After"), m_corrections.Now());
            if (status == 429)
            {
                retryAfter = std::max(retryAfter.value_or(std::chrono::milliseconds(0)),
                                      m_sender.m_store->Traits().m_pauseAfterTooMany);
            }
            if (!Correct(answer, status, error) && !GoesOn(s3wire::RepeatAfter(status, error.m_code), retryAfter))
            {
                AddToStats({.m_failures = 1});
                if (m_request.m_returnRefusals)
                {
                    return answer;
                }
                RaiseRefusal(m_request, answer, status, error, Effort(), m_sender.m_auth->KeyNote());
            }
        }
        catch (web::http::http_exception const& failure)
        {
            if (m_sink.HasThrown())
            {
                throw;
            }
            if (!GoesOn(RepeatAfter(transport::KindOf(failure)), std::nullopt))
            {
                AddToStats({.m_failures = 1});
                exc::RegenExc("%1 got no answer (%2).", Describe(m_request), Describe(Effort()), failure);
            }
        }
    }
    return {};
}

unsigned CWireSender::CSending::Judge(SHttpResponse const& answer, SStoreError& error) const
{
    if (answer.m_status >= 300)
    {
        error = ReadErrorBody(answer.m_text);
        return answer.m_status;
    }
    std::string_view const root = RootName(answer.m_text);
    if (root == "Error" || root == "ErrorResponse")
    {
        error = ReadErrorBody(answer.m_text);
        unsigned const status = StatusOfErrorCode(error.m_code);
        return status == 400 ? 500 : status; // the store began, and failed
    }
    bool const isEmpty = m_request.m_needsBody && root.empty();
    if (isEmpty || (m_request.m_needsETag && answer.m_headers.Get("ETag").empty()))
    {
        error.m_message = isEmpty ? "the answer is empty" : "the answer names no ETag";
        return 500;
    }
    return answer.m_status;
}

void CWireSender::CSending::Succeed()
{
    m_sender.m_budget->Succeeded();
    m_corrections.Succeed();
}

bool CWireSender::CSending::Correct(SHttpResponse const& answer, unsigned status, SStoreError const& error)
{
    bool const corrected = m_corrections.Correct(answer, status, error);
    if (corrected)
    {
        AddToStats({.m_repeats = 1});
    }
    return corrected;
}

/// False if a failure is final. Asks behind the pause, when the store has had time to come to its end.
bool CWireSender::CSending::GoesOn(ERepeat repeat, std::optional<std::chrono::milliseconds> retryAfter)
{
    bool const isOpen = repeat == ERepeat::IfIdempotent;
    m_mayBeDone = m_mayBeDone || isOpen;
    bool const again = Repeats(repeat, retryAfter);
    bool const asks = m_request.m_isDone && (isOpen || (m_mayBeDone && !again));
    m_done = asks && m_request.m_isDone();
    return again || m_done;
}

bool CWireSender::CSending::Repeats(ERepeat repeat, std::optional<std::chrono::milliseconds> retryAfter)
{
    SRetryPolicy const& policy = m_sender.m_policy;
    bool const isSafe = repeat == ERepeat::Always || (repeat == ERepeat::IfIdempotent && m_request.m_idempotent);
    if (!isSafe || m_attempts >= policy.m_attempts || Effort().m_elapsed >= policy.m_totalTime ||
        !m_sender.m_budget->TryTake())
    {
        return false;
    }
    AddToStats({.m_repeats = 1});
    m_sender.m_surroundings.m_sleep(PauseAfter(m_attempts, policy, m_sender.m_surroundings.m_random(), retryAfter));
    return true;
}

SEffort CWireSender::CSending::Effort() const
{
    auto const elapsed = std::chrono::steady_clock::now() - m_start;
    return {m_attempts, std::chrono::duration_cast<std::chrono::milliseconds>(elapsed)};
}

CWireSender::CWireSender(std::shared_ptr<CStoreRecord> store, std::shared_ptr<IS3WireAuth> auth,
                         std::shared_ptr<transport::IHttpTransport> transport, std::shared_ptr<CRetryBudget> budget,
                         SRetryPolicy policy, SSurroundings surroundings)
    : m_store(std::move(store)),
      m_auth(std::move(auth)),
      m_transport(std::move(transport)),
      m_budget(std::move(budget)),
      m_policy(policy),
      m_surroundings(std::move(surroundings))
{
}

SHttpResponse CWireSender::Send(SWireRequest const& request)
{
    CheckRequest(request);
    CSending sending(*this, request);
    AddToStats(OneRequest(request.m_method));
    return sending.Run();
}

} // namespace bucketry::s3wire
