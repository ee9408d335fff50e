// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/buffers.h"
#include "bucketry/base/task.h"
#include "bucketry/s3wire/client.h"
#include "s3wire/wire/multipart_requests.h"

#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bucketry::s3wire::s3
{

/// Positioned reads of one object, in any order. Nothing is asked for before the first read. If the object is replaced
/// between two reads, the next one fails with status 412 instead of mixing the two. One caller at a time.
class CS3WireReadStream
{
public:
    CS3WireReadStream(CS3WireClient const& client, std::string const& bucket, std::string const& key,
                      std::string const& version);

    unsigned long ObjectSize();
    /// Reads up to `length` bytes from `offset` and gives their number: fewer only at the end of the object, 0 behind
    /// it.
    unsigned long Read(unsigned char* buffer, unsigned long length, unsigned long offset);

private:
    CS3WireClient const m_client;
    wire::SObjectRef const m_object;
    std::string m_eTag; ///< of the first answer
    std::optional<unsigned long> m_size;
};

/// Writes one object front to back. What fits one part goes out as one request at the end; anything longer as a
/// multipart upload, with up to four parts in flight while the next one fills. Memory: five parts of 8 MiB; parts grow
/// where 10000 of them would not suffice, and then fewer are in flight.
///
/// Nothing is sent before the first part is full and more follows. An unfinished stream that goes away waits for its
/// parts and aborts the upload. Where the store's answer to the begin of an upload is lost, an upload without parts
/// stays behind: it takes no room, and it cannot be told from another writer's, so it is not hunted for. After a
/// failure each operation throws the same again. One caller at a time.
class CS3WireWriteStream
{
public:
    /// `size`: the announced size of the object, 0 if unknown.
    CS3WireWriteStream(CS3WireClient& client, std::string const& bucket, std::string const& key, unsigned long size,
                       CObjectStorageClass const& storageClass, SObjectLockConfig const& lock,
                       CS3WireClient::metadata_t const& metadata, CS3WireClient::metadata_t const& headers,
                       SPutObjectExtraAgruments const& extra);
    CS3WireWriteStream(CS3WireWriteStream const&) = delete;
    CS3WireWriteStream& operator=(CS3WireWriteStream const&) = delete;
    ~CS3WireWriteStream();

    /// Throw exc::CRuntimeExc for more bytes than were announced; those take no effect.
    void Write(unsigned char const* data, unsigned long size);
    void WriteZeroes(unsigned long count);
    /// Waits for the parts in flight. What does not fill a part stays.
    void Flush();
    /// Completes the object. Throws exc::CRuntimeExc if another size was announced than written; none if the stream
    /// was finished before.
    std::optional<SMultipartUploadResult> Finish();

private:
    template <class TFill>
    void Append(unsigned long size, TFill const& fill);
    template <class TStep>
    auto Guarded(TStep const& step);
    void SendPart();
    void CollectOldestPart();
    void CollectAllParts();
    SMultipartUploadResult FinishSingle();
    SMultipartUploadResult FinishUpload();
    unsigned long PartSize() const;
    std::size_t PartsInFlight() const;

    CS3WireClient& m_client;
    wire::SUploadRef m_upload; ///< its id is empty before the upload has begun and after its end
    wire::SNewObject const m_properties;
    unsigned long const m_announced;
    unsigned long m_written = 0;
    std::shared_ptr<io::block::CPooledBuf> m_block; ///< the part that fills; null before its first byte
    unsigned m_partsSent = 0;
    std::deque<web::Task<std::string>> m_inFlight; ///< each gives the ETag of its part; the oldest first
    std::vector<std::string> m_eTags;              ///< of the parts before those
    bool m_finished = false;
    std::exception_ptr m_failure;
};

} // namespace bucketry::s3wire::s3
