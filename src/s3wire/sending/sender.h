// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/auth/auth.h"
#include "s3wire/sending/retry.h"
#include "s3wire/sending/store_record.h"
#include "s3wire/transport/http.h"
#include "s3wire/transport/surroundings.h"
#include "s3wire/wire/request.h"

#include <memory>

namespace bucketry::s3wire
{

/// Signs, sends, repeats, counts, and turns a refusal into its exception. Any number of threads at once.
///
/// Sent again, after a growing random pause, is what the store refused before it began; after a lost connection and
/// after a failure of the store only what the request calls idempotent, and not before it has been asked whether the
/// work is done already. Sent again at once, and once for each reason, is what
/// the store corrects: its region, our clock, expired keys of a role, a missing Content-MD5.
class CWireSender final : public wire::IWireSender
{
public:
    CWireSender(std::shared_ptr<CStoreRecord> store, std::shared_ptr<IS3WireAuth> auth,
                std::shared_ptr<transport::IHttpTransport> transport, std::shared_ptr<CRetryBudget> budget,
                SRetryPolicy policy, SSurroundings surroundings);

    transport::SHttpResponse Send(wire::SWireRequest const& request) override;

private:
    class CSending;

    std::shared_ptr<CStoreRecord> const m_store;
    std::shared_ptr<IS3WireAuth> const m_auth;
    std::shared_ptr<transport::IHttpTransport> const m_transport;
    std::shared_ptr<CRetryBudget> const m_budget;
    SRetryPolicy const m_policy;
    SSurroundings const m_surroundings;
};

} // namespace bucketry::s3wire
