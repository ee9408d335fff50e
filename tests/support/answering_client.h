#pragma once

#include "bucketry/client.h"

#include <utility>

// Overrides one operation of 0 to 6 arguments with a call of m_answers.Answer<TResult>(name, argument...).
#define BUCKETRY_ANSWER0(result, name, qualifier)                                                                      \
    result name() qualifier override                                                                                   \
    {                                                                                                                  \
        return m_answers.template Answer<result>(#name);                                                               \
    }
#define BUCKETRY_ANSWER1(result, name, A)                                                                              \
    result name(A a) override                                                                                          \
    {                                                                                                                  \
        return m_answers.template Answer<result>(#name, a);                                                            \
    }
#define BUCKETRY_ANSWER2(result, name, A, B)                                                                           \
    result name(A a, B b) override                                                                                     \
    {                                                                                                                  \
        return m_answers.template Answer<result>(#name, a, b);                                                         \
    }
#define BUCKETRY_ANSWER3(result, name, A, B, C)                                                                        \
    result name(A a, B b, C c) override                                                                                \
    {                                                                                                                  \
        return m_answers.template Answer<result>(#name, a, b, c);                                                      \
    }
#define BUCKETRY_ANSWER4(result, name, A, B, C, D)                                                                     \
    result name(A a, B b, C c, D d) override                                                                           \
    {                                                                                                                  \
        return m_answers.template Answer<result>(#name, a, b, c, d);                                                   \
    }
#define BUCKETRY_ANSWER5(result, name, A, B, C, D, E)                                                                  \
    result name(A a, B b, C c, D d, E e) override                                                                      \
    {                                                                                                                  \
        return m_answers.template Answer<result>(#name, a, b, c, d, e);                                                \
    }
#define BUCKETRY_ANSWER6(result, name, A, B, C, D, E, F)                                                               \
    result name(A a, B b, C c, D d, E e, F f) override                                                                 \
    {                                                                                                                  \
        return m_answers.template Answer<result>(#name, a, b, c, d, e, f);                                             \
    }

/// Both interfaces in slot order, one row per operation: what the doubles stand on.
namespace bucketry::testing
{

using path_t = std::string const&;
using task_t = std::shared_ptr<task::IAsyncTask>;
using bufs_t = ICloudClient::bufs_t;
using pool_t = ICloudClient::pool_t;
using version_out_t = ICloudVersioningUtils::version_out_t;
using immutable_till_t = ICloudVersioningUtils::immutable_till_t;
using objects_t = std::vector<SCloudObjectInfo>;
using versions_t = std::vector<SCloudObjectPathVersionPair>;
using source_t = std::shared_ptr<ICloudInterRegionSource>;
using status_t = std::shared_ptr<SArchiveRetrievalStatus>;
using archive_options_t = SRetrieveArchiveOptions const&;
using lock_port_t = std::shared_ptr<synch::completion_port_t>;

/// A client that answers every operation with `answers.Answer<TResult>(char const* name, arguments...)`.
template <class TAnswers>
class CAnsweringClient : public ICloudClient
{
public:
    explicit CAnsweringClient(TAnswers answers) : m_answers(std::forward<TAnswers>(answers)) {}

    BUCKETRY_ANSWER3(task_t, DownloadFileAsync, path_t, bufs_t, pool_t)
    BUCKETRY_ANSWER5(task_t, DownloadFileAsync, path_t, bufs_t, pool_t, unsigned long, unsigned long)
    BUCKETRY_ANSWER2(task_t, UploadFileAsync, path_t, bufs_t)
    BUCKETRY_ANSWER2(task_t, CopyFileAsync, path_t, path_t)
    BUCKETRY_ANSWER1(task_t, DeleteFileAsync, path_t)
    BUCKETRY_ANSWER1(task_t, DeleteFileListAsync, std::vector<std::string> const&)
    BUCKETRY_ANSWER1(std::uint64_t, GetFileSize, path_t)
    BUCKETRY_ANSWER1(bool, IsFileExist, path_t)
    BUCKETRY_ANSWER2(task_t, IsFileExistAsync, path_t, std::shared_ptr<bool>)
    BUCKETRY_ANSWER1(task_t, CreateFolderAsync, path_t)
    BUCKETRY_ANSWER2(task_t, DeleteFolderAsync, path_t, std::shared_ptr<progress::progress_base_t>)
    BUCKETRY_ANSWER1(std::uint64_t, GetFolderSize, path_t)
    BUCKETRY_ANSWER1(bool, IsFolderExist, path_t)
    BUCKETRY_ANSWER1(objects_t, QueryFolder, path_t)
    BUCKETRY_ANSWER2(task_t, QueryFolderAsync, path_t, std::shared_ptr<objects_t>)
    BUCKETRY_ANSWER2(task_t, QueryFolderAsync, path_t, std::function<void(objects_t const&)>)
    BUCKETRY_ANSWER1(std::uint64_t, GetObjectCount, path_t)
    BUCKETRY_ANSWER0(std::int64_t, GetStorageQuota, )
    BUCKETRY_ANSWER0(std::uint32_t, GetConcurrentTaskLimit, )
    BUCKETRY_ANSWER0(std::string, GetCloudContainerName, )
    BUCKETRY_ANSWER1(std::string, GetAbsolutePath, path_t)
    BUCKETRY_ANSWER0(std::shared_ptr<task::IAsyncTaskUtils>, CreateAsyncTaskUtils, )
    BUCKETRY_ANSWER1(std::shared_ptr<ICloudDownload>, StartDownload, path_t)
    BUCKETRY_ANSWER2(std::shared_ptr<ICloudUpload>, StartUpload, path_t, unsigned long)
    BUCKETRY_ANSWER0(std::shared_ptr<ICloudVersioningUtils>, GetVersioningUtils, )
    BUCKETRY_ANSWER0(bool, IsVersioningEnabled, const)
    BUCKETRY_ANSWER1(source_t, GetFileInterRegionSource, path_t)
    BUCKETRY_ANSWER1(bool, IsFileInterRegionSourceCompatible, source_t)
    BUCKETRY_ANSWER2(task_t, CopyFileInterRegionAsync, source_t, path_t)
    BUCKETRY_ANSWER3(task_t, RetrieveArchiveAsync, path_t, path_t, archive_options_t)
    BUCKETRY_ANSWER2(task_t, GetArchiveRetrievalStatusAsync, path_t, status_t)
    BUCKETRY_ANSWER0(EArchiveRetrievalBehavior, GetArchiveRetrievalBehavior, const)
    BUCKETRY_ANSWER3(std::shared_ptr<ICloudLock>, Lock, path_t, SCloudLockParams const&, lock_port_t)
    BUCKETRY_ANSWER0(std::shared_ptr<CServerTime>, GetServerTime, )
    BUCKETRY_ANSWER2(SBatchJobInfo, StartBatchRestoreJob, SBatchManifestInfo const&, archive_options_t)
    BUCKETRY_ANSWER1(SBatchJobStatus, GetBatchJobStatus, SBatchJobInfo const&)

private:
    TAnswers m_answers;
};

/// The same for the versioning operations.
template <class TAnswers>
class CAnsweringVersioning : public ICloudVersioningUtils
{
public:
    explicit CAnsweringVersioning(TAnswers answers) : m_answers(std::forward<TAnswers>(answers)) {}

    BUCKETRY_ANSWER4(task_t, DownloadFileVersionAsync, path_t, path_t, bufs_t, pool_t)
    BUCKETRY_ANSWER6(task_t, DownloadFileVersionAsync, path_t, path_t, bufs_t, pool_t, unsigned long, unsigned long)
    BUCKETRY_ANSWER4(task_t, UploadFileAsync, path_t, bufs_t, version_out_t, immutable_till_t)
    BUCKETRY_ANSWER5(task_t, UploadFileWithMetadataAsync, path_t, bufs_t, object_metadata_t const&, version_out_t,
                     immutable_till_t)
    BUCKETRY_ANSWER5(task_t, CopyFileVersionAsync, path_t, path_t, path_t, version_out_t, immutable_till_t)
    BUCKETRY_ANSWER3(task_t, UpdateFileVersionImmutabilityAsync, path_t, path_t, datetime::CDateTime)
    BUCKETRY_ANSWER3(task_t, GetFileVersionImmutabilityAsync, path_t, path_t, std::shared_ptr<immutable_till_t>)
    BUCKETRY_ANSWER3(task_t, GetFileVersionMetadataAsync, path_t, path_t, std::shared_ptr<object_metadata_t>)
    BUCKETRY_ANSWER2(task_t, DeleteFileVersionAsync, path_t, path_t)
    BUCKETRY_ANSWER1(task_t, DeleteFileVersionListAsync, versions_t const&)
    BUCKETRY_ANSWER1(task_t, DeleteFolderAllVersionsAsync, path_t)
    BUCKETRY_ANSWER2(task_t, QueryFileVersionsAsync, path_t, std::shared_ptr<std::vector<SCloudObjectVersion>>)
    BUCKETRY_ANSWER2(task_t, QueryFolderVersionsAsync, path_t, std::shared_ptr<versions_t>)
    BUCKETRY_ANSWER2(task_t, QueryFolderVersionsAsync, path_t, std::function<void(versions_t const&)>)
    BUCKETRY_ANSWER2(task_t, QuerySubfoldersAsync, path_t, std::shared_ptr<std::vector<std::string>>)
    BUCKETRY_ANSWER2(std::shared_ptr<ICloudDownload>, StartDownload, path_t, path_t)
    BUCKETRY_ANSWER3(std::shared_ptr<ICloudUploadVersioned>, StartUpload, path_t, unsigned long, immutable_till_t)
    BUCKETRY_ANSWER4(task_t, RetrieveArchiveAsync, path_t, path_t, path_t, archive_options_t)
    BUCKETRY_ANSWER3(task_t, GetArchiveRetrievalStatusAsync, path_t, path_t, status_t)
    BUCKETRY_ANSWER2(std::uint64_t, GetFileVersionSize, path_t, path_t)
    BUCKETRY_ANSWER4(task_t, CopyFileInterRegionAsync, source_t const&, path_t, version_out_t, immutable_till_t)
    BUCKETRY_ANSWER2(source_t, GetFileInterRegionSource, path_t, path_t)
    BUCKETRY_ANSWER3(task_t, CheckAndUpdateImmutabilityAsync, path_t, path_t, datetime::CDateTime const&)
    BUCKETRY_ANSWER2(task_t, DeleteFileVersionIgnoreImmutabilityAsync, path_t, path_t)

private:
    TAnswers m_answers;
};

} // namespace bucketry::testing
