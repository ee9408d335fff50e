// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/simulator.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::simulator
{

class CStore;

/// Where a job tells what became of each object.
struct SJobReport
{
    std::string m_bucket;
    std::string m_prefix;
    bool m_tellsAll = false; ///< else the failed objects only
};

/// One row of a manifest, and what became of it.
struct SJobTask
{
    std::string m_bucket;
    std::string m_key; ///< encoded as in the manifest
    std::string m_versionId;
    unsigned m_status = 200;
    std::string m_errorCode; ///< empty: the restore was asked for
    std::string m_message = "Successful";

    bool HasFailed() const { return !m_errorCode.empty(); }
};

/// One batch job that asks for restores.
struct SJob
{
    std::string m_id;
    std::string m_request; ///< the document that made it
    time_point_t m_made;

    std::string m_manifestBucket, m_manifestKey, m_manifestVersion, m_manifestETag;
    std::vector<std::string> m_fields;
    std::string m_tier;
    std::uint64_t m_days = 0; ///< 0: none named
    std::optional<SJobReport> m_report;

    std::vector<std::string> m_script; ///< status words; never empty
    std::chrono::milliseconds m_each{0};
    std::size_t m_step = 0; ///< the job's place in the script
    bool m_isTold = false;  ///< whether somebody has been told of it

    bool m_isPrepared = false; ///< the manifest has been read
    bool m_hasRun = false;
    std::vector<SJobTask> m_tasks;
    std::string m_failureCode; ///< why the whole job failed
    std::string m_failureReason;

    std::string const& Status() const { return m_script[m_step]; }
    bool IsOver() const { return m_step + 1 == m_script.size(); }
    std::uint64_t CountFailed() const;
    /// Does what the present state stands for: all but New need the manifest, and Complete the restores.
    void Work(CStore& store, time_point_t now);

private:
    void Prepare(CStore& store);
    void Run(CStore& store, time_point_t now);
    void RunTask(CStore& store, SJobTask& task, time_point_t now) const;
    void WriteReport(CStore& store, time_point_t now);
    void Fail(std::string code, std::string reason);
};

/// All batch jobs. Not for several threads at once.
class CJobs
{
public:
    /// The states of jobs that are made from now on.
    void SetScript(std::vector<std::string> statuses, std::chrono::milliseconds each);
    /// The job that was made with that client token; null if there is none.
    SJob* FindByToken(std::string const& token);
    /// Null if there is no such job.
    SJob* Find(std::string const& id);
    /// Gives the job its id, and begins it.
    SJob& Add(std::string const& token, SJob job, CStore& store, time_point_t now);
    /// Moves the jobs whose states last some time on to where they are now.
    void Advance(CStore& store, time_point_t now);
    /// Moves a job whose states last until they are asked for to the state that a question gets.
    static void Ask(SJob& job, CStore& store, time_point_t now);

private:
    std::vector<std::string> m_script{"New", "Preparing", "Active", "Complete"};
    std::chrono::milliseconds m_each{0};
    std::map<std::string, SJob> m_jobs; ///< by id
    std::map<std::string, std::string> m_idsByToken;
};

} // namespace bucketry::simulator
