// SPDX-License-Identifier: Apache-2.0
#include "s3wire/streams.h"

#include "bucketry/base/logging.h"
#include "bucketry/s3wire/exception.h"
#include "s3wire/operations/lock_assurance.h"
#include "s3wire/operations/multipart.h"
#include "s3wire/operations/operations.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace bucketry::s3wire::s3
{
namespace
{

constexpr unsigned long Mebibyte = 1024UL * 1024;
constexpr unsigned long MinPartSize = 8 * Mebibyte;
constexpr unsigned long InFlightBytes = 8 * MinPartSize;
constexpr unsigned long MaxPartsInFlight = 4;
constexpr unsigned PartsBeforeGrowth = 1000;

} // namespace

CS3WireReadStream::CS3WireReadStream(CS3WireClient const& client, std::string const& bucket, std::string const& key,
                                     std::string const& version)
    : m_client(client), m_object{bucket, key, version}
{
    wire::CheckBucket(bucket);
    wire::CheckKey(key);
}

unsigned long CS3WireReadStream::ObjectSize()
{
    if (!m_size)
    {
        SObjectData const head = m_client.GetOperations()->HeadObject(m_object);
        m_size = head.m_contentLength;
        m_eTag = m_eTag.empty() ? head.m_eTag : m_eTag;
    }
    return *m_size;
}

unsigned long CS3WireReadStream::Read(unsigned char* buffer, unsigned long length, unsigned long offset)
{
    if (length == 0 || (m_size && offset >= *m_size))
    {
        return 0;
    }
    try
    {
        return m_client.GetOperations()->ReadObject(m_object, {offset, length}, buffer, m_eTag);
    }
    catch (CS3WireException const& error)
    {
        if (error.GetStatusCode() != 416)
        {
            throw;
        }
        return 0;
    }
}

CS3WireWriteStream::CS3WireWriteStream(CS3WireClient& client, std::string const& bucket, std::string const& key,
                                       unsigned long size, CObjectStorageClass const& storageClass,
                                       SObjectLockConfig const& lock, CS3WireClient::metadata_t const& metadata,
                                       CS3WireClient::metadata_t const& headers, SPutObjectExtraAgruments const&)
    : m_client(client),
      m_upload{bucket, key, ""},
      m_properties{metadata, headers, lock, storageClass},
      m_announced(size)
{
    wire::CheckBucket(bucket);
    wire::CheckKey(key);
}

CS3WireWriteStream::~CS3WireWriteStream()
{
    for (web::Task<std::string> const& part : m_inFlight)
    {
        part.wait();
    }
    if (m_upload.m_uploadId.empty())
    {
        return;
    }
    try
    {
        AbortUpload(*m_client.GetOperations(), m_upload);
    }
    catch (std::exception const& error)
    {
        s3wire_log.err("Failed to abort an unfinished upload, its parts may stay", error);
    }
}

/// Runs a step unless the stream has failed before; a failure stays.
template <class TStep>
auto CS3WireWriteStream::Guarded(TStep const& step)
{
    if (m_failure)
    {
        std::rethrow_exception(m_failure);
    }
    try
    {
        return step();
    }
    catch (...)
    {
        m_failure = std::current_exception();
        throw;
    }
}

template <class TFill>
void CS3WireWriteStream::Append(unsigned long size, TFill const& fill)
{
    Guarded(
        [&]
        {
            if (m_finished)
            {
                throw exc::CRuntimeExc("The upload of [%1] is finished", m_upload.m_key);
            }
            if (m_announced != 0 && size > m_announced - m_written)
            {
                throw exc::CRuntimeExc("The upload of [%1] has more than the %2 bytes that were announced",
                                       m_upload.m_key, m_announced);
            }
            while (size != 0)
            {
                if (m_block && m_block->GetCount() == PartSize())
                {
                    SendPart();
                }
                if (!m_block)
                {
                    unsigned long const room =
                        m_announced != 0 ? std::min(m_announced - m_written, PartSize()) : PartSize();
                    m_block = io::block::CPooledBuf::Alloc(room, io::block::bufs_pool_t::GetInst());
                }
                unsigned long const filled = m_block->GetCount();
                unsigned long const count = std::min(size, PartSize() - filled);
                m_block->SetCount(filled + count);
                fill(m_block->GetData() + filled, count);
                m_written += count;
                size -= count;
            }
        });
}

void CS3WireWriteStream::Write(unsigned char const* data, unsigned long size)
{
    Append(size,
           [&data](unsigned char* to, unsigned long count)
           {
               std::memcpy(to, data, count);
               data += count;
           });
}

void CS3WireWriteStream::WriteZeroes(unsigned long count)
{
    Append(count, [](unsigned char* to, unsigned long bytes) { std::memset(to, 0, bytes); });
}

void CS3WireWriteStream::Flush()
{
    Guarded([this] { CollectAllParts(); });
}

std::optional<SMultipartUploadResult> CS3WireWriteStream::Finish()
{
    if (m_finished)
    {
        return std::nullopt;
    }
    return Guarded(
        [this]() -> std::optional<SMultipartUploadResult>
        {
            if (m_announced != 0 && m_written != m_announced)
            {
                throw exc::CRuntimeExc("The upload of [%1] has %2 bytes, but %3 were announced", m_upload.m_key,
                                       m_written, m_announced);
            }
            SMultipartUploadResult result = m_upload.m_uploadId.empty() ? FinishSingle() : FinishUpload();
            m_finished = true;
            m_block.reset();
            return result;
        });
}

/// The size of the part that fills.
unsigned long CS3WireWriteStream::PartSize() const
{
    if (m_announced == 0)
    {
        return MinPartSize << (m_partsSent / PartsBeforeGrowth);
    }
    unsigned long const needed = m_announced / wire::MaxPartNumber + 1;
    return std::max(MinPartSize, (needed + Mebibyte - 1) / Mebibyte * Mebibyte);
}

std::size_t CS3WireWriteStream::PartsInFlight() const
{
    return std::clamp(InFlightBytes / PartSize(), 1UL, MaxPartsInFlight);
}

void CS3WireWriteStream::SendPart()
{
    std::shared_ptr<COperations> const& operations = m_client.GetOperations();
    if (m_upload.m_uploadId.empty())
    {
        m_upload.m_uploadId =
            operations->Exchange(wire::MakeCreateMultipartUpload({m_upload.m_bucket, m_upload.m_key, ""}, m_properties),
                                 wire::ReadCreateMultipartUpload);
    }
    while (m_inFlight.size() >= PartsInFlight())
    {
        CollectOldestPart();
    }
    bool const locked = m_properties.m_lock.m_enabled || m_properties.m_lock.m_legalHold;
    m_inFlight.emplace_back([operations, request = wire::MakeUploadPart(m_upload, m_partsSent + 1, m_block, locked)]
                            { return operations->Exchange(request, wire::ReadUploadPart); });
    ++m_partsSent;
    m_block.reset();
}

void CS3WireWriteStream::CollectOldestPart()
{
    m_eTags.push_back(m_inFlight.front().get());
    m_inFlight.pop_front();
}

void CS3WireWriteStream::CollectAllParts()
{
    while (!m_inFlight.empty())
    {
        CollectOldestPart();
    }
}

SMultipartUploadResult CS3WireWriteStream::FinishSingle()
{
    SPutObjectResult result =
        m_client.GetOperations()->PutObject({m_upload.m_bucket, m_upload.m_key, ""}, m_properties, m_block);
    return {m_upload.m_bucket, m_upload.m_key, std::move(result.m_eTag), std::move(result.m_versionId)};
}

SMultipartUploadResult CS3WireWriteStream::FinishUpload()
{
    SendPart();
    CollectAllParts();
    COperations const& operations = *m_client.GetOperations();
    SMultipartUploadResult result = CompleteUpload(operations, m_upload, m_eTags, m_written);
    m_upload.m_uploadId.clear(); // whatever comes now, there is nothing to abort any more
    EnsureLock(operations, ELockRoute::Multipart, {m_upload.m_bucket, m_upload.m_key, result.m_versionId},
               m_properties.m_lock);
    return result;
}

} // namespace bucketry::s3wire::s3
