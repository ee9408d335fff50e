// SPDX-License-Identifier: Apache-2.0
#include "processing/crypter.h"

#include "bucketry/base/exceptions.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstddef>

namespace bucketry::transforms::crypter
{

namespace
{

using io::block::CContentBuf;
using content_t = CCrypterImpl::content_t;

constexpr unsigned long NonceSize = 12;
constexpr unsigned long TagSize = 16;
constexpr unsigned long Step = 1UL << 30U; // EVP counts in int

void Check(int result, char const* what)
{
    if (result != 1)
    {
        throw exc::CRuntimeExc("OpenSSL: %1 failed", what);
    }
}

crypto::CKeySet const& FindKey(crypto::CKeySetCollection const& keys, crypto::CKeySetId const& id)
{
    std::shared_ptr<crypto::CKeySet> const keySet = keys.Find(id.GetRaw());
    if (!keySet)
    {
        throw exc::CRuntimeExc("Key set '%1' is not known.", id.ToLogString());
    }
    return *keySet; // the collection holds it
}

/// One AES-256-GCM operation, in one direction.
class CCipher
{
public:
    CCipher(bool encrypts, crypto::CKeySet const& keySet, unsigned char const* nonce) : m_context(EVP_CIPHER_CTX_new())
    {
        Check(EVP_CipherInit_ex(m_context.get(), EVP_aes_256_gcm(), nullptr, keySet.GetRawKey().data(), nonce,
                                encrypts ? 1 : 0),
              "setting a key");
        auto const& id = keySet.GetId().GetRaw().m_bytes;
        int size = 0;
        Check(EVP_CipherUpdate(m_context.get(), nullptr, &size, id.data(), static_cast<int>(id.size())),
              "binding the id");
    }

    void Update(unsigned char* target, unsigned char const* source, unsigned long size)
    {
        for (unsigned long done = 0; done < size; done += Step)
        {
            int moved = 0;
            Check(EVP_CipherUpdate(m_context.get(), target + done, &moved, source + done,
                                   static_cast<int>(std::min(Step, size - done))),
                  "the cipher");
        }
    }

    /// False if the tag does not match what was decrypted.
    bool Finish()
    {
        unsigned char none[TagSize];
        int size = 0;
        return EVP_CipherFinal_ex(m_context.get(), none, &size) == 1;
    }

    void Tag(int command, unsigned char* tag)
    {
        Check(EVP_CIPHER_CTX_ctrl(m_context.get(), command, static_cast<int>(TagSize), tag), "the tag");
    }

private:
    struct SFree
    {
        void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
    };
    std::unique_ptr<EVP_CIPHER_CTX, SFree> m_context;
};

class CEncrypter final : public CCrypterImpl
{
public:
    CEncrypter(std::shared_ptr<crypto::CKeySetId> keySetId, std::shared_ptr<crypto::CKeySetCollection> keys)
        : m_keySetId(std::move(keySetId)), m_keys(std::move(keys))
    {
    }

    content_t Transform(std::shared_ptr<crypto::CKeySetId> const&, CContentBuf const& content) const override
    {
        if (!m_keySetId)
        {
            throw exc::CRuntimeExc("There is no key set to encrypt with.");
        }
        unsigned long const size = content.GetSize();
        content_t encrypted = CContentBuf::Alloc(NonceSize + size + TagSize);
        unsigned char* const out = encrypted->GetContent();
        Check(RAND_bytes(out, static_cast<int>(NonceSize)), "the random source");
        CCipher cipher(true, FindKey(*m_keys, *m_keySetId), out);
        cipher.Update(out + NonceSize, content.GetContent(), size);
        Check(cipher.Finish() ? 1 : 0, "the cipher");
        cipher.Tag(EVP_CTRL_GCM_GET_TAG, out + NonceSize + size);
        return encrypted;
    }

private:
    std::shared_ptr<crypto::CKeySetId> const m_keySetId;
    std::shared_ptr<crypto::CKeySetCollection> const m_keys;
};

class CDecrypter final : public CCrypterImpl
{
public:
    explicit CDecrypter(std::shared_ptr<crypto::CKeySetCollection> keys) : m_keys(std::move(keys)) {}

    content_t Transform(std::shared_ptr<crypto::CKeySetId> const& keySetId, CContentBuf const& content) const override
    {
        if (content.GetSize() < NonceSize + TagSize)
        {
            throw exc::CRuntimeExc("An encrypted body has at least %1 bytes, this one has %2.", NonceSize + TagSize,
                                   content.GetSize());
        }
        unsigned long const size = content.GetSize() - NonceSize - TagSize;
        unsigned char const* const in = content.GetContent();
        CCipher cipher(false, FindKey(*m_keys, *keySetId), in);
        content_t plain = CContentBuf::Alloc(size);
        cipher.Update(plain->GetContent(), in + NonceSize, size);
        unsigned char tag[TagSize];
        std::copy_n(in + NonceSize + size, TagSize, tag);
        cipher.Tag(EVP_CTRL_GCM_SET_TAG, tag);
        if (!cipher.Finish())
        {
            throw exc::CRuntimeExc("The body does not match key set '%1': it was changed, or the key is another one.",
                                   keySetId->ToLogString());
        }
        return plain;
    }

private:
    std::shared_ptr<crypto::CKeySetCollection> const m_keys;
};

} // namespace

std::shared_ptr<CCrypterImpl> CCrypterImpl::Create(std::shared_ptr<crypto::CKeySetId> keySetId,
                                                   std::shared_ptr<crypto::CKeySetCollection> keys)
{
    return std::make_shared<CEncrypter>(std::move(keySetId), std::move(keys));
}

std::shared_ptr<CCrypterImpl> CCrypterImpl::CreateDecrypter(std::shared_ptr<crypto::CKeySetCollection> keys)
{
    return std::make_shared<CDecrypter>(std::move(keys));
}

} // namespace bucketry::transforms::crypter
