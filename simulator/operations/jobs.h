#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace bucketry::simulator
{

/// One batch job that asks for restores.
struct SJob
{
    std::string m_id;
    std::string m_request; ///< the document that made it
    std::vector<std::string> m_script;
    std::size_t m_step = 0;

    std::string m_manifestBucket, m_manifestKey, m_manifestVersion, m_manifestETag;
    std::vector<std::string> m_fields;
    std::string m_tier;
    std::uint64_t m_days = 0;

    bool m_hasRun = false;
    std::uint64_t m_succeeded = 0;
    std::uint64_t m_failed = 0;
    std::string m_failure; ///< why the whole job failed
};

/// All batch jobs. Not for several threads at once.
class CJobs
{
public:
    void SetScript(std::vector<std::string> statuses);
    /// The job that was made with that client token; null if there is none.
    SJob* FindByToken(std::string const& token);
    SJob* Find(std::string const& id);
    SJob& Add(std::string const& token, SJob job);

private:
    std::vector<std::string> m_script{"New", "Preparing", "Active", "Complete"};
    std::map<std::string, SJob> m_jobs; ///< by id
    std::map<std::string, std::string> m_idsByToken;
};

} // namespace bucketry::simulator
