// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// Cyclic checksums that stores keep of objects and zlib does not know.
namespace bucketry::s3wire
{

/// CRC-32C, the polynomial of Castagnoli (RFC 3720, appendix B.4).
std::uint32_t Crc32C(unsigned char const* data, std::size_t size);

/// CRC-64/NVME (NVM Express NVM Command Set Specification 1.0, section 5.2.1.3.4).
std::uint64_t Crc64Nvme(unsigned char const* data, std::size_t size);

} // namespace bucketry::s3wire
