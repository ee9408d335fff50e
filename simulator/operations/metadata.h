// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/simulator.h"

#include <functional>
#include <map>
#include <string>

namespace bucketry::simulator
{

/// The machine's metadata service, version 2: tokens, and the keys of one role. Not for several threads at once.
class CMetadataService
{
public:
    using add_key_t = std::function<void(SAccessKey const&)>;
    explicit CMetadataService(add_key_t addKey);

    /// A token that is good for so long.
    std::string NewToken(std::chrono::seconds lifetime, time_point_t now);
    /// Whether the token was given and is good still.
    bool IsToken(std::string const& token, time_point_t now) const;
    /// Keys with a session token, which the store knows from now on.
    SAccessKey NewKeys(std::chrono::seconds lifetime, time_point_t now);
    /// The role's keys; new ones shortly before the present ones expire.
    SAccessKey const& Keys(std::chrono::seconds lifetime, time_point_t now);

private:
    add_key_t m_addKey;
    std::map<std::string, time_point_t> m_tokens; ///< with the end of their life
    SAccessKey m_keys;
    unsigned m_issued = 0;
};

} // namespace bucketry::simulator
