// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

namespace bucketry::s3wire
{

class IS3WireAuth;

/// The keys of the machine's role, from the process's store of temporary keys. Nothing is asked before they are needed.
class CS3WireAuthByRole
{
public:
    /// With an empty role name the metadata service is asked for the name.
    static std::shared_ptr<IS3WireAuth> CreateForS3(std::string const& roleName, std::string const& metadataHost,
                                                    std::string const& endpoint, std::string const& region);
};

} // namespace bucketry::s3wire
