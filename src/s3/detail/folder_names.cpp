// SPDX-License-Identifier: Apache-2.0
#include "s3/detail/folder_names.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/s3/paths.h"

namespace bucketry::s3::detail
{

CFolderNames::CFolderNames(std::string const& path) : m_path(path), m_prefix(ConvertPathToPrefix(path)) {}

std::string CFolderNames::NameOf(std::string const& key) const
{
    if (!key.starts_with(m_prefix))
    {
        throw exc::CRuntimeExc("Unexpected key path: '%1', filter: '%2'", key, m_path);
    }
    return key.substr(m_prefix.size());
}

std::string CFolderNames::SubfolderOf(std::string const& commonPrefix) const
{
    if (commonPrefix.size() <= m_prefix.size() || !commonPrefix.starts_with(m_prefix) ||
        !commonPrefix.ends_with(GetPathDelimiter()))
    {
        RefusePrefix(commonPrefix);
    }
    return commonPrefix.substr(m_prefix.size(), commonPrefix.size() - m_prefix.size() - GetPathDelimiter().size());
}

void CFolderNames::RefusePrefix(std::string const& commonPrefix) const
{
    throw exc::CRuntimeExc("Unexpected common prefix: '%1', filter: '%2'", commonPrefix, m_path);
}

bool CFolderNames::IsMarker(std::string const& key, std::uint64_t size)
{
    return size == 0 && key.ends_with(GetPathDelimiter());
}

} // namespace bucketry::s3::detail
