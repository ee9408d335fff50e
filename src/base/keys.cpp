// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/keys.h"

#include "bucketry/base/exceptions.h"

#include <cstdint>
#include <utility>

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

namespace bucketry::crypto
{

namespace
{

// The cost of a password guess; part of the stored form, so these never change.
constexpr std::uint64_t ScryptN = 32768;
constexpr std::uint64_t ScryptR = 8;
constexpr std::uint64_t ScryptP = 1;
constexpr std::uint64_t ScryptMaxMemory = 64UL << 20U; // 128 * N * r bytes and some

// A key on the stack that does not stay there.
struct SKeyOnStack
{
    CKeySet::raw_key_t m_key{};
    ~SKeyOnStack() { ::OPENSSL_cleanse(m_key.data(), m_key.size()); }
};

template <std::size_t N>
void FillWithRandom(std::array<unsigned char, N>& bytes)
{
    if (::RAND_bytes(bytes.data(), static_cast<int>(N)) != 1)
    {
        ::ERR_clear_error();
        throw exc::CRuntimeExc("The random generator gave no key.");
    }
}

void RefuseNullId(SRawKeySetId const& id)
{
    if (id == SRawKeySetId{})
    {
        throw exc::CRuntimeExc("A key set needs an id that is not null.");
    }
}

} // namespace

std::string CKeySetId::ToLogString() const
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (unsigned char const byte : m_raw.m_bytes)
    {
        text += digits[byte >> 4U];
        text += digits[byte & 0x0FU];
    }
    return text;
}

std::shared_ptr<CKeySet> CKeySet::Generate()
{
    SRawKeySetId id;
    SKeyOnStack random;
    FillWithRandom(id.m_bytes);
    FillWithRandom(random.m_key);
    return FromRaw(id, random.m_key);
}

std::shared_ptr<CKeySet> CKeySet::FromRaw(SRawKeySetId const& id, raw_key_t const& key)
{
    RefuseNullId(id);
    return std::shared_ptr<CKeySet>(new CKeySet(id, key));
}

std::shared_ptr<CKeySet> CKeySet::FromPassword(std::string const& password, SRawKeySetId const& idAndSalt)
{
    RefuseNullId(idAndSalt);
    if (password.empty())
    {
        throw exc::CRuntimeExc("A key set needs a password that is not empty.");
    }
    SKeyOnStack derived;
    auto const& salt = idAndSalt.m_bytes;
    if (::EVP_PBE_scrypt(password.data(), password.size(), salt.data(), salt.size(), ScryptN, ScryptR, ScryptP,
                         ScryptMaxMemory, derived.m_key.data(), derived.m_key.size()) != 1)
    {
        ::ERR_clear_error();
        throw exc::CRuntimeExc("The key could not be derived from the password.");
    }
    return FromRaw(idAndSalt, derived.m_key);
}

CKeySet::CKeySet(SRawKeySetId const& id, raw_key_t const& key) noexcept : m_id(id), m_key(key) {}

CKeySet::~CKeySet()
{
    ::OPENSSL_cleanse(m_key.data(), m_key.size());
}

void CKeySetCollection::Add(std::shared_ptr<CKeySet> keySet)
{
    if (!keySet)
    {
        throw exc::CRuntimeExc("A null key set cannot be added.");
    }
    SRawKeySetId const id = keySet->GetId().GetRaw();
    m_keySets.insert_or_assign(id, std::move(keySet));
}

std::shared_ptr<CKeySetCollection> CKeySetCollection::Clone() const
{
    return std::make_shared<CKeySetCollection>(*this);
}

std::shared_ptr<CKeySet> CKeySetCollection::Find(SRawKeySetId const& id) const
{
    auto const found = m_keySets.find(id);
    return found != m_keySets.end() ? found->second : nullptr;
}

} // namespace bucketry::crypto
