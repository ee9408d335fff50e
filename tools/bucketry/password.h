// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace bucketry::tool
{

/// A text that is wiped when it goes.
class CSecret
{
public:
    CSecret() = default;
    CSecret(CSecret const&) = delete;
    CSecret& operator=(CSecret const&) = delete;
    ~CSecret();

    /// Adds one byte; the bytes never move, so none is left behind.
    void Append(char byte);
    std::string const& Text() const noexcept { return m_text; }

private:
    std::string m_text;
};

/// Reads one line from the standard input into `secret`; on a terminal behind the prompt, without echo. Throws
/// exc::CRuntimeExc for an empty one.
void AskPassword(std::string const& prompt, CSecret& secret);

/// Reads one line from the standard input, on a terminal behind the prompt. Empty if there is none.
std::string AskLine(std::string const& prompt);

/// Whether somebody types, so that a password should be asked for twice.
bool IsPasswordTyped();

} // namespace bucketry::tool
