// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/options.h"

#include "settings.h"

#include <atomic>
#include <mutex>

namespace bucketry
{

struct options_t::SState
{
    std::atomic<std::uint32_t> m_s3ConcurrentTaskLimit{16};
    std::atomic<std::uint32_t> m_cloudConcurrentMultiDeleteTaskLimit{4};
    std::atomic<std::uint32_t> m_minImmutabilitySec{3600};
    std::atomic<bool> m_useS3ComplianceObjectLockMode{false};
    std::atomic<bool> m_s3BatchReportEnabled{false};
    std::atomic<bool> m_s3VirtualHostedStyleEnabled{false};
    std::atomic<std::uint64_t> m_bufferPoolIdleBytes{256UL << 20U};
    std::atomic<std::uint32_t> m_s3ConnectTimeoutMsec{10'000};
    std::atomic<std::uint32_t> m_s3StallTimeoutSec{120};
    std::atomic<std::uint32_t> m_s3TotalTimeoutSec{0};

    mutable std::mutex m_mutex;
    std::string m_instanceMetadataEndpoint; ///< guarded by m_mutex; empty for the default
    std::string m_googleStorageHost;        ///< guarded by m_mutex; empty for the default

    std::string Text(std::string SState::*field, char const* byDefault) const
    {
        std::lock_guard const lock(m_mutex);
        return (this->*field).empty() ? byDefault : this->*field;
    }
    void SetText(std::string SState::*field, std::string const& text)
    {
        std::lock_guard const lock(m_mutex);
        this->*field = text;
    }
};

options_t::options_t() : m_state(std::make_unique<SState>()) {}

options_t::~options_t() = default;

options_t& options_t::GetInst()
{
    static auto& options = *new options_t; // never destroyed: buffers that go late still ask for their limit
    return options;
}

std::uint32_t options_t::GetS3ConcurrentTaskLimit() const
{
    return m_state->m_s3ConcurrentTaskLimit;
}

void options_t::SetS3ConcurrentTaskLimit(std::uint32_t limit)
{
    m_state->m_s3ConcurrentTaskLimit = limit;
}

std::uint32_t options_t::GetCloudConcurrentMultiDeleteTaskLimit() const
{
    return m_state->m_cloudConcurrentMultiDeleteTaskLimit;
}

void options_t::SetCloudConcurrentMultiDeleteTaskLimit(std::uint32_t limit)
{
    m_state->m_cloudConcurrentMultiDeleteTaskLimit = limit;
}

std::uint32_t options_t::GetMinImmutabilitySec() const
{
    return m_state->m_minImmutabilitySec;
}

void options_t::SetMinImmutabilitySec(std::uint32_t seconds)
{
    m_state->m_minImmutabilitySec = seconds;
}

bool options_t::GetUseS3ComplianceObjectLockMode() const
{
    return m_state->m_useS3ComplianceObjectLockMode;
}

void options_t::SetUseS3ComplianceObjectLockMode(bool compliance)
{
    m_state->m_useS3ComplianceObjectLockMode = compliance;
}

bool options_t::IsS3BatchReportEnabled() const
{
    return m_state->m_s3BatchReportEnabled;
}

void options_t::SetS3BatchReportEnabled(bool enabled)
{
    m_state->m_s3BatchReportEnabled = enabled;
}

bool options_t::IsS3VirtualHostedStyleEnabled() const
{
    return m_state->m_s3VirtualHostedStyleEnabled;
}

void options_t::SetS3VirtualHostedStyleEnabled(bool enabled)
{
    m_state->m_s3VirtualHostedStyleEnabled = enabled;
}

std::uint64_t options_t::GetBufferPoolIdleBytes() const
{
    return m_state->m_bufferPoolIdleBytes;
}

void options_t::SetBufferPoolIdleBytes(std::uint64_t bytes)
{
    m_state->m_bufferPoolIdleBytes = bytes;
}

std::string options_t::GetInstanceMetadataEndpoint() const
{
    return m_state->Text(&SState::m_instanceMetadataEndpoint, settings::InstanceMetadataEndpoint);
}

void options_t::SetInstanceMetadataEndpoint(std::string const& url)
{
    m_state->SetText(&SState::m_instanceMetadataEndpoint, url);
}

std::string options_t::GetGoogleStorageHost() const
{
    return m_state->Text(&SState::m_googleStorageHost, settings::GoogleStorageHost);
}

void options_t::SetGoogleStorageHost(std::string const& host)
{
    m_state->SetText(&SState::m_googleStorageHost, host);
}

std::uint32_t options_t::GetS3ConnectTimeoutMsec() const
{
    return m_state->m_s3ConnectTimeoutMsec;
}

void options_t::SetS3ConnectTimeoutMsec(std::uint32_t milliseconds)
{
    m_state->m_s3ConnectTimeoutMsec = milliseconds;
}

std::uint32_t options_t::GetS3StallTimeoutSec() const
{
    return m_state->m_s3StallTimeoutSec;
}

void options_t::SetS3StallTimeoutSec(std::uint32_t seconds)
{
    m_state->m_s3StallTimeoutSec = seconds;
}

std::uint32_t options_t::GetS3TotalTimeoutSec() const
{
    return m_state->m_s3TotalTimeoutSec;
}

void options_t::SetS3TotalTimeoutSec(std::uint32_t seconds)
{
    m_state->m_s3TotalTimeoutSec = seconds;
}

} // namespace bucketry
