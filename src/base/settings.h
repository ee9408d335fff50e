// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Addresses that the library knows by itself. Each has an option that overrides it (options_t).
namespace bucketry::settings
{

/// The link-local address on which cloud hosts serve their instance metadata.
inline constexpr char const* InstanceMetadataEndpoint = "http://169.254.169.254";
/// Google's storage API.
inline constexpr char const* GoogleStorageHost = "storage.googleapis.com";

} // namespace bucketry::settings
