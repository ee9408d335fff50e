// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/base/export.h"
#include "bucketry/base/keys.h"
#include "bucketry/client.h"

#include <boost/thread/mutex.hpp>

#include <bit>
#include <cstdint>
#include <memory>
#include <string>

/// Compression and encryption of object bodies at rest.
namespace bucketry
{

namespace transforms::crypter
{
class CCrypterImpl;
}

/// The stored header of a processed object: 26 bytes without gaps, little-endian. Its fields are not aligned: copy them
/// in and out, never bind a reference to one.
#pragma pack(push, 1)
struct SProcessedObjectMeta
{
    std::uint8_t m_version = 0;        ///< format version; 0 is the only one
    std::uint32_t m_metaSize = 26;     ///< size of this header
    std::int8_t m_compressionType = 0; ///< low byte of the io::block::EBufTransformType; -1: not compressed
    std::uint32_t m_originalSize = 0;  ///< bytes of the body before compression
    crypto::SRawKeySetId m_keySetId;   ///< of the key set that encrypted the body; the null id: not encrypted
};
#pragma pack(pop)
static_assert(sizeof(SProcessedObjectMeta) == 26);
static_assert(std::endian::native == std::endian::little, "the stored header is written as it lies in memory");

/// One step of processing, over a whole body in memory. Called from many threads at once.
class BUCKETRY_API ICloudClientProcessor
{
public:
    using content_t = pool::CPoolPtr<io::block::CContentBuf>;

    /// The body to store; may be `content` itself. Notes in `meta` what was done.
    /// \param path  of the object, for messages
    virtual content_t EncodeData(std::string const& path, content_t content, SProcessedObjectMeta& meta) const = 0;
    /// The body before EncodeData, by what `meta` says alone; may be `content` itself.
    virtual content_t DecodeData(std::string const& path, content_t content,
                                 SProcessedObjectMeta const& meta) const = 0;
    virtual ~ICloudClientProcessor() = default;
};

/// Compresses with one type; decompresses whatever the header names. Bodies of 4 GiB and more are refused with
/// exc::CRuntimeExc. Failures carry "Failed to compress file data, size: %1." or "Failed to decompress downloaded data,
/// size: %1.".
class BUCKETRY_API CCompressorProcessor final : public ICloudClientProcessor
{
public:
    explicit CCompressorProcessor(io::block::EBufTransformType transformType);

    content_t EncodeData(std::string const& path, content_t content, SProcessedObjectMeta& meta) const override;
    content_t DecodeData(std::string const& path, content_t content, SProcessedObjectMeta const& meta) const override;

private:
    io::block::EBufTransformType m_transformType;
};

/// Encrypts with one key set, or not at all; decrypts with the key set that the header names. A wrong key or a changed
/// byte is a failure, never data. One body at a time.
class BUCKETRY_API CCryptProcessor final : public ICloudClientProcessor
{
public:
    /// \param keySetId  what to encrypt with; null, or the null id, for nothing
    /// \param keys      what may be needed for either direction; must not be null
    CCryptProcessor(std::shared_ptr<crypto::CKeySetId> keySetId, std::shared_ptr<crypto::CKeySetCollection> keys);

    content_t EncodeData(std::string const& path, content_t content, SProcessedObjectMeta& meta) const override;
    content_t DecodeData(std::string const& path, content_t content, SProcessedObjectMeta const& meta) const override;

private:
    std::shared_ptr<crypto::CKeySetId> m_keySetId;
    mutable boost::mutex m_mutex; ///< one transformation at a time
    std::shared_ptr<transforms::crypter::CCrypterImpl> m_encrypter;
    std::shared_ptr<transforms::crypter::CCrypterImpl> m_decrypter;
};

/// Makes processing clients that share one decision: which compression, which key set, which older ones may still be
///                                                   read.
class BUCKETRY_API CProcessingContext
{
public:
    /// Throws exc::CRuntimeExc for a null processor.
    CProcessingContext(std::shared_ptr<ICloudClientProcessor> compressor,
                       std::shared_ptr<ICloudClientProcessor> crypter);

    /// A client whose whole-object uploads are compressed and encrypted, and whose whole-object downloads, by version
    /// too, must have that form. Bodies are encoded on the caller's thread and decoded on a task thread.
    ///
    /// A range costs a download of the whole object, and must lie within it. GetFileSize tells the stored size less the
    /// header; listings tell stored sizes. Uploads through a stream and copies move stored bytes; downloads through a
    /// stream are not offered.
    std::shared_ptr<ICloudClient> CreateProcessingCloudClient(std::shared_ptr<ICloudClient> client) const;
    /// The same, writing with another compression.
    std::shared_ptr<ICloudClient> CreateProcessingCloudClient(std::shared_ptr<ICloudClient> client,
                                                              io::block::EBufTransformType compression) const;

private:
    std::shared_ptr<ICloudClientProcessor> m_compressor;
    std::shared_ptr<ICloudClientProcessor> m_crypter;
};

/// \param keySet          encrypts what is written from now on; null: no encryption
/// \param historicalKeys  what older objects may need; copied, must not be null, may be empty
BUCKETRY_API std::shared_ptr<CProcessingContext> CreateProcessingContext(
    io::block::EBufTransformType compression, std::shared_ptr<crypto::CKeySet> keySet,
    std::shared_ptr<crypto::CKeySetCollection> historicalKeys);

} // namespace bucketry
