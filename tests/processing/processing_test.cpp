// SPDX-License-Identifier: Apache-2.0
#include "bucketry/processing.h"
#include "bucketry/transfer.h"

#include "support/decorator_suite.h"
#include "support/log_capture.h"
#include "support/memory_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bucketry
{
namespace
{

using namespace testing;
using io::block::EBufTransformType;
using ::testing::HasSubstr;

crypto::SRawKeySetId IdOf(unsigned char first)
{
    crypto::SRawKeySetId id;
    id.m_bytes[0] = first;
    id.m_bytes[15] = 0xEE;
    return id;
}

std::shared_ptr<crypto::CKeySet> KeyOf(unsigned char first, unsigned char secret = 1)
{
    crypto::CKeySet::raw_key_t key{};
    key.fill(secret);
    return crypto::CKeySet::FromRaw(IdOf(first), key);
}

std::shared_ptr<crypto::CKeySetCollection> KeysOf(std::vector<std::shared_ptr<crypto::CKeySet>> const& keySets)
{
    auto const keys = std::make_shared<crypto::CKeySetCollection>();
    for (auto const& keySet : keySets)
    {
        keys->Add(keySet);
    }
    return keys;
}

/// What a reader or a writer was set up with, over one bucket.
class Processing : public ::testing::Test
{
protected:
    std::shared_ptr<ICloudClient> Client(EBufTransformType compression, std::shared_ptr<crypto::CKeySet> key = nullptr,
                                         std::vector<std::shared_ptr<crypto::CKeySet>> const& old = {})
    {
        return CreateProcessingContext(compression, key, KeysOf(old))
            ->CreateProcessingCloudClient(std::make_shared<CMemoryClient>(m_store));
    }

    std::string Stored(std::string const& path) { return m_store->Objects().at(path); }

    static std::string Read(std::shared_ptr<ICloudClient> const& client, std::string const& path)
    {
        return TextOf(*Download(client, path, "", nullptr));
    }

    /// The message of the failed read of a body.
    std::string WhyNot(std::shared_ptr<ICloudClient> const& client, std::string const& body)
    {
        m_store->Put("bad", body);
        try
        {
            Read(client, "bad");
        }
        catch (exc::CRuntimeExc const& error)
        {
            return error.what();
        }
        return "it was read";
    }

    std::shared_ptr<CMemoryStore> const m_store = std::make_shared<CMemoryStore>(false);
    std::shared_ptr<ICloudClient> const m_plain = Client(EBufTransformType::None);
};

std::string TextLikeBody(std::size_t size)
{
    std::string body;
    for (unsigned line = 0; body.size() < size; ++line)
    {
        body += "{\"name\":\"file-" + std::to_string(line) + "\",\"size\":" + std::to_string(line * 7919U) + "}\n";
    }
    body.resize(size);
    return body;
}

TEST_F(Processing, WritesTheHeaderAtItsExactOffsets)
{
    m_plain->UploadFileAsync("plain", BufsOf("abc"))->Wait();
    EXPECT_EQ(Stored("plain"),
              std::string("\x00\x1A\x00\x00\x00\xFF\x03\x00\x00\x00", 10) + std::string(16, '\0') + "abc");

    Client(EBufTransformType::ZstdHigh, KeyOf(7))->UploadFileAsync("full", BufsOf(std::string(0x010203, 'z')))->Wait();
    std::string const id(reinterpret_cast<char const*>(IdOf(7).m_bytes.data()), 16);
    EXPECT_EQ(Stored("full").substr(0, 26), std::string("\x00\x1A\x00\x00\x00\x04\x03\x02\x01\x00", 10) + id);
    EXPECT_LT(Stored("full").size(), 200U);
    EXPECT_EQ(m_plain->GetFileSize("plain"), 3U);
}

TEST_F(Processing, ReadsWhatAnyOtherSettingWrote)
{
    std::vector<EBufTransformType> const types = {EBufTransformType::None, EBufTransformType::Zlib,
                                                  EBufTransformType::ZstdFast, EBufTransformType::Zstd,
                                                  EBufTransformType::ZstdHigh};
    auto const reader = Client(EBufTransformType::Zlib, KeyOf(9), {KeyOf(1), KeyOf(2)});
    for (EBufTransformType const type : types)
    {
        for (auto const& key : {std::shared_ptr<crypto::CKeySet>(), KeyOf(1), KeyOf(2)})
        {
            auto const writer = Client(type, key);
            for (std::size_t const size : {0UL, 1UL, 5000UL, 300000UL})
            {
                auto const body = BufsOf(TextLikeBody(size));
                writer->UploadFileAsync("o", body)->Wait();
                EXPECT_EQ(body->GetCount(), size);
                EXPECT_EQ(Read(reader, "o"), TextOf(*body)) << static_cast<int>(type) << " " << size;
            }
        }
    }
}

TEST_F(Processing, ReadsRangesOfThePlainBody)
{
    auto const client = Client(EBufTransformType::Zstd, KeyOf(1));
    client->UploadFileAsync("o", BufsOf("0123456789"))->Wait();
    auto const bufs = std::make_shared<io::block::CPooledBuf>();
    client->DownloadFileAsync("o", bufs, nullptr, 3, 5)->Wait();
    EXPECT_EQ(TextOf(*bufs), "34567");
    client->DownloadFileAsync("o", bufs, nullptr, 10, 0)->Wait();
    EXPECT_EQ(TextOf(*bufs), "");
    for (auto const& [offset, length] :
         std::vector<std::pair<unsigned long, unsigned long>>{{6, 5}, {11, 0}, {~0UL, 2}})
    {
        try
        {
            client->DownloadFileAsync("o", bufs, nullptr, offset, length)->Wait();
            ADD_FAILURE() << "a range beyond the body was read";
        }
        catch (exc::CRuntimeExc const& error)
        {
            EXPECT_STREQ(error.what(), "Invalid length in the download request.");
        }
    }
}

TEST_F(Processing, RefusesHostileBodies)
{
    std::string const header = std::string("\x00\x1A\x00\x00\x00\xFF\x00\x00\x00\x00", 10) + std::string(16, '\0');
    EXPECT_EQ(WhyNot(m_plain, header.substr(0, 25)),
              "Incorrect object received, too small: path: 'bad' size: 25, expected size: 26+");
    EXPECT_EQ(WhyNot(m_plain, "\x01" + header.substr(1)),
              "Failed to decode downloaded data from object 'bad'.\nUnknown processed meta version: '1'.");
    m_store->Put("empty", header);
    EXPECT_EQ(Read(m_plain, "empty"), "");

    auto const packed = [&header](int type, std::string const& size, std::string const& body)
    { return header.substr(0, 5) + static_cast<char>(type) + size + header.substr(10) + body; };
    for (int const type : {1, 2, 3, 4})
    {
        std::string const why = WhyNot(m_plain, packed(type, "\xFF\xFF\xFF\xFF", "tiny"));
        EXPECT_THAT(why, HasSubstr("Failed to decompress downloaded data, size: 4294967295."));
        EXPECT_THAT(why, HasSubstr("announces 4294967295 bytes, more than a body of 4 compressed bytes can hold"));
        EXPECT_THAT(WhyNot(m_plain, packed(type, std::string("\x05\x00\x00\x00", 4), "rubbish")),
                    HasSubstr("decompress"));
    }
    EXPECT_THAT(WhyNot(m_plain, packed(5, std::string("\x01\x00\x00\x00", 4), "x")),
                HasSubstr("Unknown compression type: 5"));

    // A bomb: the body holds more than the header says. And its end is cut off, or something follows it.
    for (EBufTransformType const type : {EBufTransformType::Zlib, EBufTransformType::Zstd})
    {
        Client(type)->UploadFileAsync("bomb", BufsOf(std::string(1 << 20, '\0')))->Wait();
        std::string bomb = Stored("bomb");
        EXPECT_THAT(WhyNot(m_plain, bomb.substr(0, bomb.size() - 1)), HasSubstr("decompress"));
        EXPECT_THAT(WhyNot(m_plain, bomb + "x"), HasSubstr("decompress"));
        bomb[8] = 1; // announces 64 KiB
        EXPECT_THAT(WhyNot(m_plain, bomb), HasSubstr("Failed to decompress downloaded data, size: 65536."));
        bomb[8] = 17; // announces more than there is
        EXPECT_THAT(WhyNot(m_plain, bomb), HasSubstr("decompress"));
    }
}

TEST_F(Processing, GivesNoDataForAWrongKeyOrAChangedByte)
{
    auto const writer = Client(EBufTransformType::None, KeyOf(1));
    writer->UploadFileAsync("o", BufsOf("secret body"))->Wait();
    std::string const stored = Stored("o");
    EXPECT_THAT(WhyNot(m_plain, stored), HasSubstr("Failed to decrypt downloaded data.\nKey set '0100"));
    EXPECT_THAT(WhyNot(Client(EBufTransformType::None, KeyOf(1, 2)), stored), HasSubstr("the key is another one"));
    EXPECT_THAT(WhyNot(writer, stored.substr(0, 26 + 27)), HasSubstr("has at least 28 bytes, this one has 27"));
    for (std::size_t bit = 10 * 8; bit < stored.size() * 8; ++bit)
    {
        std::string changed = stored;
        changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << (bit % 8)));
        EXPECT_THAT(WhyNot(writer, changed), HasSubstr("Failed to decrypt downloaded data.")) << bit;
    }
    writer->UploadFileAsync("again", BufsOf("secret body"))->Wait();
    EXPECT_NE(Stored("again"), stored); // a nonce of its own
}

TEST_F(Processing, LeavesTheCallersBufferAloneWhenDecodingFails)
{
    m_store->Put("o", std::string(30, '\x02'));
    auto const bufs = std::make_shared<io::block::CPooledBuf>();
    EXPECT_THROW(m_plain->DownloadFileAsync("o", bufs, nullptr)->Wait(), exc::CRuntimeExc);
    EXPECT_EQ(TextOf(*bufs), std::string(30, '\x02'));
    EXPECT_THROW(m_plain->DownloadFileAsync("missing", bufs, nullptr)->Wait(), CObjectStorageException);
    try
    {
        Client(static_cast<EBufTransformType>(77))->UploadFileAsync("p", BufsOf("x"));
        ADD_FAILURE() << "an unknown compression was taken";
    }
    catch (exc::CRuntimeExc const& error)
    {
        EXPECT_STREQ(error.what(),
                     "Failed to encode file data for object p.\nFailed to compress file data, size: 1.\n"
                     "Unknown compression type: 77");
    }
    EXPECT_FALSE(m_store->Objects().contains("p"));
}

TEST(ProcessingVersions, EncodesUploadsAndDecodesDownloads)
{
    auto const store = std::make_shared<CMemoryStore>(true);
    std::shared_ptr<ICloudClient> const client =
        CreateProcessingContext(EBufTransformType::Zstd, KeyOf(1), KeysOf({}))
            ->CreateProcessingCloudClient(std::make_shared<CMemoryClient>(store));
    auto const versioning = client->GetVersioningUtils();
    EXPECT_EQ(versioning, client->GetVersioningUtils());
    auto const id = std::make_shared<std::string>();
    versioning->UploadFileWithMetadataAsync("o", BufsOf("first"), {{"k", "v"}}, id, std::nullopt)->Wait();
    std::string second;
    Upload(client, "o", BufsOf("second"), std::nullopt, second);
    EXPECT_EQ(TextOf(*Download(client, "o", *id, nullptr)), "first");
    EXPECT_EQ(TextOf(*Download(client, "o", second, nullptr)), "second");
    EXPECT_EQ(versioning->GetFileVersionSize("o", *id), store->Versions("o").front().m_body.size());
    EXPECT_EQ(versioning->StartDownload("o", *id)->ObjectSize(), store->Versions("o").front().m_body.size());
    EXPECT_THROW(versioning->DownloadFileVersionAsync("o", *id, BufsOf(""), nullptr, 0, 1), exc::CRuntimeExc);
    EXPECT_THROW(client->StartDownload("o"), exc::CNotImplExc);
}

TEST(ProcessingDecorator, PassesTheOtherOperationsOnOnceAndUnchanged)
{
    auto const processed = [](CRecorder& recorder)
    {
        return CreateProcessingContext(EBufTransformType::None, nullptr, KeysOf({}))
            ->CreateProcessingCloudClient(RecordingClient(recorder));
    };
    ExpectPassesEverythingOn<ICloudClient>(ClientOperations(), &RecordingClient, processed,
                                           {"DownloadFileAsync", "GetFileSize", "StartDownload"});
    ExpectPassesEverythingOn<ICloudVersioningUtils>(
        VersioningOperations(), &RecordingVersioning,
        [&](CRecorder& recorder) { return processed(recorder)->GetVersioningUtils(); }, {"DownloadFileVersionAsync"});
}

TEST(ProcessingContext, KeepsTheCallersCollectionAndSharesTheKeys)
{
    CLogCapture const log;
    auto const historical = KeysOf({KeyOf(1), KeyOf(2), KeyOf(3)});
    auto const context = CreateProcessingContext(EBufTransformType::ZstdFast, KeyOf(4), historical);
    EXPECT_EQ(historical->size(), 3U);
    auto const inner = std::make_shared<CMemoryClient>(std::make_shared<CMemoryStore>(false));
    std::shared_ptr<ICloudClient> const one = context->CreateProcessingCloudClient(inner);
    std::shared_ptr<ICloudClient> const other = context->CreateProcessingCloudClient(inner, EBufTransformType::None);
    EXPECT_EQ(log.Count(logging::ELevel::Info,
                        "Initializing processing context for cloud clients: compression: zstd-fast, "
                        "encryption keyset '" +
                            crypto::CKeySetId(IdOf(4)).ToLogString() + "', historical keys: 3."),
              1U);
    EXPECT_EQ(log.Count(logging::ELevel::Info, "Creating processing cloud client: override compression: none"), 1U);
    one->UploadFileAsync("a", BufsOf("one"))->Wait();
    other->UploadFileAsync("b", BufsOf("other"))->Wait();
    EXPECT_EQ(TextOf(*Download(other, "a", "", nullptr)), "one");
    EXPECT_EQ(TextOf(*Download(one, "b", "", nullptr)), "other");
    EXPECT_THROW(CProcessingContext(nullptr, nullptr), exc::CRuntimeExc);
}

} // namespace
} // namespace bucketry
