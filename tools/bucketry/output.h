// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "json.h"
#include "progress.h"

#include "bucketry/base/logging.h"

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace bucketry::tool
{

/// One line of a summary: `key` for machines, the label and the value for people.
struct SSummaryRow
{
    std::string m_key;
    std::string m_label;
    std::uint64_t m_value = 0;
    bool m_isBytes = false;
};

/// Everything that the tool says: results on the standard output, as text or as one JSON object for each run, and
/// messages and the progress line on the standard error stream. Any thread.
class COutput
{
public:
    COutput(bool isJson, bool isVerbose);
    COutput(COutput const&) = delete;
    COutput& operator=(COutput const&) = delete;
    /// Restores the library's own log.
    ~COutput();

    bool IsJson() const noexcept { return m_isJson; }

    /// The result of a command in both forms; `text` ends its lines itself. "ok": true heads the JSON object.
    void Result(std::string_view text, CJsonObject const& json);
    /// The same for work that ended with problems, which are listed in the JSON object.
    void Result(bool isOk, std::string_view text, CJsonObject const& json);

    /// A summary table with the time and the rate below the rows.
    /// \param json  what comes before the rows
    void Summary(bool isOk, std::string_view title, CJsonObject json, std::vector<SSummaryRow> const& rows,
                 CProgress const& progress);

    /// A failure that ends the run.
    void Error(std::string_view text);

    /// One object or file that is not as it should be: a message now, and an item of the result's "problems".
    /// \param kind  a word for machines: changed, missing, extra, unreadable, skipped ...
    void Problem(std::string_view kind, std::string_view path, std::string_view text);

    /// How many problems of this kind there were.
    std::uint64_t CountProblems(std::string_view kind);

    /// A line of its own on the standard error stream.
    void Message(std::string_view text);

    /// Closes the JSON object with a member "stats" of what this gives.
    void SetStatistics(std::function<CJsonObject()> statistics) { m_statistics = std::move(statistics); }

    /// A progress for work that is about to begin; silent unless the standard error stream is a terminal.
    CProgress StartProgress();

private:
    void WriteJson(CJsonObject json);
    void ShowProgress(std::string const& line);
    void ClearProgress();
    void Log(logging::ELevel level, std::string const& section, std::string const& text);

    bool const m_isJson;
    bool const m_isVerbose;
    std::function<CJsonObject()> m_statistics; ///< set before any work begins
    std::mutex m_mutex;                        ///< guards the two streams and what follows
    bool m_hasProgressLine = false;
    std::vector<CJsonObject> m_problems;
    std::map<std::string, std::uint64_t, std::less<>> m_problemCounts; ///< by kind
};

} // namespace bucketry::tool
