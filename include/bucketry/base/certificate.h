// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <string>
#include <vector>

namespace bucketry::sockets::ssl
{

/// One X.509 certificate (RFC 5280) in its binary form. A plain value.
class BUCKETRY_API CX509CertBlob
{
public:
    CX509CertBlob() = default;

    /// Reads the first certificate of a PEM text (RFC 7468). Throws exc::CRuntimeExc if there is none that can be
    /// parsed.
    static CX509CertBlob FromPemString(std::string const& pem);
    std::string ToPemString() const;

    friend bool operator==(CX509CertBlob const&, CX509CertBlob const&) = default;

private:
    std::vector<unsigned char> m_der;
};

} // namespace bucketry::sockets::ssl
