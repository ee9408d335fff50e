// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace bucketry::crypto
{

/// The 16 raw bytes that name a key set in a stored object; all zero is the null id.
struct BUCKETRY_API SRawKeySetId
{
    std::array<unsigned char, 16> m_bytes{};

    friend auto operator<=>(SRawKeySetId const&, SRawKeySetId const&) noexcept = default;
};

/// The id of a key set. A plain value.
class BUCKETRY_API CKeySetId
{
public:
    CKeySetId() noexcept = default;
    explicit CKeySetId(SRawKeySetId const& raw) noexcept : m_raw(raw) {}

    SRawKeySetId const& GetRaw() const noexcept { return m_raw; }
    bool IsNull() const noexcept { return m_raw == SRawKeySetId{}; }
    /// The id in lower-case hexadecimal digits; holds no secret.
    std::string ToLogString() const;

private:
    SRawKeySetId m_raw;
};

/// An id and a 256-bit key. Immutable, shared by std::shared_ptr; the key is wiped when the last owner goes.
class BUCKETRY_API CKeySet
{
public:
    using raw_key_t = std::array<unsigned char, 32>;

    /// A new random id and key.
    static std::shared_ptr<CKeySet> Generate();
    /// Throws exc::CRuntimeExc for the null id.
    static std::shared_ptr<CKeySet> FromRaw(SRawKeySetId const& id, raw_key_t const& key);
    /// Derives the key from a password by scrypt (RFC 7914; N 32768, r 8, p 1) with the id as salt: the same password
    /// and id always give the same key. Throws exc::CRuntimeExc for an empty password or the null id.
    static std::shared_ptr<CKeySet> FromPassword(std::string const& password, SRawKeySetId const& idAndSalt);

    CKeySet(CKeySet const&) = delete;
    CKeySet& operator=(CKeySet const&) = delete;
    ~CKeySet();

    CKeySetId const& GetId() const noexcept { return m_id; }
    /// The key itself: keep it secret, wipe your copies.
    raw_key_t const& GetRawKey() const noexcept { return m_key; }

private:
    CKeySet(SRawKeySetId const& id, raw_key_t const& key) noexcept;

    CKeySetId const m_id;
    raw_key_t m_key;
};

/// Key sets by id. Reading from many threads is safe, Add is not.
class BUCKETRY_API CKeySetCollection
{
public:
    /// Adds a key set; one with the same id is replaced. Throws exc::CRuntimeExc for a null pointer.
    void Add(std::shared_ptr<CKeySet> keySet);
    /// A copy that shares the key sets.
    std::shared_ptr<CKeySetCollection> Clone() const;
    /// Null if there is none.
    std::shared_ptr<CKeySet> Find(SRawKeySetId const& id) const;
    std::size_t size() const noexcept { return m_keySets.size(); }

private:
    std::map<SRawKeySetId, std::shared_ptr<CKeySet>> m_keySets;
};

} // namespace bucketry::crypto
