// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace bucketry::testing
{

/// A new directory of its own, which goes with everything in it.
class CTempDir
{
public:
    CTempDir()
    {
        std::string path = std::filesystem::temp_directory_path() / "bucketry-XXXXXX";
        if (mkdtemp(path.data()) == nullptr)
        {
            throw std::runtime_error("no temporary directory");
        }
        m_path = path;
    }
    CTempDir(CTempDir const&) = delete;
    CTempDir& operator=(CTempDir const&) = delete;
    ~CTempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    std::filesystem::path const& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

} // namespace bucketry::testing
