// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/client.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/auth/auth.h"
#include "s3wire/client_over.h"
#include "s3wire/context.h"
#include "s3wire/operations/operations.h"
#include "s3wire/sending/sender.h"
#include "s3wire/transport/curl_transport.h"
#include "support/bufs.h"

#include <bucketry/simulator.h>

#include <memory>
#include <string>

namespace bucketry::s3wire::tests
{

/// How a client of the simulator differs from the usual one.
struct SClientWish
{
    unsigned m_attempts = 5;
    std::chrono::seconds m_stall{120};
    std::shared_ptr<CRetryBudget> m_budget = std::make_shared<CRetryBudget>();
    std::shared_ptr<IS3WireAuth> m_auth; ///< null for the first key of the store
    std::string m_endpoint;              ///< empty for the store's own
    std::string m_region = "us-east-1";
    std::optional<std::string> m_trustedPem;
};

inline std::shared_ptr<COperations> OperationsOf(simulator::CSimulator const& store, SClientWish const& wish = {})
{
    simulator::SAccessKey const key;
    std::string const endpoint = wish.m_endpoint.empty() ? store.Endpoint() : wish.m_endpoint;
    auto record = std::make_shared<CStoreRecord>(SStoreAddress{ParseEndpoint(endpoint), wish.m_region, false},
                                                 TraitsOf(endpoint));
    auto auth = wish.m_auth ? wish.m_auth
                            : CS3WireAuthFactory(s3::CS3WireContext::Instance().GetTempKeyStore())
                                  .CreateForS3(key.m_id, key.m_secret, "", "", "", "", "", 0);
    transport::STransportSettings lines;
    lines.m_origin = endpoint;
    lines.m_limits.m_stall = wish.m_stall;
    lines.m_trustedPem = wish.m_trustedPem;
    SRetryPolicy policy;
    policy.m_attempts = wish.m_attempts;
    SSurroundings surroundings = SSurroundings::Real();
    surroundings.m_sleep = [](std::chrono::milliseconds) {};
    auto sender = std::make_shared<CWireSender>(
        record, std::move(auth),
        std::make_shared<transport::CCurlTransport>(lines, std::make_shared<transport::CConnectionPool>(), nullptr),
        wish.m_budget, policy, surroundings);
    return std::make_shared<COperations>(std::move(sender), std::move(record));
}

inline s3::CS3WireClient ClientOf(simulator::CSimulator const& store, SClientWish const& wish = {})
{
    return s3::ClientOver(OperationsOf(store, wish));
}

using bucketry::testing::BufsOf;
using bucketry::testing::TextOf;

inline void PutText(s3::CS3WireClient const& client, std::string const& bucket, std::string const& key,
                    std::string const& text)
{
    client.PutObject(bucket, key, BufsOf(text), {}, {}, {}, {}, {}).get();
}

} // namespace bucketry::s3wire::tests
