#include "backup/sha256.h"

#include "bucketry/base/exceptions.h"

#include <openssl/evp.h>

#include <charconv>

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
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (unsigned char const byte : digest)
    {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::optional<digest_t> DigestFromHex(std::string_view text)
{
    digest_t digest{};
    if (text.size() != 2 * digest.size() || text.find_first_not_of("0123456789abcdef") != std::string_view::npos)
    {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < digest.size(); ++i)
    {
        std::from_chars(text.data() + 2 * i, text.data() + 2 * i + 2, digest[i], 16);
    }
    return digest;
}

} // namespace bucketry::tool
