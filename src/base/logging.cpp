// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/logging.h"

#include <memory>
#include <mutex>
#include <utility>

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace bucketry::logging
{

namespace
{

// Warnings and errors on the standard error stream, through a logger of the library's own that no registry knows.
sink_t MakeDefaultSink()
{
    auto const logger = std::make_shared<spdlog::logger>("bucketry", std::make_shared<spdlog::sinks::stderr_sink_st>());
    logger->set_pattern("%Y-%m-%d %H:%M:%S.%e %l %v");
    return [logger](ELevel level, std::string const& section, std::string const& text)
    {
        if (level != ELevel::Info)
        {
            logger->log(level == ELevel::Error ? spdlog::level::err : spdlog::level::warn, "[{}] {}", section, text);
        }
    };
}

struct SProcessSink
{
    std::mutex m_mutex;
    sink_t m_sink = MakeDefaultSink(); ///< guarded by m_mutex, never empty
};

// Never destroyed: threads may log while the process ends.
SProcessSink& ProcessSink()
{
    static auto& sink = *new SProcessSink;
    return sink;
}

std::string WithLines(std::string_view text, std::exception const& error)
{
    return util::str_format("%1\n%2", text, error.what());
}

} // namespace

void SetSink(sink_t sink)
{
    if (!sink)
    {
        sink = MakeDefaultSink();
    }
    SProcessSink& process = ProcessSink();
    std::lock_guard const lock(process.m_mutex);
    process.m_sink.swap(sink);
}

ILogSection::~ILogSection() = default;

void ILogSection::err(std::string_view text, std::exception const& error) const
{
    Write(ELevel::Error, WithLines(text, error));
}

void ILogSection::warn(std::string_view text, std::exception const& error) const
{
    Write(ELevel::Warning, WithLines(text, error));
}

log_section_t::log_section_t(std::string name) : m_name(std::move(name)) {}

log_section_t::~log_section_t() = default;

void log_section_t::Write(ELevel level, std::string const& text) const noexcept
{
    try
    {
        SProcessSink& process = ProcessSink();
        std::lock_guard const lock(process.m_mutex);
        process.m_sink(level, m_name, text);
    }
    catch (...) // a log line is not worth a failure
    {
    }
}

void LogExc(std::string_view text, std::exception const& error) noexcept
{
    try
    {
        common_log.err(text, error);
    }
    catch (...) // no memory for the line
    {
    }
}

trace_t::trace_t(ILogSection const& section, std::string text, EMode mode)
    : m_section(section), m_text(std::move(text)), m_mode(mode)
{
    if (m_mode == EMode::Full)
    {
        m_section.info("%1: started.", m_text);
    }
}

trace_t::~trace_t()
{
    try
    {
        if (!m_settled)
        {
            m_section.warn("%1: failed.", m_text);
        }
        else if (m_mode == EMode::Full && !m_endText.empty())
        {
            m_section.info("%1: %2", m_text, m_endText);
        }
    }
    catch (...) // no memory for the line
    {
    }
}

void trace_t::ok()
{
    SettleWith("ok.");
}

void trace_t::okNoMsg()
{
    SettleWith({});
}

void trace_t::SettleWith(std::string text)
{
    m_settled = true;
    m_endText = std::move(text);
}

} // namespace bucketry::logging

namespace bucketry
{

logging::log_section_t const stg_log("stg_log");
logging::log_section_t const common_log("common_log");
logging::log_section_t const cli_log("cli_log");
logging::log_section_t const s3wire_log("s3wire_log");
logging::log_section_t const statistics_log("statistics_log");

} // namespace bucketry
