// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

namespace bucketry::util
{

namespace details
{

BUCKETRY_API std::string FillPlaceholders(std::string_view format, std::initializer_list<std::string> arguments);

template <class T>
std::string ToText(T const& value)
{
    if constexpr (std::is_convertible_v<T const&, std::string_view>)
    {
        return std::string(std::string_view(value));
    }
    else
    {
        static_assert(std::integral<T>, "a format argument is a text or an integer");
        return std::to_string(value);
    }
}

} // namespace details

/// Fills the placeholders `%1`, `%2`, ... of `format` with the arguments, in one pass: an argument that itself holds
/// a placeholder is not filled again. A placeholder may stand anywhere, in any order and any number of times; one
/// without an argument stays as it is. The longest number counts, so `%12` is the twelfth argument.
/// Integers are turned into decimal text first.
template <class... TArgs>
std::string str_format(std::string_view format, TArgs const&... arguments)
{
    return details::FillPlaceholders(format, {details::ToText(arguments)...});
}

/// The decimal text of an integer.
template <std::integral T>
std::string str(T value)
{
    return std::to_string(value);
}

BUCKETRY_API bool str_contains(std::string_view text, std::string_view part);
BUCKETRY_API bool str_is_starts_with(std::string_view text, std::string_view start);
BUCKETRY_API bool str_is_finishes_with(std::string_view text, std::string_view finish);

/// `text` with each occurrence of `from` replaced, left to right and without overlap; an empty `from` replaces nothing.
BUCKETRY_API std::string str_replace(std::string_view text, std::string_view from, std::string_view to);

/// Appends a character, at most U+10FFFF, in UTF-8.
BUCKETRY_API void AppendUtf8(std::string& text, char32_t symbol);

/// The bytes of the character in UTF-8 (RFC 3629: shortest form, no surrogates) that a text begins with; 0 if there is
/// none.
/// \param symbol  the character, if there is one; may be null
BUCKETRY_API std::size_t Utf8Length(std::string_view text, char32_t* symbol = nullptr) noexcept;

/// Reads a value from its text. Throws exc::CRuntimeExc that quotes the text if anything but the whole text is a
/// number in range. The text overload copies.
BUCKETRY_API void fromStr(std::string const& text, std::string& value);
BUCKETRY_API void fromStr(std::string const& text, int& value);
BUCKETRY_API void fromStr(std::string const& text, unsigned int& value);
BUCKETRY_API void fromStr(std::string const& text, long& value);
BUCKETRY_API void fromStr(std::string const& text, unsigned long& value);

/// Compares texts without regard to the case of the ASCII letters: the order of metadata keys.
struct BUCKETRY_API str_case_insensitive_less_operator
{
    bool operator()(std::string_view left, std::string_view right) const noexcept;
};

/// The id of this process.
BUCKETRY_API int GetPID();

/// Blocks the calling thread for `msec` milliseconds; 0 and less return at once.
BUCKETRY_API void sleep(int msec);

} // namespace bucketry::util
