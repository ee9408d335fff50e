// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"
#include "s3wire/codec/http_date.h"

#include <boost/thread/mutex.hpp>

#include <functional>
#include <memory>
#include <string>

namespace bucketry::s3::detail
{

/// The form of the dates that a store sends, for datetime::CDateTime.
inline std::string const dateFormatRfc2822Gmt = s3wire::HttpDateFormat;

/// What an answer without a date is.
enum class ENoDate
{
    NoDifference, ///< to the local clock
    Failure
};

/// The server time of one store, as its client hands it out. Any thread.
class CStoreClock
{
public:
    /// \param askForDate  asks the store for the time, as text; called once at most
    CStoreClock(std::function<std::string()> askForDate, ENoDate noDate);

    /// Asks the store at the first call; others wait for that. If the question fails, the answer cannot be read or the
    /// clocks are more than 900 seconds apart, this call throws, and later ones give a time without a difference.
    std::shared_ptr<CServerTime> GetServerTime();

private:
    std::function<std::string()> const m_askForDate;
    ENoDate const m_noDate;
    boost::mutex m_mutex;                      ///< guards m_serverTime while it is made
    std::shared_ptr<CServerTime> m_serverTime; ///< null until it is asked for
};

} // namespace bucketry::s3::detail
