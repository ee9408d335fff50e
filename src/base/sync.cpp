// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/sync.h"

#include "bucketry/base/logging.h"

#include <utility>

#include <pthread.h>

namespace bucketry::synch
{

namespace
{

constexpr std::size_t MaxThreadNameBytes = 15;

} // namespace

struct thread_t::SState
{
    explicit SState(std::string name) : m_name(std::move(name)) {}

    void Run(void (*function)(void*), void* argument)
    {
        ::pthread_setname_np(::pthread_self(), m_name.substr(0, MaxThreadNameBytes).c_str());
        std::exception_ptr error;
        try
        {
            function(argument);
        }
        catch (...)
        {
            error = std::current_exception();
        }
        std::lock_guard const lock(m_mutex);
        m_error = std::move(error);
        m_isDone = true;
        m_done.notify_all();
    }

    std::string const m_name;
    std::mutex m_mutex;
    std::condition_variable m_done;
    bool m_isDone = false;      ///< guarded by m_mutex
    std::exception_ptr m_error; ///< guarded by m_mutex; the waiter's alone after the join
};

thread_t::thread_t(void (*function)(void*), void* argument, std::string const& name)
    : m_state(std::make_shared<SState>(name)),
      m_thread([state = m_state, function, argument] { state->Run(function, argument); })
{
}

thread_t::~thread_t()
{
    if (m_thread.joinable())
    {
        m_thread.join();
    }
    if (!m_state->m_error)
    {
        return;
    }
    try
    {
        std::rethrow_exception(m_state->m_error);
    }
    catch (std::exception const& error)
    {
        logging::LogExc("A thread failed, and nobody waited for it: " + m_state->m_name, error);
    }
    catch (...)
    {
        common_log.err("A thread failed with an unknown exception, and nobody waited for it: %1", m_state->m_name);
    }
}

void thread_t::WaitForFinishExc(int msec)
{
    if (m_thread.joinable())
    {
        std::unique_lock lock(m_state->m_mutex);
        auto const isDone = [this] { return m_state->m_isDone; };
        if (!m_state->m_done.wait_for(lock, std::chrono::milliseconds(msec), isDone))
        {
            throw exc::CRuntimeExc("The thread \"%1\" has not ended within %2 ms.", m_state->m_name, msec);
        }
        lock.unlock();
        m_thread.join();
    }
    if (std::exception_ptr const error = std::exchange(m_state->m_error, nullptr))
    {
        std::rethrow_exception(error);
    }
}

void completion_port_t::PostError(std::exception const& error)
{
    std::shared_ptr<exc::exc_base_t> const copy = exc::CloneExc(error);
    std::lock_guard const lock(m_mutex);
    if (!m_error)
    {
        m_error = copy;
    }
}

void completion_port_t::CheckForErrorsExc() const
{
    std::shared_ptr<exc::exc_base_t> error;
    {
        std::lock_guard const lock(m_mutex);
        error = m_error;
    }
    if (error)
    {
        error->Generate();
    }
}

} // namespace bucketry::synch

namespace bucketry::posix
{

posix_manual_reset_event_t::posix_manual_reset_event_t(bool set) : m_set(set) {}

void posix_manual_reset_event_t::SetEvent()
{
    std::lock_guard const lock(m_mutex);
    m_set = true;
    m_condition.notify_all(); // under the lock: a waiter may destroy the event as soon as it is free
}

void posix_manual_reset_event_t::ResetEvent()
{
    std::lock_guard const lock(m_mutex);
    m_set = false;
}

bool posix_manual_reset_event_t::Wait(int msec)
{
    std::unique_lock lock(m_mutex);
    auto const isSet = [this] { return m_set; };
    if (msec >= 0)
    {
        return m_condition.wait_for(lock, std::chrono::milliseconds(msec), isSet);
    }
    m_condition.wait(lock, isSet);
    return true;
}

} // namespace bucketry::posix

namespace bucketry::lin
{

unsigned long lin_monotonic_timer::GetElapsedMsec() const
{
    auto const elapsed = std::chrono::steady_clock::now() - m_start;
    return static_cast<unsigned long>(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
}

} // namespace bucketry::lin
