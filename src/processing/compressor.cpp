// SPDX-License-Identifier: Apache-2.0
#include "processing/compressor.h"

#include "bucketry/base/exceptions.h"

#include <zlib.h>
#include <zstd.h>

namespace bucketry::transforms::compress
{

namespace
{

using io::block::CContentBuf;
using io::block::EBufTransformType;
using content_t = CCompressorImpl::content_t;

/// One compression library behind sizes and blocks.
struct SCodec
{
    /// The most plain bytes that one packed byte can stand for.
    unsigned long m_maxRatio;
    unsigned long (*m_bound)(unsigned long plainSize);
    /// Bytes written.
    unsigned long (*m_compress)(CContentBuf& packed, CContentBuf const& plain, int level);
    /// Bytes written; never more than `plain` has room for.
    unsigned long (*m_decompress)(CContentBuf& plain, CContentBuf const& packed);
};

void CheckZlib(int result)
{
    if (result != Z_OK)
    {
        throw exc::CRuntimeExc("zlib: %1", zError(result));
    }
}

unsigned long CompressZlib(CContentBuf& packed, CContentBuf const& plain, int level)
{
    uLongf size = packed.GetSize();
    CheckZlib(compress2(packed.GetContent(), &size, plain.GetContent(), plain.GetSize(), level));
    return size;
}

unsigned long DecompressZlib(CContentBuf& plain, CContentBuf const& packed)
{
    uLongf size = plain.GetSize();
    uLong consumed = packed.GetSize();
    CheckZlib(uncompress2(plain.GetContent(), &size, packed.GetContent(), &consumed));
    if (consumed != packed.GetSize())
    {
        throw exc::CRuntimeExc("zlib: %1 bytes follow the compressed data", packed.GetSize() - consumed);
    }
    return size;
}

unsigned long CheckZstd(std::size_t result)
{
    if (ZSTD_isError(result) != 0)
    {
        throw exc::CRuntimeExc("zstd: %1", ZSTD_getErrorName(result));
    }
    return result;
}

unsigned long CompressZstd(CContentBuf& packed, CContentBuf const& plain, int level)
{
    return CheckZstd(ZSTD_compress(packed.GetContent(), packed.GetSize(), plain.GetContent(), plain.GetSize(), level));
}

unsigned long DecompressZstd(CContentBuf& plain, CContentBuf const& packed)
{
    return CheckZstd(ZSTD_decompress(plain.GetContent(), plain.GetSize(), packed.GetContent(), packed.GetSize()));
}

/// Deflate reaches 1032 (a 258-byte match in two bits). A Zstandard block of 128 KiB takes at least four bytes.
constexpr SCodec ZlibCodec{1032, [](unsigned long size) -> unsigned long { return compressBound(size); }, &CompressZlib,
                           &DecompressZlib};
constexpr SCodec ZstdCodec{32768, [](unsigned long size) -> unsigned long { return ZSTD_compressBound(size); },
                           &CompressZstd, &DecompressZstd};

struct SMethod
{
    SCodec const& m_codec;
    int m_level;
};

SMethod MethodOf(EBufTransformType type)
{
    switch (type)
    {
    case EBufTransformType::Zlib:
        return {ZlibCodec, 6};
    case EBufTransformType::ZstdFast:
        return {ZstdCodec, 1};
    case EBufTransformType::Zstd:
        return {ZstdCodec, 3};
    case EBufTransformType::ZstdHigh:
        return {ZstdCodec, 8}; // 9 takes twice the workspace for a few percent at best
    case EBufTransformType::None:
        break;
    }
    throw exc::CRuntimeExc("Unknown compression type: %1", static_cast<int>(type));
}

} // namespace

CCompressorImpl::CCompressorImpl(EBufTransformType target, std::uint32_t originalSize)
    : m_target(target), m_originalSize(originalSize)
{
}

content_t CCompressorImpl::Transform(EBufTransformType source, content_t const& content) const
{
    if (source == m_target)
    {
        return content;
    }
    if (source != EBufTransformType::None && m_target != EBufTransformType::None)
    {
        throw exc::CRuntimeExc("A compressed body can only be turned into plain data.");
    }
    return source == EBufTransformType::None ? Compress(*content) : Decompress(source, *content);
}

content_t CCompressorImpl::Compress(CContentBuf const& plain) const
{
    SMethod const method = MethodOf(m_target);
    content_t packed = CContentBuf::Alloc(method.m_codec.m_bound(plain.GetSize()));
    packed->SetSize(method.m_codec.m_compress(*packed, plain, method.m_level));
    return packed;
}

content_t CCompressorImpl::Decompress(EBufTransformType source, CContentBuf const& packed) const
{
    SCodec const& codec = MethodOf(source).m_codec;
    if (m_originalSize / codec.m_maxRatio > packed.GetSize())
    {
        throw exc::CRuntimeExc("The header announces %1 bytes, more than a body of %2 compressed bytes can hold.",
                               m_originalSize, packed.GetSize());
    }
    content_t plain = CContentBuf::Alloc(m_originalSize);
    unsigned long const size = codec.m_decompress(*plain, packed);
    if (size != m_originalSize)
    {
        throw exc::CRuntimeExc("The header announces %1 bytes, the body holds %2.", m_originalSize, size);
    }
    return plain;
}

} // namespace bucketry::transforms::compress
