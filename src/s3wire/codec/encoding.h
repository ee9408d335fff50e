// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bucketry::s3wire
{

/// Percent-encodes every byte but the unreserved ones (RFC 3986) and "/".
std::string EncodePath(std::string_view text);
/// The same, "/" too: names and values of a query.
std::string EncodeQuery(std::string_view text);

/// Encoded names and values in canonical order, joined to "a=1&b=": what is both signed and sent.
std::string MakeQuery(std::vector<std::pair<std::string, std::string>> const& query);

/// Undoes the encoding of a listing with encoding-type=url, which is that of a form: %XX, and "+" for a space. What is
/// no such sequence stays.
void DecodeListingText(std::string& text);

/// Base64 (RFC 4648) with padding, on one line.
std::string EncodeBase64(std::string_view bytes);

/// A metadata value as a header can carry it: printable US-ASCII stays, anything else becomes a base64 encoded-word
///                                            (RFC 2047).
std::string EncodeMetadataValue(std::string_view value);
/// The reverse, for what this layer or the store has encoded; any other value stays.
std::string DecodeMetadataValue(std::string_view header);

/// The whole text as an unsigned decimal number, or none.
std::optional<std::uint64_t> ParseNumber(std::string_view text);

/// With small letters for the capital ones of US-ASCII.
std::string ToLower(std::string_view text);

/// Whether the text can be a header name (RFC 9110, token), and whether it can be a header value.
bool IsHeaderName(std::string_view text);
bool IsHeaderValue(std::string_view text);

} // namespace bucketry::s3wire
