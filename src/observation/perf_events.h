// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/perf.h"
#include "bucketry/client.h"

#include <exception>
#include <type_traits>
#include <utility>
#include <vector>

/// The two ways in which an operation is reported: its start, then its end under another number for failure.
namespace bucketry::details
{

using args_t = std::vector<perf::CPerfEventArg>;

/// An operation's three ids follow one another.
struct SEvents
{
    constexpr SEvents(int start) : m_start(start), m_success(start + 1), m_failure(start + 2) {} // NOLINT

    int m_start;
    int m_success;
    int m_failure;
};

inline void Emit(int id, args_t const& args) noexcept
{
    switch (args.size())
    {
    case 0:
        return perf::OnEvent(id);
    case 1:
        return perf::OnEventEx(id, args[0]);
    case 2:
        return perf::OnEventEx(id, args[0], args[1]);
    default:
        return perf::OnEventEx(id, args[0], args[1], args[2]);
    }
}

/// The arguments and the result, if that is a flag, a number or a list, which counts.
template <class TResult>
args_t With(args_t args, TResult const& result)
{
    if constexpr (std::is_same_v<TResult, bool>)
    {
        args.emplace_back(static_cast<int>(result));
    }
    else if constexpr (std::is_integral_v<TResult>)
    {
        args.emplace_back(static_cast<unsigned long>(result));
    }
    else if constexpr (requires { result.size(); })
    {
        args.emplace_back(result.size());
    }
    return args;
}

/// A success has the arguments of the start and the result, a failure those of the start.
template <class TCall>
std::invoke_result_t<TCall> Blocking(SEvents events, args_t const& args, TCall&& call)
{
    Emit(events.m_start, args);
    try
    {
        if constexpr (std::is_void_v<std::invoke_result_t<TCall>>)
        {
            call();
            Emit(events.m_success, args);
        }
        else
        {
            auto result = call();
            Emit(events.m_success, With(args, result));
            return result;
        }
    }
    catch (std::exception const&)
    {
        Emit(events.m_failure, args);
        throw;
    }
}

/// Reports the end from a continuation, which fails as the operation does. The arguments of the end are made by the
/// caller, before the operation starts: on the task's thread they might still be changing.
template <class TCall>
std::shared_ptr<task::IAsyncTask> Async(SEvents events, args_t const& startArgs, args_t endArgs, TCall&& call)
{
    Emit(events.m_start, startArgs);
    return call()->ThenTask(
        [events, endArgs = std::move(endArgs)](std::shared_ptr<task::IAsyncTask> const& task)
        {
            try
            {
                task->Wait();
            }
            catch (std::exception const&)
            {
                Emit(events.m_failure, endArgs);
                throw;
            }
            Emit(events.m_success, endArgs);
        });
}

/// The same arguments at the start and at the end.
template <class TCall>
std::shared_ptr<task::IAsyncTask> Async(SEvents events, args_t const& args, TCall&& call)
{
    return Async(events, args, args, std::forward<TCall>(call));
}

} // namespace bucketry::details
