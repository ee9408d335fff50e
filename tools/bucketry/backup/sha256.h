// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace bucketry::tool
{

using digest_t = std::array<unsigned char, 32>;

/// SHA-256 (FIPS 180-4) over bytes that come in pieces. One thread at a time.
class CSha256
{
public:
    CSha256();
    ~CSha256();

    void Update(void const* data, std::size_t size);
    /// The digest; the next Update begins a new one.
    digest_t Finish();

private:
    struct SFree
    {
        void operator()(evp_md_ctx_st* context) const noexcept;
    };
    void Begin();

    std::unique_ptr<evp_md_ctx_st, SFree> m_context;
};

/// 64 lower-case digits.
std::string ToHex(digest_t const& digest);
/// None for anything else.
std::optional<digest_t> DigestFromHex(std::string_view text);

} // namespace bucketry::tool
