// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <atomic>
#include <chrono>
#include <mutex>

namespace bucketry::io
{

/// A sequential device.
class BUCKETRY_API io_dev_t
{
public:
    virtual ~io_dev_t();
    /// Writes all of `size` bytes and returns `size`.
    virtual unsigned long write(char const* data, unsigned long size) = 0;
    /// Reads up to `size` bytes and returns how many; 0 at the end.
    virtual unsigned long read(char* buffer, unsigned long size) = 0;
};

/// A device that is told when it is complete.
class BUCKETRY_API closeable_dev_t
{
public:
    virtual ~closeable_dev_t();
    virtual void close() = 0;
};

/// A limit on the bytes that its users move in a second, all of them together. Shared by std::shared_ptr; any thread.
class BUCKETRY_API CNetworkTrottlingCtx
{
public:
    CNetworkTrottlingCtx() = default;
    CNetworkTrottlingCtx(CNetworkTrottlingCtx const&) = delete;
    CNetworkTrottlingCtx& operator=(CNetworkTrottlingCtx const&) = delete;

    /// 0 for no limit, the default. Takes effect for the bytes that follow.
    void SetLimitBytesPerSec(unsigned long bytesPerSec);
    unsigned long GetLimitBytesPerSec() const;

    /// Accounts for `bytes` that are about to move and says how long the caller has to pause first.
    std::chrono::nanoseconds Acquire(unsigned long bytes);

private:
    std::atomic<unsigned long> m_bytesPerSec{0};
    std::mutex m_mutex;
    std::chrono::steady_clock::time_point m_freeAt; ///< guarded by m_mutex: when the bytes taken so far will have moved
};

} // namespace bucketry::io
