// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host.h"

#include "bucketry/base/keys.h"

#include <memory>
#include <string>

/// Where the keys of encrypted bodies come from: docs/formats/keys.md describes what is stored.
namespace bucketry::tool
{

/// The object of the root that tells the id of the password's key set. It is never compressed or encrypted.
inline constexpr char const* PasswordObject = ".bucketry-password";

/// Writes a new key to a new file that only its owner can read. Throws CSystemError if the file is there.
void WriteNewKeyFile(std::string const& path);

/// Throws exc::CRuntimeExc for a file that is no key file.
std::shared_ptr<crypto::CKeySet> LoadKeyFile(std::string const& path);

/// The key set of the password that the user is asked for. The root remembers its id from the first time it is written
/// with a password. Throws exc::CRuntimeExc if the password is another one than then, or if there is none for the root.
std::shared_ptr<crypto::CKeySet> KeySetOfPassword(ICloudClient& client, EAccess access);

} // namespace bucketry::tool
