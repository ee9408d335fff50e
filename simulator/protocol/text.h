// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/simulator.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace bucketry::simulator
{

/// In lower case as far as letters are ASCII.
std::string ToLower(std::string_view text);
/// Two digits in lower case for each byte.
std::string Hex(std::string_view bytes);
/// With padding, on one line.
std::string Base64(std::string_view bytes);
/// Nothing unless the text is base64 with its padding.
std::optional<std::string> FromBase64(std::string_view text);

/// Everything but `A-Z a-z 0-9 - . _ ~` becomes %XX; "/" too, unless it is kept.
std::string PercentEncode(std::string_view bytes, bool keepSlash);
/// As HTML forms encode, "/" left as it is: how S3 writes keys with encoding-type=url.
std::string FormEncode(std::string_view bytes);
/// Nothing if a "%" is not followed by two hex digits.
std::optional<std::string> PercentDecode(std::string_view text, bool plusIsSpace);
/// Whether all bytes are valid UTF-8.
bool IsUtf8(std::string_view text);
/// Each byte read as one character of Latin-1.
std::string Latin1ToUtf8(std::string_view bytes);

/// The whole text as a decimal number without sign.
std::optional<std::uint64_t> ParseNumber(std::string_view text);

std::string IsoTime(time_point_t time);    ///< 2026-03-14T15:09:26.000Z
std::string IsoSeconds(time_point_t time); ///< 2026-03-14T15:09:26Z
std::string HttpTime(time_point_t time);   ///< Sat, 14 Mar 2026 15:09:26 GMT
// Nothing if the text is no such time.
std::optional<time_point_t> ParseIsoTime(std::string const& text);
std::optional<time_point_t> ParseIsoBasicTime(std::string const& text);
std::optional<time_point_t> ParseHttpTime(std::string const& text);

/// `*` stands for any text, `?` for one byte.
bool GlobMatches(std::string_view glob, std::string_view text);

} // namespace bucketry::simulator
