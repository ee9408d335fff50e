// SPDX-License-Identifier: Apache-2.0
#include "s3wire/codec/secret.h"

#include <openssl/crypto.h>

namespace bucketry::s3wire
{

CSecret::~CSecret()
{
    OPENSSL_cleanse(m_bytes.data(), m_bytes.size());
}

void Wipe(std::string& text)
{
    OPENSSL_cleanse(text.data(), text.size());
    text.clear();
}

} // namespace bucketry::s3wire
