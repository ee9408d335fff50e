// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"

#include <cstdint>

namespace bucketry::transforms::compress
{

/// Turns bodies from one compression to another, one of the two being plain data: zlib (RFC 1950) at level 6, Zstandard
/// (RFC 8878) at levels 1, 3 and 8. For one body.
class CCompressorImpl
{
public:
    using content_t = pool::CPoolPtr<io::block::CContentBuf>;

    /// \param originalSize  bytes of the plain body: what a compressed one must give exactly
    CCompressorImpl(io::block::EBufTransformType target, std::uint32_t originalSize);

    /// Throws exc::CRuntimeExc for a type that is none, a damaged body, and one that gives another size than announced.
    /// An announced size that the body cannot hold is refused before any memory is taken for it.
    content_t Transform(io::block::EBufTransformType source, content_t const& content) const;

private:
    content_t Compress(io::block::CContentBuf const& plain) const;
    content_t Decompress(io::block::EBufTransformType source, io::block::CContentBuf const& packed) const;

    io::block::EBufTransformType const m_target;
    std::uint32_t const m_originalSize;
};

} // namespace bucketry::transforms::compress
