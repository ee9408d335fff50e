// SPDX-License-Identifier: Apache-2.0
#include "support/expect_failure.h"
#include "support/memory_client.h"

#include "bucketry/transfer.h"

#include <cstring>

namespace bucketry
{

namespace
{

struct SDownload final : ICloudDownload
{
    void Read(unsigned char* buffer, unsigned long offset, unsigned long length) override
    {
        m_reads.emplace_back(offset, length);
        if (m_fails)
        {
            throw exc::CRuntimeExc("no answer");
        }
        std::memset(buffer, 'x', length);
    }
    std::uint64_t ObjectSize() override { return 130; }

    std::vector<std::pair<unsigned long, unsigned long>> m_reads;
    bool m_fails = false;
};

} // namespace

TEST(ObjectIoDev, ReadsInSequenceUpToTheEnd)
{
    auto const stream = std::make_shared<SDownload>();
    auto const device = CCloudObjectIoDev::CreateForRead(stream);
    char buffer[100];
    EXPECT_EQ(device->read(buffer, 100), 100U);
    stream->m_fails = true;
    EXPECT_THROW(device->read(buffer, 100), exc::CRuntimeExc);
    stream->m_fails = false;
    EXPECT_EQ(device->read(buffer, 100), 30U) << "a failed read does not move the position";
    EXPECT_EQ(device->read(buffer, 100), 0U);
    using reads_t = decltype(stream->m_reads);
    EXPECT_EQ(stream->m_reads, (reads_t{{0, 100}, {100, 30}, {100, 30}}));
    device->close();
}

TEST(ObjectIoDev, NeedsTheStreamOfItsDirection)
{
    char buffer[1];
    auto const noDownload = "CCloudObjectIoDev: download stream is not initialized";
    auto const noUpload = "CCloudObjectIoDev: upload stream is not initialized";
    auto const reader = CCloudObjectIoDev::CreateForRead(std::make_shared<SDownload>());
    testing::CMemoryClient client(std::make_shared<testing::CMemoryStore>(false));
    auto const writer = CCloudObjectIoDev::CreateForWrite(client.StartUpload("object", 1));
    testing::ExpectFailure<exc::CRuntimeExc>(noDownload, [&] { CCloudObjectIoDev::CreateForRead(nullptr); });
    testing::ExpectFailure<exc::CRuntimeExc>(noUpload, [&] { CCloudObjectIoDev::CreateForWrite(nullptr); });
    testing::ExpectFailure<exc::CRuntimeExc>(noDownload, [&] { writer->read(buffer, 1); });
    testing::ExpectFailure<exc::CRuntimeExc>(noUpload, [&] { reader->write("a", 1); });
}

} // namespace bucketry
