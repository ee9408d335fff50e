// SPDX-License-Identifier: Apache-2.0
#include "bucketry/client.h"
#include "bucketry/locks.h"

#include <utility>

namespace bucketry
{

SCloudObjectInfo::SCloudObjectInfo(std::string name, std::uint64_t size, bool isFolder)
    : m_name(std::move(name)), m_size(size), m_isFolder(isFolder)
{
}

SCloudObjectPathVersionPair::SCloudObjectPathVersionPair(std::string path, std::string versionId)
    : SCloudObjectPathVersionPair(std::move(path), std::move(versionId), 0, false, datetime::CDateTime(true))
{
}

SCloudObjectPathVersionPair::SCloudObjectPathVersionPair(std::string path, SCloudObjectVersion version)
    : m_path(std::move(path)), m_version(std::move(version))
{
}

SCloudObjectPathVersionPair::SCloudObjectPathVersionPair(std::string path, std::string versionId, std::uint64_t size,
                                                         bool isFolder, datetime::CDateTime lastModified)
    : m_path(std::move(path)), m_version{std::move(versionId), size, isFolder, lastModified}
{
}

constinit std::optional<std::string> SCloudLockParams::m_agentId;

} // namespace bucketry
