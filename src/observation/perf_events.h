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

struct SEvents
{
    int m_start;
    int m_success;
    int m_failure;
};

/// An operation's three ids follow one another.
constexpr SEvents EventsFrom(int start)
{
    return {start, start + 1, start + 2};
}

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

/// A failure has the arguments of the start, a success those that `successArgs` makes of the result.
template <class TCall, class TArgs>
std::invoke_result_t<TCall> Blocking(SEvents events, args_t const& args, TCall&& call, TArgs&& successArgs)
{
    Emit(events.m_start, args);
    try
    {
        auto result = call();
        Emit(events.m_success, successArgs(result));
        return result;
    }
    catch (std::exception const&)
    {
        Emit(events.m_failure, args);
        throw;
    }
}

/// The same for an operation without a result: all three events have the same arguments.
template <class TCall>
void Blocking(SEvents events, args_t const& args, TCall&& call)
{
    Blocking(
        events, args,
        [&]
        {
            call();
            return true;
        },
        [&](bool) { return args; });
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

} // namespace bucketry::details
