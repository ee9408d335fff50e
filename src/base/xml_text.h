// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// The text level of XML 1.0 (https://www.w3.org/TR/xml/).
namespace bucketry::xmlpp
{

/// An attribute's value as it stands between quotes. TAB, LF and CR become character references, since parsers
/// normalise them. Throws exc::CRuntimeExc for what XML cannot carry: other control characters, broken UTF-8.
std::string EscapeAttribute(std::string_view value);

/// The reverse. Throws exc::CRuntimeExc for an unknown or open reference and for what XML cannot carry.
std::string UnescapeAttribute(std::string_view raw);

/// Whether this may name an element or an attribute. Letters beyond ASCII are taken as they are.
bool IsName(std::string_view text);

} // namespace bucketry::xmlpp
