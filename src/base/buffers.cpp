// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/buffers.h"

#include "bucketry/base/options.h"
#include "bucketry/base/text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include <sanitizer/asan_interface.h>
#include <sys/mman.h>

namespace bucketry::io::block
{

namespace
{

constexpr unsigned long MinCapacity = 1024;
constexpr unsigned long HugePage = 2UL << 20U;
constexpr unsigned long SmallTail = 64UL << 10U;

// Few sizes, so that blocks fit again: eight steps from one power of two to the next.
unsigned long RoundUp(unsigned long size)
{
    if (size > static_cast<unsigned long>(std::numeric_limits<long>::max() / 2))
    {
        throw std::bad_alloc();
    }
    unsigned long const step = std::bit_floor(std::max(size, MinCapacity)) / 8;
    return (std::max(size, MinCapacity) + step - 1) / step * step;
}

bool IsMapped(unsigned long capacity)
{
    return capacity >= HugePage;
}

// Memory that starts on a huge page: more is mapped than needed, and both ends given back. What is little more than
// some huge pages, a body with a header say, does not take one more for the rest.
unsigned char* Map(unsigned long size, unsigned long capacity)
{
    unsigned long const mapped = capacity + HugePage;
    void* const start = ::mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (start == MAP_FAILED)
    {
        throw std::bad_alloc();
    }
    auto* const first = static_cast<unsigned char*>(start);
    unsigned long const before = (HugePage - reinterpret_cast<std::uintptr_t>(first) % HugePage) % HugePage;
    if (before > 0)
    {
        ::munmap(first, before);
    }
    unsigned char* const data = first + before;
    ::munmap(data + capacity, HugePage - before);
    unsigned long const tail = size % HugePage;
    unsigned long const huge = tail <= SmallTail ? size - tail : capacity;
    ::madvise(data, huge, MADV_HUGEPAGE); // a kernel without huge pages refuses, and nothing is lost
    return data;
}

unsigned char* Allocate(unsigned long size, unsigned long capacity)
{
    if (IsMapped(capacity))
    {
        return Map(size, capacity);
    }
    void* const data = std::malloc(capacity);
    if (data == nullptr)
    {
        throw std::bad_alloc();
    }
    return static_cast<unsigned char*>(data);
}

void Deallocate(unsigned char* data, unsigned long capacity) noexcept
{
    ASAN_UNPOISON_MEMORY_REGION(data, capacity);
    if (IsMapped(capacity))
    {
        ::munmap(data, capacity);
    }
    else
    {
        std::free(data);
    }
}

} // namespace

std::shared_ptr<bufs_pool_t> bufs_pool_t::GetInst()
{
    static auto const& pool = *new auto(std::make_shared<bufs_pool_t>()); // never destroyed: buffers may go late
    return pool;
}

bufs_pool_t::bufs_pool_t(std::optional<std::uint64_t> idleLimit) : m_idleLimit(idleLimit) {}

bufs_pool_t::~bufs_pool_t()
{
    Trim();
}

std::uint64_t bufs_pool_t::GetIdleBytes() const
{
    std::lock_guard const lock(m_mutex);
    return m_idleBytes;
}

void bufs_pool_t::Trim()
{
    idle_t idle;
    {
        std::lock_guard const lock(m_mutex);
        idle.swap(m_idle);
        m_idleBytes = 0;
    }
    FreeAll(idle);
}

bufs_pool_t::SBlock bufs_pool_t::Acquire(unsigned long size)
{
    unsigned long const capacity = RoundUp(size);
    {
        std::lock_guard const lock(m_mutex);
        auto const fitting = m_idle.lower_bound(capacity);
        if (fitting != m_idle.end() && fitting->first / 2 <= capacity)
        {
            auto const newest = std::prev(m_idle.upper_bound(fitting->first));
            SBlock const block{newest->second.m_data, newest->first};
            m_idle.erase(newest);
            m_idleBytes -= block.m_capacity;
            ASAN_UNPOISON_MEMORY_REGION(block.m_data, block.m_capacity);
            return block;
        }
    }
    return {Allocate(size, capacity), capacity};
}

void bufs_pool_t::Release(SBlock block) noexcept
{
    idle_t moved;
    try
    {
        moved.emplace(block.m_capacity, SIdle{block.m_data, 0});
    }
    catch (std::bad_alloc const&)
    {
        Deallocate(block.m_data, block.m_capacity);
        return;
    }
    ASAN_POISON_MEMORY_REGION(block.m_data, block.m_capacity);
    std::uint64_t const limit = m_idleLimit ? *m_idleLimit : options_t::GetInst().GetBufferPoolIdleBytes();
    {
        std::lock_guard const lock(m_mutex);
        moved.begin()->second.m_age = m_nextAge++;
        m_idle.insert(moved.extract(moved.begin()));
        m_idleBytes += block.m_capacity;
        while (m_idleBytes > limit)
        {
            auto const oldest = Oldest();
            m_idleBytes -= oldest->first;
            moved.insert(m_idle.extract(oldest));
        }
    }
    FreeAll(moved);
}

// Blocks of one capacity stand in the order of their age, so only the first of each has to be looked at.
bufs_pool_t::idle_t::iterator bufs_pool_t::Oldest()
{
    auto oldest = m_idle.begin();
    for (auto first = oldest; first != m_idle.end(); first = m_idle.upper_bound(first->first))
    {
        oldest = first->second.m_age < oldest->second.m_age ? first : oldest;
    }
    return oldest;
}

void bufs_pool_t::FreeAll(idle_t const& blocks) noexcept
{
    for (auto const& [capacity, block] : blocks)
    {
        Deallocate(block.m_data, capacity);
    }
}

CPooledBuf::CPooledBuf(unsigned long size, std::shared_ptr<bufs_pool_t> pool)
    : m_pool(pool ? std::move(pool) : bufs_pool_t::GetInst())
{
    if (size > 0)
    {
        m_block = m_pool->Acquire(size);
    }
}

std::shared_ptr<CPooledBuf> CPooledBuf::Alloc(unsigned long size, std::shared_ptr<bufs_pool_t> pool)
{
    return std::make_shared<CPooledBuf>(size, std::move(pool));
}

std::shared_ptr<CPooledBuf> CPooledBuf::FromText(std::string_view text, std::shared_ptr<bufs_pool_t> pool)
{
    auto buffer = Alloc(text.size(), std::move(pool));
    buffer->SetCount(text.size());
    std::ranges::copy(text, buffer->GetData());
    return buffer;
}

CPooledBuf::CPooledBuf(CPooledBuf const& other) : m_pool(other.m_pool)
{
    SetCount(other.m_count);
    if (m_count > 0)
    {
        std::memcpy(m_block.m_data, other.m_block.m_data, m_count);
    }
}

CPooledBuf& CPooledBuf::operator=(CPooledBuf const& other)
{
    if (this != &other)
    {
        *this = CPooledBuf(other);
    }
    return *this;
}

CPooledBuf::CPooledBuf(CPooledBuf&& other) noexcept
    : m_pool(other.m_pool), m_block(std::exchange(other.m_block, {})), m_count(std::exchange(other.m_count, 0))
{
}

CPooledBuf& CPooledBuf::operator=(CPooledBuf&& other) noexcept
{
    if (this != &other)
    {
        Drop();
        m_pool = other.m_pool;
        m_block = std::exchange(other.m_block, {});
        m_count = std::exchange(other.m_count, 0);
    }
    return *this;
}

CPooledBuf::~CPooledBuf()
{
    Drop();
}

void CPooledBuf::SetCount(unsigned long count)
{
    if (count > m_block.m_capacity)
    {
        if (!m_pool)
        {
            m_pool = bufs_pool_t::GetInst();
        }
        bufs_pool_t::SBlock const grown = m_pool->Acquire(count);
        if (m_count > 0)
        {
            std::memcpy(grown.m_data, m_block.m_data, m_count);
        }
        unsigned long const kept = m_count;
        Drop();
        m_block = grown;
        m_count = kept;
    }
    m_count = count;
}

void CPooledBuf::Drop() noexcept
{
    if (m_block.m_data != nullptr)
    {
        m_pool->Release(std::exchange(m_block, {}));
    }
    m_count = 0;
}

namespace
{

struct SNamedType
{
    EBufTransformType m_type;
    std::string_view m_name;
};

constexpr std::array NamedTypes{
    SNamedType{EBufTransformType::None, "none"},          SNamedType{EBufTransformType::Zlib, "zlib"},
    SNamedType{EBufTransformType::ZstdFast, "zstd-fast"}, SNamedType{EBufTransformType::Zstd, "zstd"},
    SNamedType{EBufTransformType::ZstdHigh, "zstd-high"},
};

} // namespace

std::string str_from_buftransformtype(EBufTransformType type)
{
    auto const* const found = std::ranges::find(NamedTypes, type, &SNamedType::m_type);
    return found != NamedTypes.end() ? std::string(found->m_name) : util::str(static_cast<std::int32_t>(type));
}

std::optional<EBufTransformType> buftransformtype_from_str(std::string_view text)
{
    auto const* const found = std::ranges::find(NamedTypes, text, &SNamedType::m_name);
    return found != NamedTypes.end() ? std::optional(found->m_type) : std::nullopt;
}

pool::CPoolPtr<CContentBuf> CContentBuf::Alloc(unsigned long size)
{
    constexpr std::size_t maxIdleObjects = 64;
    static auto const& pool =
        *new auto(pool::CObjPool<CContentBuf>::Create(maxIdleObjects)); // never destroyed, as above
    pool::CPoolPtr<CContentBuf> body = pool->Alloc();
    body->SetSize(size);
    return body;
}

} // namespace bucketry::io::block
