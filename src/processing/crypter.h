// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/base/keys.h"

#include <memory>

namespace bucketry::transforms::crypter
{

/// Encrypts or decrypts bodies with AES-256-GCM (NIST SP 800-38D). The stored form is a random nonce of 96 bits, the
/// ciphertext, the tag of 128 bits; the raw key set id is bound in as associated data. One body at a time.
class CCrypterImpl
{
public:
    using content_t = pool::CPoolPtr<io::block::CContentBuf>;

    /// An encrypter for one key set of the collection, which is looked up when a body comes; the id may be null.
    static std::shared_ptr<CCrypterImpl> Create(std::shared_ptr<crypto::CKeySetId> keySetId,
                                                std::shared_ptr<crypto::CKeySetCollection> keys);
    /// A decrypter for all key sets of the collection.
    static std::shared_ptr<CCrypterImpl> CreateDecrypter(std::shared_ptr<crypto::CKeySetCollection> keys);

    virtual ~CCrypterImpl() = default;
    /// \param keySetId  what a decrypter decrypts with; an encrypter does not look at it
    /// Throws exc::CRuntimeExc for a key set that is not in the collection, and for a body that does not match it.
    virtual content_t Transform(std::shared_ptr<crypto::CKeySetId> const& keySetId,
                                io::block::CContentBuf const& content) const = 0;
};

} // namespace bucketry::transforms::crypter
