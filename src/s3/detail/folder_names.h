// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace bucketry::s3::detail
{

/// What the keys and common prefixes in a listing of one folder stand for. A plain value.
class CFolderNames
{
public:
    /// `path`: as the caller named the folder; it stands in the failures.
    explicit CFolderNames(std::string const& path);

    /// Of all keys in the folder.
    std::string const& Prefix() const { return m_prefix; }
    /// An object's name in the folder; empty for the folder's own marker. Throws exc::CRuntimeExc for a key outside.
    std::string NameOf(std::string const& key) const;
    /// A subfolder's name, which a listing that lies may leave empty. Throws exc::CRuntimeExc for what is no subfolder.
    std::string SubfolderOf(std::string const& commonPrefix) const;
    [[noreturn]] void RefusePrefix(std::string const& commonPrefix) const;

    static bool IsMarker(std::string const& key, std::uint64_t size);

private:
    std::string m_path;
    std::string m_prefix;
};

} // namespace bucketry::s3::detail
