// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/exceptions.h"

namespace bucketry::web::http
{

/// A failure below the HTTP status line: no connection, a broken one, or no whole answer.
class BUCKETRY_API http_exception : public exc::exc_base_t
{
public:
    explicit http_exception(std::string const& message);
    ~http_exception() override;

    std::shared_ptr<exc::exc_base_t> Clone() const override;
    [[noreturn]] void Generate() const override;
};

} // namespace bucketry::web::http
