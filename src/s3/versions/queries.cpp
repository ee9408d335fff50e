// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/paths.h"
#include "s3/detail/adapt.h"
#include "s3/detail/folder_names.h"
#include "s3/versions/versioning_utils.h"

namespace bucketry::s3::detail
{
namespace
{

using s3wire::s3::SBucketObjectVersions;
using s3wire::s3::SObjectVersionEntry;
using task_t = ICloudVersioningUtils::task_t;
using pairs_t = std::vector<SCloudObjectPathVersionPair>;

SCloudObjectVersion VersionOf(SObjectVersionEntry const& entry, bool isFolder)
{
    return {entry.m_versionId, entry.m_size, isFolder,
            datetime::CDateTime::fromString(entry.m_lastModified, "%Y-%m-%dT%H:%M:%SZ", true)};
}

pairs_t PairsOf(SBucketObjectVersions const& page, CFolderNames const& folder)
{
    pairs_t pairs;
    pairs.reserve(page.m_versions.size() + page.m_commonPrefixes.size());
    for (SObjectVersionEntry const& entry : page.m_versions)
    {
        if (entry.m_isDeleteMarker)
        {
            continue;
        }
        std::string name = folder.NameOf(entry.m_key);
        if (!name.empty())
        {
            pairs.emplace_back(std::move(name), VersionOf(entry, CFolderNames::IsMarker(entry.m_key, entry.m_size)));
        }
    }
    for (std::string const& common : page.m_commonPrefixes)
    {
        pairs.emplace_back(folder.SubfolderOf(common), "", 0, true, datetime::CDateTime(true));
    }
    return pairs;
}

} // namespace

CS3VersioningUtils::CS3VersioningUtils(std::shared_ptr<s3wire::s3::CS3WireClient> client, std::string const& bucket,
                                       s3wire::s3::CObjectStorageClass const& storageClass,
                                       std::map<std::string, std::string> const& metadata)
    : m_client(std::move(client)), m_bucket(bucket), m_storageClass(storageClass), m_metadata(metadata)
{
}

CS3VersioningUtils::~CS3VersioningUtils() = default;

s3wire::s3::CS3WireClient& CS3VersioningUtils::GetClient() const
{
    return *GetPtrClient();
}

std::shared_ptr<s3wire::s3::CS3WireClient> CS3VersioningUtils::GetPtrClient() const
{
    if (!m_client)
    {
        throw exc::CRuntimeExc("versioning utils error: restapi client is not initialised");
    }
    return m_client;
}

task_t CS3VersioningUtils::QueryFileVersionsAsync(std::string const& path,
                                                  std::shared_ptr<std::vector<SCloudObjectVersion>> versions)
{
    std::string const key = ConvertObjectPath(path);
    versions->clear();
    auto const takePage = [versions, key](SBucketObjectVersions const& page)
    {
        for (SObjectVersionEntry const& entry : page.m_versions)
        {
            if (!entry.m_isDeleteMarker && entry.m_key == key) // the prefix finds longer keys, too
            {
                versions->push_back(VersionOf(entry, false));
            }
        }
    };
    return AdaptPplxTaskS3(GetClient().GetBucketObjectVersions(takePage, m_bucket, key, "", "", "", 0),
                           "CS3VersioningUtils::QueryFileVersionsAsync async task has failed, path [%1]", path);
}

task_t CS3VersioningUtils::QueryFolderVersionsAsync(std::string const& path, std::function<void(pairs_t const&)> onPage)
{
    CFolderNames const folder(path);
    auto const takePage = [folder, onPage](SBucketObjectVersions const& page) { onPage(PairsOf(page, folder)); };
    return AdaptPplxTaskS3(
        GetClient().GetBucketObjectVersions(takePage, m_bucket, folder.Prefix(), GetPathDelimiter(), "", "", 0),
        "CS3VersioningUtils::QueryFolderVersionsAsync async task has failed, path [%1]", path);
}

task_t CS3VersioningUtils::QueryFolderVersionsAsync(std::string const& path, std::shared_ptr<pairs_t> versions)
{
    versions->clear();
    return QueryFolderVersionsAsync(
        path, [versions](pairs_t const& page) { versions->insert(versions->end(), page.begin(), page.end()); });
}

task_t CS3VersioningUtils::QuerySubfoldersAsync(std::string const& path,
                                                std::shared_ptr<std::vector<std::string>> subfolders)
{
    CFolderNames const folder(path);
    subfolders->clear();
    auto const takePage = [subfolders, folder](SBucketObjectVersions const& page)
    {
        for (std::string const& common : page.m_commonPrefixes)
        {
            std::string name = folder.SubfolderOf(common);
            if (name.empty())
            {
                folder.RefusePrefix(common);
            }
            subfolders->push_back(std::move(name));
        }
    };
    return AdaptPplxTaskS3(
        GetClient().GetBucketObjectVersions(takePage, m_bucket, folder.Prefix(), GetPathDelimiter(), "", "", 0),
        "CS3VersioningUtils::QuerySubfoldersAsync async task has failed, path [%1]", path);
}

task_t CS3VersioningUtils::GetFileVersionMetadataAsync(std::string const& path, std::string const& version,
                                                       std::shared_ptr<object_metadata_t> metadata)
{
    auto const take = [metadata](s3wire::s3::SObjectData const& head)
    { metadata->insert(head.m_metadata.begin(), head.m_metadata.end()); };
    return AdaptPplxTaskS3(
        GetClient().GetObjectHead(m_bucket, ConvertObjectPath(path), version).then<void>(take),
        "CS3VersioningUtils::GetFileVersionMetadataAsync async task has failed, path [%1], version [%2]", path,
        version);
}

std::uint64_t CS3VersioningUtils::GetFileVersionSize(std::string const& path, std::string const& version)
{
    return Start(
        [&]
        {
            std::uint64_t size = 0;
            AdaptPplxTaskS3(GetClient()
                                .GetObjectHead(m_bucket, ConvertObjectPath(path), version)
                                .then<void>([&](s3wire::s3::SObjectData const& head) { size = head.m_contentLength; }),
                            "Failed to read object size, Path: [%1]. Version: [%2]", path, version)
                ->Wait();
            return size;
        },
        "Failed to read object size. Path: [%1]. Version: [%2]", path, version);
}

} // namespace bucketry::s3::detail
