// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/buffers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <new>
#include <thread>

using namespace bucketry;
using io::block::bufs_pool_t;
using io::block::CPooledBuf;

namespace
{

constexpr unsigned long Mebibyte = 1UL << 20U;

} // namespace

TEST(Buffers, GrowKeepsOldBytesAndCopiesAreDeep)
{
    auto const pool = std::make_shared<bufs_pool_t>();
    CPooledBuf empty(0, pool);
    EXPECT_TRUE(empty.GetData() == nullptr && empty.GetCount() == 0);
    auto const buffer = CPooledBuf::Alloc(10, pool);
    EXPECT_EQ(buffer->GetCount(), 0U);
    buffer->SetCount(5);
    std::memcpy(buffer->GetData(), "hello", 5);
    for (unsigned long const size : {2000UL, 3 * Mebibyte, 40 * Mebibyte}) // from the heap to mapped memory
    {
        buffer->SetCount(size);
        EXPECT_EQ(std::memcmp(buffer->GetData(), "hello", 5), 0);
        buffer->GetData()[size - 1] = 1;
    }
    buffer->SetCount(5);
    std::uint64_t const idle = pool->GetIdleBytes();
    CPooledBuf(*buffer).SetCount(5);
    EXPECT_LT(pool->GetIdleBytes() - idle, 2000U) << "a copy takes what it needs";
    CPooledBuf copy(*buffer);
    CPooledBuf moved(std::move(*buffer));
    EXPECT_TRUE(buffer->GetData() == nullptr && buffer->GetCount() == 0);
    moved.GetData()[0] = 'j';
    EXPECT_EQ(copy.GetText(), "hello");
    EXPECT_EQ(CPooledBuf::FromText(copy.GetText(), pool)->GetText(), "hello");
    EXPECT_EQ(CPooledBuf::FromText("")->GetText(), "");
    copy = moved;
    copy = *&copy;
    EXPECT_EQ(std::memcmp(copy.GetData(), "jello", 5), 0);
    EXPECT_THROW(copy.SetCount(std::numeric_limits<unsigned long>::max()), std::bad_alloc);
    EXPECT_EQ(copy.GetCount(), 5U);
}

TEST(Buffers, ComeBackForRequestsOfLikeSizeOnly)
{
    auto const pool = std::make_shared<bufs_pool_t>();
    unsigned char const* const block = CPooledBuf(4 * Mebibyte + 1, pool).GetData();
    EXPECT_GE(pool->GetIdleBytes(), 4 * Mebibyte);
    {
        CPooledBuf const tooSmall(Mebibyte, pool);
        EXPECT_NE(tooSmall.GetData(), block);
        CPooledBuf const again(4 * Mebibyte - 77, pool);
        EXPECT_EQ(again.GetData(), block);
        EXPECT_EQ(pool->GetIdleBytes(), 0U);
    }
    pool->Trim();
    EXPECT_EQ(pool->GetIdleBytes(), 0U);
}

TEST(Buffers, IdleBytesAreBoundedAndTheOldestGo)
{
    auto const pool = std::make_shared<bufs_pool_t>(10 * Mebibyte);
    {
        CPooledBuf const first(4 * Mebibyte, pool);
        CPooledBuf const second(3 * Mebibyte, pool);
        CPooledBuf const tooLarge(11 * Mebibyte, pool);
    } // the last one made goes first
    EXPECT_EQ(pool->GetIdleBytes(), 7 * Mebibyte);
    unsigned char const* const newest = CPooledBuf(8 * Mebibyte, pool).GetData();
    EXPECT_EQ(pool->GetIdleBytes(), 8 * Mebibyte) << "both older ones had to go";
    EXPECT_EQ(CPooledBuf(8 * Mebibyte, pool).GetData(), newest);
}

TEST(Buffers, ServeManyThreads)
{
    auto const pool = std::make_shared<bufs_pool_t>(Mebibyte);
    auto const churn = [&pool](unsigned char mark)
    {
        for (unsigned long i = 1; i < 400; ++i)
        {
            CPooledBuf buffer(i * 991, pool);
            buffer.SetCount(i * 991);
            std::memset(buffer.GetData(), mark, buffer.GetCount());
            ASSERT_EQ(std::count(buffer.GetData(), buffer.GetData() + buffer.GetCount(), mark),
                      static_cast<long>(buffer.GetCount()));
        }
    };
    std::thread first(churn, static_cast<unsigned char>(1));
    std::thread second(churn, static_cast<unsigned char>(2));
    first.join();
    second.join();
    EXPECT_LE(pool->GetIdleBytes(), Mebibyte);
}

TEST(Buffers, ContentBodiesAreSharedAndNameTheirCompression)
{
    auto const body = io::block::CContentBuf::Alloc(3);
    auto const same = body;
    body->SetSize(70000);
    EXPECT_EQ(same->GetSize(), 70000U);
    EXPECT_EQ(same->GetContent(), body->GetContent());
    using io::block::EBufTransformType;
    EXPECT_EQ(io::block::str_from_buftransformtype(EBufTransformType::ZstdHigh), "zstd-high");
    EXPECT_EQ(io::block::str_from_buftransformtype(static_cast<EBufTransformType>(-7)), "-7");
    EXPECT_EQ(io::block::buftransformtype_from_str("none"), EBufTransformType::None);
    EXPECT_EQ(io::block::buftransformtype_from_str("Zlib"), std::nullopt);
}
