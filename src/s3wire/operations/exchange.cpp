// SPDX-License-Identifier: Apache-2.0
#include "s3wire/operations/exchange.h"

#include "bucketry/base/logging.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/wire/google_dialect.h"

namespace bucketry::s3wire
{

CExchange::CExchange(std::shared_ptr<wire::IWireSender> sender, std::shared_ptr<CStoreRecord> store)
    : m_sender(std::move(sender)), m_store(std::move(store))
{
}

transport::SHttpResponse CExchange::Exchange(wire::SWireRequest const& request) const
{
    if (!m_store->Traits().m_google)
    {
        return m_sender->Send(request);
    }
    using enum transport::EHttpMethod;
    bool const isWrite = !request.m_key.empty() && (request.m_method == Put || request.m_method == Post);
    // A write is told before it goes out, so that a look behind a lost answer knows, too, whether what it sees is a version.
    bool const keepsVersions =
        isWrite ? KeepsVersions(request.m_bucket) : m_store->Bucket(request.m_bucket)->m_keepsVersions.value_or(false);
    wire::SWireRequest translated = request;
    wire::ToGoogle(translated);
    transport::SHttpResponse answer = m_sender->Send(translated);
    wire::FromGoogle(answer, keepsVersions);
    return answer;
}

/// Asked before the first writes to a bucket, until the store has told or the account may not ask: what is not said is not known.
bool CExchange::KeepsVersions(std::string const& bucket) const
{
    if (auto const known = m_store->Bucket(bucket)->m_keepsVersions)
    {
        return *known;
    }
    bool keeps = false;
    try
    {
        keeps = Exchange(wire::MakeGetBucketVersioning(bucket), wire::ReadGetBucketVersioning);
    }
    catch (CS3WireException const& refusal)
    {
        if (refusal.GetStatusCode() != 403)
        {
            return false; // to be asked again
        }
        s3wire_log.warn(
            util::str_format("Whether bucket [%1] keeps versions is not known: its writes name none.", bucket),
            refusal);
    }
    catch (web::http::http_exception const&)
    {
        return false;
    }
    m_store->Change(bucket, [&](SBucketRecord& record) { record.m_keepsVersions = keeps; });
    return keeps;
}

s3::SObjectData CExchange::HeadObject(wire::SObjectRef const& object) const
{
    return Exchange(wire::MakeHeadObject(object),
                    [](transport::SHttpResponse const& answer) { return wire::ReadObjectData(answer, std::nullopt); });
}

} // namespace bucketry::s3wire
