// SPDX-License-Identifier: Apache-2.0
#include "s3wire/codec/digest.h"

#include "bucketry/base/exceptions.h"
#include "s3wire/codec/encoding.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <cstring>
#include <memory>

namespace bucketry::s3wire
{

namespace
{

struct SFreeContext
{
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

void Check(int answer)
{
    if (answer != 1)
    {
        throw exc::CRuntimeExc("The cryptographic library refuses to compute a digest.");
    }
}

/// Fetched once for the process: a lookup by name for each digest would cost more than a small digest.
EVP_MD const* Sha256Algorithm()
{
    static std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> const algorithm{EVP_MD_fetch(nullptr, "SHA256", nullptr),
                                                                           &EVP_MD_free};
    return algorithm.get();
}

EVP_MD_CTX* ThreadContext()
{
    thread_local std::unique_ptr<EVP_MD_CTX, SFreeContext> const context{EVP_MD_CTX_new()};
    return context.get();
}

sha256_t Sha256Of(std::string_view first, std::string_view second)
{
    EVP_MD_CTX* const context = ThreadContext();
    sha256_t digest;
    Check(EVP_DigestInit_ex2(context, Sha256Algorithm(), nullptr));
    Check(EVP_DigestUpdate(context, first.data(), first.size()));
    Check(EVP_DigestUpdate(context, second.data(), second.size()));
    Check(EVP_DigestFinal_ex(context, digest.data(), nullptr));
    return digest;
}

std::array<unsigned char, 16> Md5(void const* data, std::size_t size)
{
    std::array<unsigned char, 16> digest;
    Check(EVP_Digest(data, size, digest.data(), nullptr, EVP_md5(), nullptr));
    return digest;
}

std::string_view AsText(std::span<unsigned char const> bytes)
{
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

} // namespace

sha256_t Sha256(void const* data, std::size_t size)
{
    return Sha256Of({static_cast<char const*>(data), size}, {});
}

sha256_t HmacSha256(std::span<unsigned char const> key, std::string_view text)
{
    constexpr std::size_t blockSize = 64;
    sha256_t shortKey;
    if (key.size() > blockSize)
    {
        shortKey = Sha256(key.data(), key.size());
        key = shortKey;
    }
    std::array<unsigned char, blockSize> inner{};
    std::memcpy(inner.data(), key.data(), key.size());
    std::array<unsigned char, blockSize> outer = inner;
    for (std::size_t i = 0; i < blockSize; ++i)
    {
        inner[i] ^= 0x36;
        outer[i] ^= 0x5c;
    }
    sha256_t const innerDigest = Sha256Of(AsText(inner), text);
    sha256_t const digest = Sha256Of(AsText(outer), AsText(innerDigest));
    OPENSSL_cleanse(inner.data(), inner.size());
    OPENSSL_cleanse(outer.data(), outer.size());
    return digest;
}

std::string ToHex(std::span<unsigned char const> bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text(bytes.size() * 2, '0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        text[2 * i] = digits[bytes[i] >> 4];
        text[2 * i + 1] = digits[bytes[i] & 15];
    }
    return text;
}

std::string Md5Hex(void const* data, std::size_t size)
{
    return ToHex(Md5(data, size));
}

std::string Md5Base64(void const* data, std::size_t size)
{
    return EncodeBase64(AsText(Md5(data, size)));
}

} // namespace bucketry::s3wire
