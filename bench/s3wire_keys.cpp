// SPDX-License-Identifier: Apache-2.0
#include "s3wire.h"

#include "measure.h"

#include <tinyxml2.h>

#include <algorithm>
#include <cstdio>
#include <span>
#include <stdexcept>

namespace bench
{

namespace
{

using namespace bucketry;

constexpr std::size_t Keys = 200'000;
constexpr std::size_t DeletedKeys = 20'000;
constexpr std::size_t PerRequest = 1000;

struct SBareKey
{
    std::string m_key;
    std::string m_eTag;
    std::uint64_t m_size;
};

/// The keys of a page, and the token of the next one.
std::vector<SBareKey> ReadPage(std::string const& xml, std::string& token)
{
    tinyxml2::XMLDocument document;
    if (document.Parse(xml.data(), xml.size()) != tinyxml2::XML_SUCCESS)
    {
        throw std::runtime_error("a page that is no XML");
    }
    tinyxml2::XMLElement const* const root = document.RootElement();
    std::vector<SBareKey> keys;
    for (auto const* entry = root->FirstChildElement("Contents"); entry; entry = entry->NextSiblingElement("Contents"))
    {
        keys.push_back({entry->FirstChildElement("Key")->GetText(), entry->FirstChildElement("ETag")->GetText(),
                        entry->FirstChildElement("Size")->Unsigned64Text()});
    }
    auto const* const next = root->FirstChildElement("NextContinuationToken");
    token = next ? next->GetText() : "";
    return keys;
}

std::size_t BareListing(CBareHandle& handle)
{
    std::size_t count = 0;
    std::string token;
    do
    {
        std::string const start = token.empty() ? "" : "continuation-token=" + token + "&";
        count += ReadPage(handle.GetText("/bucket?" + start + "list-type=2"), token).size();
    } while (!token.empty());
    return count;
}

std::size_t OwnListing(s3wire::s3::CS3WireClient const& client)
{
    std::size_t count = 0;
    client
        .GetBucket([&count](s3wire::s3::SBucketContents const& page) { count += page.m_contents.size(); }, Bucket, "",
                   "", "", 0)
        .get();
    return count;
}

void BareDeletes(CBareHandle& handle, std::span<std::string const> keys)
{
    for (; !keys.empty(); keys = keys.subspan(PerRequest))
    {
        std::string body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                           "<Delete xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\"><Quiet>true</Quiet>";
        for (std::string const& key : keys.first(PerRequest))
        {
            body.append("<Object><Key>").append(key).append("</Key></Object>");
        }
        body.append("</Delete>");
        handle.Post("/bucket?delete", body,
                    {"Content-MD5: " + BareMd5(body), "x-amz-content-sha256: " + BareSha256(body.data(), body.size()),
                     "Content-Type: application/xml"});
    }
}

/// CPU and time of two ways in turn, medians, in microseconds for each of `count` keys.
std::vector<double> InTurn(SS3Plan const& plan, std::size_t count, std::function<void()> const& own,
                           std::function<void()> const& bare)
{
    std::vector<double> costs[4];
    for (int round = -1; round < plan.m_rounds; ++round)
    {
        for (int const way : {round & 1, 1 - (round & 1)})
        {
            SCost const cost = CostOf(way == 0 ? own : bare);
            if (round >= 0) // the one before opens the connections
            {
                costs[2 * way].push_back(cost.m_cpuSec * 1e6 / static_cast<double>(count));
                costs[2 * way + 1].push_back(cost.m_wallSec * 1e6 / static_cast<double>(count));
            }
        }
    }
    return {Median(costs[0]), Median(costs[1]), Median(costs[2]), Median(costs[3])};
}

void Print(std::string const& what, std::vector<double> const& costs, std::string const& wanted)
{
    PrintRatio(what, "us CPU a key", costs[0], costs[2], wanted);
    PrintRatio(what, "us wall a key", costs[1], costs[3]);
}

void ExpectAll(std::size_t count)
{
    if (count != Keys)
    {
        throw std::runtime_error("a listing of " + std::to_string(count) + " keys");
    }
}

} // namespace

void Listing(SS3Plan const& plan)
{
    PrintHeader("listing of 200,000 keys against TinyXML-2");
    auto const result = InChild(
        [&]
        {
            CBareHandle handle(plan.m_plain, nullptr);
            auto const client = MakeClient(plan.m_plain);
            return InTurn(
                plan, Keys, [&] { ExpectAll(OwnListing(client)); }, [&] { ExpectAll(BareListing(handle)); });
        });
    Print("a thousand on a page", result.m_numbers, "<= 1.20");
}

void Deletes(SS3Plan const& plan)
{
    PrintHeader("deletes of 20,000 keys");
    auto const result = InChild(
        [&]
        {
            std::vector<std::string> keys(DeletedKeys);
            s3wire::s3::SMultiObjectDeleteRequest request;
            for (std::size_t n = 0; n < DeletedKeys; ++n)
            {
                keys[n] = "backup/set-000/object-" + std::to_string(1'000'000 + n) + ".bin";
                request.m_objects.push_back({keys[n], ""});
            }
            CBareHandle handle(plan.m_plain, nullptr);
            auto const client = MakeClient(plan.m_plain);
            return InTurn(
                plan, DeletedKeys, [&] { client.DeleteObjects(Bucket, request, nullptr).get(); },
                [&] { BareDeletes(handle, keys); });
        });
    Print("a thousand in a request / build, hash, send", result.m_numbers, "<= 1.30");
}

} // namespace bench
