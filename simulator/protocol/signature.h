// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/message.h"
#include "protocol/traits.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace bucketry::simulator
{

/// The keys of an id; nothing if the store doesn't know it.
using find_key_t = std::function<std::optional<SAccessKey>(std::string const& id)>;

/// What a signature has to be made for.
struct SExpectedScope
{
    std::string m_region;
    std::string m_service;
};

/// Verifies an AWS Signature Version 4 in the Authorization header, everything but the body.
/// Throws CStoreError as S3 refuses it.
/// Source: https://docs.aws.amazon.com/AmazonS3/latest/API/sig-v4-header-based-auth.html
void CheckSignature(SRequest const& request, find_key_t const& findKey, SExpectedScope const& expected,
                    STraits const& traits, time_point_t now);

/// What is known of a body once it was checked.
struct SPayload
{
    std::string m_md5{};                              ///< of the body, raw
    bool m_hasIntegrity = false;                      ///< Content-MD5 or a checksum came with it
    std::map<std::string, std::string> m_checksums{}; ///< those that came with it: algorithm, base64
};

/// Verifies x-amz-content-sha256, Content-MD5 and the checksum headers against the body. A body in aws-chunked form is
/// replaced by its content. Throws CStoreError.
SPayload CheckPayload(SRequest& request, STraits const& traits, bool demandsHash);

} // namespace bucketry::simulator
