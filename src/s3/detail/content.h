// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/s3wire/records.h"

#include <memory>
#include <utility>

namespace bucketry::s3::detail
{

/// Continues a download: gives the body to the caller's buffer. It is moved, since nobody else reads the result.
inline auto MoveContentTo(std::shared_ptr<io::block::CPooledBuf> buffer)
{
    return [buffer = std::move(buffer)](s3wire::s3::SObjectData const& object)
    { *buffer = object.m_content ? std::move(*object.m_content) : io::block::CPooledBuf(); };
}

} // namespace bucketry::s3::detail
