// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bucketry::io::block
{

/// A pool of memory blocks for CPooledBuf. New memory costs more than a transfer, so blocks that come back are kept and
/// handed out again, up to a limit of idle bytes. Blocks are never zero-filled; large ones ask for huge pages.
/// Any thread, without a lock of the caller's. Shared by std::shared_ptr; every buffer keeps its pool alive.
class BUCKETRY_API bufs_pool_t
{
public:
    /// The process-wide pool.
    static std::shared_ptr<bufs_pool_t> GetInst();

    /// A pool of its own, whose idle bytes are limited by options_t::GetBufferPoolIdleBytes() or by `idleLimit`.
    explicit bufs_pool_t(std::optional<std::uint64_t> idleLimit = std::nullopt);
    ~bufs_pool_t();
    bufs_pool_t(bufs_pool_t const&) = delete;
    bufs_pool_t& operator=(bufs_pool_t const&) = delete;

    /// Bytes that wait here for their next use.
    std::uint64_t GetIdleBytes() const;
    /// Gives the idle blocks back to the system.
    void Trim();

private:
    friend class CPooledBuf;
    struct SBlock
    {
        unsigned char* m_data = nullptr;
        unsigned long m_capacity = 0;
    };
    struct SIdle
    {
        unsigned char* m_data = nullptr;
        std::uint64_t m_age = 0; ///< grows from block to block
    };
    using idle_t = std::multimap<unsigned long, SIdle>; ///< by capacity
    /// Room for at least `size` bytes; throws std::bad_alloc.
    SBlock Acquire(unsigned long size);
    void Release(SBlock block) noexcept;
    idle_t::iterator Oldest();
    static void FreeAll(idle_t const& blocks) noexcept;

    std::optional<std::uint64_t> const m_idleLimit;
    mutable std::mutex m_mutex;
    idle_t m_idle;                 ///< guarded by m_mutex
    std::uint64_t m_idleBytes = 0; ///< guarded by m_mutex
    std::uint64_t m_nextAge = 0;   ///< guarded by m_mutex
};

/// A byte buffer in one contiguous block whose storage comes from a pool. One thread at a time.
class BUCKETRY_API CPooledBuf
{
public:
    /// Empty, without storage; takes it from the process-wide pool when it grows.
    CPooledBuf() noexcept = default;
    /// Room for `size` bytes from `pool` (null: the process-wide one), none of them in use.
    CPooledBuf(unsigned long size, std::shared_ptr<bufs_pool_t> pool);
    /// A new buffer with room for `size` bytes at GetData(); its count is 0.
    static std::shared_ptr<CPooledBuf> Alloc(unsigned long size, std::shared_ptr<bufs_pool_t> pool);
    /// A new buffer with a copy of these bytes in use.
    static std::shared_ptr<CPooledBuf> FromText(std::string_view text, std::shared_ptr<bufs_pool_t> pool = nullptr);

    /// Copies the bytes in use, into a block from the same pool.
    CPooledBuf(CPooledBuf const& other);
    CPooledBuf& operator=(CPooledBuf const& other);
    /// Takes the block; `other` is empty afterwards and keeps its pool.
    CPooledBuf(CPooledBuf&& other) noexcept;
    CPooledBuf& operator=(CPooledBuf&& other) noexcept;
    ~CPooledBuf();

    /// Null only without storage. Valid until the buffer grows or goes.
    unsigned char* GetData() noexcept { return m_block.m_data; }
    unsigned char const* GetData() const noexcept { return m_block.m_data; }
    /// Bytes in use.
    unsigned long GetCount() const noexcept { return m_count; }
    /// The bytes in use, valid as long as what GetData() gives.
    std::string_view GetText() const noexcept { return {reinterpret_cast<char const*>(m_block.m_data), m_count}; }
    /// The size of the content in bytes: the count.
    unsigned long GetByteSize() const noexcept { return m_count; }
    /// Sets the bytes in use. Bytes that stay are kept; bytes that come are undefined. Grows the storage where it must,
    /// throws std::bad_alloc if there is none; never shrinks it.
    void SetCount(unsigned long count);

private:
    void Drop() noexcept;

    std::shared_ptr<bufs_pool_t> m_pool;
    bufs_pool_t::SBlock m_block;
    unsigned long m_count = 0;
};

/// The compression of a body. The values are part of the stored form of processed objects.
enum class EBufTransformType : std::int32_t
{
    None = -1,
    Zlib = 1,
    ZstdFast = 2,
    Zstd = 3,
    ZstdHigh = 4
};

/// "none", "zlib", "zstd-fast", "zstd", "zstd-high"; the decimal value for any other.
BUCKETRY_API std::string str_from_buftransformtype(EBufTransformType type);
/// The reverse; none for any other text.
BUCKETRY_API std::optional<EBufTransformType> buftransformtype_from_str(std::string_view text);

} // namespace bucketry::io::block

namespace bucketry::pool
{

template <class T>
class CObjPool;

/// A reference-counted handle on an object of a CObjPool; the last one gives the object back. May be null. Copies may
/// live on different threads; one handle is for one thread at a time.
template <class T>
class CPoolPtr
{
public:
    CPoolPtr() noexcept = default;

    T* get() const noexcept { return m_object.get(); }
    T& operator*() const noexcept { return *m_object; }
    T* operator->() const noexcept { return m_object.get(); }
    explicit operator bool() const noexcept { return m_object != nullptr; }
    friend bool operator==(CPoolPtr const&, CPoolPtr const&) noexcept = default;

private:
    friend class CObjPool<T>;
    explicit CPoolPtr(std::shared_ptr<T> object) noexcept : m_object(std::move(object)) {}

    std::shared_ptr<T> m_object;
};

/// Keeps up to `freeLimit` idle objects of a default-constructible class for reuse. Any thread. An object that is given
/// back is cleared with T::Reset() first. The pool outlives its objects: handles keep it alive.
template <class T>
class CObjPool : public std::enable_shared_from_this<CObjPool<T>>
{
public:
    static std::shared_ptr<CObjPool> Create(std::size_t freeLimit)
    {
        return std::shared_ptr<CObjPool>(new CObjPool(freeLimit));
    }

    CPoolPtr<T> Alloc()
    {
        std::unique_ptr<T> object = TakeIdle();
        if (!object)
        {
            object = std::make_unique<T>();
        }
        T* const raw = object.release();
        return CPoolPtr<T>(std::shared_ptr<T>(raw, [pool = this->shared_from_this()](T* back) { pool->Free(back); }));
    }

    /// Takes an object back: onto the free list, or destroys it if that is full.
    void Free(T* object) noexcept
    {
        std::unique_ptr<T> owned(object);
        owned->Reset();
        std::lock_guard const lock(m_mutex);
        if (m_idle.size() < m_freeLimit)
        {
            m_idle.push_back(std::move(owned)); // the room was reserved
        }
    }

private:
    explicit CObjPool(std::size_t freeLimit) : m_freeLimit(freeLimit) { m_idle.reserve(freeLimit); }

    std::unique_ptr<T> TakeIdle()
    {
        std::lock_guard const lock(m_mutex);
        if (m_idle.empty())
        {
            return nullptr;
        }
        std::unique_ptr<T> object = std::move(m_idle.back());
        m_idle.pop_back();
        return object;
    }

    std::size_t const m_freeLimit;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<T>> m_idle; ///< guarded by m_mutex
};

} // namespace bucketry::pool

namespace bucketry::io::block
{

/// The body of an object while processors work on it. One thread at a time.
class BUCKETRY_API CContentBuf
{
public:
    /// A body of `size` undefined bytes from the process-wide pool.
    static pool::CPoolPtr<CContentBuf> Alloc(unsigned long size);

    unsigned char* GetContent() noexcept { return m_bytes.GetData(); }
    unsigned char const* GetContent() const noexcept { return m_bytes.GetData(); }
    /// In bytes.
    unsigned long GetSize() const noexcept { return m_bytes.GetCount(); }
    /// Cuts or grows the body; bytes that come are undefined.
    void SetSize(unsigned long size) { m_bytes.SetCount(size); }
    /// Gives the bytes and their storage away; the body is empty afterwards.
    CPooledBuf TakeBytes() noexcept { return std::move(m_bytes); }
    /// Gives the storage back.
    void Reset() noexcept { m_bytes = CPooledBuf(); }

private:
    CPooledBuf m_bytes;
};

} // namespace bucketry::io::block
