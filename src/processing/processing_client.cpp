// SPDX-License-Identifier: Apache-2.0
#include "processing/processing_client.h"

#include <cstring>

namespace bucketry
{

namespace
{

using io::block::bufs_pool_t;
using io::block::CContentBuf;
using io::block::CPooledBuf;
using task_t = ICloudClient::task_t;
using bufs_t = ICloudClient::bufs_t;
using SProcessor = CProcessingCloudClient::SProcessor;

constexpr unsigned long MetaSize = sizeof(SProcessedObjectMeta);

void CopyBytes(unsigned char* target, unsigned char const* source, unsigned long size)
{
    if (size != 0)
    {
        std::memcpy(target, source, size);
    }
}

/// A little more than the header and what the crypter adds: a block that can hold the encoded body later.
constexpr unsigned long RoomToGrow = 64;

pool::CPoolPtr<CContentBuf> CopyToContent(unsigned char const* source, unsigned long size)
{
    pool::CPoolPtr<CContentBuf> content = CContentBuf::Alloc(size + RoomToGrow);
    content->SetSize(size);
    CopyBytes(content->GetContent(), source, size);
    return content;
}

/// Hangs the decoding on a download.
task_t DecodeAfter(task_t const& download, std::shared_ptr<SProcessor> const& processor, std::string const& path,
                   bufs_t const& data)
{
    return download->Then(
        [processor, path, data]
        {
            unsigned long const count = data->GetCount();
            if (count < MetaSize)
            {
                throw exc::CRuntimeExc("Incorrect object received, too small: path: '%1' size: %2, expected size: %3+",
                                       path, count, MetaSize);
            }
            processor->DecodeData(path, data, MetaSize, count - MetaSize);
        });
}

class CProcessingVersioningUtils final : public details::CForwardingVersioning
{
public:
    CProcessingVersioningUtils(std::shared_ptr<ICloudVersioningUtils> inner, std::shared_ptr<SProcessor> processor)
        : CForwardingVersioning(std::move(inner)), m_processor(std::move(processor))
    {
    }

    task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs,
                                    pool_t pool) override
    {
        return DecodeAfter(m_inner->DownloadFileVersionAsync(path, version, bufs, pool), m_processor, path, bufs);
    }
    task_t DownloadFileVersionAsync(std::string const&, std::string const&, bufs_t, pool_t, unsigned long,
                                    unsigned long) override
    {
        throw exc::CRuntimeExc("CProcessingVersioningUtils::DownloadFileVersionAsync() with offset is not supported");
    }
    task_t UploadFileAsync(std::string const& path, bufs_t bufs, version_out_t version,
                           immutable_till_t immutableTill) override
    {
        return m_inner->UploadFileAsync(path, m_processor->EncodeData(path, bufs), version, immutableTill);
    }
    task_t UploadFileWithMetadataAsync(std::string const& path, bufs_t bufs, object_metadata_t const& metadata,
                                       version_out_t version, immutable_till_t immutableTill) override
    {
        return m_inner->UploadFileWithMetadataAsync(path, m_processor->EncodeData(path, bufs), metadata, version,
                                                    immutableTill);
    }

private:
    std::shared_ptr<SProcessor> const m_processor;
};

} // namespace

// ---- Whole objects --------------------------------------------------------------------------------------------------

SProcessor::SProcessor(std::shared_ptr<ICloudClientProcessor> compressor,
                       std::shared_ptr<ICloudClientProcessor> crypter)
    : m_compressor(std::move(compressor)), m_crypter(std::move(crypter))
{
}

std::shared_ptr<CPooledBuf> SProcessor::EncodeData(std::string const& path,
                                                   std::shared_ptr<CPooledBuf> const& data) const
{
    try
    {
        SProcessedObjectMeta meta;
        auto content = CopyToContent(data->GetData(), data->GetCount());
        content = m_compressor->EncodeData(path, std::move(content), meta);
        content = m_crypter->EncodeData(path, std::move(content), meta);
        unsigned long const size = content->GetSize();
        std::shared_ptr<CPooledBuf> encoded = CPooledBuf::Alloc(MetaSize + size, bufs_pool_t::GetInst());
        encoded->SetCount(MetaSize + size);
        std::memcpy(encoded->GetData(), &meta, MetaSize);
        CopyBytes(encoded->GetData() + MetaSize, content->GetContent(), size);
        return encoded;
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("Failed to encode file data for object %1.", path, error);
    }
}

void SProcessor::DecodeData(std::string const& path, std::shared_ptr<CPooledBuf> const& data, unsigned long offset,
                            unsigned long size) const
{
    try
    {
        if (unsigned const version = data->GetData()[0]; version != 0)
        {
            throw exc::CRuntimeExc("Unknown processed meta version: '%1'.", version);
        }
        SProcessedObjectMeta meta;
        std::memcpy(&meta, data->GetData(), MetaSize);
        auto content = CopyToContent(data->GetData() + offset, size);
        content = m_crypter->DecodeData(path, std::move(content), meta);
        content = m_compressor->DecodeData(path, std::move(content), meta);
        *data = content->TakeBytes();
    }
    catch (std::exception const& error)
    {
        exc::RegenTraceExc("Failed to decode downloaded data from object '%1'.", path, error);
    }
}

// ---- Client ---------------------------------------------------------------------------------------------------------

CProcessingCloudClient::CProcessingCloudClient(std::shared_ptr<ICloudClient> client,
                                               std::shared_ptr<ICloudClientProcessor> compressor,
                                               std::shared_ptr<ICloudClientProcessor> crypter)
    : CForwardingClient(std::move(client)),
      m_processor(std::make_shared<SProcessor>(std::move(compressor), std::move(crypter)))
{
}

task_t CProcessingCloudClient::DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool)
{
    return DecodeAfter(m_inner->DownloadFileAsync(path, bufs, pool), m_processor, path, bufs);
}

task_t CProcessingCloudClient::DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t, unsigned long offset,
                                                 unsigned long length)
{
    std::shared_ptr<CPooledBuf> const whole = CPooledBuf::Alloc(length, bufs_pool_t::GetInst());
    return DownloadFileAsync(path, whole, bufs_pool_t::GetInst())
        ->Then(
            [whole, bufs, offset, length]
            {
                if (offset > whole->GetCount() || length > whole->GetCount() - offset)
                {
                    throw exc::CRuntimeExc("Invalid length in the download request.");
                }
                bufs->SetCount(length);
                CopyBytes(bufs->GetData(), whole->GetData() + offset, length);
            });
}

task_t CProcessingCloudClient::UploadFileAsync(std::string const& path, bufs_t bufs)
{
    return m_inner->UploadFileAsync(path, m_processor->EncodeData(path, bufs));
}

std::uint64_t CProcessingCloudClient::GetFileSize(std::string const& path)
{
    return m_inner->GetFileSize(path) - MetaSize;
}

std::shared_ptr<ICloudDownload> CProcessingCloudClient::StartDownload(std::string const&)
{
    throw exc::CNotImplExc("CProcessingCloudClient::StartDownload");
}

std::shared_ptr<ICloudVersioningUtils> CProcessingCloudClient::GetVersioningUtils()
{
    std::call_once(m_versioningOnce,
                   [this] {
                       m_versioningUtils =
                           std::make_shared<CProcessingVersioningUtils>(m_inner->GetVersioningUtils(), m_processor);
                   });
    return m_versioningUtils;
}

} // namespace bucketry
