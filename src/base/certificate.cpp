// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/certificate.h"

#include "bucketry/base/exceptions.h"

#include <limits>
#include <memory>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace bucketry::sockets::ssl
{

namespace
{

struct SDeleter
{
    void operator()(BIO* bio) const { ::BIO_free(bio); }
    void operator()(X509* certificate) const { ::X509_free(certificate); }
};
using bio_t = std::unique_ptr<BIO, SDeleter>;
using x509_t = std::unique_ptr<X509, SDeleter>;

[[noreturn]] void Fail(char const* what)
{
    ::ERR_clear_error(); // the thread's next user of OpenSSL starts afresh
    throw exc::CRuntimeExc("%1", what);
}

// A password prompt on the terminal is the last thing wanted here.
int NoPassword(char*, int, int, void*)
{
    return -1;
}

} // namespace

CX509CertBlob CX509CertBlob::FromPemString(std::string const& pem)
{
    bool const fits = pem.size() <= static_cast<std::size_t>(std::numeric_limits<int>::max());
    bio_t const source(fits ? ::BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())) : nullptr);
    x509_t const certificate(source ? ::PEM_read_bio_X509(source.get(), nullptr, NoPassword, nullptr) : nullptr);
    int const size = certificate ? ::i2d_X509(certificate.get(), nullptr) : -1;
    if (size <= 0)
    {
        Fail("The text holds no certificate in PEM form.");
    }
    CX509CertBlob blob;
    blob.m_der.resize(static_cast<std::size_t>(size));
    unsigned char* end = blob.m_der.data();
    ::i2d_X509(certificate.get(), &end);
    return blob;
}

std::string CX509CertBlob::ToPemString() const
{
    unsigned char const* der = m_der.data();
    x509_t const certificate(m_der.empty() ? nullptr : ::d2i_X509(nullptr, &der, static_cast<long>(m_der.size())));
    bio_t const target(::BIO_new(::BIO_s_mem()));
    if (!certificate || !target || ::PEM_write_bio_X509(target.get(), certificate.get()) != 1)
    {
        Fail("There is no certificate to write.");
    }
    char* text = nullptr;
    long const size = ::BIO_get_mem_data(target.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

} // namespace bucketry::sockets::ssl
