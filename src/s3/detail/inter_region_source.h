#pragma once

#include "bucketry/client.h"

#include <string>
#include <utility>

namespace bucketry::s3
{

/// One object of a store as another client of a store can copy it. Says nothing about whether the two stores reach each other.
struct SS3FileInterRegionSource final : ICloudInterRegionSource
{
    SS3FileInterRegionSource(std::string bucket, std::string key, std::string versionId)
        : m_bucket(std::move(bucket)), m_key(std::move(key)), m_versionId(std::move(versionId))
    {
    }

    std::string const m_bucket; ///< name or ARN
    std::string const m_key;
    std::string const m_versionId; ///< empty: the current version
};

} // namespace bucketry::s3
