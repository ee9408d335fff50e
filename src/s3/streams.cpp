// SPDX-License-Identifier: Apache-2.0
#include "s3/detail/streams.h"
#include "bucketry/s3/cloud_client.h"
#include "bucketry/s3/paths.h"

namespace bucketry::s3
{

std::shared_ptr<ICloudUpload> CS3CloudClient::StartUpload(std::string const& path, unsigned long size)
{
    auto const context = GetContext();
    return std::make_shared<detail::CS3Upload>(context->m_client, context->m_container, detail::ConvertObjectPath(path),
                                               size, context->m_storageClass, s3wire::s3::CS3WireClient::metadata_t(),
                                               s3wire::s3::CS3WireClient::metadata_t(),
                                               s3wire::s3::SPutObjectExtraAgruments());
}

std::shared_ptr<ICloudDownload> CS3CloudClient::StartDownload(std::string const& path)
{
    auto const context = GetContext();
    return std::make_shared<detail::CS3Download>(context->m_client, context->m_container,
                                                 detail::ConvertObjectPath(path), "");
}

} // namespace bucketry::s3
