// SPDX-License-Identifier: Apache-2.0
#include "cli.h"
#include "files.h"
#include "text.h"

#include "bucketry/base/guid.h"

#include <fcntl.h>

#include <array>
#include <chrono>
#include <limits>
#include <memory>
#include <thread>

namespace bucketry::tool
{

namespace
{

/// What the commands of this file are called with; each uses its own part.
struct SArchiveOptions
{
    std::string m_path;
    std::string m_eTag;
    std::string m_job;
    std::uint32_t m_days = 0;
    std::string m_tier = "standard";
    std::string m_role;
    bool m_waits = false;
    unsigned m_waitSeconds = 60;
};

SRetrieveArchiveOptions RestoreOf(SArchiveOptions const& options)
{
    ArchiveRetrievalTier const tier = options.m_tier == "bulk" ? ArchiveRetrievalTier::Bulk
        : options.m_tier == "expedited"                        ? ArchiveRetrievalTier::Expedited
                                                               : ArchiveRetrievalTier::Standard;
    return {options.m_days, tier, options.m_role};
}

/// The storage, which must be one that can archive.
ICloudClient& ArchiveClient(CHost& host, EAccess access)
{
    ICloudClient& client = host.Client(access);
    if (client.GetArchiveRetrievalBehavior() == EArchiveRetrievalBehavior::NotNeeded)
    {
        throw CUsageError("This storage has no archive: its objects can be read at any time.");
    }
    return client;
}

SArchiveRetrievalStatus StatusOf(ICloudClient& client, std::string const& path)
{
    auto const status = std::make_shared<SArchiveRetrievalStatus>();
    client.GetArchiveRetrievalStatusAsync(path, status)->Wait();
    return *status;
}

void Show(CHost& host, std::string const& path, SArchiveRetrievalStatus const& status)
{
    CJsonObject json;
    json.Add("path", path);
    if (status.m_isRetrievalInProgress)
    {
        host.Output().Result(Printable(path) + " is being restored\n", json.Add("state", "restoring"));
    }
    else if (status.m_expiryDate.IsNull())
    {
        host.Output().Result(Printable(path) + " is not restored\n", json.Add("state", "none"));
    }
    else
    {
        std::string const until = status.m_expiryDate.toStdString("%Y-%m-%dT%H:%M:%SZ");
        host.Output().Result(Printable(path) + " is restored until " + until + "\n",
                             json.Add("state", "restored").Add("until", until));
    }
}

int ShowArchiveStatus(CHost& host, SArchiveOptions const& options)
{
    std::string const path = StoragePathBelowRoot(options.m_path, "object path");
    Show(host, path, StatusOf(ArchiveClient(host, EAccess::Read), path));
    return ExitOk;
}

int RestoreFromArchive(CHost& host, SArchiveOptions const& options)
{
    std::string const path = StoragePathBelowRoot(options.m_path, "object path");
    ICloudClient& client = ArchiveClient(host, EAccess::Read);
    client.RetrieveArchiveAsync(path, path, RestoreOf(options))->Wait();
    SArchiveRetrievalStatus status = StatusOf(client, path);
    while (options.m_waits && status.m_isRetrievalInProgress)
    {
        std::this_thread::sleep_for(std::chrono::seconds(options.m_waitSeconds));
        status = StatusOf(client, path);
    }
    Show(host, path, status);
    return ExitOk;
}

/// Stores the manifest, in one go: so its ETag is what the store says of the upload.
SBatchManifestInfo StoreManifest(CHost& host, ICloudClient& client, std::string const& path)
{
    CFd const file = OpenAt(AT_FDCWD, path, O_RDONLY, path);
    struct stat status
    {
    };
    if (::fstat(file.Get(), &status) != 0)
    {
        ThrowSystemError("read", path);
    }
    SBatchManifestInfo manifest;
    manifest.m_manifestPath = "batch_manifests/" + guid::guid_t::CreateNew().ToAStr() + ".csv";
    manifest.m_objectArn = "arn:aws:s3:::" + client.GetCloudContainerName() + "/" + manifest.m_manifestPath;
    auto const upload = client.StartUpload(manifest.m_manifestPath, static_cast<unsigned long>(status.st_size));
    std::array<unsigned char, 1 << 16> part{};
    while (std::size_t const count = ReadUpTo(file, part.data(), part.size(), path))
    {
        upload->Write(part.data(), count);
    }
    manifest.m_eTag = upload->Finish().value_or("");
    if (manifest.m_eTag.empty())
    {
        throw exc::CRuntimeExc("The store gave no ETag for [%1].", manifest.m_manifestPath);
    }
    host.Output().Message("The manifest is stored as " + manifest.m_manifestPath + ".");
    return manifest;
}

SBatchManifestInfo ManifestOf(CHost& host, ICloudClient& client, SArchiveOptions const& options)
{
    bool const isStored = options.m_path.starts_with("arn:");
    if (isStored == options.m_eTag.empty())
    {
        throw CUsageError(isStored ? "A manifest that is named by its ARN needs --etag."
                                   : "--etag is for a manifest that is named by its ARN.");
    }
    return isStored ? SBatchManifestInfo{"", options.m_path, options.m_eTag}
                    : StoreManifest(host, client, options.m_path);
}

int StartBatchRestore(CHost& host, SArchiveOptions const& options)
{
    ICloudClient& client = ArchiveClient(host, EAccess::Write);
    SBatchManifestInfo const manifest = ManifestOf(host, client, options);
    SBatchJobInfo const job = client.StartBatchRestoreJob(manifest, RestoreOf(options));
    host.Output().Result(
        job.m_jobId + "\n",
        CJsonObject().Add("job", job.m_jobId).Add("manifest", manifest.m_objectArn).Add("etag", manifest.m_eTag));
    return ExitOk;
}

int ShowBatchStatus(CHost& host, SArchiveOptions const& options)
{
    SBatchJobStatus const status = ArchiveClient(host, EAccess::Read).GetBatchJobStatus({options.m_job});
    constexpr std::array<char const*, 4> states = {"pending", "running", "finished", "unknown"};
    char const* const state = states.at(status.m_status);
    host.Output().Result(util::str_format("%1 is %2 (%3)\n", Printable(options.m_job), state, status.m_statusName),
                         CJsonObject().Add("job", options.m_job).Add("state", state).Add("word", status.m_statusName));
    return ExitOk;
}

void AddRestoreOptions(CCommand& command, SArchiveOptions& options)
{
    command.AddOption("--days", options.m_days, "How many days the restored copies stay")
        .Takes("N")
        .Between(1u, std::numeric_limits<std::uint32_t>::max())
        .Required();
    command.AddOption("--tier", options.m_tier, "How fast: standard, bulk or expedited")
        .Takes("T")
        .OneOf({"standard", "bulk", "expedited"})
        .ShowDefault();
}

CCommand AddPart(CCommand& group, std::shared_ptr<SArchiveOptions> const& options, std::string const& name,
                 std::string const& description, int (*run)(CHost&, SArchiveOptions const&))
{
    return group.AddPart(name, description, [options, run](CHost& host) { return run(host, *options); });
}

} // namespace

void AddArchiveCommands(CCli& cli)
{
    auto const options = std::make_shared<SArchiveOptions>();
    CCommand archive = cli.AddGroup("archive", "Objects in an archive: ask for them, and how far they are");
    CCommand restore =
        AddPart(archive, options, "restore", "Ask for a readable copy of an archived object", &RestoreFromArchive);
    restore.AddOption("PATH", options->m_path, "The object").Required();
    AddRestoreOptions(restore, *options);
    restore.AddFlag("--wait", options->m_waits, "Wait until the object can be read");
    restore.AddOption("--every", options->m_waitSeconds, "How often --wait asks the store, in seconds")
        .Takes("N")
        .ShowDefault();
    CCommand status = AddPart(archive, options, "status", "Tell whether an object is restored", &ShowArchiveStatus);
    status.AddOption("PATH", options->m_path, "The object").Required();

    CCommand batch = cli.AddGroup("batch", "Jobs of the store over many objects");
    CCommand start = AddPart(batch, options, "restore", "Ask for all objects of a manifest", &StartBatchRestore);
    start.AddOption("MANIFEST", options->m_path, "A CSV file, which is stored; or the ARN of a stored one, with --etag")
        .Required();
    start.AddOption("--etag", options->m_eTag, "The ETag of a stored manifest").Takes("TAG");
    start.AddOption("--role", options->m_role, "The role under which the job runs").Takes("NAME").Required();
    AddRestoreOptions(start, *options);
    start.SetFooter("A line of the manifest is BUCKET,KEY with the key URL-encoded; where --spec FILE says that the\n"
                    "bucket locks objects, BUCKET,KEY,VERSION. Writes the id of the job.");
    CCommand job = AddPart(batch, options, "status", "Tell how far a job is", &ShowBatchStatus);
    job.AddOption("JOB", options->m_job, "The id that `batch restore` wrote").Required();
}

} // namespace bucketry::tool
