// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/message.h"
#include "protocol/traits.h"

#include <map>
#include <string>

namespace bucketry::simulator
{

/// What a request asks for, read from method, host, path, query and headers alone.
struct SRoute
{
    std::string m_operation{}; ///< S3's name, or "Unknown"
    std::string m_bucket{};    ///< empty for requests to the service
    std::string m_key{};
    std::string m_service = "s3"; ///< that the signature must name
    bool m_isSigned = true;
};

/// Google's store on loopback, by a name that contains the one by which its clients know it.
inline constexpr char const* GoogleLoopbackName = "storage.googleapis.com.localhost";

/// Which hosts name buckets.
struct SHosts
{
    std::vector<std::string> m_names{};                  ///< NAME.HOST is bucket NAME
    std::map<std::string, std::string> m_accessPoints{}; ///< first labels of the host, then the bucket
};

/// Never throws for what a client may send: what can't be told is the operation "Unknown".
SRoute Route(SRequest const& request, SHosts const& hosts, STraits const& traits);

/// Refuses what no operation takes: a broken path, a key that is too long, a sub-resource that isn't there.
void CheckRoute(SRoute const& route, SRequest const& request, STraits const& traits);

} // namespace bucketry::simulator
