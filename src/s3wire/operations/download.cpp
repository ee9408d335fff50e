// SPDX-License-Identifier: Apache-2.0
#include "s3wire/operations/download.h"

#include "s3wire/codec/crc.h"
#include "s3wire/codec/encoding.h"
#include "s3wire/wire/object_requests.h"

#include <openssl/evp.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace bucketry::s3wire
{
namespace
{

using io::block::CPooledBuf;
using transport::SHttpResponse;

template <class TCrc>
std::string BigEndian(TCrc crc)
{
    std::string bytes;
    for (std::size_t i = sizeof(TCrc); i-- != 0;)
    {
        bytes.push_back(static_cast<char>(crc >> 8 * i & 0xFF));
    }
    return bytes;
}

std::string DigestOf(CPooledBuf const& content, EVP_MD const* algorithm)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    if (EVP_Digest(content.GetData(), content.GetCount(), digest.data(), &size, algorithm, nullptr) != 1)
    {
        wire::ThrowBadAnswer("its checksum cannot be computed");
    }
    return std::string(reinterpret_cast<char const*>(digest.data()), size);
}

struct SChecksum
{
    char const* m_header;
    std::string (*m_compute)(CPooledBuf const&);
};

/// The cheapest first.
constexpr SChecksum Checksums[] = {
    {"x-amz-checksum-crc32",
     [](CPooledBuf const& content)
     { return BigEndian(static_cast<std::uint32_t>(crc32_z(0, content.GetData(), content.GetCount()))); }},
    {"x-amz-checksum-crc32c",
     [](CPooledBuf const& content) { return BigEndian(Crc32C(content.GetData(), content.GetCount())); }},
    {"x-amz-checksum-crc64nvme",
     [](CPooledBuf const& content) { return BigEndian(Crc64Nvme(content.GetData(), content.GetCount())); }},
    {"x-amz-checksum-sha1", [](CPooledBuf const& content) { return DigestOf(content, EVP_sha1()); }},
    {"x-amz-checksum-sha256", [](CPooledBuf const& content) { return DigestOf(content, EVP_sha256()); }},
};

} // namespace

void CBlockSink::Prepare(unsigned, std::optional<std::uint64_t> contentLength)
{
    m_size = 0;
    std::uint64_t const room = contentLength.value_or(0);
    if (!m_block)
    {
        m_block = CPooledBuf::Alloc(room, m_pool);
    }
    m_block->SetCount(room);
}

void CBlockSink::Write(unsigned char const* data, std::size_t size)
{
    if (size > m_block->GetCount() - m_size)
    {
        m_block->SetCount(std::max(m_size + size, 2 * m_size));
    }
    std::copy_n(data, size, m_block->GetData() + m_size);
    m_size += size;
}

std::shared_ptr<CPooledBuf> CBlockSink::Take()
{
    if (!m_block)
    {
        m_block = CPooledBuf::Alloc(0, m_pool);
    }
    m_block->SetCount(m_size);
    return std::move(m_block);
}

void CMemorySink::Prepare(unsigned, std::optional<std::uint64_t>)
{
    m_size = 0;
}

void CMemorySink::Write(unsigned char const* data, std::size_t size)
{
    if (size > m_capacity - m_size)
    {
        wire::ThrowBadAnswer("more bytes than were asked for");
    }
    std::copy_n(data, size, m_data + m_size);
    m_size += size;
}

void CheckRange(SHttpResponse const& answer, std::uint64_t offset, std::uint64_t length, std::uint64_t received)
{
    if (offset == 0 && length == 0)
    {
        return;
    }
    if (length != 0 && received > length)
    {
        wire::ThrowBadAnswer("more bytes than were asked for");
    }
    std::string const range = wire::HeaderOf(answer, "Content-Range");
    bool const begins = range.starts_with("bytes " + std::to_string(offset) + "-");
    if (answer.m_status == 206 ? !begins : offset != 0)
    {
        wire::ThrowBadAnswer("not the range that was asked for");
    }
}

void CheckContent(SHttpResponse const& answer, CPooledBuf const& content)
{
    if (answer.m_status != 200)
    {
        return;
    }
    for (SChecksum const& checksum : Checksums)
    {
        std::string const expected = wire::HeaderOf(answer, checksum.m_header);
        if (expected.empty() || expected.find('-') != std::string::npos) // "-": of the parts, not of the whole
        {
            continue;
        }
        if (EncodeBase64(checksum.m_compute(content)) != expected)
        {
            wire::ThrowBadAnswer(std::string("the content does not match ") + checksum.m_header);
        }
        return;
    }
}

} // namespace bucketry::s3wire
