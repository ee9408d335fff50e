// SPDX-License-Identifier: Apache-2.0
// A stored lock record from anybody: it is refused with the library's exception, or comes back as it was read.

#include "bucketry/base/exceptions.h"
#include "bucketry/locks.h"

#include <cstdlib>
#include <optional>
#include <tuple>

using bucketry::locks::SLockInfo;

namespace
{

std::optional<SLockInfo> Read(std::string const& text)
{
    try
    {
        return SLockInfo::FromStr(text);
    }
    catch (bucketry::exc::CRuntimeExc const&)
    {
        return std::nullopt;
    }
}

auto Fields(SLockInfo const& info)
{
    return std::tie(info.LockId, info.ValidTillUtc, info.Reason, info.PID, info.AgentId);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size)
{
    std::optional<SLockInfo> const info = Read(std::string(data, data + size));
    constexpr long year1000 = -30'610'224'000; // earlier years are printed with fewer than four digits
    if (info && info->ValidTillUtc.toUnixTime() >= year1000 &&
        Fields(SLockInfo::Unserialize(info->Serialize())) != Fields(*info))
    {
        std::abort();
    }
    return 0;
}
