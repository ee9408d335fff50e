// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <array>
#include <compare>
#include <string>

namespace bucketry::guid
{

/// A 128-bit id (RFC 4122). A plain value; the default is the null id.
class BUCKETRY_API guid_t
{
public:
    guid_t() noexcept = default;

    /// A new random id (version 4) from the operating system's random source. Any thread.
    static guid_t CreateNew();
    /// Reads the form 8-4-4-4-12 in hexadecimal digits of either case, with or without braces.
    /// Throws exc::CRuntimeExc that quotes any other text.
    static guid_t FromAStr(std::string const& text);
    /// Lower case with hyphens, without braces.
    std::string ToAStr() const;

    bool IsNull() const noexcept;
    friend bool operator==(guid_t const&, guid_t const&) noexcept = default;
    friend std::strong_ordering operator<=>(guid_t const&, guid_t const&) noexcept = default;

private:
    std::array<unsigned char, 16> m_bytes{};
};

} // namespace bucketry::guid
