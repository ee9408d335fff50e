// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// Names and numbers for people and for machines. Names are bytes: nothing says that they are UTF-8.
namespace bucketry::tool
{

/// The bytes for a terminal: control characters, backslashes and what is no UTF-8 come as `\xNN`.
std::string Printable(std::string_view bytes);

/// The bytes with U+FFFD for each one that belongs to no UTF-8 sequence.
std::string ReplaceNonUtf8(std::string_view bytes);

/// Two lower-case hexadecimal digits for each byte.
std::string HexOf(std::span<unsigned char const> bytes);

/// Fills `bytes` with what the digits say; false if there are not exactly two lower-case ones for each byte.
bool ReadHex(std::string_view text, std::span<unsigned char> bytes);

/// "17 B", "1.5 KiB", "250.0 MiB".
std::string HumanBytes(std::uint64_t bytes);

/// "1,234,567"
std::string GroupedDigits(std::uint64_t value);

/// "0:07", "12:34", "1:02:03"; seconds are rounded up.
std::string HumanSeconds(double seconds);

/// With one digit after the point.
std::string OneDecimal(double value);

} // namespace bucketry::tool
