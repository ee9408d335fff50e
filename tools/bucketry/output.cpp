// SPDX-License-Identifier: Apache-2.0
#include "output.h"

#include "text.h"

#include "bucketry/base/exceptions.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace bucketry::tool
{

namespace
{

void Write(std::FILE* stream, std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stream);
}

void FlushResult()
{
    if (std::fflush(stdout) != 0)
    {
        throw exc::CRuntimeExc("Failed to write to the standard output.");
    }
}

std::size_t TerminalWidth()
{
    winsize size{};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string TableLine(std::string_view label, std::string const& value)
{
    std::string line = "  ";
    line += label;
    line.resize(std::max<std::size_t>(line.size(), 22), ' ');
    return line + std::string(value.size() < 14 ? 14 - value.size() : 0, ' ') + value + "\n";
}

} // namespace

COutput::COutput(bool isJson, bool isVerbose) : m_isJson(isJson), m_isVerbose(isVerbose)
{
    logging::SetSink([this](logging::ELevel level, std::string const& section, std::string const& text)
                     { Log(level, section, text); });
}

COutput::~COutput()
{
    logging::SetSink({});
    std::lock_guard const lock(m_mutex);
    ClearProgress();
}

void COutput::Result(std::string_view text, CJsonObject const& json)
{
    Result(true, text, json);
}

void COutput::Result(bool isOk, std::string_view text, CJsonObject const& json)
{
    std::lock_guard const lock(m_mutex);
    ClearProgress();
    if (m_isJson)
    {
        WriteJson(CJsonObject().Add("ok", isOk).Merge(json));
    }
    else
    {
        Write(stdout, text);
    }
    FlushResult();
}

void COutput::WriteJson(CJsonObject json)
{
    if (!m_problems.empty())
    {
        json.Add("problems", m_problems);
    }
    if (m_statistics)
    {
        json.AddJson("stats", m_statistics().Text());
    }
    Write(stdout, json.Text() + "\n");
}

void COutput::Summary(bool isOk, std::string_view title, CJsonObject json, std::vector<SSummaryRow> const& rows,
                      CProgress const& progress)
{
    std::string text(title);
    text += '\n';
    for (SSummaryRow const& row : rows)
    {
        json.Add(row.m_key, row.m_value);
        text += TableLine(row.m_label, row.m_isBytes ? HumanBytes(row.m_value) : GroupedDigits(row.m_value));
    }
    double const seconds = progress.Seconds();
    json.Add("seconds", seconds);
    text += TableLine("time", OneDecimal(seconds) + " s");
    double const rate = static_cast<double>(progress.Done().m_bytes) / std::max(seconds, 0.001);
    text += TableLine("rate", HumanBytes(static_cast<std::uint64_t>(rate)) + "/s");
    Result(isOk, text, json);
}

void COutput::Error(std::string_view text)
{
    Message(text);
    if (m_isJson)
    {
        std::lock_guard const lock(m_mutex);
        WriteJson(CJsonObject().Add("ok", false).Add("error", text));
    }
}

void COutput::Problem(std::string_view kind, std::string_view path, std::string_view text)
{
    Message(util::str_format("%1: [%2]", text, Printable(path)));
    std::lock_guard const lock(m_mutex);
    m_problems.push_back(CJsonObject().Add("kind", kind).Add("path", path).Add("text", text));
    ++m_problemCounts[std::string(kind)];
}

std::uint64_t COutput::CountProblems(std::string_view kind)
{
    std::lock_guard const lock(m_mutex);
    auto const at = m_problemCounts.find(kind);
    return at == m_problemCounts.end() ? 0 : at->second;
}

void COutput::Message(std::string_view text)
{
    std::lock_guard const lock(m_mutex);
    ClearProgress();
    Write(stderr, util::str_format("bucketry: %1\n", text));
}

CProgress COutput::StartProgress()
{
    if (::isatty(STDERR_FILENO) == 0)
    {
        return CProgress({});
    }
    return CProgress([this](std::string const& line) { ShowProgress(line); });
}

void COutput::ShowProgress(std::string const& line)
{
    std::lock_guard const lock(m_mutex);
    Write(stderr, "\r\x1b[K" + line.substr(0, TerminalWidth() - 1));
    std::fflush(stderr);
    m_hasProgressLine = true;
}

void COutput::ClearProgress()
{
    if (m_hasProgressLine)
    {
        Write(stderr, "\r\x1b[K");
        m_hasProgressLine = false;
    }
}

void COutput::Log(logging::ELevel level, std::string const& section, std::string const& text)
{
    if (level == logging::ELevel::Info && !m_isVerbose)
    {
        return;
    }
    std::string_view const word = level == logging::ELevel::Error ? "error"
        : level == logging::ELevel::Warning                       ? "warning"
                                                                  : "info";
    Message(util::str_format("%1: %2: %3", word, section, text));
}

} // namespace bucketry::tool
