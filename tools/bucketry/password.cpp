// SPDX-License-Identifier: Apache-2.0
#include "password.h"

#include "bucketry/base/exceptions.h"

#include <openssl/crypto.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>

namespace bucketry::tool
{

namespace
{

constexpr std::size_t MaxBytes = 1024;

/// Turns the echo of the terminal at the standard input off, as long as it lives.
class CNoEcho
{
public:
    CNoEcho()
    {
        if (::tcgetattr(STDIN_FILENO, &m_former) == 0)
        {
            termios silent = m_former;
            silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            m_isChanged = ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0;
        }
        if (!m_isChanged)
        {
            throw exc::CRuntimeExc("The terminal does not let a password be typed unseen.");
        }
    }
    CNoEcho(CNoEcho const&) = delete;
    CNoEcho& operator=(CNoEcho const&) = delete;
    ~CNoEcho()
    {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_former);
        std::fputc('\n', stderr);
    }

private:
    termios m_former{};
    bool m_isChanged = false;
};

/// Byte by byte, so that nothing of it stays in a buffer of the standard library.
void ReadLine(std::function<void(char byte)> const& take)
{
    for (;;)
    {
        char byte = 0;
        ssize_t const count = ::read(STDIN_FILENO, &byte, 1);
        if (count == 0 || (count == 1 && byte == '\n'))
        {
            return;
        }
        if (count == 1)
        {
            take(byte);
        }
        else if (errno != EINTR)
        {
            throw exc::CRuntimeExc("Failed to read from the standard input.");
        }
    }
}

void ReadSecret(CSecret& secret)
{
    ReadLine([&secret](char byte) { secret.Append(byte); });
    if (secret.Text().empty())
    {
        throw exc::CRuntimeExc("The password is empty.");
    }
}

void Prompt(std::string const& prompt)
{
    std::fputs(prompt.c_str(), stderr);
    std::fflush(stderr);
}

} // namespace

CSecret::~CSecret()
{
    OPENSSL_cleanse(m_text.data(), m_text.size());
}

void CSecret::Append(char byte)
{
    if (m_text.size() == MaxBytes)
    {
        throw exc::CRuntimeExc("The password is longer than %1 bytes.", MaxBytes);
    }
    m_text.reserve(MaxBytes);
    m_text += byte;
}

bool IsPasswordTyped()
{
    return ::isatty(STDIN_FILENO) == 1;
}

void AskPassword(std::string const& prompt, CSecret& secret)
{
    if (!IsPasswordTyped())
    {
        return ReadSecret(secret);
    }
    Prompt(prompt);
    CNoEcho const noEcho;
    ReadSecret(secret);
}

std::string AskLine(std::string const& prompt)
{
    if (IsPasswordTyped())
    {
        Prompt(prompt);
    }
    std::string line;
    ReadLine([&line](char byte) { line += byte; });
    return line;
}

} // namespace bucketry::tool
