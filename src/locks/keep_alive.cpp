// SPDX-License-Identifier: Apache-2.0
#include "keep_alive.h"

#include "bucketry/base/logging.h"

#include <utility>

namespace bucketry::locks::details
{

namespace
{

constexpr int FailedPassPauseMsec = 5000;

} // namespace

CKeepAlive::CKeepAlive(std::shared_ptr<SLockTiming const> timing, int keepAliveMsec, int joinLimitMsec)
    : m_timing(std::move(timing)),
      m_keepAliveMsec(keepAliveMsec),
      m_joinLimitMsec(m_timing->m_joinLimitMsec.value_or(joinLimitMsec))
{
}

CKeepAlive::~CKeepAlive()
{
    m_stopEvent.SetEvent();
}

void CKeepAlive::Start(pass_t pass, std::string const& threadName)
{
    m_pass = std::move(pass);
    m_stopEvent.ResetEvent();
    m_thread.emplace(*this, &CKeepAlive::Run, threadName);
}

void CKeepAlive::Stop()
{
    m_stopEvent.SetEvent();
    if (m_thread)
    {
        m_thread->WaitForFinishExc(m_joinLimitMsec);
        m_thread.reset();
    }
}

void CKeepAlive::Run()
{
    try
    {
        int waitMsec = m_keepAliveMsec / 2;
        while (!m_timing->m_waitForStop(m_stopEvent, waitMsec))
        {
            waitMsec = m_pass() == EPass::Renewed ? m_keepAliveMsec / 2 : FailedPassPauseMsec;
        }
    }
    catch (std::exception const& error)
    {
        common_log.err("Cloud lock keep alive thread has failed.", error);
    }
}

} // namespace bucketry::locks::details
