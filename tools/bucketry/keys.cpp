// SPDX-License-Identifier: Apache-2.0
#include "keys.h"

#include "files.h"
#include "password.h"
#include "text.h"

#include "bucketry/processing.h"

#include <fcntl.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <span>

namespace bucketry::tool
{

namespace
{

using io::block::CPooledBuf;
using key_set_t = std::shared_ptr<crypto::CKeySet>;

constexpr std::string_view KeyFileHead = "bucketry-key 1\nid ";
constexpr std::string_view PasswordHead = "bucketry-password 1\nid ";

/// What encryption makes of an empty body: a nonce and a tag. It tells whether a password is the right one.
using check_t = std::array<unsigned char, 28>;

/// Both formats: "<head><id>\n<word> <bytes>\n", the id and the bytes in hexadecimal digits.
std::string TextOf(std::string_view head, crypto::SRawKeySetId const& id, std::string_view word,
                   std::span<unsigned char const> bytes)
{
    std::string text(head);
    text.reserve(256); // a key is not left behind by a text that grows
    ((((text += HexOf(id.m_bytes)) += '\n') += word) += ' ') += HexOf(bytes);
    return text += '\n';
}

bool Read(std::string_view text, std::string_view head, crypto::SRawKeySetId& id, std::string_view word,
          std::span<unsigned char> bytes)
{
    std::size_t const idAt = head.size();
    std::size_t const wordAt = idAt + 2 * id.m_bytes.size() + 1;
    std::size_t const bytesAt = wordAt + word.size() + 1;
    return text.size() == bytesAt + 2 * bytes.size() + 1 && text.starts_with(head) && text[wordAt - 1] == '\n' &&
        text.substr(wordAt, word.size()) == word && text[bytesAt - 1] == ' ' && text.back() == '\n' &&
        ReadHex(text.substr(idAt, 2 * id.m_bytes.size()), id.m_bytes) &&
        ReadHex(text.substr(bytesAt, 2 * bytes.size()), bytes) && id != crypto::SRawKeySetId{};
}

CCryptProcessor CrypterOf(key_set_t const& keySet)
{
    auto const keys = std::make_shared<crypto::CKeySetCollection>();
    keys->Add(keySet);
    return CCryptProcessor(std::make_shared<crypto::CKeySetId>(keySet->GetId()), keys);
}

check_t CheckOf(key_set_t const& keySet)
{
    SProcessedObjectMeta meta;
    auto const encrypted = CrypterOf(keySet).EncodeData("", io::block::CContentBuf::Alloc(0), meta);
    check_t check{};
    std::copy_n(encrypted->GetContent(), check.size(), check.begin());
    return check;
}

bool DoesFit(key_set_t const& keySet, check_t const& check)
{
    SProcessedObjectMeta meta;
    meta.m_keySetId = keySet->GetId().GetRaw();
    auto const encrypted = io::block::CContentBuf::Alloc(check.size());
    std::copy(check.begin(), check.end(), encrypted->GetContent());
    try
    {
        CrypterOf(keySet).DecodeData("", encrypted, meta);
        return true;
    }
    catch (exc::CRuntimeExc const&)
    {
        return false;
    }
}

/// Makes the root remember a new id for the password.
void StorePassword(ICloudClient& client, CSecret const& password)
{
    if (IsPasswordTyped())
    {
        CSecret again;
        AskPassword("The same again, it is new to this root: ", again);
        if (again.Text() != password.Text())
        {
            throw exc::CRuntimeExc("The two passwords differ.");
        }
    }
    crypto::SRawKeySetId const id = crypto::CKeySet::Generate()->GetId().GetRaw();
    check_t const check = CheckOf(crypto::CKeySet::FromPassword(password.Text(), id));
    auto const body = CPooledBuf::FromText(TextOf(PasswordHead, id, "check", check));
    client.UploadFileAsync(PasswordObject, body)->Wait();
}

} // namespace

void WriteNewKeyFile(std::string const& path)
{
    key_set_t const keySet = crypto::CKeySet::Generate();
    std::string text = TextOf(KeyFileHead, keySet->GetId().GetRaw(), "key", keySet->GetRawKey());
    CFd const file = OpenAt(AT_FDCWD, path, O_WRONLY | O_CREAT | O_EXCL, path, 0600);
    WriteAll(file, reinterpret_cast<unsigned char const*>(text.data()), text.size(), path);
    OPENSSL_cleanse(text.data(), text.size());
}

key_set_t LoadKeyFile(std::string const& path)
{
    std::array<unsigned char, 1024> bytes{};
    CFd const file = OpenAt(AT_FDCWD, path, O_RDONLY, path);
    std::size_t const size = ReadUpTo(file, bytes.data(), bytes.size(), path);
    crypto::SRawKeySetId id;
    crypto::CKeySet::raw_key_t key{};
    bool const isRead = Read({reinterpret_cast<char const*>(bytes.data()), size}, KeyFileHead, id, "key", key);
    key_set_t keySet = isRead ? crypto::CKeySet::FromRaw(id, key) : nullptr;
    OPENSSL_cleanse(bytes.data(), bytes.size());
    OPENSSL_cleanse(key.data(), key.size());
    if (!keySet)
    {
        throw exc::CRuntimeExc("[%1] is no key file: it has the wrong length or form.", Printable(path));
    }
    return keySet;
}

key_set_t KeySetOfPassword(ICloudClient& client, EAccess access)
{
    bool const isKnown = client.IsFileExist(PasswordObject);
    if (!isKnown && access == EAccess::Read)
    {
        throw exc::CRuntimeExc("Nothing in this root was stored with a password: the object [%1] is missing.",
                               PasswordObject);
    }
    CSecret password;
    AskPassword("Password: ", password);
    if (!isKnown)
    {
        StorePassword(client, password);
    }
    auto const body = CPooledBuf::Alloc(0, nullptr);
    client.DownloadFileAsync(PasswordObject, body, io::block::bufs_pool_t::GetInst())->Wait();
    crypto::SRawKeySetId id;
    check_t check{};
    if (!Read(body->GetText(), PasswordHead, id, "check", check))
    {
        throw exc::CRuntimeExc("The object [%1] of the root is damaged.", PasswordObject);
    }
    key_set_t keySet = crypto::CKeySet::FromPassword(password.Text(), id);
    if (!DoesFit(keySet, check))
    {
        throw exc::CRuntimeExc("The password is wrong.");
    }
    return keySet;
}

} // namespace bucketry::tool
