// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"
#include "bucketry/base/text.h"

#include <concepts>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

/// Failures. Every exception of the library derives from exc_base_t, carries one message line per layer that it has
/// passed, and survives a change of thread with its class. Objects may be read by many threads; nothing edits one that
/// has been thrown.
namespace bucketry::exc
{

/// The root of the library's exceptions.
class BUCKETRY_API exc_base_t : public std::exception
{
public:
    exc_base_t() = default;
    explicit exc_base_t(std::string const& message);
    exc_base_t(exc_base_t const&) = default;
    exc_base_t& operator=(exc_base_t const&) = default;
    ~exc_base_t() override;

    /// All message lines, the newest first, joined by LF.
    char const* what() const noexcept override;

    /// A copy of the right class.
    virtual std::shared_ptr<exc_base_t> Clone() const;
    /// Throws a copy of the right class.
    [[noreturn]] virtual void Generate() const;
    /// Replaces the message lines by those of a text that Serialize made. Throws CRuntimeExc for any other text.
    virtual void Unserialize(std::string const& text);
    /// The message lines as one text. What a derived class adds (a status, an inner exception) is not part of it.
    virtual std::string Serialize() const;
    /// Drops every message line for which `keep` is false.
    virtual void FilterMessages(std::function<bool(std::string const& line)> const& keep);

    /// Puts one more line on top.
    void AddMessage(std::string const& line);

private:
    void Join();

    std::vector<std::string> m_messages;
    std::string m_what;
};

/// The everyday failure: a fault of the caller or of the program's logic.
class BUCKETRY_API CRuntimeExc : public exc_base_t
{
public:
    /// Takes a format for util::str_format and up to four texts or integers.
    template <class... TArgs>
    requires(sizeof...(TArgs) <= 4) explicit CRuntimeExc(std::string_view format, TArgs const&... arguments)
        : exc_base_t(util::str_format(format, arguments...))
    {
    }
    ~CRuntimeExc() override;

    std::shared_ptr<exc_base_t> Clone() const override;
    [[noreturn]] void Generate() const override;
};

/// An operation that is not there.
class BUCKETRY_API CNotImplExc : public exc_base_t
{
public:
    explicit CNotImplExc(std::string const& operation);
    /// The message is "owner::operation".
    CNotImplExc(std::string const& owner, std::string const& operation);
    ~CNotImplExc() override;

    std::shared_ptr<exc_base_t> Clone() const override;
    [[noreturn]] void Generate() const override;
};

/// A copy of any exception: of its own class if it derives from exc_base_t, else a CRuntimeExc with its text.
BUCKETRY_API std::shared_ptr<exc_base_t> CloneExc(std::exception const& error);

namespace details
{

[[noreturn]] BUCKETRY_API void RegenWithLine(std::string const& line, std::exception const& error);

} // namespace details

/// Throws a copy of `error`, the last argument, with one more message line on top: the format, filled with the
/// arguments between. The copy keeps the class and status of an exc_base_t; any other exception becomes a
/// CRuntimeExc with the old text below the new line.
template <class... TArgs>
[[noreturn]] void RegenExc(std::string_view format, TArgs const&... argumentsThenError)
{
    static_assert(sizeof...(TArgs) > 0, "the exception comes last");
    auto const all = std::forward_as_tuple(argumentsThenError...);
    constexpr std::size_t last = sizeof...(TArgs) - 1;
    static_assert(std::derived_from<std::tuple_element_t<last, std::tuple<TArgs...>>, std::exception>);
    std::string const line = [&]<std::size_t... I>(std::index_sequence<I...>)
    {
        return util::str_format(format, std::get<I>(all)...);
    }
    (std::make_index_sequence<last>{});
    details::RegenWithLine(line, std::get<last>(all));
}

/// The same as RegenExc; the name tells that the line belongs to a step of an operation rather than to its caller.
template <class... TArgs>
[[noreturn]] void RegenTraceExc(std::string_view format, TArgs const&... argumentsThenError)
{
    RegenExc(format, argumentsThenError...);
}

} // namespace bucketry::exc
