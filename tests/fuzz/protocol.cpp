// SPDX-License-Identifier: Apache-2.0
// What comes over the network from anybody, one target for each reader; FUZZ_TARGET names the one that is built. It is
// refused in the one way that its callers know, or what was read holds together. Anything else ends the process.

#include "bucketry/base/datetime.h"
#include "bucketry/base/exceptions.h"
#include "bucketry/base/http.h"
#include "s3wire/auth/metadata_service.h"
#include "s3wire/codec/arn.h"
#include "s3wire/codec/http_date.h"
#include "s3wire/sending/address.h"
#include "s3wire/sending/errors.h"
#include "s3wire/sending/retry.h"
#include "s3wire/wire/delete_requests.h"
#include "s3wire/wire/listing_requests.h"
#include "s3wire/wire/service_requests.h"

#include <cstdlib>

using namespace bucketry;
using namespace bucketry::s3wire;

namespace
{

void Demand(bool holds)
{
    if (!holds)
    {
        std::abort();
    }
}

transport::SHttpResponse AnswerOf(std::string const& text)
{
    transport::SHttpResponse answer;
    answer.m_status = 200;
    answer.m_text = text;
    return answer;
}

/// Runs a reader that may refuse the text.
template <class TRefusal, class TRead>
void Try(TRead const& read)
{
    try
    {
        read();
    }
    catch (TRefusal const&)
    {
    }
}

[[maybe_unused]] void ListingPage(std::string const& text)
{
    auto const follow = [](auto const& page)
    {
        auto const next = wire::NextPosition(page);
        Demand(page.m_truncated ? next && !next->IsStart() : !next);
    };
    Try<web::http::http_exception>([&] { follow(wire::ReadListObjects(AnswerOf(text))); });
    Try<web::http::http_exception>([&] { follow(wire::ReadListObjectVersions(AnswerOf(text))); });
}

[[maybe_unused]] void ErrorBody(std::string const& text)
{
    SStoreError const error = ReadErrorBody(text);
    std::string_view const root = RootName(text);
    Demand(error.m_code.empty() || root == "Error" || root == "ErrorResponse");
    Demand(root.empty() || text.find(root) != std::string::npos);
}

[[maybe_unused]] void DeleteResult(std::string const& text)
{
    Try<web::http::http_exception>(
        [&]
        {
            for (wire::SRefusedItem const& item : wire::ReadDeleteObjects(AnswerOf(text)))
            {
                Demand(StatusOfErrorCode(item.m_code) >= 400);
            }
        });
}

[[maybe_unused]] void ServiceAnswer(std::string const& text)
{
    Try<web::http::http_exception>([&] { Demand(!wire::ReadCreateJob(AnswerOf(text)).m_jobId.empty()); });
    Try<web::http::http_exception>([&] { Demand(!wire::ReadDescribeJob(AnswerOf(text)).m_status.empty()); });
    Try<web::http::http_exception>([&] { Demand(!wire::ReadGetCallerIdentity(AnswerOf(text)).empty()); });
    Try<web::http::http_exception>([&] { Demand(!wire::ReadGetBucketLocation(AnswerOf(text)).m_region.empty()); });
}

[[maybe_unused]] void MetadataJson(std::string const& text)
{
    for (char const* const member : {"AccessKeyId", "Token", ""})
    {
        auto const value = ReadJsonText(text, member);
        Demand(!value || value->size() <= text.size());
    }
}

/// What is served has an address that is one line and in the region that the text names.
[[maybe_unused]] void Arn(std::string const& text)
{
    CS3Arn const arn(text);
    Demand(arn.GetText() == text);
    Try<exc::CRuntimeExc>(
        [&]
        {
            SAddress const address = AddressOfArn(nullptr, text);
            Demand(arn.m_isArn && !arn.GetAccessPointName().empty() && address.m_region == arn.m_region);
            Demand(address.m_host.find_first_of("\r\n /@?#") == std::string::npos);
        });
}

[[maybe_unused]] void Date(std::string const& text)
{
    constexpr std::time_t year1000 = -30'610'224'000; // earlier years are printed with fewer than four digits
    if (auto const time = ReadHttpDate(text); time && *time >= year1000)
    {
        auto const shown = datetime::CDateTime::fromUnixTime(*time, true).toStdString(HttpDateFormat);
        Demand(ReadHttpDate(shown) == time);
    }
    if (auto const pause = ReadRetryAfter(text, 1'900'000'000))
    {
        Demand(pause->count() >= 0);
    }
}

[[maybe_unused]] void Endpoint(std::string const& text)
{
    Try<exc::CRuntimeExc>(
        [&]
        {
            SEndpoint const endpoint = ParseEndpoint(text);
            Demand(!endpoint.m_host.empty() && ParseEndpoint(endpoint.Origin()).Origin() == endpoint.Origin());
        });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size)
{
    FUZZ_TARGET(std::string(data, data + size));
    return 0;
}
