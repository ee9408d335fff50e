// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "s3wire/transport/http.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

/// Where the bytes of a download go, and how they are checked.
namespace bucketry::s3wire
{

/// Takes a body into one block of a pool, sized once if the length is announced.
class CBlockSink final : public transport::IBodySink
{
public:
    explicit CBlockSink(std::shared_ptr<io::block::bufs_pool_t> pool) : m_pool(std::move(pool)) {}

    void Prepare(unsigned status, std::optional<std::uint64_t> contentLength) override;
    void Write(unsigned char const* data, std::size_t size) override;
    /// The block with exactly the bytes that came; the sink is empty afterwards.
    std::shared_ptr<io::block::CPooledBuf> Take();

private:
    std::shared_ptr<io::block::bufs_pool_t> const m_pool;
    std::shared_ptr<io::block::CPooledBuf> m_block;
    std::size_t m_size = 0;
};

/// Takes a body into memory of the caller's; more than fits is an unusable answer.
class CMemorySink final : public transport::IBodySink
{
public:
    CMemorySink(unsigned char* data, std::size_t capacity) : m_data(data), m_capacity(capacity) {}

    void Prepare(unsigned status, std::optional<std::uint64_t> contentLength) override;
    void Write(unsigned char const* data, std::size_t size) override;
    std::size_t GetSize() const { return m_size; }

private:
    unsigned char* const m_data;
    std::size_t const m_capacity;
    std::size_t m_size = 0;
};

/// Throws web::http::http_exception unless the answer holds the bytes that were asked for: from `offset`, up to
/// `length` of them (0: to the end). A store that ignores ranges answers 200 with the whole object.
void CheckRange(transport::SHttpResponse const& answer, std::uint64_t offset, std::uint64_t length,
                std::uint64_t received);

/// Throws web::http::http_exception if the answer names a checksum of the whole object and the content has another one.
/// CRC-32, CRC-32C, CRC-64/NVME, SHA-1 and SHA-256 are known; nothing is hashed for an answer without them.
void CheckContent(transport::SHttpResponse const& answer, io::block::CPooledBuf const& content);

} // namespace bucketry::s3wire
