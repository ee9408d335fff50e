// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"

#include <memory>
#include <string>

/// Texts in and out of pooled blocks.
namespace bucketry::testing
{

inline std::string TextOf(io::block::CPooledBuf const& bufs)
{
    return std::string(bufs.GetText());
}

inline std::shared_ptr<io::block::CPooledBuf> BufsOf(std::string const& text)
{
    return io::block::CPooledBuf::FromText(text);
}

} // namespace bucketry::testing
