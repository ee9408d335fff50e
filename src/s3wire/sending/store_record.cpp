// SPDX-License-Identifier: Apache-2.0
#include "s3wire/sending/store_record.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/options.h"
#include "bucketry/base/text.h"

#include <mutex>

namespace bucketry::s3wire
{

bool IsGoogleEndpoint(std::string const& endpoint)
{
    return util::str_contains(endpoint, options_t::GetInst().GetGoogleStorageHost());
}

SStoreTraits TraitsOf(std::string const& endpoint)
{
    SStoreTraits traits;
    traits.m_google = IsGoogleEndpoint(endpoint);
    if (traits.m_google)
    {
        traits.m_maxCopySize = UINT64_MAX;                    // one request copies any size, and parts are not copied
        traits.m_pauseAfterTooMany = std::chrono::seconds(1); // an object takes one write a second
    }
    traits.m_givesChecksums = endpoint.empty() || util::str_contains(endpoint, ".amazonaws.com");
    return traits;
}

bool IsArn(std::string const& bucket)
{
    return bucket.starts_with("arn:");
}

CStoreRecord::CStoreRecord(SStoreAddress address, SStoreTraits const& traits)
    : m_address(std::move(address)), m_traits(traits)
{
}

CStoreRecord::bucket_t CStoreRecord::Bucket(std::string const& bucket) const
{
    static bucket_t const unknown = std::make_shared<SBucketRecord const>();
    std::shared_lock const lock(m_mutex);
    auto const known = m_buckets.find(bucket);
    return known == m_buckets.end() ? unknown : known->second;
}

CStoreRecord::bucket_t CStoreRecord::BucketWithAddress(std::string const& bucket)
{
    if (bucket_t known = Bucket(bucket); known->m_address)
    {
        return known;
    }
    SAddress const address = FirstAddress(bucket);
    return Change(bucket,
                  [&](SBucketRecord& record)
                  {
                      if (!record.m_address)
                      {
                          record.m_address = address;
                      }
                  });
}

SAddress CStoreRecord::FirstAddress(std::string const& bucket) const
{
    if (IsArn(bucket))
    {
        return AddressOfArn(EndpointOrNull(), bucket);
    }
    if (!m_address.m_endpoint)
    {
        throw exc::CRuntimeExc("There is no endpoint for the bucket [%1].", bucket);
    }
    return AddressOfBucket(*m_address.m_endpoint, bucket, m_address.m_region, m_address.m_virtualHosted);
}

SAddress CStoreRecord::AddressInRegion(std::string const& bucket, std::string const& region) const
{
    return AddressOfBucket(InRegion(*m_address.m_endpoint, region), bucket, region, m_address.m_virtualHosted);
}

SAddress CStoreRecord::AddressOfService(wire::SWireRequest const& request) const
{
    if (request.m_service == wire::EService::Sts)
    {
        return AddressOfSts(EndpointOrNull(), m_address.m_region);
    }
    std::optional<SEndpoint> control;
    if (!request.m_endpoint.empty())
    {
        control = ParseEndpoint(request.m_endpoint);
    }
    std::string const account(request.m_headers.Get("x-amz-account-id"));
    return AddressOfControl(control ? &*control : nullptr, account, m_address.m_region);
}

} // namespace bucketry::s3wire
