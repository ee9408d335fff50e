// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3/paths.h"

namespace bucketry::s3::detail
{

namespace
{

bool IsRoot(std::string const& path)
{
    return path.empty() || path == GetPathDelimiter();
}

std::string WithDelimiter(std::string const& path)
{
    return path.ends_with(GetPathDelimiter()) ? path : path + GetPathDelimiter();
}

} // namespace

std::string const& GetPathDelimiter()
{
    static std::string const delimiter = "/";
    return delimiter;
}

std::string ConvertObjectPath(std::string const& path)
{
    return path.starts_with(GetPathDelimiter()) ? path.substr(GetPathDelimiter().size()) : path;
}

std::string ConvertPathToPrefix(std::string const& path)
{
    return IsRoot(path) ? std::string() : WithDelimiter(ConvertObjectPath(path));
}

std::string ConvertPathToFolderPath(std::string const& path)
{
    return IsRoot(path) ? std::string() : WithDelimiter(path);
}

} // namespace bucketry::s3::detail
