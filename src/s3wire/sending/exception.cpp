// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3wire/exception.h"

namespace bucketry::s3wire
{

CS3WireException::CS3WireException(std::string const& message, std::uint16_t status, std::string amazonErrorCode)
    : exc_base_t(message), m_status(status), m_amazonErrorCode(std::move(amazonErrorCode))
{
}

CS3WireException::~CS3WireException() = default;

std::shared_ptr<exc::exc_base_t> CS3WireException::Clone() const
{
    return std::make_shared<CS3WireException>(*this);
}

void CS3WireException::Generate() const
{
    throw CS3WireException(*this);
}

} // namespace bucketry::s3wire
