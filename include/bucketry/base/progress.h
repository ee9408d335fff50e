// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

namespace bucketry::progress
{

/// Takes the progress of a long operation. Called on task threads, one call at a time per operation.
class BUCKETRY_API progress_base_t
{
public:
    virtual ~progress_base_t();
    /// `done` of `total` items; `total` is 0 while unknown.
    virtual void OnProgress(unsigned long done, unsigned long total) = 0;
};

} // namespace bucketry::progress
