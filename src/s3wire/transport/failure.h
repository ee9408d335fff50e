// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/http.h"

#include <memory>
#include <string>

namespace bucketry::s3wire::transport
{

/// What may be done about an exchange without an answer.
enum class EFailure
{
    Settings, ///< no such host, a certificate that is not trusted, a refusing proxy: repeating would not help
    NotSent,  ///< no connection: the store has seen nothing
    Lost      ///< the store may have seen the request and acted on it
};

/// No whole answer came.
class CTransportFailure final : public web::http::http_exception
{
public:
    CTransportFailure(EFailure kind, std::string const& message) : http_exception(message), m_kind(kind) {}

    EFailure Kind() const noexcept { return m_kind; }

    std::shared_ptr<exc::exc_base_t> Clone() const override { return std::make_shared<CTransportFailure>(*this); }
    [[noreturn]] void Generate() const override { throw CTransportFailure(*this); }

private:
    EFailure m_kind;
};

/// The kind of any failure below HTTP; one that does not say counts as lost.
inline EFailure KindOf(web::http::http_exception const& failure)
{
    auto const* known = dynamic_cast<CTransportFailure const*>(&failure);
    return known ? known->Kind() : EFailure::Lost;
}

} // namespace bucketry::s3wire::transport
