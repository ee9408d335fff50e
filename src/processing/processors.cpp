// SPDX-License-Identifier: Apache-2.0
#include "bucketry/processing.h"

#include "processing/compressor.h"
#include "processing/crypter.h"

#include <limits>

namespace bucketry
{

using io::block::EBufTransformType;
using transforms::compress::CCompressorImpl;
using transforms::crypter::CCrypterImpl;
using content_t = ICloudClientProcessor::content_t;

// ---- Compression
// -----------------------------------------------------------------------------------------------------

CCompressorProcessor::CCompressorProcessor(EBufTransformType transformType) : m_transformType(transformType) {}

content_t CCompressorProcessor::EncodeData(std::string const&, content_t content, SProcessedObjectMeta& meta) const
{
    unsigned long const size = content->GetSize();
    if (size > std::numeric_limits<std::uint32_t>::max())
    {
        throw exc::CRuntimeExc("A processed object holds at most 4294967295 bytes, this one has %1.", size);
    }
    auto const originalSize = static_cast<std::uint32_t>(size);
    meta.m_compressionType = static_cast<std::int8_t>(m_transformType);
    meta.m_originalSize = originalSize;
    if (m_transformType == EBufTransformType::None)
    {
        return content;
    }
    try
    {
        return CCompressorImpl(m_transformType, originalSize).Transform(EBufTransformType::None, content);
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("Failed to compress file data, size: %1.", originalSize, error);
    }
}

content_t CCompressorProcessor::DecodeData(std::string const&, content_t content,
                                           SProcessedObjectMeta const& meta) const
{
    auto const source = static_cast<EBufTransformType>(meta.m_compressionType);
    std::uint32_t const originalSize = meta.m_originalSize;
    if (source == EBufTransformType::None)
    {
        return content;
    }
    try
    {
        return CCompressorImpl(EBufTransformType::None, originalSize).Transform(source, content);
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("Failed to decompress downloaded data, size: %1.", originalSize, error);
    }
}

// ---- Encryption
// ------------------------------------------------------------------------------------------------------

CCryptProcessor::CCryptProcessor(std::shared_ptr<crypto::CKeySetId> keySetId,
                                 std::shared_ptr<crypto::CKeySetCollection> keys)
    : m_keySetId(std::move(keySetId)),
      m_encrypter(CCrypterImpl::Create(m_keySetId, keys)),
      m_decrypter(CCrypterImpl::CreateDecrypter(keys))
{
    if (!keys)
    {
        throw exc::CRuntimeExc("A crypt processor needs a key set collection, which may be empty.");
    }
}

content_t CCryptProcessor::EncodeData(std::string const&, content_t content, SProcessedObjectMeta& meta) const
{
    if (!m_keySetId || m_keySetId->IsNull())
    {
        return content;
    }
    meta.m_keySetId = m_keySetId->GetRaw();
    try
    {
        boost::mutex::scoped_lock const lock(m_mutex);
        return m_encrypter->Transform(nullptr, *content);
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("Failed to encrypt file data.", error);
    }
}

content_t CCryptProcessor::DecodeData(std::string const&, content_t content, SProcessedObjectMeta const& meta) const
{
    auto const id = std::make_shared<crypto::CKeySetId>(crypto::SRawKeySetId(meta.m_keySetId));
    if (id->IsNull())
    {
        return content;
    }
    try
    {
        boost::mutex::scoped_lock const lock(m_mutex);
        return m_decrypter->Transform(id, *content);
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("Failed to decrypt downloaded data.", error);
    }
}

} // namespace bucketry
