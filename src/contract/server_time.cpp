// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/logging.h"
#include "bucketry/client.h"

#include <boost/thread/lock_guard.hpp>

#include <utility>

namespace bucketry
{

namespace
{

constexpr long MaxClockDiffSec = 900;
constexpr long LoggedDriftSec = 30;

/// Whether `diff` lies further from 0 than `limit`.
bool IsBeyond(long diff, long limit)
{
    return diff > limit || diff < -limit;
}

/// Made at its first use, so that the clock works while other static objects are being made.
std::function<datetime::CDateTime()>& TimeAccess()
{
    static std::function<datetime::CDateTime()> access = &datetime::CDateTime::currentUtcTime;
    return access;
}

} // namespace

datetime::CDateTime CCurrentTimeAccessor::CurrentTime()
{
    return TimeAccess()();
}

void CCurrentTimeAccessor::OverrideTimeAccess(std::function<datetime::CDateTime()> access)
{
    TimeAccess() = std::move(access);
}

bool CServerTime::IsInitialized() const
{
    boost::lock_guard<boost::mutex> const lock(m_mutex);
    return m_serverDiffSec.has_value();
}

datetime::CDateTime CServerTime::GetServerUtcNow() const
{
    datetime::CDateTime const now = CCurrentTimeAccessor::CurrentTime();
    boost::lock_guard<boost::mutex> const lock(m_mutex);
    if (m_serverDiffSec)
    {
        return datetime::CDateTime::fromUnixTime(now.toUnixTime() - *m_serverDiffSec, true);
    }
    if (!std::exchange(m_notAvailableLogged, true))
    {
        common_log.warn("Cloud Server time is not available, using local UTC time.");
    }
    return now;
}

void CServerTime::UpdateServerDiff(datetime::CDateTime serverTime)
{
    long const diff = CCurrentTimeAccessor::CurrentTime().toUnixTime() - serverTime.toUnixTime();
    boost::lock_guard<boost::mutex> const lock(m_mutex);
    if (IsBeyond(diff, MaxClockDiffSec))
    {
        throw exc::CRuntimeExc(
            "The difference between local and cloud clocks is too high. Cloud server UTC time: [%1].",
            serverTime.toStdString(datetime::CDateTime::DefaultFormat));
    }
    LogNewDiff(diff, serverTime);
    m_serverDiffSec = diff;
}

void CServerTime::LogNewDiff(long diffSec, datetime::CDateTime serverTime)
{
    if (m_lastLoggedDiffSec && !IsBeyond(diffSec - *m_lastLoggedDiffSec, LoggedDriftSec - 1))
    {
        return;
    }
    m_lastLoggedDiffSec = diffSec;
    common_log.info("Cloud Server UTC time: [%1]", serverTime.toStdString(datetime::CDateTime::DefaultFormat));
}

} // namespace bucketry
