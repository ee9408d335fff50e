// SPDX-License-Identifier: Apache-2.0
#include "protocol/digest.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <cstdint>
#include <stdexcept>

namespace bucketry::simulator
{

namespace
{

std::string Digest(EVP_MD const* kind, std::string_view bytes)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned size = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, kind, nullptr) != 1)
    {
        throw std::runtime_error("OpenSSL can't compute a digest.");
    }
    return {reinterpret_cast<char const*>(digest.data()), size};
}

/// Table of a CRC of 32 bits with the polynomial in reflected form.
constexpr std::array<std::uint32_t, 256> MakeCrcTable(std::uint32_t polynomial)
{
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i)
    {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
        {
            value = value >> 1 ^ (value & 1 ? polynomial : 0);
        }
        table[i] = value;
    }
    return table;
}

constexpr auto Crc32Table = MakeCrcTable(0xedb88320);
constexpr auto Crc32cTable = MakeCrcTable(0x82f63b78);

std::string Crc(std::array<std::uint32_t, 256> const& table, std::string_view bytes)
{
    std::uint32_t crc = 0xffffffff;
    for (char const c : bytes)
    {
        crc = table[(crc ^ static_cast<unsigned char>(c)) & 255] ^ crc >> 8;
    }
    crc = ~crc;
    std::string text;
    for (unsigned shift : {24u, 16u, 8u, 0u})
    {
        text += static_cast<char>(crc >> shift & 255);
    }
    return text;
}

struct SAlgorithm
{
    std::string_view m_name;
    std::string (*m_compute)(std::string_view);
};
constexpr SAlgorithm Algorithms[] = {{"crc32", Crc32}, {"crc32c", Crc32c}, {"sha1", Sha1}, {"sha256", Sha256}};

} // namespace

std::string Md5(std::string_view bytes)
{
    return Digest(EVP_md5(), bytes);
}

std::string Sha1(std::string_view bytes)
{
    return Digest(EVP_sha1(), bytes);
}

std::string Sha256(std::string_view bytes)
{
    return Digest(EVP_sha256(), bytes);
}

std::string HmacSha256(std::string_view key, std::string_view bytes)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned size = 0;
    HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), reinterpret_cast<unsigned char const*>(bytes.data()),
         bytes.size(), digest.data(), &size);
    return {reinterpret_cast<char const*>(digest.data()), size};
}

std::string Crc32(std::string_view bytes)
{
    return Crc(Crc32Table, bytes);
}

std::string Crc32c(std::string_view bytes)
{
    return Crc(Crc32cTable, bytes);
}

bool IsChecksumAlgorithm(std::string_view algorithm)
{
    for (auto const& known : Algorithms)
    {
        if (known.m_name == algorithm)
        {
            return true;
        }
    }
    return false;
}

std::string Checksum(std::string_view algorithm, std::string_view bytes)
{
    for (auto const& known : Algorithms)
    {
        if (known.m_name == algorithm)
        {
            return known.m_compute(bytes);
        }
    }
    throw std::logic_error("There is no such checksum algorithm.");
}

} // namespace bucketry::simulator
