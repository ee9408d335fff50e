// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/exceptions.h"
#include "bucketry/base/export.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace bucketry::synch
{

/// A named thread; the name is what `top -H` shows, cut to 15 bytes. The object is for one thread at a time.
class BUCKETRY_API thread_t
{
public:
    /// Starts `function(argument)`. Throws std::system_error if no thread can be started.
    thread_t(void (*function)(void*), void* argument, std::string const& name);
    thread_t(thread_t const&) = delete;
    thread_t& operator=(thread_t const&) = delete;
    /// Waits without limit; what the function threw and nobody asked for is logged.
    ~thread_t();

    /// Waits up to `msec` milliseconds for the end, joins the thread and throws a copy of what its function threw,
    /// once. Throws exc::CRuntimeExc if the time passes first; the thread then goes on and may be waited for again.
    void WaitForFinishExc(int msec);

private:
    struct SState;
    std::shared_ptr<SState> m_state;
    std::thread m_thread;
};

/// Runs a member function on a thread_t. The object must outlive the thread.
class BUCKETRY_API thread_adapter_t
{
public:
    template <class T>
    thread_adapter_t(T& object, void (T::*function)(), std::string const& name)
        : m_body([&object, function] { (object.*function)(); }), m_thread(&Run, this, name)
    {
    }
    thread_adapter_t(thread_adapter_t const&) = delete;
    thread_adapter_t& operator=(thread_adapter_t const&) = delete;

    void WaitForFinishExc(int msec) { m_thread.WaitForFinishExc(msec); }

private:
    static void Run(void* self) { static_cast<thread_adapter_t*>(self)->m_body(); }

    std::function<void()> const m_body;
    thread_t m_thread;
};

/// The cancellation token of a long operation, passed by std::shared_ptr. Any thread.
class BUCKETRY_API completion_port_t
{
public:
    /// Cancels: every later check throws a copy of `error`. The first error posted is the one that is kept.
    void PostError(std::exception const& error);
    /// Throws a copy of the posted error, of its class and with its status; does nothing if none was posted.
    void CheckForErrorsExc() const;

private:
    mutable std::mutex m_mutex;
    std::shared_ptr<exc::exc_base_t> m_error; ///< guarded by m_mutex
};

} // namespace bucketry::synch

namespace bucketry::posix
{

/// An event that stays set until it is reset. Any thread.
class BUCKETRY_API posix_manual_reset_event_t
{
public:
    explicit posix_manual_reset_event_t(bool set);

    void SetEvent();
    void ResetEvent();
    /// Waits up to `msec` milliseconds of the monotonic clock, without limit if it is negative. True if signalled.
    bool Wait(int msec);

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_set; ///< guarded by m_mutex
};

} // namespace bucketry::posix

namespace bucketry::lin
{

/// Starts when made, on the monotonic clock.
class BUCKETRY_API lin_monotonic_timer
{
public:
    lin_monotonic_timer() : m_start(std::chrono::steady_clock::now()) {}
    unsigned long GetElapsedMsec() const;

private:
    std::chrono::steady_clock::time_point m_start;
};

} // namespace bucketry::lin
