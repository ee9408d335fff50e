// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"
#include "bucketry/base/text.h"

#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>

/// The library's log. Lines go to one sink of the process; without one of the host's, warnings and errors go to the
/// standard error stream and information is dropped. Everything here may be used from any thread.
namespace bucketry::logging
{

enum class ELevel
{
    Info,
    Warning,
    Error
};

using sink_t = std::function<void(ELevel level, std::string const& section, std::string const& text)>;

/// Sets the process's sink; an empty function restores the default. The sink is called for one line at a time; it must
/// not log itself. What it throws is dropped. When this returns, the former sink is not running any more.
BUCKETRY_API void SetSink(sink_t sink);

/// A named channel that takes a format and its arguments (see util::str_format).
class BUCKETRY_API ILogSection
{
public:
    virtual ~ILogSection();
    virtual void Write(ELevel level, std::string const& text) const noexcept = 0;

    template <class... TArgs>
    requires(!(std::is_base_of_v<std::exception, TArgs> || ...)) void info(std::string_view format,
                                                                           TArgs const&... arguments) const
    {
        Write(ELevel::Info, util::str_format(format, arguments...));
    }
    template <class... TArgs>
    requires(!(std::is_base_of_v<std::exception, TArgs> || ...)) void warn(std::string_view format,
                                                                           TArgs const&... arguments) const
    {
        Write(ELevel::Warning, util::str_format(format, arguments...));
    }
    template <class... TArgs>
    requires(!(std::is_base_of_v<std::exception, TArgs> || ...)) void err(std::string_view format,
                                                                          TArgs const&... arguments) const
    {
        Write(ELevel::Error, util::str_format(format, arguments...));
    }
    /// The text, followed by the lines of the exception.
    void warn(std::string_view text, std::exception const& error) const;
    void err(std::string_view text, std::exception const& error) const;
};

/// The channel that writes to the process's sink.
class BUCKETRY_API log_section_t final : public ILogSection
{
public:
    explicit log_section_t(std::string name);
    ~log_section_t() override;
    void Write(ELevel level, std::string const& text) const noexcept override;

private:
    std::string m_name;
};

/// Logs a caught exception that goes no further: the text, then the exception's lines, as an error on `common_log`.
BUCKETRY_API void LogExc(std::string_view text, std::exception const& error) noexcept;

/// Brackets an operation: a start line when made, an end line when it goes. Without a call of one of the ok
/// operations the end line says that the operation failed. For one thread; the section must outlive it.
class BUCKETRY_API trace_t
{
public:
    template <class... TArgs>
    explicit trace_t(ILogSection const& section, std::string_view format, TArgs const&... arguments)
        : trace_t(section, util::str_format(format, arguments...), EMode::Full)
    {
    }
    trace_t(trace_t const&) = delete;
    trace_t& operator=(trace_t const&) = delete;
    ~trace_t();

    /// The end line says that all went well.
    void ok();
    /// The same with a text of the caller's: a format and its arguments.
    template <class... TArgs>
    void ok(std::string_view format, TArgs const&... arguments)
    {
        SettleWith(util::str_format(format, arguments...));
    }
    /// All went well and no end line is wanted.
    void okNoMsg();

protected:
    enum class EMode
    {
        Full,
        FailureOnly
    };
    trace_t(ILogSection const& section, std::string text, EMode mode);

private:
    void SettleWith(std::string text);

    ILogSection const& m_section;
    std::string const m_text;
    EMode const m_mode;
    bool m_settled = false;
    std::string m_endText;
};

/// The same, silent unless it goes without an ok: then one line says what failed.
class BUCKETRY_API trace_fail_t final : public trace_t
{
public:
    template <class... TArgs>
    explicit trace_fail_t(ILogSection const& section, std::string_view format, TArgs const&... arguments)
        : trace_t(section, util::str_format(format, arguments...), EMode::FailureOnly)
    {
    }
};

} // namespace bucketry::logging

namespace bucketry
{

extern BUCKETRY_API logging::log_section_t const stg_log;        ///< store clients
extern BUCKETRY_API logging::log_section_t const common_log;     ///< locks, time, failures that go no further
extern BUCKETRY_API logging::log_section_t const cli_log;        ///< parallel code and lock contention
extern BUCKETRY_API logging::log_section_t const s3wire_log;     ///< S3 REST layer and connection specifications
extern BUCKETRY_API logging::log_section_t const statistics_log; ///< traffic and request counters

} // namespace bucketry
