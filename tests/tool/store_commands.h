// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/text.h"
#include "bucketry/s3.h"
#include "cli.h"
#include "support/temp_dir.h"

#include <bucketry/simulator.h>

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <sstream>

namespace bucketry::tool
{

/// Commands of this process over a simulated store, in whose specification a test may change something.
class StoreCommands : public ::testing::Test
{
protected:
    explicit StoreCommands(simulator::SSimulatorOptions const& options, simulator::SBucketOptions const& bucket = {})
        : m_store(options)
    {
        m_store.CreateBucket("example", bucket);
        simulator::SAccessKey const key;
        m_spec.BucketAddr.ApiEndpoint = m_store.Endpoint();
        m_spec.BucketAddr.BucketName = "example";
        m_spec.Credentials.Keys = s3::SS3CredentialsKeys{key.m_id, key.m_secret, {}};
        m_spec.Options.ObjectLockEnabledOnBucket = bucket.m_objectLock;
        Write("store.xml", m_spec.Serialize());
    }

    void Write(std::string const& name, std::string const& text) const
    {
        std::ofstream(m_folder.Path() / name) << text;
    }

    /// What the command writes, or "STATUS: MESSAGE" if it fails. NAME is the temporary directory.
    std::string Run(std::string const& text, std::string const& storage = "--spec NAME/store.xml")
    {
        std::istringstream line(
            util::str_replace("bucketry " + storage + " " + text, "NAME", m_folder.Path().string()));
        std::vector<std::string> const words(std::istream_iterator<std::string>(line), {});
        std::vector<char const*> argv;
        argv.reserve(words.size());
        for (std::string const& word : words)
        {
            argv.push_back(word.c_str());
        }
        CCli cli;
        AddObjectCommands(cli);
        AddFolderCommands(cli);
        AddArchiveCommands(cli);
        AddVersionCommands(cli);
        ::testing::internal::CaptureStdout();
        ::testing::internal::CaptureStderr();
        int const status = cli.Run(static_cast<int>(argv.size()), argv.data());
        std::fflush(nullptr);
        std::string const out = ::testing::internal::GetCapturedStdout();
        std::string const messages = ::testing::internal::GetCapturedStderr();
        return status == ExitOk ? out : std::to_string(status) + ": " + messages;
    }

    simulator::CSimulator m_store;
    s3::SS3ClientConnSpec m_spec;
    bucketry::testing::CTempDir const m_folder;
};

} // namespace bucketry::tool
