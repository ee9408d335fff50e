// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/logging.h"

#include <mutex>
#include <string>
#include <vector>

namespace bucketry::testing
{

/// Takes every log line of the process while it lives; one at a time.
class CLogCapture
{
public:
    struct SLine
    {
        logging::ELevel m_level;
        std::string m_section;
        std::string m_text;
    };

    CLogCapture()
    {
        logging::SetSink(
            [this](logging::ELevel level, std::string const& section, std::string const& text)
            {
                std::lock_guard const lock(m_mutex);
                m_lines.push_back({level, section, text});
            });
    }
    CLogCapture(CLogCapture const&) = delete;
    CLogCapture& operator=(CLogCapture const&) = delete;
    ~CLogCapture() { logging::SetSink({}); }

    std::vector<SLine> Lines() const
    {
        std::lock_guard const lock(m_mutex);
        return m_lines;
    }

    /// How many lines of that level hold the text.
    std::size_t Count(logging::ELevel level, std::string const& part) const
    {
        std::lock_guard const lock(m_mutex);
        std::size_t count = 0;
        for (SLine const& line : m_lines)
        {
            count += line.m_level == level && line.m_text.find(part) != std::string::npos ? 1 : 0;
        }
        return count;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<SLine> m_lines;
};

} // namespace bucketry::testing
