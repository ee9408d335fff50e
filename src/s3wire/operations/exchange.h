// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "bucketry/s3wire/records.h"
#include "s3wire/sending/store_record.h"
#include "s3wire/wire/object_requests.h"

#include <memory>
#include <optional>
#include <type_traits>

namespace bucketry::s3wire
{

/// Requests out, answers in: what all operations stand on. Blocks. Any number of threads at once.
///
/// All throw CS3WireException for a refused request and web::http::http_exception for no answer, or for one that cannot
/// be used.
class CExchange
{
public:
    CExchange(std::shared_ptr<wire::IWireSender> sender, std::shared_ptr<CStoreRecord> store);

    /// Sends a request and reads the answer; a failure to read it names the operation.
    template <class TReader>
    auto Exchange(wire::SWireRequest const& request, TReader&& read) const
    {
        transport::SHttpResponse const answer = Exchange(request);
        try
        {
            return read(answer);
        }
        catch (web::http::http_exception const& error)
        {
            exc::RegenExc("Failed to read the answer to %1", request.m_operation, error);
        }
    }
    /// The same for an answer that says nothing more than its headers.
    transport::SHttpResponse Exchange(wire::SWireRequest const& request) const;
    /// The same for a request that is not to be done twice. Where a failure leaves open whether the store has done it,
    /// `look` is asked for the result; it gives an optional and never throws.
    template <class TReader, class TLook>
    auto ExchangeOnce(wire::SWireRequest request, TReader&& read, TLook&& look) const
    {
        std::invoke_result_t<TLook> found;
        request.m_isDone = [&]
        {
            found = look();
            return found.has_value();
        };
        return Exchange(
            request, [&](transport::SHttpResponse const& answer) { return found ? std::move(*found) : read(answer); });
    }
    /// What the store says of an object without giving it: the question behind many answers.
    s3::SObjectData HeadObject(wire::SObjectRef const& object) const;

    /// What is known of the store; shared with the sender.
    CStoreRecord& Store() const { return *m_store; }

private:
    bool KeepsVersions(std::string const& bucket) const;

    std::shared_ptr<wire::IWireSender> const m_sender;
    std::shared_ptr<CStoreRecord> const m_store;
};

/// What `look` gives; none where it fails, since what the caller knows already says more.
template <class TLook>
auto UnlessFailing(TLook const& look) -> decltype(look())
{
    try
    {
        return look();
    }
    catch (exc::exc_base_t const&)
    {
        return std::nullopt;
    }
}

} // namespace bucketry::s3wire
