// SPDX-License-Identifier: Apache-2.0
#include "bucketry/client.h"

namespace bucketry
{

CObjectStorageException::CObjectStorageException(exc::exc_base_t const& source, unsigned short statusCode)
    : exc::exc_base_t(source), m_inner(exc::CloneExc(source)), m_statusCode(statusCode)
{
}

CObjectStorageException::CObjectStorageException(std::exception const& source, unsigned short statusCode)
    : exc::exc_base_t(source.what()), m_inner(exc::CloneExc(source)), m_statusCode(statusCode)
{
}

CObjectStorageException::~CObjectStorageException() = default;

std::shared_ptr<exc::exc_base_t> CObjectStorageException::Clone() const
{
    return std::make_shared<CObjectStorageException>(*this);
}

void CObjectStorageException::Generate() const
{
    throw CObjectStorageException(*this);
}

} // namespace bucketry
