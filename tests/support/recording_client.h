#pragma once

#include "bucketry/client.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// One table of all operations, which drives every decorator: one row per operation, overloads included.
namespace bucketry::testing
{

/// How the recorded operations end.
enum class EOutcome
{
    Succeed,
    ThrowFromCall, ///< a CObjectStorageException with status 503
    FailTask       ///< the same, from the task; operations without a task throw it
};

/// Notes every call with its arguments, and answers each with a result of its own. Any thread.
class CRecorder
{
public:
    EOutcome m_outcome = EOutcome::Succeed;

    std::vector<std::string> Seen() const;

    template <class TResult, class... TArgs>
    TResult Answer(char const* operation, TArgs const&... args)
    {
        std::string text = operation;
        ((text += " " + ToText(args)), ...);
        Note(std::move(text));
        return Result(std::type_identity<TResult>());
    }

private:
    static std::string ToText(std::string const& value) { return value; }
    static std::string ToText(std::vector<std::string> const& values);
    static std::string ToText(std::vector<SCloudObjectPathVersionPair> const& values);
    static std::string ToText(object_metadata_t const& values);
    static std::string ToText(datetime::CDateTime const& value) { return value.toStdString(); }
    static std::string ToText(std::optional<datetime::CDateTime> const& value);
    static std::string ToText(SRetrieveArchiveOptions const& value);
    static std::string ToText(SCloudLockParams const& value) { return std::to_string(value.m_keepAliveMsec); }
    static std::string ToText(SBatchManifestInfo const& value) { return value.m_objectArn + value.m_eTag; }
    static std::string ToText(SBatchJobInfo const& value) { return value.m_jobId; }
    static std::string ToText(unsigned long value) { return std::to_string(value); }
    template <class T>
    static std::string ToText(std::shared_ptr<T> const& value)
    {
        return value ? "set" : "null";
    }
    template <class T>
    static std::string ToText(std::function<T> const& value)
    {
        return value ? "set" : "null";
    }

    void Note(std::string text);
    [[noreturn]] static void Fail();

    template <class T>
    T Result(std::type_identity<T>)
    {
        return T(4711);
    }
    bool Result(std::type_identity<bool>) { return true; }
    std::string Result(std::type_identity<std::string>) { return "text"; }
    EArchiveRetrievalBehavior Result(std::type_identity<EArchiveRetrievalBehavior>)
    {
        return EArchiveRetrievalBehavior::NotNeeded;
    }
    SBatchJobInfo Result(std::type_identity<SBatchJobInfo>) { return {"job-4711"}; }
    SBatchJobStatus Result(std::type_identity<SBatchJobStatus>) { return {SBatchJobStatus::Finished, "Complete"}; }
    std::vector<SCloudObjectInfo> Result(std::type_identity<std::vector<SCloudObjectInfo>>)
    {
        return {{"one", 1, false}, {"two", 0, true}};
    }
    std::shared_ptr<task::IAsyncTask> Result(std::type_identity<std::shared_ptr<task::IAsyncTask>>);
    std::shared_ptr<task::IAsyncTaskUtils> Result(std::type_identity<std::shared_ptr<task::IAsyncTaskUtils>>);
    std::shared_ptr<ICloudDownload> Result(std::type_identity<std::shared_ptr<ICloudDownload>>);
    std::shared_ptr<ICloudUpload> Result(std::type_identity<std::shared_ptr<ICloudUpload>>);
    std::shared_ptr<ICloudUploadVersioned> Result(std::type_identity<std::shared_ptr<ICloudUploadVersioned>>);
    std::shared_ptr<ICloudVersioningUtils> Result(std::type_identity<std::shared_ptr<ICloudVersioningUtils>>);
    std::shared_ptr<ICloudInterRegionSource> Result(std::type_identity<std::shared_ptr<ICloudInterRegionSource>>);
    std::shared_ptr<ICloudLock> Result(std::type_identity<std::shared_ptr<ICloudLock>>);
    std::shared_ptr<CServerTime> Result(std::type_identity<std::shared_ptr<CServerTime>>);

    mutable std::mutex m_mutex;
    std::vector<std::string> m_seen;
};

/// A client, and the versioning operations, that only record. The recorder must outlive them. Streams record, too.
std::shared_ptr<ICloudClient> RecordingClient(CRecorder& recorder);
std::shared_ptr<ICloudVersioningUtils> RecordingVersioning(CRecorder& recorder);

/// One operation, called with fixed arguments; gives a text of its result, for a task after waiting for it.
template <class TInterface>
struct SOperation
{
    std::string m_name;
    std::function<std::string(TInterface&)> m_call;
};

/// One row per operation, in slot order.
std::vector<SOperation<ICloudClient>> const& ClientOperations();
std::vector<SOperation<ICloudVersioningUtils>> const& VersioningOperations();

} // namespace bucketry::testing
