// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"
#include "bucketry/s3wire/client.h"

#include <functional>
#include <string>

namespace bucketry::s3::detail
{

/// The store's word for a tier; the default is Standard. Throws exc::CRuntimeExc for any other value.
s3wire::s3::EGlacierRetrievalTier ToGlacierRetrievalTier(ArchiveRetrievalTier tier);

/// What a client says of a restore request that was not simply accepted.
struct SRestoreTexts
{
    std::string m_refused;
    std::string m_notArchived;
};

/// The outcome of a restore request, which is waited for. To ask again, and to ask for an object that is not archived,
/// is no failure and is logged at most; every other failure is rethrown with m_refused on top, a refusal as an
/// exc::CRuntimeExc.
void JudgeRestore(web::Task<s3wire::s3::EPostObjectRestoreResponse> const& asked, SRestoreTexts const& texts);

/// As long as nothing is known of a restore.
void Reset(SArchiveRetrievalStatus& status);

/// Fills a reset record from the answer to a head request. A date that cannot be read is left out, and what
/// `badDateText` makes of it is logged.
void Fill(SArchiveRetrievalStatus& status, s3wire::s3::SObjectData const& head,
          std::function<std::string(std::string const& date)> const& badDateText);

} // namespace bucketry::s3::detail
