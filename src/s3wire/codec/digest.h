// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace bucketry::s3wire
{

using sha256_t = std::array<unsigned char, 32>;

/// SHA-256 (FIPS 180-4).
sha256_t Sha256(void const* data, std::size_t size);
inline sha256_t Sha256(std::string_view text)
{
    return Sha256(text.data(), text.size());
}

/// HMAC with SHA-256 (RFC 2104).
sha256_t HmacSha256(std::span<unsigned char const> key, std::string_view text);

/// Lower-case hexadecimal digits.
std::string ToHex(std::span<unsigned char const> bytes);

/// The MD5 of a body in hexadecimal digits: the ETag of an object that was put whole, on most stores.
std::string Md5Hex(void const* data, std::size_t size);

/// The MD5 of a body in base64, as Content-MD5 carries it (RFC 1864).
std::string Md5Base64(void const* data, std::size_t size);

} // namespace bucketry::s3wire
