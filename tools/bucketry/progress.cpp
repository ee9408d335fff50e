// SPDX-License-Identifier: Apache-2.0
#include "progress.h"

#include "text.h"

#include <utility>

namespace bucketry::tool
{

std::string ProgressText(SAmount const& done, SAmount const& total, double seconds)
{
    bool const isTotalKnown = total.m_files > 0;
    std::string text = HumanBytes(done.m_bytes);
    text += isTotalKnown ? " of " + HumanBytes(total.m_bytes) + ", " : ", ";
    text += GroupedDigits(done.m_files);
    text += isTotalKnown ? " of " + GroupedDigits(total.m_files) + " files" : " files";
    double const rate = seconds > 0 ? static_cast<double>(done.m_bytes) / seconds : 0;
    text += ", " + HumanBytes(static_cast<std::uint64_t>(rate)) + "/s";
    bool const isRateSettled = rate > 0 && seconds >= 1; // the first bytes alone would promise hours
    if (isTotalKnown && isRateSettled && total.m_bytes >= done.m_bytes)
    {
        text += ", " + HumanSeconds(static_cast<double>(total.m_bytes - done.m_bytes) / rate) + " left";
    }
    return text;
}

CProgress::CProgress(show_t show) : m_show(std::move(show)) {}

void CProgress::Add(SAmount const& amount)
{
    m_done.m_bytes += amount.m_bytes;
    m_done.m_files += amount.m_files;
    if (!m_show)
    {
        return;
    }
    auto const now = clock_t::now();
    if (now >= m_nextShow)
    {
        m_nextShow = now + std::chrono::milliseconds(200);
        m_show(ProgressText(m_done, m_total, Seconds()));
    }
}

double CProgress::Seconds() const
{
    return std::chrono::duration<double>(clock_t::now() - m_start).count();
}

} // namespace bucketry::tool
