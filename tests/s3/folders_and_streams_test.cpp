// SPDX-License-Identifier: Apache-2.0
#include "s3/bare_client.h"
#include "support/expect_failure.h"
#include "support/memory_client.h"
#include "support/raw_http_server.h"

namespace bucketry::s3::tests
{
namespace
{

using testing::BufsOf;
using ::testing::ElementsAre;
using testing::ExpectFailure;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string Shown(std::vector<SCloudObjectInfo> const& entries)
{
    std::string text;
    for (SCloudObjectInfo const& entry : entries)
    {
        text += entry.m_name + ":" + std::to_string(entry.m_size) + (entry.m_isFolder ? " folder|" : "|");
    }
    return text;
}

TEST(S3Folders, ListingIsReadWithCare)
{
    auto const key = [](std::string const& name, int size)
    { return "<Contents><Key>" + name + "</Key><Size>" + std::to_string(size) + "</Size></Contents>"; };
    auto const common = [](std::string const& name)
    { return "<CommonPrefixes><Prefix>" + name + "</Prefix></CommonPrefixes>"; };
    for (auto const& row : std::vector<std::pair<std::string, std::string>>{
             {"", ""},
             {key("f/", 0), ""},
             {key("f/", 7), ""},
             {key("f/m/", 0) + key("f/o/", 2) + key("f/x", 0) + common("f/s/"), "m/:0 folder|o/:2|x:0|s:0 folder|"},
             {key("g/x", 1), "Unexpected key path: 'g/x', filter: '/f'"},
             {common("f/s"), "Unexpected common prefix: 'f/s', filter: '/f'"},
             {common("f/"), "Unexpected common prefix: 'f/', filter: '/f'"},
             {common("g/s/"), "Unexpected common prefix: 'g/s/', filter: '/f'"}})
    {
        testing::CRawHttpServer const server(
            [&](std::string const&)
            {
                return testing::Answer(
                    200, "<ListBucketResult><IsTruncated>false</IsTruncated>" + row.first + "</ListBucketResult>");
            });
        std::string seen = "no page";
        auto const task =
            ClientFor(server.Url(), "vault")->QueryFolderAsync("/f", [&](auto const& page) { seen = Shown(page); });
        try
        {
            task->Wait();
        }
        catch (exc::CRuntimeExc const& error)
        {
            EXPECT_EQ(seen, "no page");
            seen = error.what();
        }
        EXPECT_EQ(seen, row.second) << row.first;
    }
}

class S3Store : public ::testing::Test
{
protected:
    S3Store() { m_simulator.CreateBucket("vault"); }

    void Put(std::string const& path, std::string const& body)
    {
        m_client->UploadFileAsync(path, BufsOf(body))->Wait();
    }

    simulator::CSimulator m_simulator;
    std::shared_ptr<CS3CloudClient> const m_client = ClientFor(m_simulator.Endpoint(), "vault");
};

TEST_F(S3Store, FolderIsThereOnceItHasAMarker)
{
    Put("top/f/one", "12");
    EXPECT_FALSE(m_client->IsFolderExist("top/f"));
    EXPECT_EQ(Shown(m_client->QueryFolder("top")), "f:0 folder|");
    EXPECT_EQ(m_client->GetObjectCount("top/f"), 1U);

    m_client->CreateFolderAsync("/top/f")->Wait();
    Put("top/f/deep/two", "345");
    EXPECT_TRUE(m_client->IsFolderExist("top/f/"));
    EXPECT_EQ(m_client->GetObjectCount("top/f"), 3U);
    EXPECT_EQ(m_client->GetFolderSize("top/f"), 5U);
    auto const kept = std::make_shared<std::vector<SCloudObjectInfo>>(1, SCloudObjectInfo("kept", 1, false));
    m_client->QueryFolderAsync("top/f", kept)->Wait();
    EXPECT_EQ(Shown(*kept), "kept:1|one:2|deep:0 folder|");
    m_client->DeleteFolderAsync("/", nullptr)->Wait();
    EXPECT_EQ(m_simulator.ObjectCount("vault"), 0U);
}

TEST_F(S3Store, StreamRefusesTheClassOfAnotherStoreWhereAnUploadLeavesItToTheStore)
{
    auto const google = ClientFor(m_simulator.Endpoint(), "vault", s3wire::s3::EGoogleCSStorageClass::Nearline);
    ExpectFailure<exc::CRuntimeExc>("storage class Google Cloud Storage NEARLINE is not supported by AWS",
                                    [&] { google->StartUpload("x", 1); });
    testing::ExpectStorageFailure(400, HasSubstr("InvalidStorageClass"),
                                  [&] { google->UploadFileAsync("x", BufsOf("1"))->Wait(); });
}

TEST_F(S3Store, StreamCutAtAPartLeavesNothing)
{
    constexpr unsigned long part = 8ul << 20;
    std::string const body(3 * part, 'x');
    auto const data = reinterpret_cast<unsigned char const*>(body.data());
    for (char const* const fault :
         {"on CreateMultipartUpload do status 403 AccessDenied", "on UploadPart nth=1 do status 403 AccessDenied",
          "on UploadPart nth=2 do status 403 AccessDenied", "on UploadPart nth=3 do status 403 AccessDenied",
          "on CompleteMultipartUpload do status 403 AccessDenied"})
    {
        m_simulator.LoadFaults(fault);
        {
            auto const upload = m_client->StartUpload("/big", body.size());
            ExpectFailure<s3wire::CS3WireException>(HasSubstr("AccessDenied"),
                                                    [&]
                                                    {
                                                        upload->Write(data, body.size());
                                                        upload->Finish();
                                                    });
        }
        EXPECT_EQ(m_simulator.ObjectCount("vault") + m_simulator.PendingUploads("vault"), 0U) << fault;
        m_simulator.ClearFaults();
    }
    auto const upload = m_client->StartUpload("/big", body.size());
    upload->Write(data, part);
    upload->Flush();
    upload->Write(data, body.size() - part);
    EXPECT_THAT(*upload->Finish(), HasSubstr("-3")) << "the ETag of three parts";
    EXPECT_FALSE(upload->Finish()) << "no second result, and no failure";
    EXPECT_TRUE(m_simulator.ObjectContent("vault", "big") == body);
}

TEST_F(S3Store, DownloadOutlivesItsClient)
{
    Put("/object", "0123456789");
    auto const download = ClientFor(m_simulator.Endpoint(), "vault")->StartDownload("/object");
    std::array<unsigned char, 4> read{};
    download->Read(read.data(), 3, 4);
    EXPECT_THAT(read, ElementsAre('3', '4', '5', '6'));
    EXPECT_EQ(download->ObjectSize(), 10U);
    for (unsigned long const offset : {7UL, 10UL}) // one byte short, and none at all
    {
        ExpectFailure<exc::CRuntimeExc>(HasSubstr("ends before the range to read: offset " + std::to_string(offset)),
                                        [&] { download->Read(read.data(), offset, 4); });
    }
    ExpectFailure<s3wire::CS3WireException>(HasSubstr("404"), [&] { m_client->StartDownload("none")->ObjectSize(); });
}

} // namespace
} // namespace bucketry::s3::tests
