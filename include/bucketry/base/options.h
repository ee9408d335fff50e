// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <cstdint>
#include <memory>
#include <string>

namespace bucketry
{

/// The host's settings for the process. Safe to call from any thread; a change is seen by what reads the option
/// afterwards.
class BUCKETRY_API options_t
{
public:
    static options_t& GetInst();

    options_t(options_t const&) = delete;
    options_t& operator=(options_t const&) = delete;

    /// Storage tasks that a caller keeps in flight on one S3 client. Default 16.
    std::uint32_t GetS3ConcurrentTaskLimit() const;
    void SetS3ConcurrentTaskLimit(std::uint32_t limit);

    /// Multi-object deletes in flight of one parallel deleter. Default 4.
    std::uint32_t GetCloudConcurrentMultiDeleteTaskLimit() const;
    void SetCloudConcurrentMultiDeleteTaskLimit(std::uint32_t limit);

    /// Seconds that a requested immutability date must lie ahead of now. Default 3600.
    std::uint32_t GetMinImmutabilitySec() const;
    void SetMinImmutabilitySec(std::uint32_t seconds);

    /// Compliance instead of governance mode for object locks. Default false.
    bool GetUseS3ComplianceObjectLockMode() const;
    void SetUseS3ComplianceObjectLockMode(bool compliance);

    /// Whether batch restore jobs write a report. Default false.
    bool IsS3BatchReportEnabled() const;
    void SetS3BatchReportEnabled(bool enabled);

    /// Virtual-hosted instead of path addressing of buckets. Default false.
    bool IsS3VirtualHostedStyleEnabled() const;
    void SetS3VirtualHostedStyleEnabled(bool enabled);

    /// Bytes that idle blocks of a buffer pool may keep. Default 256 MiB.
    std::uint64_t GetBufferPoolIdleBytes() const;
    void SetBufferPoolIdleBytes(std::uint64_t bytes);

    /// URL of the instance metadata service. Default the link-local address of the cloud hosts; an empty text restores
    /// it.
    std::string GetInstanceMetadataEndpoint() const;
    void SetInstanceMetadataEndpoint(std::string const& url);

    /// Host name of Google's storage API. An empty text restores the default.
    std::string GetGoogleStorageHost() const;
    void SetGoogleStorageHost(std::string const& host);

    /// Time limits of the S3 REST layer; a client keeps those of the moment when it was made. 0 is none, and for a
    /// connection five minutes.
    /// Milliseconds to get a connection: name, TCP, proxy and TLS together. Default 10000.
    std::uint32_t GetS3ConnectTimeoutMsec() const;
    void SetS3ConnectTimeoutMsec(std::uint32_t milliseconds);
    /// Seconds in which not one byte has moved, after which an attempt counts as lost. Default 120.
    std::uint32_t GetS3StallTimeoutSec() const;
    void SetS3StallTimeoutSec(std::uint32_t seconds);
    /// Seconds for a request with all its repeats: then an attempt is cut off, and none begins any more. Default 0,
    /// which leaves large transfers their time.
    std::uint32_t GetS3TotalTimeoutSec() const;
    void SetS3TotalTimeoutSec(std::uint32_t seconds);

private:
    struct SState;
    options_t();
    ~options_t();
    std::unique_ptr<SState> m_state;
};

} // namespace bucketry
