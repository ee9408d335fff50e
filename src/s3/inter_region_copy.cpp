// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/cloud_client.h"
#include "bucketry/s3/paths.h"
#include "s3/detail/adapt.h"
#include "s3/detail/inter_region_source.h"

namespace bucketry::s3
{

std::shared_ptr<ICloudInterRegionSource> CS3CloudClient::GetFileInterRegionSource(std::string const& path)
{
    return std::make_shared<SS3FileInterRegionSource>(GetContext()->m_container, detail::ConvertObjectPath(path), "");
}

bool CS3CloudClient::IsFileInterRegionSourceCompatible(std::shared_ptr<ICloudInterRegionSource> source)
{
    return dynamic_cast<SS3FileInterRegionSource const*>(source.get()) != nullptr;
}

ICloudClient::task_t CS3CloudClient::CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> source,
                                                              std::string const& targetPath)
{
    SS3FileInterRegionSource const& object = detail::AsS3Source(source);
    std::shared_ptr<SS3Context> const context = GetContext();
    auto const copy =
        context->m_client.CopyObject(object.m_bucket, context->m_container, object.m_key,
                                     detail::ConvertObjectPath(targetPath), context->m_storageClass, "", {}, "");
    return detail::AdaptPplxTaskS3(copy.then<void>([](s3wire::s3::SCopyObjectResult const&) {}),
                                   "Failed to perform inter-region file copy, source path: [%1], target path: [%2]",
                                   object.m_key, targetPath);
}

} // namespace bucketry::s3
