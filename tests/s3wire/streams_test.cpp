// SPDX-License-Identifier: Apache-2.0
#include "s3wire/streams.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/s3wire/exception.h"
#include "support/fake_sender.h"

#include <gmock/gmock.h>

#include <map>
#include <numeric>

namespace bucketry::s3wire::tests
{
namespace
{

using namespace s3;
using testing::ElementsAre;
using transport::EHttpMethod;

constexpr unsigned long Part = 8 * 1024 * 1024;

/// A store for one object.
class CUploadStore
{
public:
    std::shared_ptr<CFakeSender> const m_sender =
        std::make_shared<CFakeSender>([this](wire::SWireRequest const& request) { return Serve(request); });
    CS3WireClient m_client{ClientOver(Over(m_sender))};

    unsigned m_failPart = 0; ///< the part that is refused
    bool m_loseCompleteAnswer = false;
    bool m_complete = true; ///< whether the upload is completed although its answer gets lost
    std::string m_object;
    std::string m_eTag = "\"old\"";
    std::map<unsigned, std::string> m_parts;

    std::unique_ptr<CS3WireWriteStream> Open(unsigned long size, SObjectLockConfig const& lock = {})
    {
        return std::make_unique<CS3WireWriteStream>(m_client, "b", "k", size, CObjectStorageClass(), lock,
                                                    CS3WireClient::metadata_t(), CS3WireClient::metadata_t(),
                                                    SPutObjectExtraAgruments());
    }

private:
    transport::SHttpResponse Serve(wire::SWireRequest const& request)
    {
        std::lock_guard const lock(m_mutex);
        std::string const operation = request.m_operation;
        std::string const body(reinterpret_cast<char const*>(request.m_body.m_data), request.m_body.m_size);
        if (operation == "CreateMultipartUpload")
        {
            return Answer(200, "<R><UploadId>UID</UploadId></R>");
        }
        if (operation == "UploadPart")
        {
            unsigned const number = static_cast<unsigned>(std::stoul(request.m_query.at(0).second));
            m_parts[number] = body;
            return number == m_failPart ? Answer(403, "<Error><Code>AccessDenied</Code></Error>")
                                        : Answer(200, "", {{"ETag", "\"5d41402abc4b2a76b9719d911017c592\""}});
        }
        if (operation == "CompleteMultipartUpload")
        {
            return Complete(body);
        }
        if (operation == "HeadObject")
        {
            return Answer(200, "",
                          {{"Content-Length", std::to_string(m_object.size()).c_str()},
                           {"ETag", m_eTag.c_str()},
                           {"x-amz-version-id", "V2"}});
        }
        m_object = operation == "PutObject" ? body : m_object;
        return Answer(200, "", {{"ETag", "\"e\""}, {"x-amz-version-id", "V1"}});
    }

    transport::SHttpResponse Complete(std::string const& body)
    {
        if (!m_loseCompleteAnswer || m_complete)
        {
            m_object = std::accumulate(m_parts.begin(), m_parts.end(), std::string(),
                                       [](std::string all, auto const& part) { return std::move(all) + part.second; });
            m_eTag = wire::MultipartETag(std::vector<std::string>(m_parts.size(), "5d41402abc4b2a76b9719d911017c592"));
        }
        EXPECT_THAT(body, testing::HasSubstr("<PartNumber>" + std::to_string(m_parts.size()) + "</PartNumber>"));
        return m_loseCompleteAnswer
            ? Answer(200)
            : Answer(200, "<CompleteMultipartUploadResult><ETag>\"m\"</ETag></CompleteMultipartUploadResult>",
                     {{"x-amz-version-id", "V1"}});
    }

    std::mutex m_mutex;
};

std::string Pattern(unsigned long size)
{
    std::string text(size, '\0');
    for (unsigned long i = 0; i < size; ++i)
    {
        text[i] = static_cast<char>(i * 2654435761u >> 13);
    }
    return text;
}

void Write(CS3WireWriteStream& stream, std::string const& text, unsigned long from = 0)
{
    stream.Write(reinterpret_cast<unsigned char const*>(text.data()) + from, text.size() - from);
}

TEST(WriteStream, SendsOneRequestForWhatFitsOnePart)
{
    for (unsigned long const size : {0UL, 5UL, Part})
    {
        CUploadStore store;
        std::string const text = Pattern(size);
        auto const stream = store.Open(0);
        Write(*stream, text);
        stream->Flush();
        EXPECT_TRUE(store.m_sender->Lines().empty()) << "lazy";
        EXPECT_EQ(stream->Finish()->m_versionId, "V1");
        EXPECT_EQ(stream->Finish(), std::nullopt);
        EXPECT_THROW(stream->WriteZeroes(1), exc::CRuntimeExc);
        EXPECT_THAT(store.m_sender->Lines(), ElementsAre("PUT b/k"));
        EXPECT_TRUE(store.m_object == text);
    }
}

TEST(WriteStream, SendsPartsAndPutsThemTogether)
{
    CUploadStore store;
    std::string const text = Pattern(3 * Part + 77);
    auto const stream = store.Open(text.size() + 2 * Part);
    Write(*stream, text.substr(0, 1000));
    Write(*stream, text, 1000);
    stream->WriteZeroes(2 * Part);
    stream->Flush();
    EXPECT_EQ(store.m_parts.size(), 5u);
    SMultipartUploadResult const result = *stream->Finish();
    EXPECT_EQ(result.m_result + result.m_versionId, "\"m\"V1");
    EXPECT_TRUE(store.m_object == text + std::string(2 * Part, '\0'));
    EXPECT_EQ(store.m_parts.size(), 6u);
    EXPECT_EQ(store.m_sender->Lines().back(), "POST b/k?uploadId=UID");
}

TEST(WriteStream, AbortsWhatIsDroppedOrFails)
{
    CUploadStore store;
    store.Open(0)->WriteZeroes(Part);
    EXPECT_TRUE(store.m_sender->Lines().empty());
    store.Open(0)->WriteZeroes(Part + 1);
    EXPECT_EQ(store.m_sender->Lines().back(), "DELETE b/k?uploadId=UID");

    auto wrong = store.Open(Part + 2);
    wrong->WriteZeroes(Part + 1);
    EXPECT_THROW(wrong->Finish(), exc::CRuntimeExc);
    EXPECT_THROW(wrong->WriteZeroes(1), exc::CRuntimeExc) << "a failure stays";
    wrong.reset();
    EXPECT_EQ(store.m_sender->Lines().back(), "DELETE b/k?uploadId=UID");
    auto const tooMuch = store.Open(2);
    tooMuch->WriteZeroes(1);
    EXPECT_THROW(tooMuch->WriteZeroes(2), exc::CRuntimeExc);

    store.m_failPart = 1;
    auto refused = store.Open(0);
    refused->WriteZeroes(Part + 1);
    EXPECT_THROW(refused->Flush(), CS3WireException);
    EXPECT_THROW(refused->Finish(), CS3WireException);
    refused.reset();
    EXPECT_EQ(store.m_sender->Lines().back(), "DELETE b/k?uploadId=UID");
    EXPECT_TRUE(store.m_object.empty());
}

TEST(WriteStream, KeepsTheObjectWhoseLockFails)
{
    CUploadStore store; // gives no answer that names a lock
    auto stream = store.Open(0, SObjectLockConfig(true, EObjectLockMode::Governance, "2031-01-01T00:00:00Z", false));
    stream->WriteZeroes(Part + 1);
    EXPECT_ANY_THROW(stream->Finish());
    std::size_t const requests = store.m_sender->Lines().size();
    stream.reset();
    EXPECT_EQ(store.m_sender->Lines().size(), requests) << "no abort";
    EXPECT_EQ(store.m_object.size(), Part + 1);
}

TEST(WriteStream, LooksAtTheObjectWhenTheAnswerIsLost)
{
    for (bool const completed : {true, false})
    {
        CUploadStore store;
        store.m_loseCompleteAnswer = true;
        store.m_complete = completed;
        store.m_object = std::string(Part + 1, 'x'); // an older object of the same size is not taken for the new one
        auto const stream = store.Open(0);
        stream->WriteZeroes(Part + 1);
        if (completed)
        {
            EXPECT_EQ(stream->Finish()->m_versionId, "V2");
        }
        else
        {
            EXPECT_THROW(stream->Finish(), CS3WireException);
        }
    }
}

TEST(ReadStream, ReadsAnyRangeOfOneState)
{
    auto const sender = CFakeSender::Script({
        Answer(206, "cde", {{"Content-Range", "bytes 2-4/5"}, {"ETag", "\"e\""}}),
        Answer(416),
        Answer(200, "", {{"Content-Length", "5"}, {"ETag", "\"e\""}}),
        Answer(206, "abcd", {{"Content-Range", "bytes 0-3/5"}, {"ETag", "\"e\""}}),
        Answer(412),
    });
    CS3WireReadStream stream(ClientOver(Over(sender)), "b", "k", "V");
    unsigned char buffer[16] = {};
    EXPECT_EQ(stream.Read(buffer, 16, 2), 3u);
    EXPECT_EQ(std::string(buffer, buffer + 3), "cde");
    EXPECT_EQ(stream.Read(buffer, 16, 5), 0u);
    EXPECT_EQ(stream.Read(buffer, 0, 0), 0u);
    EXPECT_EQ(stream.ObjectSize(), 5u);
    EXPECT_EQ(stream.ObjectSize(), 5u);
    EXPECT_EQ(stream.Read(buffer, 16, 5), 0u) << "known by now";
    EXPECT_EQ(stream.Read(buffer, 4, 0), 4u);
    EXPECT_THROW(stream.Read(buffer, 4, 0), CS3WireException);
    EXPECT_EQ(sender->Lines().size(), 5u);
}

} // namespace
} // namespace bucketry::s3wire::tests
