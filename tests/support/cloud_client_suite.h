// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

/// What every client has to do, whatever stands behind it. A room's tests run it over their client with
///
///     INSTANTIATE_TEST_SUITE_P(Rooms, CloudClientSuite, ::testing::Values(SBackend{...}), BackendName);
namespace bucketry::testing
{

/// Where a client differs on purpose.
struct SBackendTraits
{
    bool keepsVersions = false;      ///< IsVersioningEnabled, and uploads yield version ids
    bool walksFolders = true;        ///< sizes and counts at every depth, and listings as tasks; else they are refused
    bool hasStreams = true;          ///< StartUpload and StartDownload; else they are refused
    bool streamsRawBodies = false;   ///< StartUpload stores what comes as it comes, StartDownload is refused
    bool hasRealFolders = false;     ///< folders are there or not; else a folder is only the prefix of a key
    bool foldersNeedMarkers = false; ///< IsFolderExist finds only what CreateFolderAsync has made
    bool checksDeletedExist = false; ///< deleting a missing object fails
    std::size_t listingPage = 1000;  ///< entries in one page of a listing
    std::size_t storedOverhead = 0;  ///< bytes that listings tell above the size of a small body
    bool tellsPlainSizes = true;     ///< GetFileSize is the size of the body
    std::string moreNames{};         ///< bytes that names may hold beside printable ASCII and UTF-8
};

struct SBackend
{
    std::string name;
    SBackendTraits traits;
    /// A client over an empty container. What it needs lives as long as the pointer.
    std::function<std::shared_ptr<ICloudClient>()> make;
};

void PrintTo(SBackend const& backend, std::ostream* out);
std::string BackendName(::testing::TestParamInfo<SBackend> const& info);

class CloudClientSuite : public ::testing::TestWithParam<SBackend>
{
protected:
    void SetUp() override { m_client = GetParam().make(); }

    SBackendTraits const& Traits() const { return GetParam().traits; }
    void Put(std::string const& path, std::string const& body);
    std::string Get(std::string const& path);
    std::string Get(std::string const& path, unsigned long offset, unsigned long length);
    /// A small object's entry in a listing, as the tests show it.
    std::string Listed(std::string const& name, std::size_t size) const;

    std::shared_ptr<ICloudClient> m_client;
};

} // namespace bucketry::testing
