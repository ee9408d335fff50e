// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/cloud_client.h"
#include "bucketry/s3/paths.h"
#include "s3/detail/adapt.h"
#include "s3/detail/folder_names.h"

#include <algorithm>

namespace bucketry::s3
{

using detail::AdaptPplxTaskS3;
using detail::ConvertPathToPrefix;
using detail::GetPathDelimiter;
using detail::Start;
using task_t = ICloudClient::task_t;

namespace
{

using entries_t = std::vector<SCloudObjectInfo>;

entries_t EntriesOf(s3wire::s3::SBucketContents const& page, detail::CFolderNames const& folder)
{
    entries_t entries;
    entries.reserve(page.m_contents.size() + page.m_commonPrefixes.size());
    for (s3wire::s3::SObjectMetadata const& object : page.m_contents)
    {
        std::string name = folder.NameOf(object.m_key);
        if (!name.empty())
        {
            bool const isFolder = detail::CFolderNames::IsMarker(object.m_key, object.m_size);
            entries.emplace_back(std::move(name), object.m_size, isFolder);
        }
    }
    for (std::string const& common : page.m_commonPrefixes)
    {
        entries.emplace_back(folder.SubfolderOf(common), 0, true);
    }
    return entries;
}

/// Visits every object below a folder, at every depth; blocks. One page of the listing is in memory.
void ForEachBelow(SS3Context const& context, std::string const& path,
                  std::function<void(s3wire::s3::SObjectMetadata const&)> const& visit)
{
    auto const takePage = [&visit](s3wire::s3::SBucketContents const& page)
    { std::for_each(page.m_contents.begin(), page.m_contents.end(), visit); };
    context.m_client.GetBucket(takePage, context.m_container, ConvertPathToPrefix(path), "", "", 0).get();
}

} // namespace

task_t CS3CloudClient::CreateFolderAsync(std::string const& path)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            return AdaptPplxTaskS3(context->m_client
                                       .PutObject(context->m_container, ConvertPathToPrefix(path),
                                                  std::make_shared<io::block::CPooledBuf>(), context->m_objectMetadata,
                                                  {}, {}, {}, {})
                                       .then<void>([](s3wire::s3::SPutObjectResult const&) {}),
                                   "CS3CloudClient::CreateFolderAsync async task has failed, path [%1]", path);
        },
        "Failed to create folder on %1. Path: [%2]", context->m_cloudName, path);
}

bool CS3CloudClient::IsFolderExist(std::string const& path)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            std::string const prefix = ConvertPathToPrefix(path);
            return prefix.empty() || context->m_client.IsObjectExist(context->m_container, prefix, "").get();
        },
        "Failed to check whether %1 folder exists. Path: [%2]", context->m_cloudName, path);
}

task_t CS3CloudClient::QueryFolderAsync(std::string const& path,
                                        std::function<void(std::vector<SCloudObjectInfo> const&)> onPage)
{
    auto const context = GetContext();
    detail::CFolderNames const folder(path);
    auto const takePage = [folder, onPage](s3wire::s3::SBucketContents const& page)
    { onPage(EntriesOf(page, folder)); };
    return AdaptPplxTaskS3(
        context->m_client.GetBucket(takePage, context->m_container, folder.Prefix(), GetPathDelimiter(), "", 0),
        "Failed to query folder asynchronously on %1. Path: [%2]", context->m_cloudName, path);
}

task_t CS3CloudClient::QueryFolderAsync(std::string const& path, std::shared_ptr<std::vector<SCloudObjectInfo>> objects)
{
    if (!objects)
    {
        throw exc::CRuntimeExc("CS3CloudClient::QueryFolderAsync: ptrResult is nullptr");
    }
    return QueryFolderAsync(
        path, [objects](entries_t const& page) { objects->insert(objects->end(), page.begin(), page.end()); });
}

std::vector<SCloudObjectInfo> CS3CloudClient::QueryFolder(std::string const& path)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            auto const objects = std::make_shared<entries_t>();
            QueryFolderAsync(path, objects)->Wait();
            return *objects;
        },
        "Failed to query folder on %1. Path: [%2]", context->m_cloudName, path);
}

std::uint64_t CS3CloudClient::GetFolderSize(std::string const& path)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            std::uint64_t size = 0;
            ForEachBelow(*context, path, [&size](s3wire::s3::SObjectMetadata const& object) { size += object.m_size; });
            return size;
        },
        "Failed to get folder size on %1. Path: [%2]", context->m_cloudName, path);
}

std::uint64_t CS3CloudClient::GetObjectCount(std::string const& path)
{
    std::uint64_t count = 0;
    ForEachBelow(*GetContext(), path, [&count](s3wire::s3::SObjectMetadata const&) { ++count; });
    return count;
}

task_t CS3CloudClient::DeleteFolderAsync(std::string const& path, std::shared_ptr<progress::progress_base_t> progress)
{
    auto const context = GetContext();
    return Start(
        [&]
        {
            return AdaptPplxTaskS3(
                context->m_client.DeleteObjects(context->m_container, ConvertPathToPrefix(path), progress),
                "CS3CloudClient::DeleteFolderAsync async task has failed, path [%1]", path);
        },
        "Failed to delete folder on s3. Path: [%1]", path);
}

} // namespace bucketry::s3
