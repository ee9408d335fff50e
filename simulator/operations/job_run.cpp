// SPDX-License-Identifier: Apache-2.0
#include "operations/call.h"
#include "protocol/digest.h"
#include "protocol/text.h"

#include <algorithm>

namespace bucketry::simulator
{

namespace
{

/// The fields of one line of CSV; a field may stand in double quotes.
std::vector<std::string> SplitRow(std::string_view line)
{
    std::vector<std::string> fields(1);
    bool isQuoted = false;
    for (char const c : line)
    {
        if (c == '"')
        {
            isQuoted = !isQuoted;
        }
        else if (c == ',' && !isQuoted)
        {
            fields.emplace_back();
        }
        else if (c != '\r')
        {
            fields.back() += c;
        }
    }
    return fields;
}

/// In double quotes, those inside preceded by `escape`.
std::string Quoted(std::string const& text, char escape)
{
    std::string quoted = "\"";
    for (char const c : text)
    {
        if (c == '"' || c == escape)
        {
            quoted += escape;
        }
        quoted += c;
    }
    return quoted + '"';
}

std::string ReportRow(SJobTask const& task)
{
    std::string row;
    for (auto const& field :
         {task.m_bucket, task.m_key, task.m_versionId, std::string(task.HasFailed() ? "failed" : "succeeded"),
          task.m_errorCode, std::to_string(task.m_status), task.m_message})
    {
        row +=
            (row.empty() ? "" : ",") + (field.find_first_of(",\"\n") == std::string::npos ? field : Quoted(field, '"'));
    }
    return row + "\n";
}

void WriteText(CStore& store, SBucket& bucket, std::string const& key, std::string text, time_point_t now)
{
    SVersion version;
    version.m_data = std::make_shared<std::string const>(std::move(text));
    version.m_etag = Hex(Md5(*version.m_data));
    version.m_modified = now;
    version.m_attributes.m_lock.m_retention = DefaultRetention(bucket, now);
    store.Write(bucket, key, std::move(version));
}

} // namespace

std::uint64_t SJob::CountFailed() const
{
    return static_cast<std::uint64_t>(
        std::count_if(m_tasks.begin(), m_tasks.end(), [](SJobTask const& task) { return task.HasFailed(); }));
}

void SJob::Work(CStore& store, time_point_t now)
{
    if (Status() != "New" && !m_isPrepared)
    {
        Prepare(store);
    }
    if (Status() == "Complete" && !m_hasRun)
    {
        Run(store, now);
    }
}

void SJob::Fail(std::string code, std::string reason)
{
    m_failureCode = std::move(code);
    m_failureReason = std::move(reason);
    m_script.resize(m_step);
    m_script.emplace_back("Failed");
}

void SJob::Prepare(CStore& store)
{
    m_isPrepared = true;
    SBucket* const bucket = store.FindBucket(m_manifestBucket);
    SVersion const* const manifest = bucket == nullptr ? nullptr : bucket->Find(m_manifestKey, m_manifestVersion);
    if (manifest == nullptr || manifest->m_isDeleteMarker)
    {
        return Fail("ManifestNotFound", "The manifest object was not found.");
    }
    if (manifest->m_etag != m_manifestETag)
    {
        return Fail("ManifestETagMismatch", "The manifest object has another ETag.");
    }
    std::string_view rest = *manifest->m_data;
    while (!rest.empty())
    {
        auto const line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        auto fields = SplitRow(line);
        if (line.empty())
        {
            continue;
        }
        if (fields.size() != m_fields.size())
        {
            return Fail("ManifestMalformed",
                        "Expected " + std::to_string(m_fields.size()) + " columns in the manifest but found " +
                            std::to_string(fields.size()) + ".");
        }
        SJobTask& task = m_tasks.emplace_back();
        for (std::size_t i = 0; i < fields.size(); ++i)
        {
            if (m_fields[i] != "Ignore")
            {
                (m_fields[i] == "Bucket"    ? task.m_bucket
                     : m_fields[i] == "Key" ? task.m_key
                                            : task.m_versionId) = std::move(fields[i]);
            }
        }
    }
}

void SJob::Run(CStore& store, time_point_t now)
{
    m_hasRun = true;
    for (SJobTask& task : m_tasks)
    {
        RunTask(store, task, now);
    }
    if (m_report)
    {
        WriteReport(store, now);
    }
}

void SJob::RunTask(CStore& store, SJobTask& task, time_point_t now) const
{
    try
    {
        SBucket& bucket = store.Bucket(task.m_bucket);
        auto const key = PercentDecode(task.m_key, true);
        SVersion* const version = key ? bucket.Find(*key, task.m_versionId) : nullptr;
        if (version == nullptr)
        {
            throw CStoreError(404, "NoSuchKey", "The specified key does not exist.");
        }
        AskForRestore(store, *version, m_days == 0 ? std::nullopt : std::optional(m_days), m_tier, now);
    }
    catch (CStoreError const& error)
    {
        task.m_status = error.m_status;
        task.m_errorCode = error.m_code;
        task.m_message = error.m_message;
    }
}

void SJob::WriteReport(CStore& store, time_point_t now)
{
    SBucket* const bucket = store.FindBucket(m_report->m_bucket);
    if (bucket == nullptr)
    {
        return Fail("ReportBucketNotFound", "The bucket of the completion report was not found.");
    }
    std::string const folder = m_report->m_prefix + "/job-" + m_id + "/";
    std::string results;
    for (bool const failed : {false, true})
    {
        std::string rows;
        for (SJobTask const& task : m_tasks)
        {
            if (task.HasFailed() == failed)
            {
                rows += ReportRow(task);
            }
        }
        if (rows.empty() || (!failed && !m_report->m_tellsAll))
        {
            continue;
        }
        std::string const key = folder + "results/" + Hex(Sha1(rows)) + ".csv";
        results += (results.empty() ? "" : ",") + std::string("{\"TaskExecutionStatus\":\"") +
            (failed ? "failed" : "succeeded") + "\",\"Bucket\":" + Quoted(m_report->m_bucket, '\\') +
            ",\"MD5Checksum\":\"" + Hex(Md5(rows)) + "\",\"Key\":" + Quoted(key, '\\') + "}";
        WriteText(store, *bucket, key, std::move(rows), now);
    }
    WriteText(store, *bucket, folder + "manifest.json",
              "{\"Format\":\"Report_CSV_20180820\",\"ReportCreationDate\":\"" + IsoTime(now) + "\",\"Results\":[" +
                  results +
                  "],\"ReportSchema\":\"Bucket, Key, VersionId, TaskStatus, ErrorCode, HTTPStatusCode, "
                  "ResultMessage\"}",
              now);
}

} // namespace bucketry::simulator
