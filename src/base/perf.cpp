// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/perf.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

namespace bucketry::perf
{

namespace
{

std::atomic<bool> perfLogEnabled{false};

struct SProcessSink
{
    std::mutex m_mutex;
    std::shared_ptr<sink_t const> m_sink; ///< guarded by m_mutex; null for none
};

// Never destroyed: threads may raise events while the process ends.
SProcessSink& ProcessSink()
{
    static auto& sink = *new SProcessSink;
    return sink;
}

std::shared_ptr<sink_t const> CurrentSink()
{
    SProcessSink& process = ProcessSink();
    std::lock_guard const lock(process.m_mutex);
    return process.m_sink;
}

template <class... TArgs>
void Raise(int id, TArgs const&... arguments) noexcept
{
    try
    {
        if (std::shared_ptr<sink_t const> const sink = CurrentSink())
        {
            (*sink)(id, {arguments...});
        }
    }
    catch (...) // an event is not worth a failure
    {
    }
}

} // namespace

CPerfEventArg::CPerfEventArg(std::string const& value) : m_value(value) {}

CPerfEventArg::CPerfEventArg(unsigned long value) : m_value(value) {}

CPerfEventArg::CPerfEventArg(int value) : m_value(value) {}

void EnablePerfLog(bool enabled)
{
    perfLogEnabled = enabled;
}

bool IsPerfLogEnabled()
{
    return perfLogEnabled;
}

void SetSink(sink_t sink)
{
    std::shared_ptr<sink_t const> next = sink ? std::make_shared<sink_t const>(std::move(sink)) : nullptr;
    SProcessSink& process = ProcessSink();
    std::lock_guard const lock(process.m_mutex);
    process.m_sink.swap(next);
}

void OnEvent(int id) noexcept
{
    Raise(id);
}

void OnEventEx(int id, CPerfEventArg const& first) noexcept
{
    Raise(id, first);
}

void OnEventEx(int id, CPerfEventArg const& first, CPerfEventArg const& second) noexcept
{
    Raise(id, first, second);
}

void OnEventEx(int id, CPerfEventArg const& first, CPerfEventArg const& second, CPerfEventArg const& third) noexcept
{
    Raise(id, first, second, third);
}

} // namespace bucketry::perf
