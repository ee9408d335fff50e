// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/auth/auth.h"
#include "s3wire/sending/errors.h"
#include "s3wire/sending/store_record.h"
#include "s3wire/transport/surroundings.h"

#include <ctime>
#include <memory>
#include <string>

namespace bucketry::s3wire
{

/// How a request goes out next: what a store may correct in it.
struct SOutgoing
{
    SAddress m_address;
    std::string m_path; ///< encoded, with the key
    std::string m_md5;  ///< Content-MD5; empty for none
    std::shared_ptr<CSigningKeys const> m_keys;
    std::time_t m_signedAt = 0; ///< by the store's clock, as far as it is known
};

/// Learns from refusals that say what was wrong with one request: clock, keys, address, region, a missing Content-MD5.
/// Each is corrected once. What other requests need as well goes into the store's record. For one thread.
class CCorrections
{
public:
    /// All are held by reference. Throws what CStoreRecord throws for a bucket without an address.
    CCorrections(wire::SWireRequest const& request, CStoreRecord& store, IS3WireAuth& auth,
                 SSurroundings const& surroundings);

    SOutgoing& Outgoing() { return m_outgoing; }
    SOutgoing const& Outgoing() const { return m_outgoing; }

    /// The store's time.
    std::time_t Now() const { return m_surroundings.m_now() + m_store.ClockOffset(); }

    /// True if the request, as it goes out next, differs in what the store has refused.
    bool Correct(transport::SHttpResponse const& answer, unsigned status, SStoreError const& error);
    /// To be told when the request has succeeded, so that what helped is kept.
    void Succeed();

private:
    void SetAddress(SAddress const& address);
    bool CorrectClock(transport::SHttpResponse const& answer, unsigned status, SStoreError const& error);
    bool CorrectKeys(SStoreError const& error);
    bool CorrectAddress(transport::SHttpResponse const& answer, unsigned status, SStoreError const& error);
    bool CorrectRegion(std::string const& region);
    bool AddMd5(unsigned status, SStoreError const& error);

    wire::SWireRequest const& m_request;
    CStoreRecord& m_store;
    IS3WireAuth& m_auth;
    SSurroundings const& m_surroundings;
    SOutgoing m_outgoing;
    bool m_triedClock = false;
    bool m_triedKeys = false;
    bool m_triedAddress = false;
    bool m_triedMd5 = false;
};

} // namespace bucketry::s3wire
