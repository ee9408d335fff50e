// SPDX-License-Identifier: Apache-2.0
// A stored object from anybody: reading it fails with the library's exception, or gives no more than its header
// announces. The same bytes as a plain body come back as they were, whatever was done to them.

#include "bucketry/base/exceptions.h"
#include "processing/processing_client.h"

#include <cstdlib>
#include <cstring>

using namespace bucketry;
using io::block::CPooledBuf;
using io::block::EBufTransformType;
using SProcessor = CProcessingCloudClient::SProcessor;
using body_t = std::shared_ptr<CPooledBuf>;

namespace
{

std::shared_ptr<crypto::CKeySet> KnownKey()
{
    static auto const key = crypto::CKeySet::FromRaw(crypto::SRawKeySetId{{'k', 'n', 'o', 'w', 'n'}}, {1, 2, 3});
    return key;
}

SProcessor Processor(EBufTransformType compression, bool encrypts)
{
    auto const keys = std::make_shared<crypto::CKeySetCollection>();
    keys->Add(KnownKey());
    auto const id = encrypts ? std::make_shared<crypto::CKeySetId>(KnownKey()->GetId()) : nullptr;
    return {std::make_shared<CCompressorProcessor>(compression), std::make_shared<CCryptProcessor>(id, keys)};
}

body_t BodyOf(unsigned char const* data, std::size_t size)
{
    return CPooledBuf::FromText({reinterpret_cast<char const*>(data), size});
}

void Decode(SProcessor const& processor, body_t const& body)
{
    processor.DecodeData("object", body, sizeof(SProcessedObjectMeta), body->GetCount() - sizeof(SProcessedObjectMeta));
}

void ReadAsStored(unsigned char const* data, std::size_t size)
{
    if (size < sizeof(SProcessedObjectMeta))
    {
        return; // refused before it is decoded
    }
    static SProcessor const processor = Processor(EBufTransformType::None, false);
    SProcessedObjectMeta meta;
    std::memcpy(&meta, data, sizeof meta);
    body_t const body = BodyOf(data, size);
    try
    {
        Decode(processor, body);
    }
    catch (exc::CRuntimeExc const&)
    {
        return;
    }
    if (meta.m_compressionType != -1 && body->GetCount() != meta.m_originalSize)
    {
        std::abort();
    }
}

void StoreAndRead(unsigned char const* data, std::size_t size)
{
    static SProcessor const processors[] = {
        Processor(EBufTransformType::None, true), Processor(EBufTransformType::Zlib, false),
        Processor(EBufTransformType::ZstdFast, true), Processor(EBufTransformType::Zstd, true)};
    SProcessor const& processor = processors[size % std::size(processors)];
    body_t const stored = processor.EncodeData("object", BodyOf(data, size));
    Decode(processor, stored);
    if (stored->GetCount() != size || (size != 0 && std::memcmp(stored->GetData(), data, size) != 0))
    {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size)
{
    ReadAsStored(data, size);
    StoreAndRead(data, size);
    return 0;
}
