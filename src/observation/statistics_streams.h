// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/statistics.h"

#include <utility>

namespace bucketry::details
{

/// Counts the bytes of an upload stream when they have been written; zero bytes count as traffic.
template <class TUpload>
class CUploadStatisticsBase : public TUpload
{
public:
    CUploadStatisticsBase(std::shared_ptr<TUpload> upload, CCloudStatisticsManager::CWriter writer)
        : m_upload(std::move(upload)), m_writer(std::move(writer))
    {
    }

    void Write(unsigned char const* data, unsigned long size) override
    {
        m_upload->Write(data, size);
        m_writer.UpdateUploadCounter(size);
    }
    void WriteZeroes(unsigned long size) override
    {
        m_upload->WriteZeroes(size);
        m_writer.UpdateUploadCounter(size);
    }
    void Flush() override { m_upload->Flush(); }
    std::optional<std::string> Finish() override { return m_upload->Finish(); }

protected:
    std::shared_ptr<TUpload> m_upload;
    CCloudStatisticsManager::CWriter m_writer;
};

class CCloudUploadStatistics final : public CUploadStatisticsBase<ICloudUpload>
{
public:
    using CUploadStatisticsBase::CUploadStatisticsBase;
};

class CCloudUploadVersionedStatistics final : public CUploadStatisticsBase<ICloudUploadVersioned>
{
public:
    using CUploadStatisticsBase::CUploadStatisticsBase;
    std::string FinishVersioned() override { return m_upload->FinishVersioned(); }
};

/// Counts the bytes of a download stream when they have been read.
class CCloudDownloadStatistics final : public ICloudDownload
{
public:
    CCloudDownloadStatistics(std::shared_ptr<ICloudDownload> download, CCloudStatisticsManager::CWriter writer)
        : m_download(std::move(download)), m_writer(std::move(writer))
    {
    }

    void Read(unsigned char* buffer, unsigned long offset, unsigned long length) override
    {
        m_download->Read(buffer, offset, length);
        m_writer.UpdateDownloadCounter(length);
    }
    std::uint64_t ObjectSize() override { return m_download->ObjectSize(); }

private:
    std::shared_ptr<ICloudDownload> m_download;
    CCloudStatisticsManager::CWriter m_writer;
};

} // namespace bucketry::details
