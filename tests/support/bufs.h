#pragma once

#include "bucketry/base/buffers.h"

#include <algorithm>
#include <memory>
#include <string>

/// Texts in and out of pooled blocks.
namespace bucketry::testing
{

inline std::string TextOf(io::block::CPooledBuf const& bufs)
{
    return {bufs.GetData(), bufs.GetData() + bufs.GetCount()};
}

inline std::shared_ptr<io::block::CPooledBuf> BufsOf(std::string const& text)
{
    auto bufs = io::block::CPooledBuf::Alloc(text.size(), nullptr);
    bufs->SetCount(text.size());
    std::copy(text.begin(), text.end(), bufs->GetData());
    return bufs;
}

} // namespace bucketry::testing
