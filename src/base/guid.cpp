// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/guid.h"

#include "bucketry/base/exceptions.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <system_error>

#include <cerrno>
#include <sys/random.h>

namespace bucketry::guid
{

namespace
{

constexpr std::string_view Digits = "0123456789abcdef";

// Whether a hyphen stands before the byte of this number in the text form.
constexpr bool HasHyphenBefore(std::size_t byte)
{
    return byte == 4 || byte == 6 || byte == 8 || byte == 10;
}

// 16 for anything but a hexadecimal digit.
unsigned DigitValue(char symbol)
{
    char const lower = symbol >= 'A' && symbol <= 'F' ? static_cast<char>(symbol - 'A' + 'a') : symbol;
    return static_cast<unsigned>(std::min(Digits.find(lower), Digits.size()));
}

bool ReadBytes(std::string_view text, std::array<unsigned char, 16>& bytes)
{
    if (text.size() != 36)
    {
        return false;
    }
    for (std::size_t byte = 0; byte < bytes.size(); ++byte)
    {
        if (HasHyphenBefore(byte))
        {
            if (text.front() != '-')
            {
                return false;
            }
            text.remove_prefix(1);
        }
        unsigned const high = DigitValue(text[0]);
        unsigned const low = DigitValue(text[1]);
        if (high > 15 || low > 15)
        {
            return false;
        }
        bytes[byte] = static_cast<unsigned char>(high << 4U | low);
        text.remove_prefix(2);
    }
    return true;
}

} // namespace

guid_t guid_t::CreateNew()
{
    guid_t id;
    // Up to 256 bytes come whole or not at all.
    while (::getrandom(id.m_bytes.data(), id.m_bytes.size(), 0) != static_cast<ssize_t>(id.m_bytes.size()))
    {
        if (errno != EINTR)
        {
            throw std::system_error(errno, std::generic_category(), "Cannot read the system's random source");
        }
    }
    id.m_bytes[6] = static_cast<unsigned char>((id.m_bytes[6] & 0x0FU) | 0x40U); // version 4
    id.m_bytes[8] = static_cast<unsigned char>((id.m_bytes[8] & 0x3FU) | 0x80U); // the variant of RFC 4122
    return id;
}

guid_t guid_t::FromAStr(std::string const& text)
{
    std::string_view plain = text;
    if (plain.size() == 38 && plain.front() == '{' && plain.back() == '}')
    {
        plain = plain.substr(1, 36);
    }
    guid_t id;
    if (!ReadBytes(plain, id.m_bytes))
    {
        throw exc::CRuntimeExc("\"%1\" is not a GUID.", text);
    }
    return id;
}

std::string guid_t::ToAStr() const
{
    std::string text;
    for (std::size_t byte = 0; byte < m_bytes.size(); ++byte)
    {
        text += HasHyphenBefore(byte) ? "-" : "";
        text += Digits[m_bytes[byte] >> 4U];
        text += Digits[m_bytes[byte] & 0x0FU];
    }
    return text;
}

bool guid_t::IsNull() const noexcept
{
    return *this == guid_t{};
}

} // namespace bucketry::guid
