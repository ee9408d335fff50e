// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/exceptions.h"
#include "bucketry/client.h"

#include <memory>
#include <string>
#include <utility>

namespace bucketry::s3
{

/// One object of a store as another client of a store can copy it. Says nothing about whether the two stores reach each
/// other.
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

namespace detail
{

/// Throws exc::CRuntimeExc for a null token and for one of another kind of client.
inline SS3FileInterRegionSource const& AsS3Source(std::shared_ptr<ICloudInterRegionSource> const& source)
{
    auto const* const object = dynamic_cast<SS3FileInterRegionSource const*>(source.get());
    if (object == nullptr)
    {
        throw exc::CRuntimeExc("Cannot perform inter-region file copy: file source is not an S3 source");
    }
    return *object;
}

} // namespace detail

} // namespace bucketry::s3
