#include "support/recording_client.h"

#include "support/memory_client.h"

namespace bucketry::testing
{

namespace
{

std::shared_ptr<io::block::CPooledBuf> Bufs()
{
    return BufsOf("12345");
}

std::shared_ptr<io::block::bufs_pool_t> Pool()
{
    return io::block::bufs_pool_t::GetInst();
}

std::shared_ptr<bool> Flag()
{
    return std::make_shared<bool>(false);
}

std::shared_ptr<std::string> Text()
{
    return std::make_shared<std::string>();
}

std::shared_ptr<std::vector<SCloudObjectInfo>> Infos()
{
    return std::make_shared<std::vector<SCloudObjectInfo>>();
}

std::shared_ptr<SArchiveRetrievalStatus> Status()
{
    return std::make_shared<SArchiveRetrievalStatus>();
}

std::optional<datetime::CDateTime> Till()
{
    return datetime::CDateTime::fromUnixTime(2'000'000'000, true);
}

std::string ResultText(std::shared_ptr<task::IAsyncTask> const& task)
{
    task->Wait();
    return "done";
}

std::string ResultText(std::string const& value)
{
    return value;
}

std::string ResultText(std::vector<SCloudObjectInfo> const& value)
{
    return std::to_string(value.size()) + value.front().m_name;
}

std::string ResultText(EArchiveRetrievalBehavior value)
{
    return std::to_string(static_cast<unsigned>(value));
}

std::string ResultText(SBatchJobInfo const& value)
{
    return value.m_jobId;
}

std::string ResultText(SBatchJobStatus const& value)
{
    return value.m_statusName;
}

template <class T>
requires std::is_integral_v<T> std::string ResultText(T value)
{
    return std::to_string(value);
}

template <class T>
std::string ResultText(std::shared_ptr<T> const& value)
{
    return value ? "set" : "null";
}

std::string NameIn(std::string_view call)
{
    return std::string(call.substr(0, call.find('(')));
}

class CRecordingDownload final : public ICloudDownload
{
public:
    explicit CRecordingDownload(CRecorder& recorder) : m_recorder(&recorder) {}
    void Read(unsigned char*, unsigned long offset, unsigned long length) override
    {
        m_recorder->Answer<bool>("Read", offset, length);
    }
    std::uint64_t ObjectSize() override { return m_recorder->Answer<std::uint64_t>("ObjectSize"); }

private:
    CRecorder* m_recorder;
};

class CRecordingUpload final : public ICloudUploadVersioned
{
public:
    explicit CRecordingUpload(CRecorder& recorder) : m_recorder(&recorder) {}
    void Write(unsigned char const*, unsigned long size) override { m_recorder->Answer<bool>("Write", size); }
    void WriteZeroes(unsigned long size) override { m_recorder->Answer<bool>("WriteZeroes", size); }
    void Flush() override { m_recorder->Answer<bool>("Flush"); }
    std::optional<std::string> Finish() override { return m_recorder->Answer<std::string>("Finish"); }
    std::string FinishVersioned() override { return m_recorder->Answer<std::string>("FinishVersioned"); }

private:
    CRecorder* m_recorder;
};

class CRecordingClient final : public ICloudClient
{
public:
    explicit CRecordingClient(CRecorder& recorder) : m_recorder(&recorder) {}

    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool) override
    {
        return m_recorder->Answer<task_t>("DownloadFileAsync", path, bufs, pool);
    }
    task_t DownloadFileAsync(std::string const& path, bufs_t bufs, pool_t pool, unsigned long offset,
                             unsigned long length) override
    {
        return m_recorder->Answer<task_t>("DownloadFileAsync", path, bufs, pool, offset, length);
    }
    task_t UploadFileAsync(std::string const& path, bufs_t bufs) override
    {
        return m_recorder->Answer<task_t>("UploadFileAsync", path, bufs);
    }
    task_t CopyFileAsync(std::string const& itemPath, std::string const& newPath) override
    {
        return m_recorder->Answer<task_t>("CopyFileAsync", itemPath, newPath);
    }
    task_t DeleteFileAsync(std::string const& path) override
    {
        return m_recorder->Answer<task_t>("DeleteFileAsync", path);
    }
    task_t DeleteFileListAsync(std::vector<std::string> const& paths) override
    {
        return m_recorder->Answer<task_t>("DeleteFileListAsync", paths);
    }
    std::uint64_t GetFileSize(std::string const& path) override
    {
        return m_recorder->Answer<std::uint64_t>("GetFileSize", path);
    }
    bool IsFileExist(std::string const& path) override { return m_recorder->Answer<bool>("IsFileExist", path); }
    task_t IsFileExistAsync(std::string const& path, std::shared_ptr<bool> flag) override
    {
        return m_recorder->Answer<task_t>("IsFileExistAsync", path, flag);
    }
    task_t CreateFolderAsync(std::string const& path) override
    {
        return m_recorder->Answer<task_t>("CreateFolderAsync", path);
    }
    task_t DeleteFolderAsync(std::string const& path, std::shared_ptr<progress::progress_base_t> progress) override
    {
        return m_recorder->Answer<task_t>("DeleteFolderAsync", path, progress);
    }
    std::uint64_t GetFolderSize(std::string const& path) override
    {
        return m_recorder->Answer<std::uint64_t>("GetFolderSize", path);
    }
    bool IsFolderExist(std::string const& path) override { return m_recorder->Answer<bool>("IsFolderExist", path); }
    std::vector<SCloudObjectInfo> QueryFolder(std::string const& path) override
    {
        return m_recorder->Answer<std::vector<SCloudObjectInfo>>("QueryFolder", path);
    }
    task_t QueryFolderAsync(std::string const& path, std::shared_ptr<std::vector<SCloudObjectInfo>> objects) override
    {
        return m_recorder->Answer<task_t>("QueryFolderAsync", path, objects);
    }
    task_t QueryFolderAsync(std::string const& path,
                            std::function<void(std::vector<SCloudObjectInfo> const&)> onPage) override
    {
        return m_recorder->Answer<task_t>("QueryFolderAsync", path, onPage);
    }
    std::uint64_t GetObjectCount(std::string const& path) override
    {
        return m_recorder->Answer<std::uint64_t>("GetObjectCount", path);
    }
    std::int64_t GetStorageQuota() override { return m_recorder->Answer<std::int64_t>("GetStorageQuota"); }
    std::uint32_t GetConcurrentTaskLimit() override
    {
        return m_recorder->Answer<std::uint32_t>("GetConcurrentTaskLimit");
    }
    std::string GetCloudContainerName() override { return m_recorder->Answer<std::string>("GetCloudContainerName"); }
    std::string GetAbsolutePath(std::string const& path) override
    {
        return m_recorder->Answer<std::string>("GetAbsolutePath", path);
    }
    std::shared_ptr<task::IAsyncTaskUtils> CreateAsyncTaskUtils() override
    {
        return m_recorder->Answer<std::shared_ptr<task::IAsyncTaskUtils>>("CreateAsyncTaskUtils");
    }
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path) override
    {
        return m_recorder->Answer<std::shared_ptr<ICloudDownload>>("StartDownload", path);
    }
    std::shared_ptr<ICloudUpload> StartUpload(std::string const& path, unsigned long size) override
    {
        return m_recorder->Answer<std::shared_ptr<ICloudUpload>>("StartUpload", path, size);
    }
    std::shared_ptr<ICloudVersioningUtils> GetVersioningUtils() override
    {
        return m_recorder->Answer<std::shared_ptr<ICloudVersioningUtils>>("GetVersioningUtils");
    }
    bool IsVersioningEnabled() const override { return m_recorder->Answer<bool>("IsVersioningEnabled"); }
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path) override
    {
        return m_recorder->Answer<std::shared_ptr<ICloudInterRegionSource>>("GetFileInterRegionSource", path);
    }
    bool IsFileInterRegionSourceCompatible(std::shared_ptr<ICloudInterRegionSource> source) override
    {
        return m_recorder->Answer<bool>("IsFileInterRegionSourceCompatible", source);
    }
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> source,
                                    std::string const& targetPath) override
    {
        return m_recorder->Answer<task_t>("CopyFileInterRegionAsync", source, targetPath);
    }
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& targetPath,
                                SRetrieveArchiveOptions const& options) override
    {
        return m_recorder->Answer<task_t>("RetrieveArchiveAsync", sourcePath, targetPath, options);
    }
    task_t GetArchiveRetrievalStatusAsync(std::string const& path,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override
    {
        return m_recorder->Answer<task_t>("GetArchiveRetrievalStatusAsync", path, status);
    }
    EArchiveRetrievalBehavior GetArchiveRetrievalBehavior() const override
    {
        return m_recorder->Answer<EArchiveRetrievalBehavior>("GetArchiveRetrievalBehavior");
    }
    std::shared_ptr<ICloudLock> Lock(std::string const& path, SCloudLockParams const& params,
                                     std::shared_ptr<synch::completion_port_t> port) override
    {
        return m_recorder->Answer<std::shared_ptr<ICloudLock>>("Lock", path, params, port);
    }
    std::shared_ptr<CServerTime> GetServerTime() override
    {
        return m_recorder->Answer<std::shared_ptr<CServerTime>>("GetServerTime");
    }
    SBatchJobInfo StartBatchRestoreJob(SBatchManifestInfo const& manifest,
                                       SRetrieveArchiveOptions const& options) override
    {
        return m_recorder->Answer<SBatchJobInfo>("StartBatchRestoreJob", manifest, options);
    }
    SBatchJobStatus GetBatchJobStatus(SBatchJobInfo const& job) override
    {
        return m_recorder->Answer<SBatchJobStatus>("GetBatchJobStatus", job);
    }

private:
    CRecorder* m_recorder;
};

class CRecordingVersioning final : public ICloudVersioningUtils
{
public:
    explicit CRecordingVersioning(CRecorder& recorder) : m_recorder(&recorder) {}

    task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs,
                                    pool_t pool) override
    {
        return m_recorder->Answer<task_t>("DownloadFileVersionAsync", path, version, bufs, pool);
    }
    task_t DownloadFileVersionAsync(std::string const& path, std::string const& version, bufs_t bufs, pool_t pool,
                                    unsigned long offset, unsigned long length) override
    {
        return m_recorder->Answer<task_t>("DownloadFileVersionAsync", path, version, bufs, pool, offset, length);
    }
    task_t UploadFileAsync(std::string const& path, bufs_t bufs, version_out_t version,
                           immutable_till_t immutableTill) override
    {
        return m_recorder->Answer<task_t>("UploadFileAsync", path, bufs, version, immutableTill);
    }
    task_t UploadFileWithMetadataAsync(std::string const& path, bufs_t bufs, object_metadata_t const& metadata,
                                       version_out_t version, immutable_till_t immutableTill) override
    {
        return m_recorder->Answer<task_t>("UploadFileWithMetadataAsync", path, bufs, metadata, version, immutableTill);
    }
    task_t CopyFileVersionAsync(std::string const& sourcePath, std::string const& sourceVersion,
                                std::string const& targetPath, version_out_t version,
                                immutable_till_t immutableTill) override
    {
        return m_recorder->Answer<task_t>("CopyFileVersionAsync", sourcePath, sourceVersion, targetPath, version,
                                          immutableTill);
    }
    task_t UpdateFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                              datetime::CDateTime immutableTill) override
    {
        return m_recorder->Answer<task_t>("UpdateFileVersionImmutabilityAsync", path, version, immutableTill);
    }
    task_t GetFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                           std::shared_ptr<immutable_till_t> immutableTill) override
    {
        return m_recorder->Answer<task_t>("GetFileVersionImmutabilityAsync", path, version, immutableTill);
    }
    task_t GetFileVersionMetadataAsync(std::string const& path, std::string const& version,
                                       std::shared_ptr<object_metadata_t> metadata) override
    {
        return m_recorder->Answer<task_t>("GetFileVersionMetadataAsync", path, version, metadata);
    }
    task_t DeleteFileVersionAsync(std::string const& path, std::string const& version) override
    {
        return m_recorder->Answer<task_t>("DeleteFileVersionAsync", path, version);
    }
    task_t DeleteFileVersionListAsync(std::vector<SCloudObjectPathVersionPair> const& versions) override
    {
        return m_recorder->Answer<task_t>("DeleteFileVersionListAsync", versions);
    }
    task_t DeleteFolderAllVersionsAsync(std::string const& path) override
    {
        return m_recorder->Answer<task_t>("DeleteFolderAllVersionsAsync", path);
    }
    task_t QueryFileVersionsAsync(std::string const& path,
                                  std::shared_ptr<std::vector<SCloudObjectVersion>> versions) override
    {
        return m_recorder->Answer<task_t>("QueryFileVersionsAsync", path, versions);
    }
    task_t QueryFolderVersionsAsync(std::string const& path,
                                    std::shared_ptr<std::vector<SCloudObjectPathVersionPair>> versions) override
    {
        return m_recorder->Answer<task_t>("QueryFolderVersionsAsync", path, versions);
    }
    task_t QueryFolderVersionsAsync(
        std::string const& path, std::function<void(std::vector<SCloudObjectPathVersionPair> const&)> onPage) override
    {
        return m_recorder->Answer<task_t>("QueryFolderVersionsAsync", path, onPage);
    }
    task_t QuerySubfoldersAsync(std::string const& path, std::shared_ptr<std::vector<std::string>> subfolders) override
    {
        return m_recorder->Answer<task_t>("QuerySubfoldersAsync", path, subfolders);
    }
    std::shared_ptr<ICloudDownload> StartDownload(std::string const& path, std::string const& version) override
    {
        return m_recorder->Answer<std::shared_ptr<ICloudDownload>>("StartDownload", path, version);
    }
    std::shared_ptr<ICloudUploadVersioned> StartUpload(std::string const& path, unsigned long size,
                                                       immutable_till_t immutableTill) override
    {
        return m_recorder->Answer<std::shared_ptr<ICloudUploadVersioned>>("StartUpload", path, size, immutableTill);
    }
    task_t RetrieveArchiveAsync(std::string const& sourcePath, std::string const& version,
                                std::string const& targetPath, SRetrieveArchiveOptions const& options) override
    {
        return m_recorder->Answer<task_t>("RetrieveArchiveAsync", sourcePath, version, targetPath, options);
    }
    task_t GetArchiveRetrievalStatusAsync(std::string const& path, std::string const& version,
                                          std::shared_ptr<SArchiveRetrievalStatus> status) override
    {
        return m_recorder->Answer<task_t>("GetArchiveRetrievalStatusAsync", path, version, status);
    }
    std::uint64_t GetFileVersionSize(std::string const& path, std::string const& version) override
    {
        return m_recorder->Answer<std::uint64_t>("GetFileVersionSize", path, version);
    }
    task_t CopyFileInterRegionAsync(std::shared_ptr<ICloudInterRegionSource> const& source,
                                    std::string const& targetPath, version_out_t version,
                                    immutable_till_t immutableTill) override
    {
        return m_recorder->Answer<task_t>("CopyFileInterRegionAsync", source, targetPath, version, immutableTill);
    }
    std::shared_ptr<ICloudInterRegionSource> GetFileInterRegionSource(std::string const& path,
                                                                      std::string const& version) override
    {
        return m_recorder->Answer<std::shared_ptr<ICloudInterRegionSource>>("GetFileInterRegionSource", path, version);
    }
    task_t CheckAndUpdateImmutabilityAsync(std::string const& path, std::string const& version,
                                           datetime::CDateTime const& immutableTill) override
    {
        return m_recorder->Answer<task_t>("CheckAndUpdateImmutabilityAsync", path, version, immutableTill);
    }
    task_t DeleteFileVersionIgnoreImmutabilityAsync(std::string const& path, std::string const& version) override
    {
        return m_recorder->Answer<task_t>("DeleteFileVersionIgnoreImmutabilityAsync", path, version);
    }

private:
    CRecorder* m_recorder;
};

class CNoLock final : public ICloudLock
{
public:
    void Unlock() override {}
    guid::guid_t GetLockId() const override { return {}; }
};

} // namespace

std::vector<std::string> CRecorder::Seen() const
{
    std::lock_guard const lock(m_mutex);
    return m_seen;
}

void CRecorder::Fail()
{
    throw CObjectStorageException(exc::CRuntimeExc("SlowDown"), 503);
}

void CRecorder::Note(std::string text)
{
    {
        std::lock_guard const lock(m_mutex);
        m_seen.push_back(std::move(text));
    }
    if (m_outcome == EOutcome::ThrowFromCall)
    {
        Fail();
    }
}

std::string CRecorder::ToText(std::vector<std::string> const& values)
{
    std::string text;
    for (std::string const& value : values)
    {
        text += value + ",";
    }
    return text;
}

std::string CRecorder::ToText(std::vector<SCloudObjectPathVersionPair> const& values)
{
    std::string text;
    for (SCloudObjectPathVersionPair const& value : values)
    {
        text += value.m_path + "@" + value.m_version.m_versionId + ",";
    }
    return text;
}

std::string CRecorder::ToText(object_metadata_t const& values)
{
    std::string text;
    for (auto const& [key, value] : values)
    {
        text += key + "=" + value + ",";
    }
    return text;
}

std::string CRecorder::ToText(std::optional<datetime::CDateTime> const& value)
{
    return value ? ToText(*value) : "none";
}

std::string CRecorder::ToText(SRetrieveArchiveOptions const& value)
{
    return std::to_string(value.m_days) + value.m_roleName + std::to_string(static_cast<unsigned>(value.m_tier));
}

std::shared_ptr<task::IAsyncTask> CRecorder::Result(std::type_identity<std::shared_ptr<task::IAsyncTask>>)
{
    return CPplxTaskUtils().CreateTask(
        [fails = m_outcome == EOutcome::FailTask]
        {
            if (fails)
            {
                Fail();
            }
        });
}

std::shared_ptr<task::IAsyncTaskUtils> CRecorder::Result(std::type_identity<std::shared_ptr<task::IAsyncTaskUtils>>)
{
    return std::make_shared<CPplxTaskUtils>();
}

std::shared_ptr<ICloudDownload> CRecorder::Result(std::type_identity<std::shared_ptr<ICloudDownload>>)
{
    return std::make_shared<CRecordingDownload>(*this);
}

std::shared_ptr<ICloudUpload> CRecorder::Result(std::type_identity<std::shared_ptr<ICloudUpload>>)
{
    return std::make_shared<CRecordingUpload>(*this);
}

std::shared_ptr<ICloudUploadVersioned> CRecorder::Result(std::type_identity<std::shared_ptr<ICloudUploadVersioned>>)
{
    return std::make_shared<CRecordingUpload>(*this);
}

std::shared_ptr<ICloudVersioningUtils> CRecorder::Result(std::type_identity<std::shared_ptr<ICloudVersioningUtils>>)
{
    return RecordingVersioning(*this);
}

std::shared_ptr<ICloudInterRegionSource> CRecorder::Result(std::type_identity<std::shared_ptr<ICloudInterRegionSource>>)
{
    return std::make_shared<ICloudInterRegionSource>();
}

std::shared_ptr<ICloudLock> CRecorder::Result(std::type_identity<std::shared_ptr<ICloudLock>>)
{
    return std::make_shared<CNoLock>();
}

std::shared_ptr<CServerTime> CRecorder::Result(std::type_identity<std::shared_ptr<CServerTime>>)
{
    return std::make_shared<CServerTime>();
}

std::shared_ptr<ICloudClient> RecordingClient(CRecorder& recorder)
{
    return std::make_shared<CRecordingClient>(recorder);
}

std::shared_ptr<ICloudVersioningUtils> RecordingVersioning(CRecorder& recorder)
{
    return std::make_shared<CRecordingVersioning>(recorder);
}

// One row of a table: the operation's name, and its call.
#define BUCKETRY_CALL(...)                                                                                             \
    {                                                                                                                  \
        NameIn(#__VA_ARGS__), [](auto& c) { return ResultText(c.__VA_ARGS__); }                                        \
    }

std::vector<SOperation<ICloudClient>> const& ClientOperations()
{
    static std::vector<SOperation<ICloudClient>> const operations = {
        BUCKETRY_CALL(DownloadFileAsync("a/b", Bufs(), Pool())),
        BUCKETRY_CALL(DownloadFileAsync("a/b", Bufs(), Pool(), 7, 9)),
        BUCKETRY_CALL(UploadFileAsync("a/b", Bufs())),
        BUCKETRY_CALL(CopyFileAsync("from", "to")),
        BUCKETRY_CALL(DeleteFileAsync("a/b")),
        BUCKETRY_CALL(DeleteFileListAsync({"x", "y"})),
        BUCKETRY_CALL(GetFileSize("a/b")),
        BUCKETRY_CALL(IsFileExist("a/b")),
        BUCKETRY_CALL(IsFileExistAsync("a/b", Flag())),
        BUCKETRY_CALL(CreateFolderAsync("a")),
        BUCKETRY_CALL(DeleteFolderAsync("a", nullptr)),
        BUCKETRY_CALL(GetFolderSize("a")),
        BUCKETRY_CALL(IsFolderExist("a")),
        BUCKETRY_CALL(QueryFolder("a")),
        BUCKETRY_CALL(QueryFolderAsync("a", Infos())),
        BUCKETRY_CALL(QueryFolderAsync("a", [](std::vector<SCloudObjectInfo> const&) {})),
        BUCKETRY_CALL(GetObjectCount("a")),
        BUCKETRY_CALL(GetStorageQuota()),
        BUCKETRY_CALL(GetConcurrentTaskLimit()),
        BUCKETRY_CALL(GetCloudContainerName()),
        BUCKETRY_CALL(GetAbsolutePath("a/b")),
        BUCKETRY_CALL(CreateAsyncTaskUtils()),
        BUCKETRY_CALL(StartDownload("a/b")),
        BUCKETRY_CALL(StartUpload("a/b", 5)),
        BUCKETRY_CALL(GetVersioningUtils()),
        BUCKETRY_CALL(IsVersioningEnabled()),
        BUCKETRY_CALL(GetFileInterRegionSource("a/b")),
        BUCKETRY_CALL(IsFileInterRegionSourceCompatible(nullptr)),
        BUCKETRY_CALL(CopyFileInterRegionAsync(nullptr, "to")),
        BUCKETRY_CALL(
            RetrieveArchiveAsync("from", "to", SRetrieveArchiveOptions{3, ArchiveRetrievalTier::Bulk, "role"})),
        BUCKETRY_CALL(GetArchiveRetrievalStatusAsync("a/b", Status())),
        BUCKETRY_CALL(GetArchiveRetrievalBehavior()),
        BUCKETRY_CALL(Lock("a", SCloudLockParams{}, nullptr)),
        BUCKETRY_CALL(GetServerTime()),
        BUCKETRY_CALL(StartBatchRestoreJob(SBatchManifestInfo{"m", "arn", "tag"},
                                           SRetrieveArchiveOptions{3, ArchiveRetrievalTier::Bulk, "role"})),
        BUCKETRY_CALL(GetBatchJobStatus(SBatchJobInfo{"job"})),
    };
    return operations;
}

std::vector<SOperation<ICloudVersioningUtils>> const& VersioningOperations()
{
    static std::vector<SOperation<ICloudVersioningUtils>> const operations = {
        BUCKETRY_CALL(DownloadFileVersionAsync("a/b", "v", Bufs(), Pool())),
        BUCKETRY_CALL(DownloadFileVersionAsync("a/b", "v", Bufs(), Pool(), 7, 9)),
        BUCKETRY_CALL(UploadFileAsync("a/b", Bufs(), Text(), Till())),
        BUCKETRY_CALL(UploadFileWithMetadataAsync("a/b", Bufs(), {{"k", "v"}}, Text(), Till())),
        BUCKETRY_CALL(CopyFileVersionAsync("from", "v", "to", Text(), Till())),
        BUCKETRY_CALL(UpdateFileVersionImmutabilityAsync("a/b", "v", *Till())),
        BUCKETRY_CALL(
            GetFileVersionImmutabilityAsync("a/b", "v", std::make_shared<std::optional<datetime::CDateTime>>())),
        BUCKETRY_CALL(GetFileVersionMetadataAsync("a/b", "v", std::make_shared<object_metadata_t>())),
        BUCKETRY_CALL(DeleteFileVersionAsync("a/b", "v")),
        BUCKETRY_CALL(DeleteFileVersionListAsync(
            {SCloudObjectPathVersionPair("x", "v1"), SCloudObjectPathVersionPair("y", "v2")})),
        BUCKETRY_CALL(DeleteFolderAllVersionsAsync("a")),
        BUCKETRY_CALL(QueryFileVersionsAsync("a/b", std::make_shared<std::vector<SCloudObjectVersion>>())),
        BUCKETRY_CALL(QueryFolderVersionsAsync("a", std::make_shared<std::vector<SCloudObjectPathVersionPair>>())),
        BUCKETRY_CALL(QueryFolderVersionsAsync("a", [](std::vector<SCloudObjectPathVersionPair> const&) {})),
        BUCKETRY_CALL(QuerySubfoldersAsync("a", std::make_shared<std::vector<std::string>>())),
        BUCKETRY_CALL(StartDownload("a/b", "v")),
        BUCKETRY_CALL(StartUpload("a/b", 5, Till())),
        BUCKETRY_CALL(
            RetrieveArchiveAsync("from", "v", "to", SRetrieveArchiveOptions{3, ArchiveRetrievalTier::Bulk, "role"})),
        BUCKETRY_CALL(GetArchiveRetrievalStatusAsync("a/b", "v", Status())),
        BUCKETRY_CALL(GetFileVersionSize("a/b", "v")),
        BUCKETRY_CALL(CopyFileInterRegionAsync(nullptr, "to", Text(), Till())),
        BUCKETRY_CALL(GetFileInterRegionSource("a/b", "v")),
        BUCKETRY_CALL(CheckAndUpdateImmutabilityAsync("a/b", "v", *Till())),
        BUCKETRY_CALL(DeleteFileVersionIgnoreImmutabilityAsync("a/b", "v")),
    };
    return operations;
}

#undef BUCKETRY_CALL

} // namespace bucketry::testing
