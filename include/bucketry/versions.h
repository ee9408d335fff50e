// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/base/datetime.h"
#include "bucketry/base/export.h"
#include "bucketry/client.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Versions of objects and their immutability, on any client: which is the oldest or newest, what a folder holds, how
/// to get rid of them, and how to make one last. A version's age is its time of modification and nothing else.
///
/// Functions that give a task fail as ICloudClient says; the others block and throw what the task would. A client
/// without versions is refused with exc::CRuntimeExc from the call, unless a function says that it serves one. None
/// takes a lock in the store: two runs on one object at a time are the caller's matter. Any thread.
namespace bucketry
{

/// Whether a date is far enough ahead to be asked for as retention.
class BUCKETRY_API CImmutabilityUtils
{
public:
    /// The date itself if it lies at least options_t::GetMinImmutabilitySec() ahead of CCurrentTimeAccessor's clock,
    /// else none, with a warning in the log unless `noWarning`. No date gives none, without a warning.
    static std::optional<datetime::CDateTime> CheckImmutabilityPeriod(datetime::CDateTime const& date, bool noWarning);
    static std::optional<datetime::CDateTime> CheckImmutabilityPeriod(datetime::CDateTime const& date);
    static std::optional<datetime::CDateTime> CheckImmutabilityPeriod(std::optional<datetime::CDateTime> const& date,
                                                                      bool noWarning);
    static std::optional<datetime::CDateTime> CheckImmutabilityPeriod(std::optional<datetime::CDateTime> const& date);
};

// ---- Order and enumeration
// -------------------------------------------------------------------------------------------

/// Sorts by time; the order of equal times is undefined, and versions of several objects mix. Throws exc::CRuntimeExc
/// for an unknown order.
BUCKETRY_API void SortCloudObjectVersions(std::vector<SCloudObjectVersion>& versions,
                                          ECloudObjectVersionSortOrder order);
BUCKETRY_API void SortCloudObjectVersions(std::vector<SCloudObjectPathVersionPair>& versions,
                                          ECloudObjectVersionSortOrder order);

/// The version ids of an object.
/// \param result  must not be null; ids are appended, and may be read when the task has ended
BUCKETRY_API std::shared_ptr<task::IAsyncTask> EnumAllVersionsOfObjectAsync(
    ICloudClient& client, std::string const& path, std::shared_ptr<std::vector<std::string>> const& result,
    ECloudObjectVersionSortOrder order);
BUCKETRY_API std::vector<std::string> EnumAllVersionsOfObject(ICloudClient& client, std::string const& path,
                                                              ECloudObjectVersionSortOrder order);
BUCKETRY_API std::vector<std::string> EnumAllVersionsOfObject(std::shared_ptr<ICloudClient> const& client,
                                                              std::string const& path,
                                                              ECloudObjectVersionSortOrder order);

// What follows puts "/" between the folder as it is given and each name, holds the whole listing, and counts subfolders
// as entries with an empty version id.

/// Version ids by full path, in the order of the listing. A client without versions gives one empty id for each name.
BUCKETRY_API std::map<std::string, std::vector<std::string>> EnumAllVersionsOfObjectsInFolder(
    std::shared_ptr<ICloudClient> const& client, std::string const& path);
/// The oldest version's id by name.
BUCKETRY_API std::map<std::string, std::string> EnumOldestVersionsOfObjectsInFolder(
    std::shared_ptr<ICloudClient> const& client, std::string const& path);
/// One row for each name, by name. A client without versions gives its listing as it is.
BUCKETRY_API std::vector<SObjectPath> EnumOldestVersionsOfObjectsPathInFolder(
    std::shared_ptr<ICloudClient> const& client, std::string const& path);
BUCKETRY_API std::vector<SObjectPath> EnumNewestVersionsOfObjectsPathInFolder(
    std::shared_ptr<ICloudClient> const& client, std::string const& path);

// ---- Deleting
// --------------------------------------------------------------------------------------------------------

/// Deletes all versions of an object, or all but the newest; one request lists and one deletes. Delete markers stay.
/// The client must outlive the task.
BUCKETRY_API std::shared_ptr<task::IAsyncTask> DeleteAllVersions(std::string const& path, ICloudClient& client,
                                                                 bool keepNewest);
BUCKETRY_API std::shared_ptr<task::IAsyncTask> DeleteAllVersions(std::string const& path, ICloudClient& client);
/// The same; deletes the object of a client without versions. The caller keeps the client until the task has ended.
BUCKETRY_API std::shared_ptr<task::IAsyncTask> DeleteAllVersions(std::string const& path,
                                                                 std::shared_ptr<ICloudClient> client);
/// Deletes the versions without a retention that lasts to `date`, one after the other from the oldest. False if some
/// stayed for it. The store refuses one whose retention still runs: that ends the function, later versions stay.
BUCKETRY_API bool DeleteAllVersions(std::string const& path, std::shared_ptr<ICloudClient> client,
                                    datetime::CDateTime const& date, bool keepNewest);

// ---- Workflows
// ------------------------------------------------------------------------------------------------------- What protects
// or adds comes first, what deletes comes last: an interruption leaves more versions than wanted, never fewer, and
// another run ends what it left.

/// Until when a version is immutable. Asks any client's versioning operations, without a look at IsVersioningEnabled.
BUCKETRY_API std::optional<datetime::CDateTime> GetImmutability(std::shared_ptr<ICloudClient> const& client,
                                                                std::string const& path, std::string const& version);
/// Moves a version's date to `date`, unless it is that or later. A refusal of the store, also one that a later date
/// explains, is a failure.
BUCKETRY_API void UpdateImmutability(std::shared_ptr<ICloudClient> const& client, std::string const& path,
                                     std::string const& version, datetime::CDateTime const& date);
BUCKETRY_API std::shared_ptr<task::IAsyncTask> UpdateImmutabilityAsync(std::shared_ptr<ICloudClient> const& client,
                                                                       std::string const& path,
                                                                       std::string const& version,
                                                                       datetime::CDateTime const& date);
/// Makes the newest version immutable until `date`, and then deletes the older ones, all at once; those under a running
/// lock stay. Nothing happens if there is no object.
BUCKETRY_API std::shared_ptr<task::IAsyncTask> CheckObjectExistsCleanupAndUpdateImmutabilityAsync(
    std::shared_ptr<ICloudClient> const& client, std::string const& path, datetime::CDateTime const& date);
/// Stores a version without retention, and then deletes those that were there before. A client without versions
/// uploads.
BUCKETRY_API std::shared_ptr<task::IAsyncTask> SubstituteNonImmutableFileAsync(
    std::shared_ptr<ICloudClient> const& client, std::string const& path,
    std::shared_ptr<io::block::CPooledBuf> const& buffer);

/// Downloads the first version in that order: the newest or the oldest. CObjectStorageException with status 404 if
/// there is none. A client without versions downloads the object. The client must outlive the task, in all forms.
BUCKETRY_API std::shared_ptr<task::IAsyncTask> DownloadVersionAsync(ICloudClient& client, std::string const& path,
                                                                    ECloudObjectVersionSortOrder order,
                                                                    std::shared_ptr<io::block::CPooledBuf> buffer,
                                                                    std::shared_ptr<io::block::bufs_pool_t> pool);
BUCKETRY_API std::shared_ptr<task::IAsyncTask> DownloadVersionAsync(std::shared_ptr<ICloudClient> const& client,
                                                                    std::string const& path,
                                                                    ECloudObjectVersionSortOrder order,
                                                                    std::shared_ptr<io::block::CPooledBuf> buffer,
                                                                    std::shared_ptr<io::block::bufs_pool_t> pool);
BUCKETRY_API std::shared_ptr<task::IAsyncTask> DownloadOldestVersionAsync(std::shared_ptr<ICloudClient> const& client,
                                                                          std::string const& path,
                                                                          std::shared_ptr<io::block::CPooledBuf> buffer,
                                                                          std::shared_ptr<io::block::bufs_pool_t> pool);

} // namespace bucketry
