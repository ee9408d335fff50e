// SPDX-License-Identifier: Apache-2.0
#include "host.h"

#include "files.h"
#include "keys.h"
#include "spec.h"
#include "statistics.h"
#include "text.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/files.h"
#include "bucketry/base/options.h"
#include "bucketry/processing.h"
#include "bucketry/statistics.h"

#include <cerrno>
#include <vector>

namespace bucketry::tool
{

namespace
{

/// The pool of blocks need not keep more than what is in flight anyway.
constexpr std::uint64_t PoolIdleBytes = std::uint64_t(128) << 20;

void CheckRoot(std::string const& root, EAccess access)
{
    struct stat status
    {
    };
    if (::stat(root.c_str(), &status) == 0)
    {
        if (!S_ISDIR(status.st_mode))
        {
            throw exc::CRuntimeExc("The root [%1] is not a directory.", Printable(root));
        }
    }
    else if (errno == ENOENT && access == EAccess::Read)
    {
        throw exc::CRuntimeExc("The root [%1] does not exist.", Printable(root));
    }
    else if (errno != ENOENT)
    {
        ThrowSystemError("open the root", root);
    }
}

/// Refuses what cannot work before anything is asked or opened.
void CheckBodyOptions(SBodyOptions const& options)
{
    if (!options.m_compression.empty() && !io::block::buftransformtype_from_str(options.m_compression))
    {
        throw CUsageError("Unknown compression [" + Printable(options.m_compression) +
                          "]: zlib, zstd-fast, zstd or zstd-high.");
    }
    if (!options.m_keyFile.empty() && !options.m_isEncrypted)
    {
        throw CUsageError("--key-file needs --encrypt.");
    }
}

} // namespace

CHost::CHost(SGlobalOptions const& options, COutput& output)
    : m_options(options), m_output(output), m_pool(io::block::bufs_pool_t::GetInst())
{
    options_t::GetInst().SetBufferPoolIdleBytes(PoolIdleBytes);
    if (m_options.m_showsStatistics)
    {
        m_output.SetStatistics(&StatisticsOfStorage);
    }
}

ICloudClient& CHost::Client(EAccess access)
{
    if (!m_client)
    {
        if (m_options.m_root.empty() == m_options.m_specFile.empty())
        {
            throw CUsageError("Which storage? Give a directory with --root DIR, or a store with --spec FILE.");
        }
        m_client = IsStore() ? OpenStore(m_options.m_specFile) : OpenRoot(access);
    }
    return *m_client;
}

std::shared_ptr<ICloudClient> CHost::OpenRoot(EAccess access) const
{
    CheckRoot(m_options.m_root, access);
    std::shared_ptr<ICloudClient> const client = CLocalFsCloudClient::Create(m_options.m_root);
    return m_options.m_showsStatistics ? WrapCloudClientInStatistics(StorageName, client) : client;
}

ICloudClient& CHost::Bodies(EAccess access)
{
    if (!m_bodies)
    {
        SBodyOptions const& bodies = m_options.m_bodies;
        CheckBodyOptions(bodies);
        ICloudClient& client = Client(access);
        if (!bodies.AreProcessed())
        {
            m_bodies = m_client;
            return *m_bodies;
        }
        std::shared_ptr<crypto::CKeySet> keySet;
        if (bodies.m_isEncrypted)
        {
            keySet = bodies.m_keyFile.empty() ? KeySetOfPassword(client, access) : LoadKeyFile(bodies.m_keyFile);
        }
        auto const compression =
            io::block::buftransformtype_from_str(bodies.m_compression).value_or(io::block::EBufTransformType::None);
        m_bodies = CreateProcessingContext(compression, keySet, std::make_shared<crypto::CKeySetCollection>())
                       ->CreateProcessingCloudClient(m_client);
    }
    return *m_bodies;
}

bool CHost::CanStreamUp() const
{
    return CanStream() && LoadSpec(m_options.m_specFile).Options.StorageClass.IsAmazonS3();
}

bool CHost::IsFolder(std::string const& path)
{
    ICloudClient& client = Client(EAccess::Read);
    if (path.empty() || client.IsFolderExist(path))
    {
        return true;
    }
    struct SFound
    {
    };
    auto const stopAtFirst = [](std::vector<SCloudObjectInfo> const& page)
    {
        if (!page.empty())
        {
            throw SFound();
        }
    };
    try
    {
        if (IsStore())
        {
            client.QueryFolderAsync(path, stopAtFirst)->Wait();
        }
        return false;
    }
    catch (SFound const&)
    {
        return true;
    }
}

void CHost::MakeParentFolder(std::string const& path)
{
    std::size_t const end = path.rfind('/');
    ICloudClient& client = Client(EAccess::Write);
    if (LocalRoot() && end != std::string::npos && !client.IsFolderExist(path.substr(0, end)))
    {
        client.CreateFolderAsync(path.substr(0, end))->Wait();
    }
}

void CHost::ShowStatistics()
{
    if (m_options.m_showsStatistics && !m_output.IsJson())
    {
        m_output.Message(TextOfStatistics());
    }
}

std::optional<std::pair<dev_t, ino_t>> CHost::LocalRoot()
{
    struct stat status
    {
    };
    if (m_options.m_root.empty() || ::stat(m_options.m_root.c_str(), &status) != 0)
    {
        return std::nullopt;
    }
    return std::pair(status.st_dev, status.st_ino);
}

bool CHost::IsLocalLink(std::string const& path) const
{
    struct stat status
    {
    };
    return !m_options.m_root.empty() && ::lstat(util::fs_merge_path(m_options.m_root, path).c_str(), &status) == 0 &&
        S_ISLNK(status.st_mode);
}

std::string StoragePath(std::string_view text)
{
    std::string const canonical = GetCanonicalPath(std::string(text));
    std::vector<std::string_view> components;
    for (std::string_view rest = canonical; !rest.empty();)
    {
        std::size_t const end = rest.find('/');
        std::string_view const component = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (component == ".." && components.empty())
        {
            throw CUsageError("The path [" + Printable(text) + "] leaves the root.");
        }
        if (component == "..")
        {
            components.pop_back();
        }
        else if (!component.empty() && component != ".")
        {
            components.push_back(component);
        }
    }
    std::string path;
    for (std::string_view const component : components)
    {
        path = JoinPath(path, component);
    }
    return path;
}

std::string StoragePathBelowRoot(std::string_view text, std::string_view what)
{
    std::string path = StoragePath(text);
    if (path.empty())
    {
        throw CUsageError(util::str_format("The %1 is empty or names the root itself [%2].", what, Printable(text)));
    }
    return path;
}

std::string JoinPath(std::string_view folder, std::string_view name)
{
    std::string path(folder);
    if (!path.empty())
    {
        path += '/';
    }
    return path += name;
}

} // namespace bucketry::tool
