// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/exceptions.h"
#include "bucketry/base/export.h"

#include <cstdint>
#include <memory>
#include <string>

namespace bucketry::s3wire
{

/// A request that the store has refused.
class BUCKETRY_API CS3WireException : public exc::exc_base_t
{
public:
    CS3WireException(std::string const& message, std::uint16_t status, std::string amazonErrorCode);
    ~CS3WireException() override;

    /// The HTTP status.
    std::uint16_t GetStatusCode() const noexcept { return m_status; }
    /// The code of the store's error body, as the store sent it; empty if the body had none.
    std::string const& GetAmazonErrorCode() const noexcept { return m_amazonErrorCode; }

    std::shared_ptr<exc::exc_base_t> Clone() const override;
    [[noreturn]] void Generate() const override;

private:
    std::uint16_t m_status;
    std::string m_amazonErrorCode;
};

} // namespace bucketry::s3wire
