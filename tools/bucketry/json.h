// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace bucketry::tool
{

/// Builds the text of one JSON object (RFC 8259), members in the order they are added.
class CJsonObject
{
public:
    /// A text member. Bytes that are no UTF-8 become U+FFFD, and a second member `<key>_bytes` then holds the text
    /// itself with every byte outside `A-Za-z0-9._-` as %XX.
    CJsonObject& Add(std::string_view key, std::string_view text);
    CJsonObject& Add(std::string_view key, char const* text) { return Add(key, std::string_view(text)); }
    CJsonObject& Add(std::string_view key, std::uint64_t number);
    CJsonObject& Add(std::string_view key, double number);
    template <std::same_as<bool> T>
    CJsonObject& Add(std::string_view key, T value)
    {
        return AddJson(key, value ? "true" : "false");
    }
    /// A member whose value is JSON already.
    CJsonObject& AddJson(std::string_view key, std::string_view json);
    CJsonObject& Add(std::string_view key, std::vector<CJsonObject> const& items);

    /// All members of the other.
    CJsonObject& Merge(CJsonObject const& other);

    std::string Text() const { return "{" + m_members + "}"; }

private:
    std::string m_members;
};

} // namespace bucketry::tool
