// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/logging.h"
#include "bucketry/base/options.h"
#include "bucketry/versions.h"

namespace bucketry
{

using datetime::CDateTime;

std::optional<CDateTime> CImmutabilityUtils::CheckImmutabilityPeriod(CDateTime const& date, bool noWarning)
{
    CDateTime const now = CCurrentTimeAccessor::CurrentTime();
    if (date.toUnixTime() >= now.toUnixTime() + static_cast<long>(options_t::GetInst().GetMinImmutabilitySec()))
    {
        return date;
    }
    if (!noWarning)
    {
        common_log.warn("Cancelling immutability application: requested time [%1] UTC is close to or less than current "
                        "time [%2] UTC",
                        date.toUtcTime().toStdString(), now.toUtcTime().toStdString());
    }
    return std::nullopt;
}

std::optional<CDateTime> CImmutabilityUtils::CheckImmutabilityPeriod(CDateTime const& date)
{
    return CheckImmutabilityPeriod(date, false);
}

std::optional<CDateTime> CImmutabilityUtils::CheckImmutabilityPeriod(std::optional<CDateTime> const& date,
                                                                     bool noWarning)
{
    return date ? CheckImmutabilityPeriod(*date, noWarning) : std::nullopt;
}

std::optional<CDateTime> CImmutabilityUtils::CheckImmutabilityPeriod(std::optional<CDateTime> const& date)
{
    return CheckImmutabilityPeriod(date, false);
}

} // namespace bucketry
