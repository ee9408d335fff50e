// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

namespace bucketry::testing
{

/// A certificate with its private key, both as PEM texts.
struct SIdentity
{
    std::string m_certificate;
    std::string m_key;
};

/// A certificate authority that lives in memory.
class CTestAuthority
{
public:
    explicit CTestAuthority(std::string const& name = "Test authority");
    ~CTestAuthority();

    std::string const& CertificatePem() const { return m_root.m_certificate; }
    /// A server's identity for a DNS name, valid from a day ago until `validSeconds` from now.
    SIdentity Issue(std::string const& dnsName, long validSeconds = 3600) const;

private:
    SIdentity m_root;
};

} // namespace bucketry::testing
