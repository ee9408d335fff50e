// SPDX-License-Identifier: Apache-2.0
#include "backup/sha256.h"

#include "text.h"

#include "bucketry/base/exceptions.h"

#include <openssl/evp.h>

namespace bucketry::tool
{

namespace
{

void Check(int result)
{
    if (result != 1)
    {
        throw exc::CRuntimeExc("SHA-256 is not available.");
    }
}

} // namespace

void CSha256::SFree::operator()(evp_md_ctx_st* context) const noexcept
{
    EVP_MD_CTX_free(context);
}

CSha256::CSha256() : m_context(EVP_MD_CTX_new())
{
    Begin();
}

CSha256::~CSha256() = default;

void CSha256::Begin()
{
    Check(EVP_DigestInit_ex(m_context.get(), EVP_sha256(), nullptr));
}

void CSha256::Update(void const* data, std::size_t size)
{
    Check(EVP_DigestUpdate(m_context.get(), data, size));
}

digest_t CSha256::Finish()
{
    digest_t digest{};
    Check(EVP_DigestFinal_ex(m_context.get(), digest.data(), nullptr));
    Begin();
    return digest;
}

std::string ToHex(digest_t const& digest)
{
    return HexOf(digest);
}

std::optional<digest_t> DigestFromHex(std::string_view text)
{
    digest_t digest{};
    return ReadHex(text, digest) ? std::optional(digest) : std::nullopt;
}

} // namespace bucketry::tool
