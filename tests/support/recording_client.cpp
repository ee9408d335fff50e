// SPDX-License-Identifier: Apache-2.0
#include "support/recording_client.h"

#include "bucketry/forwarding.h"
#include "support/bufs.h"

#include <concepts>

namespace bucketry::testing
{

namespace
{

using task_t = ICloudClient::task_t;
using immutable_till_t = ICloudVersioningUtils::immutable_till_t;
using objects_t = details::CForwardingClient::objects_t;
using versions_t = details::CForwardingVersioning::versions_t;

// ---- Arguments and results as texts ---------------------------------------------------------------------------------

template <class T>
concept CNumber = std::is_integral_v<T> || std::is_enum_v<T>;

template <class T>
concept CList = requires
{
    typename T::allocator_type;
};

struct SText
{
    template <CNumber T>
    static std::string Of(T value)
    {
        return std::to_string(static_cast<long>(value));
    }
    static std::string Of(std::string const& value) { return value; }
    static std::string Of(datetime::CDateTime const& value) { return value.toStdString(); }
    static std::string Of(immutable_till_t const& value) { return value ? Of(*value) : "none"; }
    static std::string Of(SRetrieveArchiveOptions const& value)
    {
        return Of(value.m_days) + value.m_roleName + Of(value.m_tier);
    }
    static std::string Of(SCloudLockParams const& value) { return Of(value.m_keepAliveMsec); }
    static std::string Of(SBatchManifestInfo const& value) { return value.m_objectArn + value.m_eTag; }
    static std::string Of(SBatchJobInfo const& value) { return value.m_jobId; }
    static std::string Of(SBatchJobStatus const& value) { return value.m_statusName; }
    static std::string Of(SCloudObjectInfo const& value) { return value.m_name; }
    static std::string Of(SCloudObjectPathVersionPair const& value)
    {
        return value.m_path + "@" + value.m_version.m_versionId;
    }
    static std::string Of(object_metadata_t::value_type const& value) { return value.first + "=" + value.second; }
    static std::string Of(task_t const& task) { return task->Wait(), "done"; }
    template <CList T>
    static std::string Of(T const& values)
    {
        std::string text;
        for (auto const& value : values)
        {
            text += Of(value) + ",";
        }
        return text;
    }
    /// Of the other pointers, and of functions.
    template <class T>
    requires(std::constructible_from<bool, T> && !CNumber<T>) static std::string Of(T const& value)
    {
        return value ? "set" : "null";
    }
};

// ---- What the calls give --------------------------------------------------------------------------------------------

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
        ((text += " " + SText::Of(args)), ...);
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
    void Fill(std::shared_ptr<ICloudLock>& result) const { result = std::make_shared<CNoLock>(); }
    template <std::default_initializable T>
    void Fill(std::shared_ptr<T>& result) const
    {
        result = std::make_shared<T>();
    }

    CRecorder* m_recorder;
};

template <class TInterface>
class CRecording : public TInterface
{
public:
    explicit CRecording(CAnswers answers) : m_answers(answers) {}

protected:
    template <class TResult, class TCall, class... TArgs>
    TResult Around(char const* operation, TCall const&, TArgs const&... args) const
    {
        return m_answers.Answer<TResult>(operation, args...);
    }

    CAnswers m_answers;
};

class CRecordingDownload final : public CRecording<ICloudDownload>
{
public:
    using CRecording::CRecording;
    void Read(unsigned char*, unsigned long offset, unsigned long length) override
    {
        m_answers.Answer<bool>("Read", offset, length);
    }
    std::uint64_t ObjectSize() override { return m_answers.Answer<std::uint64_t>("ObjectSize"); }
};

class CRecordingUpload final : public CRecording<ICloudUploadVersioned>
{
public:
    using CRecording::CRecording;
    void Write(unsigned char const*, unsigned long size) override { m_answers.Answer<bool>("Write", size); }
    void WriteZeroes(unsigned long size) override { m_answers.Answer<bool>("WriteZeroes", size); }
    void Flush() override { m_answers.Answer<bool>("Flush"); }
    std::optional<std::string> Finish() override { return m_answers.Answer<std::string>("Finish"); }
    std::string FinishVersioned() override { return m_answers.Answer<std::string>("FinishVersioned"); }
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

// ---- Arguments of the calls -----------------------------------------------------------------------------------------

auto Bufs()
{
    return BufsOf("12345");
}

auto Pool()
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
    return std::make_shared<details::CClientAround<CRecording<ICloudClient>>>(CAnswers(recorder));
}

std::shared_ptr<ICloudVersioningUtils> RecordingVersioning(CRecorder& recorder)
{
    return std::make_shared<details::CVersioningAround<CRecording<ICloudVersioningUtils>>>(CAnswers(recorder));
}

// One row of a table: the operation's name, and its call.
#define BUCKETRY_CALL(...)                                                                                             \
    {                                                                                                                  \
        NameIn(#__VA_ARGS__), [](auto& c) { return SText::Of(c.__VA_ARGS__); }                                         \
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
