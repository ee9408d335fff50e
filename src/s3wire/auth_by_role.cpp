// SPDX-License-Identifier: Apache-2.0
#include "s3wire/auth_by_role.h"

#include "s3wire/auth/auth.h"
#include "s3wire/context.h"

namespace bucketry::s3wire
{

std::shared_ptr<IS3WireAuth> CS3WireAuthByRole::CreateForS3(std::string const& roleName,
                                                            std::string const& metadataHost, std::string const&,
                                                            std::string const& region)
{
    CS3WireAuthFactory const factory(s3::CS3WireContext::Instance().GetTempKeyStore());
    return factory.CreateByRole(roleName, metadataHost, region);
}

} // namespace bucketry::s3wire
