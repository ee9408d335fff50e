// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"
#include "bucketry/transfer.h"

#include <algorithm>
#include <utility>

namespace bucketry
{

std::shared_ptr<CCloudObjectIoDev> CCloudObjectIoDev::CreateForRead(std::shared_ptr<ICloudDownload> download)
{
    return std::make_shared<CCloudObjectIoDev>(std::move(download));
}

std::shared_ptr<CCloudObjectIoDev> CCloudObjectIoDev::CreateForWrite(std::shared_ptr<ICloudUpload> upload)
{
    return std::make_shared<CCloudObjectIoDev>(std::move(upload));
}

CCloudObjectIoDev::CCloudObjectIoDev(std::shared_ptr<ICloudDownload> download) : m_download(std::move(download))
{
    EnsureDownloadInitialized();
    m_size = m_download->ObjectSize();
}

CCloudObjectIoDev::CCloudObjectIoDev(std::shared_ptr<ICloudUpload> upload) : m_upload(std::move(upload))
{
    EnsureUploadInitialized();
}

CCloudObjectIoDev::~CCloudObjectIoDev() = default;

unsigned long CCloudObjectIoDev::write(char const* data, unsigned long size)
{
    EnsureUploadInitialized();
    if (data == nullptr)
    {
        m_upload->WriteZeroes(size);
    }
    else
    {
        m_upload->Write(reinterpret_cast<unsigned char const*>(data), size);
    }
    return size;
}

unsigned long CCloudObjectIoDev::read(char* buffer, unsigned long size)
{
    EnsureDownloadInitialized();
    unsigned long const count = std::min<unsigned long>(size, m_size - m_position);
    if (count > 0)
    {
        m_download->Read(reinterpret_cast<unsigned char*>(buffer), m_position, count);
        m_position += count;
    }
    return count;
}

void CCloudObjectIoDev::close()
{
    if (m_upload)
    {
        m_upload->Finish();
    }
}

void CCloudObjectIoDev::EnsureDownloadInitialized() const
{
    if (!m_download)
    {
        throw exc::CRuntimeExc("CCloudObjectIoDev: download stream is not initialized");
    }
}

void CCloudObjectIoDev::EnsureUploadInitialized() const
{
    if (!m_upload)
    {
        throw exc::CRuntimeExc("CCloudObjectIoDev: upload stream is not initialized");
    }
}

} // namespace bucketry
