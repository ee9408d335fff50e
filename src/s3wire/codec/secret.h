// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace bucketry::s3wire
{

/// A text that is overwritten in memory before it goes.
class CSecret
{
public:
    CSecret() = default;
    explicit CSecret(std::string_view text) : m_bytes(text.begin(), text.end()) {}
    CSecret(CSecret const&) = default;
    CSecret(CSecret&& other) noexcept = default;
    CSecret& operator=(CSecret other) noexcept
    {
        m_bytes.swap(other.m_bytes);
        return *this;
    }
    ~CSecret();

    std::string_view View() const { return {m_bytes.data(), m_bytes.size()}; }
    bool empty() const { return m_bytes.empty(); }
    bool operator==(CSecret const&) const = default;

private:
    std::vector<char> m_bytes; ///< never grows, so no copy is left behind
};

/// Overwrites a text that held a secret for a moment, and empties it.
void Wipe(std::string& text);

/// Does so at the end of a scope, by whichever way that is left.
class CWipeAtEnd
{
public:
    explicit CWipeAtEnd(std::string& text) : m_text(text) {}
    CWipeAtEnd(CWipeAtEnd const&) = delete;
    CWipeAtEnd& operator=(CWipeAtEnd const&) = delete;
    ~CWipeAtEnd() { Wipe(m_text); }

private:
    std::string& m_text;
};

} // namespace bucketry::s3wire
