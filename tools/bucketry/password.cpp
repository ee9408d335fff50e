#include "password.h"

#include "bucketry/base/exceptions.h"

#include <openssl/crypto.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

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
void ReadLine(CSecret& secret)
{
    for (;;)
    {
        char byte = 0;
        ssize_t const count = ::read(STDIN_FILENO, &byte, 1);
        if (count == 0 || (count == 1 && byte == '\n'))
        {
            break;
        }
        if (count == 1)
        {
            secret.Append(byte);
        }
        else if (errno != EINTR)
        {
            throw exc::CRuntimeExc("Failed to read the password.");
        }
    }
    if (secret.Text().empty())
    {
        throw exc::CRuntimeExc("The password is empty.");
    }
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
        return ReadLine(secret);
    }
    std::fputs(prompt.c_str(), stderr);
    std::fflush(stderr);
    CNoEcho const noEcho;
    ReadLine(secret);
}

} // namespace bucketry::tool
