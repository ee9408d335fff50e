// SPDX-License-Identifier: Apache-2.0
#include "cli.h"
#include "text.h"
#include "versions.h"

#include "bucketry/base/options.h"

#include <memory>
#include <optional>
#include <vector>

namespace bucketry::tool
{

namespace
{

constexpr char const* DateTimeForm = "%Y-%m-%dT%H:%M:%SZ";

/// What the commands of this file are called with; each uses its own part.
struct SVersionOptions
{
    std::string m_path;
    std::string m_version;
    std::string m_until;
    bool m_isLong = false;
};

[[noreturn]] void ThrowNoVersion(std::string const& path)
{
    throw exc::CRuntimeExc("There is no version of an object [%1].", Printable(path));
}

int ListVersions(CHost& host, SVersionOptions const& options)
{
    std::string const path = StoragePathBelowRoot(options.m_path, "object path");
    ICloudClient& client = host.Client(EAccess::Read);
    auto const versions = std::make_shared<std::vector<SCloudObjectVersion>>();
    VersionsOf(client)->QueryFileVersionsAsync(path, versions)->Wait();
    if (versions->empty())
    {
        ThrowNoVersion(path);
    }
    SortCloudObjectVersions(*versions, ECloudObjectVersionSortOrder::NewestFirst);
    std::string text;
    std::vector<CJsonObject> items;
    for (SCloudObjectVersion const& version : *versions)
    {
        std::string const time = TextOf(version.m_lastModified);
        text += util::str_format("%1  %2  %3", Printable(version.m_versionId), time, version.m_size);
        items.push_back(CJsonObject().Add("id", version.m_versionId).Add("time", time).Add("bytes", version.m_size));
        auto const until =
            options.m_isLong ? GetImmutability(Borrowed(client), path, version.m_versionId) : std::nullopt;
        if (until)
        {
            text += "  kept until " + TextOf(*until);
            items.back().Add("kept_until", TextOf(*until));
        }
        text += '\n';
    }
    host.Output().Result(text, CJsonObject().Add("path", path).Add("versions", items));
    return ExitOk;
}

int Keep(CHost& host, SVersionOptions const& options)
{
    std::string const path = StoragePathBelowRoot(options.m_path, "object path");
    datetime::CDateTime const wanted = KeepUntil(options.m_until);
    ICloudClient& client = host.Client(EAccess::Read);
    auto const utils = VersionsOf(client);
    std::string version = options.m_version;
    if (version.empty())
    {
        auto const ids = EnumAllVersionsOfObject(client, path, ECloudObjectVersionSortOrder::NewestFirst);
        version = ids.empty() ? ThrowNoVersion(path), "" : ids.front();
    }
    utils->CheckAndUpdateImmutabilityAsync(path, version, wanted)->Wait();
    auto const until = GetImmutability(Borrowed(client), path, version);
    if (!until || *until < wanted)
    {
        throw exc::CRuntimeExc("The store does not keep the version [%1] of [%2] until then.", version,
                               Printable(path));
    }
    host.Output().Result(util::str_format("%1 is kept until %2\n", Printable(path), TextOf(*until)),
                         CJsonObject().Add("path", path).Add("version", version).Add("kept_until", TextOf(*until)));
    return ExitOk;
}

} // namespace

std::shared_ptr<ICloudVersioningUtils> VersionsOf(ICloudClient& client)
{
    if (!client.IsVersioningEnabled())
    {
        throw CUsageError("This storage keeps no versions. A store's specification says that it does: see spec new "
                          "--object-lock.");
    }
    return client.GetVersioningUtils();
}

datetime::CDateTime KeepUntil(std::string const& text)
{
    datetime::CDateTime date;
    try
    {
        date = datetime::CDateTime::fromString(text.find('T') == std::string::npos ? text + "T00:00:00Z" : text,
                                               DateTimeForm, true);
    }
    catch (exc::CRuntimeExc const&)
    {
        throw CUsageError("[" + Printable(text) + "] is no date in UTC such as 2026-12-31 or 2026-12-31T10:00:00Z.");
    }
    if (!CImmutabilityUtils::CheckImmutabilityPeriod(date, true))
    {
        throw CUsageError(util::str_format("%1 lies less than %2 seconds ahead.", TextOf(date),
                                           options_t::GetInst().GetMinImmutabilitySec()));
    }
    return date;
}

std::string TextOf(datetime::CDateTime const& date)
{
    return date.toUtcTime().toStdString(DateTimeForm);
}

void AddVersionCommands(CCli& cli)
{
    auto const options = std::make_shared<SVersionOptions>();
    CCommand list = cli.AddCommand("versions", "List the versions of an object, the newest first",
                                   [options](CHost& host) { return ListVersions(host, *options); });
    list.AddOption("PATH", options->m_path, "The object").Required();
    list.AddFlag("-l,--long", options->m_isLong, "With the date until which each is kept; asks once for each");
    list.SetFooter("A line has the id, the time and the size in bytes. Markers of deletion are no versions.");

    CCommand keep = cli.AddCommand("keep", "Make a version immutable until a date",
                                   [options](CHost& host) { return Keep(host, *options); });
    keep.AddOption("PATH", options->m_path, "The object").Required();
    keep.AddOption("--until", options->m_until, "As 2026-12-31 or 2026-12-31T10:00:00Z, UTC").Takes("DATE").Required();
    keep.AddOption("--version-id", options->m_version, "Which version; the newest if left out").Takes("ID");
    keep.SetFooter("A version that is kept until later stays so.");
}

} // namespace bucketry::tool
