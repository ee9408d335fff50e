// SPDX-License-Identifier: Apache-2.0
#include "s3wire/sending/corrections.h"

#include "bucketry/base/logging.h"
#include "s3wire/codec/digest.h"
#include "s3wire/codec/encoding.h"
#include "s3wire/codec/http_date.h"

#include <cstdlib>

namespace bucketry::s3wire
{

namespace
{

using transport::EHttpMethod;
using transport::SHttpResponse;
using wire::EService;
using wire::SWireRequest;

/// Seconds that two clocks may differ before a refusal without a reason is blamed on them.
constexpr std::time_t ClockTolerance = 300;

/// A write whose body an object lock may want Content-MD5 for.
bool IsObjectWrite(SWireRequest const& request)
{
    return request.m_service == EService::S3 && request.m_method == EHttpMethod::Put &&
        !request.m_headers.Find("x-amz-copy-source");
}

} // namespace

CCorrections::CCorrections(SWireRequest const& request, CStoreRecord& store, IS3WireAuth& auth,
                           SSurroundings const& surroundings)
    : m_request(request), m_store(store), m_auth(auth), m_surroundings(surroundings)
{
    bool wantsMd5 = request.m_contentMd5;
    if (request.m_service == EService::S3)
    {
        CStoreRecord::bucket_t const bucket = store.BucketWithAddress(request.m_bucket);
        SetAddress(*bucket->m_address);
        wantsMd5 = wantsMd5 || (bucket->m_wantsMd5 && IsObjectWrite(request));
    }
    else
    {
        SetAddress(store.AddressOfService(request));
    }
    if (wantsMd5)
    {
        m_outgoing.m_md5 = Md5Base64(request.m_body.m_data, request.m_body.m_size);
    }
}

void CCorrections::SetAddress(SAddress const& address)
{
    m_outgoing.m_address = address;
    m_outgoing.m_path = address.m_path + "/" + EncodePath(m_request.m_key);
}

bool CCorrections::Correct(SHttpResponse const& answer, unsigned status, SStoreError const& error)
{
    return CorrectClock(answer, status, error) || CorrectKeys(error) || CorrectAddress(answer, status, error) ||
        AddMd5(status, error);
}

void CCorrections::Succeed()
{
    if (m_triedMd5)
    {
        m_store.Change(m_request.m_bucket, [](SBucketRecord& record) { record.m_wantsMd5 = true; });
    }
}

bool CCorrections::CorrectClock(SHttpResponse const& answer, unsigned status, SStoreError const& error)
{
    bool const blamed = error.m_code == "RequestTimeTooSkewed" || (status == 403 && error.m_code.empty());
    auto const date = ReadHttpDate(answer.m_headers.Get("Date"));
    if (!blamed || !date || m_triedClock || std::abs(*date - m_outgoing.m_signedAt) < ClockTolerance)
    {
        return false;
    }
    m_triedClock = true;
    if (std::abs(*date - Now()) < ClockTolerance)
    {
        return true; // another thread has corrected it since this request was signed
    }
    std::time_t const ahead = *date - m_surroundings.m_now();
    m_store.SetClockOffset(ahead);
    s3wire_log.warn("The store's clock is %1 s ahead of this machine's; requests are signed for the store's time.",
                    ahead);
    return true;
}

bool CCorrections::CorrectKeys(SStoreError const& error)
{
    bool const expired = error.m_code == "ExpiredToken" || error.m_code == "ExpiredTokenException";
    if (!expired || m_triedKeys)
    {
        return false;
    }
    m_triedKeys = true;
    return m_auth.Renew(*m_outgoing.m_keys);
}

bool CCorrections::CorrectAddress(SHttpResponse const& answer, unsigned status, SStoreError const& error)
{
    bool const mayBeElsewhere = status == 301 || status == 307 || status == 400;
    if (!mayBeElsewhere || m_triedAddress || m_request.m_service != EService::S3 || m_outgoing.m_address.m_isArn ||
        m_request.m_returnRefusals)
    {
        return false;
    }
    m_triedAddress = true;
    std::string_view const location = answer.m_headers.Get("Location");
    if (status == 307 && !location.empty())
    {
        m_outgoing.m_address = AddressOfRedirect(std::string(location), m_outgoing.m_address);
        m_outgoing.m_path = m_outgoing.m_address.m_path;
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
    SEndpoint endpoint = *m_store.Endpoint();
    SEndpoint const told = ParseEndpoint(endpoint.m_scheme + "://" + error.m_endpoint);
    bool const hosted = told.m_host.starts_with(m_request.m_bucket + ".");
    endpoint.m_host = hosted ? told.m_host.substr(m_request.m_bucket.size() + 1) : told.m_host;
    endpoint.m_port = told.m_port.empty() ? endpoint.m_port : told.m_port;
    SetAddress(AddressOfBucket(endpoint, m_request.m_bucket, m_outgoing.m_address.m_region, hosted));
    return true;
}

bool CCorrections::CorrectRegion(std::string const& region)
{
    if (region.empty() || region == m_outgoing.m_address.m_region)
    {
        return false;
    }
    SAddress const address = m_store.AddressInRegion(m_request.m_bucket, region);
    SetAddress(address);
    s3wire_log.info("Bucket [%1] is in the region [%2].", m_request.m_bucket, region);
    m_store.Change(m_request.m_bucket, [&](SBucketRecord& record) { record.m_address = address; });
    return true;
}

bool CCorrections::AddMd5(unsigned status, SStoreError const& error)
{
    if (status != 400 || error.m_code != "InvalidRequest" || !m_outgoing.m_md5.empty() || !IsObjectWrite(m_request))
    {
        return false;
    }
    m_triedMd5 = true;
    m_outgoing.m_md5 = Md5Base64(m_request.m_body.m_data, m_request.m_body.m_size);
    return true;
}

} // namespace bucketry::s3wire
