// SPDX-License-Identifier: Apache-2.0
#include "s3/detail/archive.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/logging.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/codec/http_date.h"

namespace bucketry::s3::detail
{
namespace
{

using s3wire::s3::EPostObjectRestoreResponse;

bool IsAskedAlready(s3wire::CS3WireException const& refusal)
{
    return refusal.GetStatusCode() == 409 && refusal.GetAmazonErrorCode() == "RestoreAlreadyInProgress";
}

bool IsNotArchived(s3wire::CS3WireException const& refusal)
{
    return refusal.GetStatusCode() == 403 && refusal.GetAmazonErrorCode() == "InvalidObjectState";
}

} // namespace

s3wire::s3::EGlacierRetrievalTier ToGlacierRetrievalTier(ArchiveRetrievalTier tier)
{
    using s3wire::s3::EGlacierRetrievalTier;
    switch (tier)
    {
    case ArchiveRetrievalTier::Default:
    case ArchiveRetrievalTier::Standard:
        return EGlacierRetrievalTier::Standard;
    case ArchiveRetrievalTier::Bulk:
        return EGlacierRetrievalTier::Bulk;
    case ArchiveRetrievalTier::Expedited:
        return EGlacierRetrievalTier::Expedited;
    }
    throw exc::CRuntimeExc("Unknown ArchiveRetrievalTier value: %1", static_cast<std::uint32_t>(tier));
}

void JudgeRestore(web::Task<EPostObjectRestoreResponse> const& asked, SRestoreTexts const& texts)
{
    try
    {
        if (asked.get() == EPostObjectRestoreResponse::AlreadyRestored)
        {
            stg_log.info("The requested object has already been restored");
        }
    }
    catch (s3wire::CS3WireException const& refusal)
    {
        if (IsNotArchived(refusal))
        {
            stg_log.warn("%1", texts.m_notArchived);
        }
        else if (!IsAskedAlready(refusal))
        {
            // Not as a refusal: the adaption leaves it what it is.
            exc::RegenExc("%1", texts.m_refused, exc::CRuntimeExc(refusal.what()));
        }
    }
    catch (std::exception const& error)
    {
        exc::RegenExc("%1", texts.m_refused, error);
    }
}

void Reset(SArchiveRetrievalStatus& status)
{
    status = {false, datetime::CDateTime(true)};
}

void Fill(SArchiveRetrievalStatus& status, s3wire::s3::SObjectData const& head,
          std::function<std::string(std::string const& date)> const& badDateText)
{
    status.m_isRetrievalInProgress = head.m_restoreInProgress;
    if (head.m_restoreExpiryDate.empty())
    {
        return;
    }
    if (auto const expiry = s3wire::ReadHttpDate(head.m_restoreExpiryDate))
    {
        status.m_expiryDate = datetime::CDateTime::fromUnixTime(*expiry, true);
    }
    else
    {
        stg_log.warn("%1", badDateText(head.m_restoreExpiryDate));
    }
}

} // namespace bucketry::s3::detail
