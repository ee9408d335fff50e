// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"
#include "bucketry/s3.h"

#include <memory>
#include <string>

/// Connection specifications in files, and the stores that they name.
namespace bucketry::tool
{

/// Throws exc::CRuntimeExc, which names the file and the element at fault.
s3::SS3ClientConnSpec LoadSpec(std::string const& file);

/// Writes a new file that only its owner can read.
void WriteNewSpec(s3::SS3ClientConnSpec const& spec, std::string const& file);

/// A client on the store, counted as the storage. Asks the store for its region only.
std::shared_ptr<ICloudClient> OpenStore(std::string const& file);

} // namespace bucketry::tool
