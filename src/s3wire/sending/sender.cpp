#include "s3wire/sending/sender.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/base/logging.h"
#include "s3wire/codec/encoding.h"
#include "s3wire/codec/http_date.h"
#include "s3wire/counters/counters.h"
#include "s3wire/sending/errors.h"
#include "s3wire/transport/failure.h"

#include <cstdlib>
#include <mutex>

namespace bucketry::s3wire
{

namespace
{

using transport::EHttpMethod;
using transport::SHttpRequest;
using transport::SHttpResponse;
using wire::EService;
using wire::SWireRequest;

constexpr std::size_t maxKeySize = 1024;
/// Over TLS larger bodies go unsigned: TLS guards them already, and hashing costs as much again.
constexpr std::uint64_t maxSignedOverTls = 1u << 20;
constexpr std::string_view unsignedPayload = "UNSIGNED-PAYLOAD";
constexpr std::string_view hashOfNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
/// Seconds that two clocks may differ before a refusal without a reason is blamed on them.
constexpr std::time_t clockTolerance = 300;

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

/// A write whose body an object lock may want Content-MD5 for.
bool IsObjectWrite(SWireRequest const& request)
{
    return request.m_service == EService::S3 && request.m_method == EHttpMethod::Put &&
        !request.m_headers.Find("x-amz-copy-source");
}

void CheckRequest(SWireRequest const& request, bool isArn)
{
    if (request.m_service != EService::S3)
    {
        return;
    }
    if (!isArn)
    {
        CheckBucketName(request.m_bucket);
    }
    if (request.m_key.size() > maxKeySize)
    {
        throw exc::CRuntimeExc("The key [%1] has %2 bytes: no store takes more than %3.", request.m_key,
                               request.m_key.size(), maxKeySize);
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

bool IsArn(std::string const& bucket)
{
    return bucket.starts_with("arn:");
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
    void SetAddress(SAddress const& address);

    unsigned Judge(SHttpResponse const& answer, SStoreError& error) const;
    void Succeed();
    bool Correct(SHttpResponse const& answer, unsigned status, SStoreError const& error);
    bool CorrectClock(SHttpResponse const& answer, unsigned status, SStoreError const& error);
    bool CorrectKeys(SStoreError const& error);
    bool CorrectAddress(SHttpResponse const& answer, unsigned status, SStoreError const& error);
    bool CorrectRegion(std::string const& region);
    bool AddMd5(unsigned status, SStoreError const& error);
    bool GoesOn(ERepeat repeat, std::optional<std::chrono::milliseconds> retryAfter);
    bool Repeats(ERepeat repeat, std::optional<std::chrono::milliseconds> retryAfter);
    SEffort Effort() const;

    CWireSender& m_sender;
    SWireRequest const& m_request;
    std::shared_ptr<SBucket const> m_bucket; ///< null for other services
    SAddress m_address;
    std::string m_path;
    std::string m_query;
    std::string m_payloadHash;
    std::string m_md5;
    std::shared_ptr<CSigningKeys const> m_keys;
    CWatchedSink m_sink;
    unsigned m_attempts = 0;
    std::time_t m_signedAt = 0; ///< of the last attempt
    bool m_mayBeDone = false;   ///< an attempt has failed in a way that leaves open what the store did
    bool m_done = false;        ///< the store did the work, only its answer is missing
    std::chrono::steady_clock::time_point const m_start = std::chrono::steady_clock::now();
    bool m_triedClock = false;
    bool m_triedKeys = false;
    bool m_triedAddress = false;
    bool m_triedMd5 = false;
};

CWireSender::CSending::CSending(CWireSender& sender, SWireRequest const& request)
    : m_sender(sender), m_request(request), m_query(MakeQuery(request.m_query)), m_sink(request.m_sink)
{
    CheckRequest(request, IsArn(request.m_bucket));
    bool wantsMd5 = request.m_contentMd5;
    if (request.m_service == EService::S3)
    {
        m_bucket = sender.FindBucket(request.m_bucket);
        SetAddress(m_bucket->m_address);
        wantsMd5 = wantsMd5 || (m_bucket->m_wantsMd5 && IsObjectWrite(request));
    }
    else
    {
        SetAddress(sender.ServiceAddress(request));
    }
    transport::SBody const& body = request.m_body;
    if (wantsMd5)
    {
        m_md5 = Md5Base64(body.m_data, body.m_size);
    }
    if (body.m_size == 0)
    {
        m_payloadHash = hashOfNothing;
    }
    else
    {
        bool const isUnsigned = m_address.m_isTls && body.m_size > maxSignedOverTls;
        m_payloadHash = isUnsigned ? std::string(unsignedPayload) : ToHex(Sha256(body.m_data, body.m_size));
    }
}

void CWireSender::CSending::SetAddress(SAddress const& address)
{
    m_address = address;
    m_path = address.m_path + "/" + EncodePath(m_request.m_key);
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
    SHttpRequest http;
    http.m_method = m_request.m_method;
    http.m_url.reserve(m_address.m_origin.size() + m_path.size() + m_query.size() + 1);
    http.m_url.append(m_address.m_origin).append(m_path).append(m_query.empty() ? "" : "?").append(m_query);
    http.m_body = m_request.m_body;
    http.m_expectedSize = m_request.m_expectedSize;
    http.m_headers = m_request.m_headers;

    SSigningScope const scope{ToAmzDate(m_signedAt), m_address.m_region, Service()};
    transport::CHeaders& headers = http.m_headers;
    headers.Add("Host", m_address.m_host);
    headers.Add("x-amz-date", scope.m_amzDate);
    if (m_request.m_service != EService::Sts)
    {
        headers.Add("x-amz-content-sha256", m_payloadHash);
    }
    if (!m_keys->SessionToken().empty())
    {
        headers.Add("x-amz-security-token", m_keys->SessionToken());
    }
    if (!m_md5.empty())
    {
        headers.Set("Content-MD5", m_md5); // one of the caller's would be a second one
    }
    SSignedParts const parts{ToText(m_request.m_method), m_path, m_query, headers, m_payloadHash};
    headers.Add("Authorization", MakeAuthorization(parts, scope, m_keys->AccessKeyId(), m_keys->SigningKey(scope)));
    return http;
}

SHttpResponse CWireSender::CSending::Exchange()
{
    m_signedAt = m_sender.Now();
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
        m_keys = m_sender.m_auth->Keys();
        ++m_attempts;
        try
        {
            SHttpResponse answer = Exchange();
            SStoreError error;
            unsigned const status = Judge(answer, error);
            if (status < 300)
            {
                Succeed();
                return answer;
            }
            auto const retryAfter = ReadRetryAfter(answer.m_headers.Get("Retry-After"), m_sender.Now());
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
    if (m_triedMd5)
    {
        SBucket changed = *m_bucket;
        changed.m_wantsMd5 = true;
        m_sender.Remember(m_request.m_bucket, std::move(changed));
    }
}

bool CWireSender::CSending::Correct(SHttpResponse const& answer, unsigned status, SStoreError const& error)
{
    bool const corrected = CorrectClock(answer, status, error) || CorrectKeys(error) ||
        CorrectAddress(answer, status, error) || AddMd5(status, error);
    if (corrected)
    {
        AddToStats({.m_repeats = 1});
    }
    return corrected;
}

bool CWireSender::CSending::CorrectClock(SHttpResponse const& answer, unsigned status, SStoreError const& error)
{
    bool const blamed = error.m_code == "RequestTimeTooSkewed" || (status == 403 && error.m_code.empty());
    auto const date = ReadHttpDate(answer.m_headers.Get("Date"));
    if (!blamed || !date || m_triedClock || std::abs(*date - m_signedAt) < clockTolerance)
    {
        return false;
    }
    m_triedClock = true;
    if (std::abs(*date - m_sender.Now()) < clockTolerance)
    {
        return true; // another thread has corrected it since this request was signed
    }
    std::time_t const ahead = *date - m_sender.m_surroundings.m_now();
    m_sender.m_clockOffset.store(ahead, std::memory_order_relaxed);
    s3wire_log.warn("The store's clock is %1 s ahead of this machine's; requests are signed for the store's time.",
                    ahead);
    return true;
}

bool CWireSender::CSending::CorrectKeys(SStoreError const& error)
{
    bool const expired = error.m_code == "ExpiredToken" || error.m_code == "ExpiredTokenException";
    if (!expired || m_triedKeys)
    {
        return false;
    }
    m_triedKeys = true;
    return m_sender.m_auth->Renew(*m_keys);
}

bool CWireSender::CSending::CorrectAddress(SHttpResponse const& answer, unsigned status, SStoreError const& error)
{
    bool const mayBeElsewhere = status == 301 || status == 307 || status == 400;
    if (!mayBeElsewhere || m_triedAddress || !m_bucket || m_address.m_isArn || m_request.m_returnRefusals)
    {
        return false;
    }
    m_triedAddress = true;
    std::string_view const location = answer.m_headers.Get("Location");
    if (status == 307 && !location.empty())
    {
        m_address = AddressOfRedirect(std::string(location), m_address);
        m_path = m_address.m_path;
        return true;
    }
    std::string_view const named = answer.m_headers.Get("x-amz-bucket-region");
    if (CorrectRegion(named.empty() ? error.m_region : std::string(named)))
    {
        return true;
    }
    if (status != 301 || error.m_endpoint.empty())
    {
        return false;
    }
    SEndpoint endpoint = *m_sender.m_endpoint;
    SEndpoint const told = ParseEndpoint(endpoint.m_scheme + "://" + error.m_endpoint);
    bool const hosted = told.m_host.starts_with(m_request.m_bucket + ".");
    endpoint.m_host = hosted ? told.m_host.substr(m_request.m_bucket.size() + 1) : told.m_host;
    endpoint.m_port = told.m_port.empty() ? endpoint.m_port : told.m_port;
    SetAddress(AddressOfBucket(endpoint, m_request.m_bucket, m_address.m_region, hosted));
    return true;
}

bool CWireSender::CSending::CorrectRegion(std::string const& region)
{
    if (region.empty() || region == m_address.m_region)
    {
        return false;
    }
    SBucket changed = *m_bucket;
    changed.m_address =
        AddressOfBucket(InRegion(*m_sender.m_endpoint, region), m_request.m_bucket, region, m_sender.m_virtualHosted);
    SetAddress(changed.m_address);
    s3wire_log.info("Bucket [%1] is in the region [%2].", m_request.m_bucket, region);
    m_bucket = m_sender.Remember(m_request.m_bucket, std::move(changed));
    return true;
}

bool CWireSender::CSending::AddMd5(unsigned status, SStoreError const& error)
{
    if (status != 400 || error.m_code != "InvalidRequest" || !m_md5.empty() || !IsObjectWrite(m_request))
    {
        return false;
    }
    m_triedMd5 = true;
    m_md5 = Md5Base64(m_request.m_body.m_data, m_request.m_body.m_size);
    return true;
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

CWireSender::CWireSender(SSenderSettings const& settings, std::shared_ptr<transport::IHttpTransport> transport,
                         std::shared_ptr<CRetryBudget> budget, SRetryPolicy policy, SSurroundings surroundings)
    : m_endpoint(settings.m_endpoint.empty() ? std::nullopt : std::optional(ParseEndpoint(settings.m_endpoint))),
      m_region(settings.m_region.empty() ? settings.m_auth->Region() : settings.m_region),
      m_virtualHosted(settings.m_virtualHosted),
      m_auth(settings.m_auth),
      m_transport(std::move(transport)),
      m_budget(std::move(budget)),
      m_policy(policy),
      m_surroundings(std::move(surroundings))
{
}

SHttpResponse CWireSender::Send(SWireRequest const& request)
{
    CSending sending(*this, request);
    AddToStats(OneRequest(request.m_method));
    return sending.Run();
}

SAddress CWireSender::ServiceAddress(SWireRequest const& request) const
{
    if (request.m_service == EService::Sts)
    {
        return AddressOfSts(Endpoint(), m_region);
    }
    std::optional<SEndpoint> control;
    if (!request.m_endpoint.empty())
    {
        control = ParseEndpoint(request.m_endpoint);
    }
    std::string const account(request.m_headers.Get("x-amz-account-id"));
    return AddressOfControl(control ? &*control : nullptr, account, m_region);
}

std::shared_ptr<CWireSender::SBucket const> CWireSender::FindBucket(std::string const& bucket)
{
    {
        std::shared_lock const lock(m_mutex);
        if (auto const known = m_buckets.find(bucket); known != m_buckets.end())
        {
            return known->second;
        }
    }
    if (!IsArn(bucket) && !m_endpoint)
    {
        throw exc::CRuntimeExc("There is no endpoint for the bucket [%1].", bucket);
    }
    SAddress const address = IsArn(bucket) ? AddressOfArn(Endpoint(), bucket)
                                           : AddressOfBucket(*m_endpoint, bucket, m_region, m_virtualHosted);
    std::unique_lock const lock(m_mutex);
    return m_buckets.emplace(bucket, std::make_shared<SBucket const>(SBucket{address, false})).first->second;
}

std::shared_ptr<CWireSender::SBucket const> CWireSender::Remember(std::string const& bucket, SBucket changed)
{
    std::unique_lock const lock(m_mutex);
    return m_buckets[bucket] = std::make_shared<SBucket const>(std::move(changed));
}

} // namespace bucketry::s3wire
