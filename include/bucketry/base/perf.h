// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <functional>
#include <string>
#include <variant>
#include <vector>

/// Performance events of the library. Everything here may be used from any thread.
namespace bucketry::perf
{

/// One argument of an event.
class BUCKETRY_API CPerfEventArg
{
public:
    CPerfEventArg(std::string const& value);
    CPerfEventArg(unsigned long value);
    CPerfEventArg(int value);

    std::variant<std::string, unsigned long, int> const& Value() const noexcept { return m_value; }

private:
    std::variant<std::string, unsigned long, int> m_value;
};

using sink_t = std::function<void(int id, std::vector<CPerfEventArg> const& arguments)>;

/// Switches the events on or off for clients that are built from now on.
BUCKETRY_API void EnablePerfLog(bool enabled);
BUCKETRY_API bool IsPerfLogEnabled();

/// Sets the taker of the events; an empty function drops them. It is called on the threads that raise the events,
/// several at a time. What it throws is dropped.
BUCKETRY_API void SetSink(sink_t sink);

BUCKETRY_API void OnEvent(int id) noexcept;
BUCKETRY_API void OnEventEx(int id, CPerfEventArg const& first) noexcept;
BUCKETRY_API void OnEventEx(int id, CPerfEventArg const& first, CPerfEventArg const& second) noexcept;
BUCKETRY_API void OnEventEx(int id, CPerfEventArg const& first, CPerfEventArg const& second,
                            CPerfEventArg const& third) noexcept;

} // namespace bucketry::perf
