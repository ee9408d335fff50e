#include "support/recording_client.h"

#include "support/answering_client.h"
#include "support/bufs.h"

#include <concepts>

namespace bucketry::testing
{

namespace
{

// ---- Arguments and results as texts ----------------------------------------------------------------------------------

template <class T>
concept CNumber = std::is_integral_v<T> || std::is_enum_v<T>;

template <CNumber T>
std::string ToText(T value)
{
    return std::to_string(static_cast<long>(value));
}

std::string ToText(std::string const& value)
{
    return value;
}

std::string ToText(datetime::CDateTime const& value)
{
    return value.toStdString();
}

std::string ToText(immutable_till_t const& value)
{
    return value ? ToText(*value) : "none";
}

std::string ToText(SRetrieveArchiveOptions const& value)
{
    return ToText(value.m_days) + value.m_roleName + ToText(value.m_tier);
}

std::string ToText(SCloudLockParams const& value)
{
    return ToText(value.m_keepAliveMsec);
}

std::string ToText(SBatchManifestInfo const& value)
{
    return value.m_objectArn + value.m_eTag;
}

std::string ToText(SBatchJobInfo const& value)
{
    return value.m_jobId;
}

std::string ToText(SBatchJobStatus const& value)
{
    return value.m_statusName;
}

std::string ToText(SCloudObjectInfo const& value)
{
    return value.m_name;
}

std::string ToText(SCloudObjectPathVersionPair const& value)
{
    return value.m_path + "@" + value.m_version.m_versionId;
}

std::string ToText(object_metadata_t::value_type const& value)
{
    return value.first + "=" + value.second;
}

/// Of lists and maps.
template <class T>
requires requires
{
    typename T::allocator_type;
}
std::string ToText(T const& values)
{
    std::string text;
    for (auto const& value : values)
    {
        text += ToText(value) + ",";
    }
    return text;
}

std::string ToText(task_t const& task)
{
    task->Wait();
    return "done";
}

/// Of the other pointers, and of functions.
template <class T>
requires std::constructible_from<bool, T> &&(!CNumber<T>)std::string ToText(T const& value)
{
    return value ? "set" : "null";
}

// ---- What the calls give ---------------------------------------------------------------------------------------------

[[noreturn]] void Fail()
{
    throw CObjectStorageException(exc::CRuntimeExc("SlowDown"), 503);
}

class CNoLock final : public ICloudLock
{
public:
    void Unlock() override {}
    guid::guid_t GetLockId() const override { return {}; }
};

/// Notes each call and answers it with a result of its own.
class CAnswers
{
public:
    explicit CAnswers(CRecorder& recorder) : m_recorder(&recorder) {}

    template <class TResult, class... TArgs>
    TResult Answer(char const* operation, TArgs const&... args) const
    {
        std::string text = operation;
        ((text += " " + ToText(args)), ...);
        m_recorder->Note(text);
        if (m_recorder->m_outcome == EOutcome::ThrowFromCall)
        {
            Fail();
        }
        TResult result{};
        Fill(result);
        return result;
    }

private:
    template <CNumber T>
    void Fill(T& result) const
    {
        result = static_cast<T>(4711);
    }
    void Fill(EArchiveRetrievalBehavior& result) const { result = EArchiveRetrievalBehavior::NotNeeded; }
    void Fill(std::string& result) const { result = "text"; }
    void Fill(objects_t& result) const { result = {{"one", 1, false}, {"two", 0, true}}; }
    void Fill(SBatchJobInfo& result) const { result = {"job-4711"}; }
    void Fill(SBatchJobStatus& result) const { result = {SBatchJobStatus::Finished, "Complete"}; }
    void Fill(task_t& result) const
    {
        result = CPplxTaskUtils().CreateTask([fails = m_recorder->m_outcome == EOutcome::FailTask]
                                             { fails ? Fail() : void(); });
    }
    void Fill(std::shared_ptr<task::IAsyncTaskUtils>& result) const { result = std::make_shared<CPplxTaskUtils>(); }
    void Fill(std::shared_ptr<ICloudDownload>& result) const;
    void Fill(std::shared_ptr<ICloudUpload>& result) const;
    void Fill(std::shared_ptr<ICloudUploadVersioned>& result) const;
    void Fill(std::shared_ptr<ICloudVersioningUtils>& result) const { result = RecordingVersioning(*m_recorder); }
    void Fill(source_t& result) const { result = std::make_shared<ICloudInterRegionSource>(); }
    void Fill(std::shared_ptr<ICloudLock>& result) const { result = std::make_shared<CNoLock>(); }
    void Fill(std::shared_ptr<CServerTime>& result) const { result = std::make_shared<CServerTime>(); }

    CRecorder* m_recorder;
};

class CRecordingDownload final : public ICloudDownload
{
public:
    explicit CRecordingDownload(CAnswers answers) : m_answers(answers) {}
    void Read(unsigned char*, unsigned long offset, unsigned long length) override
    {
        m_answers.Answer<bool>("Read", offset, length);
    }
    std::uint64_t ObjectSize() override { return m_answers.Answer<std::uint64_t>("ObjectSize"); }

private:
    CAnswers m_answers;
};

class CRecordingUpload final : public ICloudUploadVersioned
{
public:
    explicit CRecordingUpload(CAnswers answers) : m_answers(answers) {}
    void Write(unsigned char const*, unsigned long size) override { m_answers.Answer<bool>("Write", size); }
    void WriteZeroes(unsigned long size) override { m_answers.Answer<bool>("WriteZeroes", size); }
    void Flush() override { m_answers.Answer<bool>("Flush"); }
    std::optional<std::string> Finish() override { return m_answers.Answer<std::string>("Finish"); }
    std::string FinishVersioned() override { return m_answers.Answer<std::string>("FinishVersioned"); }

private:
    CAnswers m_answers;
};

void CAnswers::Fill(std::shared_ptr<ICloudDownload>& result) const
{
    result = std::make_shared<CRecordingDownload>(*this);
}

void CAnswers::Fill(std::shared_ptr<ICloudUpload>& result) const
{
    result = std::make_shared<CRecordingUpload>(*this);
}

void CAnswers::Fill(std::shared_ptr<ICloudUploadVersioned>& result) const
{
    result = std::make_shared<CRecordingUpload>(*this);
}

// ---- Arguments of the calls ------------------------------------------------------------------------------------------

bufs_t Bufs()
{
    return BufsOf("12345");
}

pool_t Pool()
{
    return io::block::bufs_pool_t::GetInst();
}

/// Where an operation puts its result.
template <class T>
std::shared_ptr<T> Out()
{
    return std::make_shared<T>();
}

datetime::CDateTime const Till = datetime::CDateTime::fromUnixTime(2'000'000'000, true);
SRetrieveArchiveOptions const Retrieval{3, ArchiveRetrievalTier::Bulk, "role"};

std::string NameIn(std::string_view call)
{
    return std::string(call.substr(0, call.find('(')));
}

} // namespace

std::vector<std::string> CRecorder::Seen() const
{
    std::lock_guard const lock(m_mutex);
    return m_seen;
}

void CRecorder::Note(std::string const& call)
{
    std::lock_guard const lock(m_mutex);
    m_seen.push_back(call);
}

std::shared_ptr<ICloudClient> RecordingClient(CRecorder& recorder)
{
    return std::make_shared<CAnsweringClient<CAnswers>>(CAnswers(recorder));
}

std::shared_ptr<ICloudVersioningUtils> RecordingVersioning(CRecorder& recorder)
{
    return std::make_shared<CAnsweringVersioning<CAnswers>>(CAnswers(recorder));
}

// One row of a table: the operation's name, and its call.
#define BUCKETRY_CALL(...)                                                                                             \
    {                                                                                                                  \
        NameIn(#__VA_ARGS__), [](auto& c) { return ToText(c.__VA_ARGS__); }                                            \
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
        BUCKETRY_CALL(IsFileExistAsync("a/b", Out<bool>())),
        BUCKETRY_CALL(CreateFolderAsync("a")),
        BUCKETRY_CALL(DeleteFolderAsync("a", nullptr)),
        BUCKETRY_CALL(GetFolderSize("a")),
        BUCKETRY_CALL(IsFolderExist("a")),
        BUCKETRY_CALL(QueryFolder("a")),
        BUCKETRY_CALL(QueryFolderAsync("a", Out<objects_t>())),
        BUCKETRY_CALL(QueryFolderAsync("a", [](objects_t const&) {})),
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
        BUCKETRY_CALL(RetrieveArchiveAsync("from", "to", Retrieval)),
        BUCKETRY_CALL(GetArchiveRetrievalStatusAsync("a/b", Out<SArchiveRetrievalStatus>())),
        BUCKETRY_CALL(GetArchiveRetrievalBehavior()),
        BUCKETRY_CALL(Lock("a", SCloudLockParams{}, nullptr)),
        BUCKETRY_CALL(GetServerTime()),
        BUCKETRY_CALL(StartBatchRestoreJob(SBatchManifestInfo{"m", "arn", "tag"}, Retrieval)),
        BUCKETRY_CALL(GetBatchJobStatus(SBatchJobInfo{"job"})),
    };
    return operations;
}

std::vector<SOperation<ICloudVersioningUtils>> const& VersioningOperations()
{
    static std::vector<SOperation<ICloudVersioningUtils>> const operations = {
        BUCKETRY_CALL(DownloadFileVersionAsync("a/b", "v", Bufs(), Pool())),
        BUCKETRY_CALL(DownloadFileVersionAsync("a/b", "v", Bufs(), Pool(), 7, 9)),
        BUCKETRY_CALL(UploadFileAsync("a/b", Bufs(), Out<std::string>(), Till)),
        BUCKETRY_CALL(UploadFileWithMetadataAsync("a/b", Bufs(), {{"k", "v"}}, Out<std::string>(), Till)),
        BUCKETRY_CALL(CopyFileVersionAsync("from", "v", "to", Out<std::string>(), Till)),
        BUCKETRY_CALL(UpdateFileVersionImmutabilityAsync("a/b", "v", Till)),
        BUCKETRY_CALL(GetFileVersionImmutabilityAsync("a/b", "v", Out<immutable_till_t>())),
        BUCKETRY_CALL(GetFileVersionMetadataAsync("a/b", "v", Out<object_metadata_t>())),
        BUCKETRY_CALL(DeleteFileVersionAsync("a/b", "v")),
        BUCKETRY_CALL(DeleteFileVersionListAsync({{"x", "v1"}, {"y", "v2"}})),
        BUCKETRY_CALL(DeleteFolderAllVersionsAsync("a")),
        BUCKETRY_CALL(QueryFileVersionsAsync("a/b", Out<std::vector<SCloudObjectVersion>>())),
        BUCKETRY_CALL(QueryFolderVersionsAsync("a", Out<versions_t>())),
        BUCKETRY_CALL(QueryFolderVersionsAsync("a", [](versions_t const&) {})),
        BUCKETRY_CALL(QuerySubfoldersAsync("a", Out<std::vector<std::string>>())),
        BUCKETRY_CALL(StartDownload("a/b", "v")),
        BUCKETRY_CALL(StartUpload("a/b", 5, Till)),
        BUCKETRY_CALL(RetrieveArchiveAsync("from", "v", "to", Retrieval)),
        BUCKETRY_CALL(GetArchiveRetrievalStatusAsync("a/b", "v", Out<SArchiveRetrievalStatus>())),
        BUCKETRY_CALL(GetFileVersionSize("a/b", "v")),
        BUCKETRY_CALL(CopyFileInterRegionAsync(nullptr, "to", Out<std::string>(), Till)),
        BUCKETRY_CALL(GetFileInterRegionSource("a/b", "v")),
        BUCKETRY_CALL(CheckAndUpdateImmutabilityAsync("a/b", "v", Till)),
        BUCKETRY_CALL(DeleteFileVersionIgnoreImmutabilityAsync("a/b", "v")),
    };
    return operations;
}

#undef BUCKETRY_CALL

} // namespace bucketry::testing
