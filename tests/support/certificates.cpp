// SPDX-License-Identifier: Apache-2.0
#include "support/certificates.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <functional>
#include <stdexcept>

namespace bucketry::testing
{

namespace
{

using certificate_t = std::unique_ptr<X509, decltype(&X509_free)>;
using key_t = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

std::string WriteText(std::function<int(BIO*)> const& write)
{
    std::unique_ptr<BIO, decltype(&BIO_free)> const bio(BIO_new(BIO_s_mem()), &BIO_free);
    if (write(bio.get()) != 1)
    {
        throw std::runtime_error("can't write a certificate or key");
    }
    char* data = nullptr;
    long const size = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

template <class T, class TRead, class TFree>
std::unique_ptr<T, TFree> ReadText(std::string const& pem, TRead read, TFree freeIt)
{
    std::unique_ptr<BIO, decltype(&BIO_free)> const bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())),
                                                        &BIO_free);
    return {read(bio.get(), nullptr, nullptr, nullptr), freeIt};
}

void AddExtension(X509* certificate, X509* issuer, int kind, std::string const& value)
{
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

/// Signs a new certificate; with an empty `issuer` by itself, as a root.
SIdentity Make(std::string const& name, long validSeconds, SIdentity const& issuer)
{
    key_t const key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
    certificate_t const made(X509_new(), &X509_free);
    static long serial = 1;
    X509_set_version(made.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(made.get()), serial++);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), -86400);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), validSeconds);
    X509_set_pubkey(made.get(), key.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made.get()), "CN", MBSTRING_ASC,
                               reinterpret_cast<unsigned char const*>(name.c_str()), -1, -1, 0);
    if (issuer.m_key.empty())
    {
        X509_set_issuer_name(made.get(), X509_get_subject_name(made.get()));
        AddExtension(made.get(), made.get(), NID_basic_constraints, "critical,CA:TRUE");
        X509_sign(made.get(), key.get(), EVP_sha256());
    }
    else
    {
        auto const root = ReadText<X509>(issuer.m_certificate, &PEM_read_bio_X509, &X509_free);
        auto const rootKey = ReadText<EVP_PKEY>(issuer.m_key, &PEM_read_bio_PrivateKey, &EVP_PKEY_free);
        X509_set_issuer_name(made.get(), X509_get_subject_name(root.get()));
        AddExtension(made.get(), root.get(), NID_subject_alt_name, "DNS:" + name);
        X509_sign(made.get(), rootKey.get(), EVP_sha256());
    }
    return {WriteText([&](BIO* bio) { return PEM_write_bio_X509(bio, made.get()); }),
            WriteText([&](BIO* bio)
                      { return PEM_write_bio_PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr); })};
}

} // namespace

CTestAuthority::CTestAuthority(std::string const& name) : m_root(Make(name, 3600, {})) {}

CTestAuthority::~CTestAuthority() = default;

SIdentity CTestAuthority::Issue(std::string const& dnsName, long validSeconds) const
{
    return Make(dnsName, validSeconds, m_root);
}

} // namespace bucketry::testing
