// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/http.h"

namespace bucketry::web::http
{

http_exception::http_exception(std::string const& message) : exc_base_t(message) {}

http_exception::~http_exception() = default;

std::shared_ptr<exc::exc_base_t> http_exception::Clone() const
{
    return std::make_shared<http_exception>(*this);
}

void http_exception::Generate() const
{
    throw http_exception(*this);
}

} // namespace bucketry::web::http
