// SPDX-License-Identifier: Apache-2.0
// How a host tests itself: a program that copies files into a bucket, a store in memory, and the ways in which stores
// fail.
#include <bucketry/client.h>
#include <bucketry/s3.h>
#include <bucketry/simulator.h>

#include <iostream>
#include <string>

using namespace bucketry;

namespace
{

/// What is under test: stands for the host's own code.
void SaveDocument(ICloudClient& client, std::string const& name, std::string const& text)
{
    client.UploadFileAsync("documents/" + name, io::block::CPooledBuf::FromText(text))->Wait();
}

std::shared_ptr<ICloudClient> Connect(simulator::CSimulator& store)
{
    store.CreateBucket("office");
    simulator::SAccessKey const key; // the one that a new store knows
    s3::SS3ClientConnSpec spec;
    spec.BucketAddr.ApiEndpoint = store.Endpoint();
    spec.BucketAddr.Region = "us-east-1";
    spec.BucketAddr.BucketName = "office";
    spec.Credentials.Keys = s3::SS3CredentialsKeys{key.m_id, key.m_secret, ""};
    return s3::CS3CompatibleClientFactory::Create(spec, "test", nullptr);
}

void Check(bool holds, char const* what)
{
    if (!holds)
    {
        throw std::runtime_error(std::string("not as expected: ") + what);
    }
}

/// Each check has a store of its own.
struct STest
{
    simulator::CSimulator m_store;
    std::shared_ptr<ICloudClient> m_client = Connect(m_store);
};

void AHurriedStoreIsAskedAgain()
{
    STest test;
    test.m_store.LoadFaults("on PutObject key=documents/* times=2 do status 503 SlowDown retry-after=0\n");
    SaveDocument(*test.m_client, "letter", "Dear Sir");
    Check(test.m_store.FaultsFired() == 2, "the store was asked three times");
    Check(test.m_store.ObjectContent("office", "documents/letter") == "Dear Sir", "the letter is there");
}

void ALostAnswerLosesNothing()
{
    STest test;
    test.m_store.LoadFaults("on PutObject nth=1 do lost-answer\n");
    SaveDocument(*test.m_client, "letter", "Dear Madam");
    Check(test.m_store.ObjectContent("office", "documents/letter") == "Dear Madam", "the letter is there");
    Check(test.m_store.ObjectCount("office") == 1, "there is nothing else");
}

void ARefusalReachesTheHost()
{
    STest test;
    test.m_store.LoadFaults("on PutObject do status 403 AccessDenied \"message=not today\"\n");
    try
    {
        SaveDocument(*test.m_client, "letter", "Dear all");
    }
    catch (CObjectStorageException const& refusal)
    {
        Check(refusal.m_statusCode == 403, "the status is the store's");
        Check(std::string(refusal.what()).find("not today") != std::string::npos, "so is the message");
        Check(test.m_store.ObjectCount("office") == 0, "nothing is stored");
        auto const log = test.m_store.Log();
        Check(log.back().m_operation == "PutObject" && log.back().m_fault == "status",
              "the log tells which fault it was");
        return;
    }
    Check(false, "the refusal is a failure");
}

} // namespace

int main()
try
{
    AHurriedStoreIsAskedAgain();
    ALostAnswerLosesNothing();
    ARefusalReachesTheHost();
    std::cout << "3 tests, all as expected\n";
}
catch (std::exception const& error)
{
    std::cerr << error.what() << '\n';
    return 1;
}
