// SPDX-License-Identifier: Apache-2.0
#include "s3wire/codec/crc.h"

#include <array>

namespace bucketry::s3wire
{
namespace
{

constexpr std::size_t Stride = 8;
using tables_t = std::array<std::array<std::uint64_t, 256>, Stride>;

/// Table n gives the effect of a byte that n others follow.
constexpr tables_t MakeTables(std::uint64_t reflectedPolynomial)
{
    tables_t tables{};
    for (std::size_t byte = 0; byte < 256; ++byte)
    {
        std::uint64_t crc = byte;
        for (int bit = 0; bit < 8; ++bit)
        {
            crc = crc >> 1 ^ (crc & 1 ? reflectedPolynomial : 0);
        }
        tables[0][byte] = crc;
    }
    for (std::size_t n = 1; n < Stride; ++n)
    {
        for (std::size_t byte = 0; byte < 256; ++byte)
        {
            std::uint64_t const before = tables[n - 1][byte];
            tables[n][byte] = before >> 8 ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

/// Eight bytes at a step (M. Kounavis, F. Berry, "A Systematic Approach to Building High Performance, Software-Based,
/// CRC Generators", 2005), for a reflected CRC of any width up to 64 bits.
std::uint64_t Update(tables_t const& tables, std::uint64_t crc, unsigned char const* data, std::size_t size)
{
    for (; size >= Stride; size -= Stride, data += Stride)
    {
        std::uint64_t next = 0;
        for (std::size_t i = 0; i < Stride; ++i)
        {
            next ^= tables[Stride - 1 - i][(crc >> 8 * i & 0xFF) ^ data[i]];
        }
        crc = next;
    }
    for (; size != 0; --size, ++data)
    {
        crc = crc >> 8 ^ tables[0][(crc & 0xFF) ^ *data];
    }
    return crc;
}

} // namespace

std::uint32_t Crc32C(unsigned char const* data, std::size_t size)
{
    static constexpr tables_t tables = MakeTables(0x82F63B78);
    return ~static_cast<std::uint32_t>(Update(tables, UINT32_MAX, data, size));
}

std::uint64_t Crc64Nvme(unsigned char const* data, std::size_t size)
{
    static constexpr tables_t tables = MakeTables(0x9A6C9329AC4BC9B5);
    return ~Update(tables, UINT64_MAX, data, size);
}

} // namespace bucketry::s3wire
