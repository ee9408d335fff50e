// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/exceptions.h"
#include "bucketry/client.h"
#include "s3wire/streams.h"

#include <optional>
#include <string>

namespace bucketry::s3::detail
{

/// Throws exc::CRuntimeExc for a storage class of another kind of store.
void CheckIsAmazonS3(s3wire::s3::CObjectStorageClass const& storageClass);

/// What streamed uploads with and without versions share. The REST client must outlive it. One caller at a time;
/// failures are those of the REST layer, unchanged.
template <class TUpload>
class CStreamedUpload : public TUpload
{
public:
    /// Throws as CheckIsAmazonS3 does.
    CStreamedUpload(s3wire::s3::CS3WireClient& client, std::string const& bucket, std::string const& key,
                    unsigned long size, s3wire::s3::CObjectStorageClass const& storageClass,
                    s3wire::s3::SObjectLockConfig const& lock, s3wire::s3::CS3WireClient::metadata_t const& metadata,
                    s3wire::s3::CS3WireClient::metadata_t const& headers,
                    s3wire::s3::SPutObjectExtraAgruments const& extra)
        : m_stream(client, bucket, key, size, storageClass, lock, metadata, headers, extra)
    {
        CheckIsAmazonS3(storageClass);
    }

    void Write(unsigned char const* data, unsigned long size) override { m_stream.Write(data, size); }
    void WriteZeroes(unsigned long size) override { m_stream.WriteZeroes(size); }
    void Flush() override { m_stream.Flush(); }
    std::optional<std::string> Finish() override
    {
        auto const result = m_stream.Finish();
        return result ? std::optional(result->m_result) : std::nullopt;
    }

protected:
    s3wire::s3::CS3WireWriteStream m_stream;
};

/// A streamed upload without versions.
class CS3Upload final : public CStreamedUpload<ICloudUpload>
{
public:
    CS3Upload(s3wire::s3::CS3WireClient& client, std::string const& bucket, std::string const& key, unsigned long size,
              s3wire::s3::CObjectStorageClass const& storageClass,
              s3wire::s3::CS3WireClient::metadata_t const& metadata,
              s3wire::s3::CS3WireClient::metadata_t const& headers, s3wire::s3::SPutObjectExtraAgruments const& extra)
        : CStreamedUpload(client, bucket, key, size, storageClass, {}, metadata, headers, extra)
    {
    }
};

/// A streamed upload of a version, which may be locked.
class CS3UploadVersioned final : public CStreamedUpload<ICloudUploadVersioned>
{
public:
    CS3UploadVersioned(s3wire::s3::CS3WireClient& client, std::string const& bucket, std::string const& key,
                       unsigned long size, s3wire::s3::CObjectStorageClass const& storageClass,
                       s3wire::s3::SObjectLockConfig const& lock)
        : CStreamedUpload(client, bucket, key, size, storageClass, lock, {}, {}, {})
    {
    }

    /// Empty, without a failure, from a bucket that keeps no versions.
    std::string FinishVersioned() override;
};

/// A streamed download with a REST client of its own. One caller at a time; failures are those of the REST layer,
/// unchanged.
class CS3Download final : public ICloudDownload
{
public:
    CS3Download(s3wire::s3::CS3WireClient const& client, std::string const& bucket, std::string const& key,
                std::string const& version)
        : m_stream(client, bucket, key, version)
    {
    }

    void Read(unsigned char* buffer, unsigned long offset, unsigned long length) override
    {
        if (m_stream.Read(buffer, length, offset) < length)
        {
            throw exc::CRuntimeExc("The object ends before the range to read: offset %1, length %2, size %3", offset,
                                   length, ObjectSize());
        }
    }
    std::uint64_t ObjectSize() override { return m_stream.ObjectSize(); }

private:
    s3wire::s3::CS3WireReadStream m_stream;
};

} // namespace bucketry::s3::detail
