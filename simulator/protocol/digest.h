// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace bucketry::simulator
{

/// Digests and checksums of bytes, as raw bytes.
std::string Md5(std::string_view bytes);
std::string Sha1(std::string_view bytes);
std::string Sha256(std::string_view bytes);
std::string HmacSha256(std::string_view key, std::string_view bytes);
std::string Crc32(std::string_view bytes);  ///< big-endian
std::string Crc32c(std::string_view bytes); ///< big-endian

/// Whether it is S3's name of a checksum in lower case: crc32, crc32c, sha1, sha256.
bool IsChecksumAlgorithm(std::string_view algorithm);
/// The checksum of that name, as raw bytes.
std::string Checksum(std::string_view algorithm, std::string_view bytes);

} // namespace bucketry::simulator
