// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"
#include "bucketry/client.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace bucketry
{

namespace s3wire::s3
{
struct SS3Stats;
}

namespace details
{

/// The kinds of requests that are counted; a kind's id is its row.
struct BUCKETRY_API RequestIDArrayGenerator
{
    struct SRow
    {
        unsigned int m_id;
        std::size_t m_nameLength;
        char const* m_name;
    };

    static constexpr std::size_t size = 44;
    static constexpr std::array<char const*, size> names{
        "DownloadFile",
        "UploadFile",
        "CopyFile",
        "DeleteFile",
        "DeleteFileList",
        "GetFileSize",
        "IsObjectExist",
        "IsFileExistAsync",
        "CreateFolder",
        "DeleteFolder",
        "GetFolderSize",
        "IsFolderExist",
        "QueryFolder",
        "GetStorageQuota",
        "GetConcurrentTaskLimit",
        "GetCloudContainerName",
        "CreateAsyncTaskUtils",
        "StartDownload",
        "StartUpload",
        "GetVersioningUtils",
        "IsVersioningEnabled",
        "RetrieveArchive",
        "GetArchiveRetrievalStatus",
        "GetObjectCount",
        "DownloadFileVersion",
        "UploadFileVersion",
        "UploadFileWithMetadata",
        "CopyFileVersion",
        "UpdateFileVersionImmutability",
        "GetFileVersionImmutability",
        "GetFileVersionMetadata",
        "DeleteFileVersion",
        "DeleteFileVersionList",
        "DeleteFolderAllVersions",
        "QueryFileVersions",
        "QueryFolderVersions",
        "QuerySubfolders",
        "GetFileVersionSize",
        "Lock",
        "CopyFileInterRegionAsync",
        "GetFileInterRegionSource",
        "GetServerTime",
        "StartBatchRestoreJob",
        "GetBatchJobStatus",
    };

    static constexpr std::array<SRow, size> value = []<std::size_t... I>(std::index_sequence<I...>)
    {
        return std::array<SRow, size>{SRow{I, std::string_view(names[I]).size(), names[I]}...};
    }
    (std::make_index_sequence<size>{});
};

} // namespace details

/// One counter for each kind of request of a generator's table; a slot's position is the kind's id.
template <class TGenerator, class TCounter>
class CRequestStatisticsArrayBase
{
public:
    struct SSlot
    {
        unsigned int m_id;
        std::size_t m_nameLength;
        char const* m_name;
        TCounter m_value;
    };

    CRequestStatisticsArrayBase() : CRequestStatisticsArrayBase(std::make_index_sequence<TGenerator::value.size()>{}) {}

    SSlot& operator[](std::size_t id) { return m_slots[id]; }
    SSlot const& operator[](std::size_t id) const { return m_slots[id]; }
    static constexpr std::size_t size() { return TGenerator::value.size(); }
    auto begin() { return m_slots.begin(); }
    auto end() { return m_slots.end(); }
    auto begin() const { return m_slots.begin(); }
    auto end() const { return m_slots.end(); }

private:
    template <std::size_t... I>
    explicit CRequestStatisticsArrayBase(std::index_sequence<I...>)
        : m_slots{
              {SSlot{TGenerator::value[I].m_id, TGenerator::value[I].m_nameLength, TGenerator::value[I].m_name, {}}...}}
    {
    }

    std::array<SSlot, TGenerator::value.size()> m_slots;
};

/// A snapshot of counters.
struct BUCKETRY_API SCloudStatisticsValues
{
    std::uint64_t m_downloadedBytes = 0;
    std::uint64_t m_uploadedBytes = 0;
    CRequestStatisticsArrayBase<details::RequestIDArrayGenerator, unsigned long> m_requests;

    SCloudStatisticsValues& operator+=(SCloudStatisticsValues const& other);
    /// Logs all counters as one text, at info level on `statistics_log`.
    void WriteToLog() const;
};

/// The process-wide registry of traffic and request counters, by name. Any thread; counting takes no lock. A snapshot
/// is not one atomic picture, and a reset may lose what is counted at the same moment.
class BUCKETRY_API CCloudStatisticsManager
{
public:
    /// The live counters of one name.
    struct BUCKETRY_API SCloudStatisticsItem
    {
        std::atomic<std::uint64_t> m_downloadedBytes{0};
        std::atomic<std::uint64_t> m_uploadedBytes{0};
        CRequestStatisticsArrayBase<details::RequestIDArrayGenerator, std::atomic<std::uint64_t>> m_requests;

        void Reset();
        SCloudStatisticsValues ConvertToStatisticsValues() const;
    };

    /// What counts into one item; copied freely. Any thread.
    class BUCKETRY_API CWriter
    {
    public:
        CWriter(std::shared_ptr<SCloudStatisticsItem> item, std::shared_ptr<bool> token);

        void UpdateDownloadCounter(unsigned long bytes) const { m_item->m_downloadedBytes += bytes; }
        void UpdateUploadCounter(unsigned long bytes) const { m_item->m_uploadedBytes += bytes; }
        /// One more request of the kind `id`.
        void CountRequest(std::size_t id) const { ++m_item->m_requests[id].m_value; }

    private:
        std::shared_ptr<SCloudStatisticsItem> m_item;
        std::shared_ptr<bool> m_token; ///< shared by all writers of the item: tells that one is alive
    };

    /// Built at the first call, destroyed at process exit.
    static CCloudStatisticsManager& Instance();

    /// Writers of one name that are alive together share its counters; the first one after a while without any starts
    /// them at zero. Throws std::exception if there is no memory for a new name.
    CWriter AddWriter(std::string const& name);
    /// None if the name is unknown. A name can be read after its last writer has gone.
    std::optional<SCloudStatisticsValues> GetCloudStatisticsValues(std::string const& name) const;
    /// The sum over all names.
    SCloudStatisticsValues GetCloudStatisticsValues() const;
    /// The counters of the S3 REST layer, of the whole process; always there.
    std::optional<s3wire::s3::SS3Stats> GetS3StatisticsValues() const;
    void ResetCloudStatistics();
    void ResetCloudStatistics(std::string const& name);

private:
    struct SCloudStatisticsAutoDeletingItem
    {
        std::shared_ptr<SCloudStatisticsItem> m_item;
        std::weak_ptr<bool> m_writerToken;
    };

    struct SClientStatisticsHolder
    {
        std::unordered_map<std::string, SCloudStatisticsAutoDeletingItem> m_items; ///< guarded by m_mutex
        mutable std::shared_mutex m_mutex;
    };

    CCloudStatisticsManager();
    /// Null if the name is unknown. Call it under the lock.
    std::shared_ptr<SCloudStatisticsItem> GetCloudStatisticsItem(std::string const& name) const;

    std::shared_ptr<SClientStatisticsHolder> m_holder;
};

/// A client that counts each request and the bytes of each transfer of `client` under `name`, its streams and
/// versioning operations among them. A request counts before it is made, bytes when they have been transferred.
BUCKETRY_API std::shared_ptr<ICloudClient> WrapCloudClientInStatistics(std::string const& name,
                                                                       std::shared_ptr<ICloudClient> client);

/// A client that reports the start and the end of each operation of `client` to the perf sink; `client` itself if
/// perf::IsPerfLogEnabled() is false. Versioned operations raise no events.
BUCKETRY_API std::shared_ptr<ICloudClient> WrapCloudClientIfPerfEnabled(std::shared_ptr<ICloudClient> client);

} // namespace bucketry
