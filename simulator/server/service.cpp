// SPDX-License-Identifier: Apache-2.0
#include "server/service.h"

#include "operations/call.h"
#include "protocol/text.h"
#include "protocol/wording.h"

#include <stdexcept>

namespace bucketry::simulator
{

namespace
{

void CheckLength(SRequest const& request, STraits const& traits)
{
    bool const isStreamed = request.Header("x-amz-content-sha256").starts_with("STREAMING-");
    if (request.HasHeader("transfer-encoding") && !isStreamed && !traits.m_refusesChunkedWith411)
    {
        throw CStoreError(501, "NotImplemented", "A header you provided implies functionality that is not implemented")
            .With("Header", "Transfer-Encoding");
    }
    bool const needsLength = request.m_method == "PUT" || (request.m_method == "POST" && traits.m_demandsLengthAlways);
    bool const hasLength =
        request.HasHeader("content-length") || (request.HasHeader("transfer-encoding") && isStreamed);
    if ((needsLength && !hasLength) || (request.HasHeader("transfer-encoding") && traits.m_refusesChunkedWith411))
    {
        throw CStoreError(411, "MissingContentLength", "You must provide the Content-Length HTTP header.");
    }
}

bool IsOfOtherService(SRoute const& route)
{
    return route.m_operation == "GetCallerIdentity" || route.m_operation == "CreateJob" ||
        route.m_operation == "DescribeJob";
}

CStoreError Redirected(SBucket const& bucket)
{
    bool const isPermanent = bucket.m_redirect == ERedirect::Permanent;
    CStoreError redirect(
        isPermanent ? 301 : 307, isPermanent ? "PermanentRedirect" : "TemporaryRedirect",
        "The bucket you are attempting to access must be addressed using the specified endpoint. Please "
        "send all future requests to this endpoint.");
    return std::move(redirect)
        .With("Endpoint", bucket.m_redirectEndpoint)
        .With("Bucket", bucket.m_name)
        .Header("x-amz-bucket-region", bucket.m_region);
}

} // namespace

CService::CService(SSimulatorOptions const& options, CClock const& clock)
    : m_options(options),
      m_traits(TraitsOf(options)),
      m_clock(clock),
      m_hosts{.m_names = options.m_hostNames},
      m_store(SStoreRules{options.m_restoreTime, m_traits.m_hasGenerations, m_traits.m_lockedCode}),
      m_metadata([this](SAccessKey const& key) { AddAccessKey(key); })
{
    if (options.m_profile == EProfile::Google)
    {
        m_hosts.m_names.insert(m_hosts.m_names.begin(), {GoogleLoopbackName, "storage.googleapis.com"});
    }
    m_traits.m_maxSkew = options.m_maxSkew;
    if (options.m_unsignedPayloadOverHttp)
    {
        m_traits.m_takesUnsignedPayloadOverHttp = *options.m_unsignedPayloadOverHttp;
    }
    for (auto const& key : options.m_accessKeys)
    {
        AddAccessKey(key);
    }
}

SRoute CService::Route(SRequest& request)
{
    std::string const number = std::to_string(++m_requests);
    request.m_id = std::string(16 - std::min<std::size_t>(number.size(), 16), '0') + number;
    request.ParseTarget();
    return simulator::Route(request, Hosts(), m_traits);
}

SResponse CService::Handle(SRequest request, SRoute const& route, std::chrono::seconds skew)
{
    SResponse response;
    try
    {
        response = Work(request, route, m_clock.Now() + skew);
    }
    catch (CStoreError const& error)
    {
        response = Refuse(m_traits.m_errorsAreGoogles ? InGoogleWords(error, route) : error, request, route);
    }
    catch (std::exception const& error)
    {
        response = Refuse(CStoreError(500, "InternalError", error.what()), request, route);
    }
    Finish(response, request, skew);
    return response;
}

SResponse CService::Refuse(CStoreError error, SRequest const& request, SRoute const& route) const
{
    error.m_isWrapped = IsOfOtherService(route);
    error.m_isBare = m_traits.m_errorsAreGoogles;
    return MakeErrorResponse(error, request);
}

void CService::Finish(SResponse& response, SRequest const& request, std::chrono::seconds skew) const
{
    response.Add("Date", HttpTime(m_clock.Now() + skew));
    response.Add("Server", "bucketry-simulator");
    if (m_traits.m_errorsAreGoogles)
    {
        response.Add("x-guploader-uploadid", request.m_id);
    }
    else
    {
        response.Add("x-amz-request-id", request.m_id);
        response.Add("x-amz-id-2", HostId);
    }
    response.m_isHead = request.m_method == "HEAD";
}

SResponse CService::Work(SRequest& request, SRoute const& route, time_point_t now)
{
    CheckRoute(route, request, m_traits);
    CheckLength(request, m_traits);
    SPayload payload;
    if (route.m_isSigned)
    {
        SExpectedScope const scope{ExpectedRegion(route, request), route.m_service};
        CheckSignature(
            request, [this](std::string const& id) { return FindKey(id); }, scope, m_traits, now);
        payload = CheckPayload(request, m_traits, route.m_service != "sts");
    }
    SHosts const hosts = Hosts();
    std::lock_guard const lock(m_storeMutex);
    m_jobs.Advance(m_store, now);
    SCall call{request, route, payload, m_traits, m_options, now, m_store, m_jobs, m_metadata, hosts};
    return FindOperation(route.m_operation)(call);
}

std::string CService::ExpectedRegion(SRoute const& route, SRequest const& request)
{
    std::lock_guard const lock(m_storeMutex);
    SBucket const* const bucket = route.m_bucket.empty() ? nullptr : m_store.FindBucket(route.m_bucket);
    // The location can be asked for wherever the bucket lies.
    bool const isElsewhere = bucket != nullptr && bucket->m_redirect != ERedirect::None;
    if (isElsewhere && route.m_operation != "GetBucketLocation")
    {
        CStoreError redirect = Redirected(*bucket);
        if (bucket->m_redirect == ERedirect::Temporary)
        {
            redirect.m_headers.emplace_back(
                "Location", (request.m_isTls ? "https://" : "http://") + bucket->m_redirectEndpoint + request.m_target);
        }
        throw redirect;
    }
    return bucket == nullptr || isElsewhere ? m_options.m_region : bucket->m_region;
}

std::optional<SAccessKey> CService::FindKey(std::string const& id) const
{
    std::lock_guard const lock(m_keysMutex);
    auto const found = m_keys.find(id);
    return found == m_keys.end() ? std::nullopt : std::optional(found->second);
}

SHosts CService::Hosts() const
{
    std::lock_guard const lock(m_keysMutex);
    return m_hosts;
}

void CService::AddBucket(std::string const& name, SBucketOptions const& options)
{
    std::lock_guard const lock(m_storeMutex);
    if (m_store.FindBucket(name) != nullptr)
    {
        throw std::invalid_argument("There is a bucket " + name + " already.");
    }
    SBucket& bucket = m_store.AddBucket(name);
    bucket.m_region = options.m_region.empty() ? m_options.m_region : options.m_region;
    bucket.m_created = m_clock.Now();
    bucket.m_objectLock = options.m_objectLock;
    bucket.m_versioning = options.m_versioning || options.m_objectLock ? EVersioning::Enabled : EVersioning::Off;
    bucket.m_defaultCompliance = options.m_defaultRetentionMode == "COMPLIANCE";
    if (options.m_defaultRetentionDays > 0)
    {
        bucket.m_defaultDays = options.m_defaultRetentionDays;
    }
    bucket.m_redirect = options.m_redirect;
    bucket.m_redirectEndpoint = options.m_redirectEndpoint;
}

void CService::AddAccessPoint(SAccessPoint const& accessPoint)
{
    std::string const name = accessPoint.m_name + "-" + m_options.m_accountId;
    std::string const labels = accessPoint.m_outpostId.empty() ? name : name + "." + accessPoint.m_outpostId;
    std::lock_guard const lock(m_keysMutex);
    m_hosts.m_accessPoints[labels] = accessPoint.m_bucket;
}

void CService::AddAccessKey(SAccessKey const& key)
{
    std::lock_guard const lock(m_keysMutex);
    m_keys[key.m_id] = key;
}

void CService::SetJobScript(std::vector<std::string> statuses, std::chrono::milliseconds each)
{
    std::lock_guard const lock(m_storeMutex);
    m_jobs.SetScript(std::move(statuses), each);
}

} // namespace bucketry::simulator
