// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/logging.h"
#include "bucketry/processing.h"

#include "processing/processing_client.h"

namespace bucketry
{

using io::block::EBufTransformType;
using io::block::str_from_buftransformtype;

CProcessingContext::CProcessingContext(std::shared_ptr<ICloudClientProcessor> compressor,
                                       std::shared_ptr<ICloudClientProcessor> crypter)
    : m_compressor(std::move(compressor)), m_crypter(std::move(crypter))
{
    if (!m_compressor || !m_crypter)
    {
        throw exc::CRuntimeExc("A processing context needs a compressor and a crypt processor.");
    }
}

std::shared_ptr<ICloudClient> CProcessingContext::CreateProcessingCloudClient(
    std::shared_ptr<ICloudClient> client) const
{
    return std::make_shared<CProcessingCloudClient>(std::move(client), m_compressor, m_crypter);
}

std::shared_ptr<ICloudClient> CProcessingContext::CreateProcessingCloudClient(std::shared_ptr<ICloudClient> client,
                                                                              EBufTransformType compression) const
{
    stg_log.info("Creating processing cloud client: override compression: %1", str_from_buftransformtype(compression));
    return std::make_shared<CProcessingCloudClient>(std::move(client),
                                                    std::make_shared<CCompressorProcessor>(compression), m_crypter);
}

std::shared_ptr<CProcessingContext> CreateProcessingContext(EBufTransformType compression,
                                                            std::shared_ptr<crypto::CKeySet> keySet,
                                                            std::shared_ptr<crypto::CKeySetCollection> historicalKeys)
{
    stg_log.info(
        "Initializing processing context for cloud clients: compression: %1, encryption keyset '%2', historical "
        "keys: %3.",
        str_from_buftransformtype(compression), keySet ? keySet->GetId().ToLogString() : std::string(),
        historicalKeys->size());
    std::shared_ptr<crypto::CKeySetCollection> const keys = historicalKeys->Clone();
    std::shared_ptr<crypto::CKeySetId> id;
    if (keySet)
    {
        keys->Add(keySet);
        id = std::make_shared<crypto::CKeySetId>(keySet->GetId());
    }
    return std::make_shared<CProcessingContext>(std::make_shared<CCompressorProcessor>(compression),
                                                std::make_shared<CCryptProcessor>(id, keys));
}

} // namespace bucketry
