// SPDX-License-Identifier: Apache-2.0
#include "s3/detail/store_clock.h"

#include <boost/thread/lock_guard.hpp>

#include <utility>

namespace bucketry::s3::detail
{

CStoreClock::CStoreClock(std::function<std::string()> askForDate, ENoDate noDate)
    : m_askForDate(std::move(askForDate)), m_noDate(noDate)
{
}

std::shared_ptr<CServerTime> CStoreClock::GetServerTime()
{
    boost::lock_guard const lock(m_mutex); // through the request, so that all first callers wait for one
    if (m_serverTime)
    {
        return m_serverTime;
    }
    m_serverTime = std::make_shared<CServerTime>();
    std::string const date = m_askForDate();
    if (!date.empty() || m_noDate == ENoDate::Failure)
    {
        m_serverTime->UpdateServerDiff(datetime::CDateTime::fromString(date, dateFormatRfc2822Gmt, true));
    }
    return m_serverTime;
}

} // namespace bucketry::s3::detail
