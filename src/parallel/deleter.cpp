// SPDX-License-Identifier: Apache-2.0
#include "bucketry/parallel.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/logging.h"
#include "bucketry/base/options.h"

#include <boost/thread/lock_guard.hpp>

namespace bucketry
{

namespace
{

constexpr std::size_t FullBatch = 1000;

/// By which S3 names an object from before versions were kept.
constexpr char const* NullVersion = "null";

} // namespace

CCloudParallelObjsDeleter::CCloudParallelObjsDeleter(std::shared_ptr<ICloudClient> const& client,
                                                     std::shared_ptr<synch::completion_port_t> const& port)
    : m_client(client),
      m_port(port),
      m_executor(client, port, options_t::GetInst().GetCloudConcurrentMultiDeleteTaskLimit()),
      m_versioned(client->IsVersioningEnabled())
{
}

CCloudParallelObjsDeleter::~CCloudParallelObjsDeleter()
{
    try
    {
        if (BatchSize() > 0)
        {
            stg_log.warn("[CCloudParallelObjsDeleter] Not finalized properly");
            SignalObjsPushed();
        }
        Wait4Finish();
    }
    catch (std::exception const& error)
    {
        logging::LogExc("[CCloudParallelObjsDeleter] At ~CCloudParallelObjsDeleter()", error);
    }
}

void CCloudParallelObjsDeleter::PushObj(std::string const& path, std::string const& version)
{
    boost::lock_guard const lock(m_mutex);
    if (m_versioned)
    {
        m_versions.emplace_back(path, version.empty() ? NullVersion : version, 0, false, datetime::CDateTime(true));
    }
    else
    {
        m_paths.push_back(path);
    }
    if (BatchSize() >= FullBatch)
    {
        ScheduleTask();
    }
}

void CCloudParallelObjsDeleter::SignalObjsPushed()
{
    boost::lock_guard const lock(m_mutex);
    ScheduleTask();
}

void CCloudParallelObjsDeleter::Wait4Finish()
{
    try
    {
        m_executor.Flush();
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("[CCloudParallelObjsDeleter] Failed to wait for finish", error);
    }
}

/// One of the two batches is always empty. With m_mutex held.
std::size_t CCloudParallelObjsDeleter::BatchSize() const
{
    return m_paths.size() + m_versions.size();
}

/// Hands the batch over, and keeps it if that fails. With m_mutex held.
void CCloudParallelObjsDeleter::ScheduleTask()
{
    if (m_port)
    {
        m_port->CheckForErrorsExc();
    }
    if (BatchSize() == 0)
    {
        return;
    }
    m_executor.PushTask(m_versioned ? m_client->GetVersioningUtils()->DeleteFileVersionListAsync(m_versions)
                                    : m_client->DeleteFileListAsync(m_paths));
    m_paths.clear();
    m_versions.clear();
}

} // namespace bucketry
