// SPDX-License-Identifier: Apache-2.0
#include "base/xmlpp.h"
#include "bucketry/locks.h"

namespace bucketry::locks
{

namespace
{

constexpr auto TimeFormat = "%Y-%m-%d %H:%M:%S";

} // namespace

SLockInfo SLockInfo::Create(std::string const& lockId, std::string const& reason,
                            std::optional<std::string> const& agentId)
{
    SLockInfo info;
    info.LockId = lockId;
    info.Reason = reason;
    info.PID = util::GetPID();
    info.AgentId = agentId;
    return info;
}

std::string SLockInfo::ToStr() const
{
    xmlpp::CXmlDocument document = xmlpp::CXmlDocument::CreateNew();
    xmlpp::CXmlNode root = document.CreateRootNode("SLockInfo");
    root.SetAttribute("LockId", LockId);
    root.SetAttribute("ValidTillUtc", ValidTillUtc.toUtcTime().toStdString(TimeFormat));
    root.SetAttribute("Reason", Reason);
    root.SetAttribute("PID", util::str(PID));
    if (AgentId)
    {
        root.SetAttribute("AgentId", *AgentId);
    }
    return document.Serialize(false);
}

SLockInfo SLockInfo::FromStr(std::string const& text)
{
    xmlpp::CXmlNode const root = xmlpp::CXmlDocument::Unserialize(text).GetRootNode("SLockInfo");
    SLockInfo info;
    info.LockId = root.GetAttribute("LockId");
    info.ValidTillUtc = datetime::CDateTime::fromString(root.GetAttribute("ValidTillUtc"), TimeFormat, true);
    info.Reason = root.GetAttribute("Reason");
    if (root.HasAttribute("PID"))
    {
        util::fromStr(root.GetAttribute("PID"), info.PID);
    }
    if (root.HasAttribute("AgentId"))
    {
        info.AgentId = root.GetAttribute("AgentId");
    }
    return info;
}

std::shared_ptr<io::block::CPooledBuf> SLockInfo::Serialize() const
{
    return io::block::CPooledBuf::FromText(ToStr());
}

SLockInfo SLockInfo::Unserialize(std::shared_ptr<io::block::CPooledBuf> bufs)
{
    return FromStr(std::string(bufs->GetText()));
}

bool SLockInfo::operator==(SLockInfo const& other) const
{
    return LockId == other.LockId;
}

} // namespace bucketry::locks
