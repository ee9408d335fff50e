// SPDX-License-Identifier: Apache-2.0
// Every operation, with every fault at its first request, its second, and so on until there is no such request: either
// the call succeeds, and the store is as it should be, or it fails with the failure of that fault and has harmed
// nothing.

#include "bucketry/base/http.h"
#include "s3wire/faults/simulated_store.h"
#include "s3wire/streams.h"

#include <gmock/gmock.h>

#include <iostream>
#include <set>
#include <string_view>

namespace bucketry::s3wire::tests
{
namespace
{

using namespace s3;
using simulator::EFaultAction;
using simulator::SFault;

constexpr unsigned long TwoParts = 8 * 1024 * 1024 + 1;
constexpr char const* Account = "123456789012";
constexpr char const* Until = "2040-01-01T00:00:00.000Z";
SObjectLockConfig const Locked(true, EObjectLockMode::Governance, Until, false);

/// One bucket of the store, with the client that meets the faults and one that meets none.
struct SStage
{
    simulator::CSimulator& m_store;
    CS3WireClient& m_client;
    CS3WireClient const& m_quiet;
    std::string m_bucket = "bucket";
    std::string m_id = {}; ///< a version or a job that was there before

    void Put(std::string const& key, std::string const& text) const { PutText(m_quiet, m_bucket, key, text); }
    bool Has(std::string const& key, std::string const& text) const
    {
        return m_store.ObjectContent(m_bucket, key) == text;
    }
    bool Lacks(std::string const& key) const { return !m_store.ObjectContent(m_bucket, key); }
    std::size_t Count() const { return m_store.ObjectCount(m_bucket); }
    bool IsLocked(std::string const& key) const
    {
        auto const lock = m_quiet.GetObjectHead(m_bucket, key, "").get().m_objectLock;
        return lock && lock->m_enabled && lock->m_retainUntil.starts_with("2040-01-01T00:00:00");
    }
};

using step_t = std::function<void(SStage&)>;
using question_t = std::function<bool(SStage&)>;

question_t const Fine = [](SStage&) { return true; };

struct SOperation
{
    char const* m_name;
    step_t m_prepare;
    question_t m_call;              ///< false if what it gives isn't what the store has
    question_t m_isDone = Fine;     ///< the state of the store after success
    question_t m_isUnharmed = Fine; ///< and after failure
    bool m_locks = false;           ///< wants a bucket with object lock
    simulator::EProfile m_profile = simulator::EProfile::S3;
};

void PutThree(SStage& stage)
{
    for (char const* const key : {"a", "dir/b", "dir/c d+e"})
    {
        stage.Put(key, key);
    }
}

void PutVersions(SStage& stage)
{
    stage.Put("a", "1");
    stage.Put("a", "2");
    stage.Put("b", "1");
    stage.m_quiet.DeleteObject(stage.m_bucket, "b", "").get();
}

bool AreThree(std::vector<SObjectMetadata> const& found)
{
    return found.size() == 3 && found[0].m_key == "a" && found[1].m_key == "dir/b" && found[2].m_key == "dir/c d+e";
}

/// "a" and a thousand keys that aren't there, so that there are two requests; "keep" is not among them.
SMultiObjectDeleteRequest ThousandAndOne()
{
    SMultiObjectDeleteRequest request;
    for (int i = 0; i < 1000; ++i)
    {
        request.m_objects.push_back({"none/" + std::to_string(i), ""});
    }
    request.m_objects.push_back({"a", ""});
    return request;
}

SCreateJobRequest RestoreJob(SStage const& stage)
{
    SCreateJobRequest job;
    job.m_operations.push_back(std::make_unique<SS3InitiateRestoreObject>(7, true, "BULK"));
    job.m_clientRequestToken = stage.m_bucket;
    job.m_manifestETag = "5d41402abc4b2a76b9719d911017c592"; // of "hello"
    job.m_manifestObjectArn = "arn:aws:s3:::" + stage.m_bucket + "/manifest";
    job.m_manifestFields = {"Bucket", "Key"};
    job.m_manifestFormat = "S3BatchOperations_CSV_20180820";
    job.m_priority = 1;
    job.m_roleArn = "arn:aws:iam::123456789012:role/batch";
    return job;
}

void PrepareJob(SStage& stage)
{
    stage.Put("manifest", "hello");
    for (CS3WireClient client : {stage.m_client, stage.m_quiet})
    {
        client.SetBatchParameters(stage.m_store.Endpoint(), Account);
    }
}

CS3WireWriteStream StreamTo(SStage& stage, SObjectLockConfig const& lock = {})
{
    return {stage.m_client, stage.m_bucket, "new", 0, {}, lock, {}, {}, {}};
}

std::optional<SMultipartUploadResult> WriteAndFinish(SStage& stage, unsigned long size,
                                                     SObjectLockConfig const& lock = {})
{
    CS3WireWriteStream stream = StreamTo(stage, lock);
    stream.WriteZeroes(size);
    return stream.Finish();
}

bool IsStreamed(SStage& stage, unsigned long size)
{
    return stage.Has("new", std::string(size, '\0'));
}

/// Of "some text"; the second one is what a fault says, and nothing in the answer to a HEAD could tell.
bool IsLengthOfText(std::uint64_t length)
{
    return length == 9 || length == 16;
}

template <class TCall>
question_t Does(TCall call)
{
    return [call](SStage& stage)
    {
        call(stage);
        return true;
    };
}

question_t const NewIsWholeOrNot = [](SStage& stage) { return stage.Lacks("new") || stage.Has("new", "text"); };
question_t const OnlyAIsGone = [](SStage& stage)
{ return stage.Lacks("a") && stage.Has("keep", "keep") && stage.Count() == 1; };
question_t const KeepIsThere = [](SStage& stage) { return stage.Has("keep", "keep"); };
step_t const AAndKeep = [](SStage& stage)
{
    stage.Put("a", "1");
    stage.Put("keep", "keep");
};
step_t const Text = [](SStage& stage) { stage.Put("a", "some text"); };
step_t const Nothing = [](SStage&) {};

std::vector<SOperation> Reads()
{
    auto const pages = [](auto const& list)
    {
        return [list](SStage& stage)
        {
            std::vector<SObjectMetadata> seen;
            list(stage,
                 [&](SBucketContents const& page)
                 { seen.insert(seen.end(), page.m_contents.begin(), page.m_contents.end()); });
            return AreThree(seen);
        };
    };
    return {
        {"GetObject", Text,
         [](SStage& s)
         { return TextOf(*s.m_client.GetObject(s.m_bucket, "a", nullptr, 0, 0, "").get().m_content) == "some text"; }},
        {"GetObject of a range", Text,
         [](SStage& s)
         { return TextOf(*s.m_client.GetObject(s.m_bucket, "a", nullptr, 5, 3, "").get().m_content) == "tex"; }},
        {"GetObjectHead", Text,
         [](SStage& s) { return IsLengthOfText(s.m_client.GetObjectHead(s.m_bucket, "a", "").get().m_contentLength); }},
        {"IsObjectExist", Text, [](SStage& s) { return s.m_client.IsObjectExist(s.m_bucket, "a", "").get(); }},
        {"IsObjectExist of nothing", Text,
         [](SStage& s) { return !s.m_client.IsObjectExist(s.m_bucket, "b", "").get(); }},
        {"GetBucketRegion", Nothing,
         [](SStage& s)
         {
             std::string const region = s.m_client.GetBucketRegion(s.m_bucket).get().m_region;
             return region == "us-east-1" || region == "eu-west-1"; // the second one is what a fault says
         }},
        {"GetServerTimeUtc", Nothing,
         [](SStage& s) { return s.m_client.GetServerTimeUtc(s.m_bucket).ends_with(" GMT"); }},
        {"GetBucket", PutThree,
         [](SStage& s) { return AreThree(s.m_client.GetBucket(s.m_bucket, "", "", "", 1).get().m_contents); }},
        {"GetBucket by pages", PutThree,
         pages([](SStage& s, auto const& onPage) { s.m_client.GetBucket(onPage, s.m_bucket, "", "", "", 2).get(); })},
        {"CompatibleGetBucket", PutThree,
         [](SStage& s)
         { return AreThree(s.m_client.CompatibleGetBucket(s.m_bucket, "", "", "", 1).get().m_contents); }},
        {"GetBucketObjectVersions", PutVersions,
         [](SStage& s)
         {
             std::string seen;
             auto const onPage = [&](SBucketObjectVersions const& page)
             {
                 for (SObjectVersionEntry const& entry : page.m_versions)
                 {
                     seen += entry.m_key + (entry.m_isDeleteMarker ? "-" : "+");
                 }
             };
             s.m_client.GetBucketObjectVersions(onPage, s.m_bucket, "", "", "", "", 1).get();
             return seen == "a+a+b-b+";
         },
         Fine, Fine, true},
        {"GetAccountId", Nothing, [](SStage& s) { return s.m_client.GetAccountId() == Account; }},
        {"DescribeJob",
         [](SStage& s)
         {
             PrepareJob(s);
             s.m_id = s.m_quiet.CreateBatchJob(RestoreJob(s)).get().m_jobId;
         },
         [](SStage& s) { return !s.m_client.DescribeJob(s.m_id).get().m_status.empty(); }},
        {"a read stream", Text,
         [](SStage& s)
         {
             CS3WireReadStream stream(s.m_client, s.m_bucket, "a", "");
             std::string text(20, '.');
             bool const isSized = IsLengthOfText(stream.ObjectSize());
             text.resize(stream.Read(reinterpret_cast<unsigned char*>(text.data()), 20, 5));
             return isSized && text == "text";
         }},
    };
}

std::vector<SOperation> Writes()
{
    auto const put = [](SObjectLockConfig const& lock)
    {
        return Does([lock](SStage& s)
                    { s.m_client.PutObject(s.m_bucket, "new", BufsOf("text"), {}, lock, {}, {}, {}).get(); });
    };
    auto const copy = [](SObjectLockConfig const& lock)
    {
        return Does([lock](SStage& s)
                    { s.m_client.CopyObject(s.m_bucket, s.m_bucket, "a", "new", {}, "", lock, "").get(); });
    };
    question_t const isNew = [](SStage& s) { return s.Has("new", "text"); };
    question_t const isLockedNew = [](SStage& s) { return s.Has("new", "text") && s.IsLocked("new"); };
    step_t const source = [](SStage& s) { s.Put("a", "text"); };
    return {
        {"PutObject", Nothing, put({}), isNew, NewIsWholeOrNot},
        {"PutObject with a lock", Nothing, put(Locked), isLockedNew, NewIsWholeOrNot, true},
        {"CopyObject", source, copy({}), isNew, NewIsWholeOrNot},
        {"CopyObject with a lock", source, copy(Locked), isLockedNew, NewIsWholeOrNot, true},
        {"PutObjectRetention", Text,
         Does([](SStage& s)
              { s.m_client.PutObjectRetention(s.m_bucket, "a", EObjectLockMode::Governance, Until, "").get(); }),
         [](SStage& s) { return s.IsLocked("a"); }, [](SStage& s) { return s.Has("a", "some text"); }, true},
        {"PostObjectRestore",
         [](SStage& s)
         { s.m_quiet.PutObject(s.m_bucket, "a", BufsOf("x"), {}, {}, EAmazonS3StorageClass::Glacier, {}, {}).get(); },
         [](SStage& s)
         {
             try
             {
                 auto const tier = EGlacierRetrievalTier::Standard;
                 s.m_client.PostObjectRestore(s.m_bucket, "a", 1, tier, "").get();
             }
             catch (CS3WireException const& refusal)
             {
                 if (refusal.GetStatusCode() != 409) // asked twice, the store says that it is under way
                 {
                     throw;
                 }
             }
             return true;
         },
         [](SStage& s) { return s.m_quiet.GetObjectHead(s.m_bucket, "a", "").get().m_restoreInProgress; }},
        {"CreateBatchJob", PrepareJob,
         [](SStage& s)
         {
             s.m_id = s.m_client.CreateBatchJob(RestoreJob(s)).get().m_jobId;
             return !s.m_id.empty();
         },
         // Asked for with the same token again, it is the same job.
         [](SStage& s) { return s.m_quiet.CreateBatchJob(RestoreJob(s)).get().m_jobId == s.m_id; }},
        {"a write stream of one request", Nothing, Does([](SStage& s) { WriteAndFinish(s, 5); }),
         [](SStage& s) { return IsStreamed(s, 5); }, [](SStage& s) { return s.Lacks("new") || IsStreamed(s, 5); }},
        {"a write stream of parts", Nothing, Does([](SStage& s) { WriteAndFinish(s, TwoParts, Locked); }),
         [](SStage& s) { return IsStreamed(s, TwoParts) && s.IsLocked("new"); },
         [](SStage& s) { return s.Lacks("new") || IsStreamed(s, TwoParts); }, true},
        {"a dropped write stream", Nothing, Does([](SStage& s) { StreamTo(s).WriteZeroes(TwoParts); }),
         [](SStage& s) { return s.Lacks("new"); }, [](SStage& s) { return s.Lacks("new"); }},
    };
}

std::vector<SOperation> Deletes()
{
    auto const twoVersions = [](SStage& s) { return s.m_store.VersionCount(s.m_bucket) == 2; };
    auto const row = [](char const* name, auto const& call) {
        return SOperation{name, AAndKeep, Does(call), OnlyAIsGone, KeepIsThere};
    };
    auto const versions = [&](char const* name, auto const& call)
    {
        auto const prepare = [](SStage& s)
        {
            PutVersions(s);
            s.Put("keep", "keep");
            s.Put("keep", "keep");
        };
        return SOperation{name, prepare, Does(call), twoVersions, KeepIsThere, true};
    };
    return {
        row("DeleteObject", [](SStage& s) { s.m_client.DeleteObject(s.m_bucket, "a", "").get(); }),
        {"DeleteObject of a version",
         [](SStage& s)
         {
             s.m_id = s.m_quiet.PutObject(s.m_bucket, "a", BufsOf("1"), {}, {}, {}, {}, {}).get().m_versionId;
             s.Put("a", "2");
         },
         Does([](SStage& s) { s.m_client.DeleteObject(s.m_bucket, "a", s.m_id).get(); }),
         [](SStage& s) { return s.m_store.VersionCount(s.m_bucket) == 1 && s.Has("a", "2"); },
         [](SStage& s) { return s.Has("a", "2"); }, true},
        row("DeleteObjects", [](SStage& s) { s.m_client.DeleteObjects(s.m_bucket, ThousandAndOne(), nullptr).get(); }),
        row("DeleteObjects of a prefix", [](SStage& s) { s.m_client.DeleteObjects(s.m_bucket, "a", nullptr).get(); }),
        versions("DeleteObjectsAllVersions",
                 [](SStage& s)
                 {
                     s.m_client.DeleteObjectsAllVersions(s.m_bucket, "a", nullptr).get();
                     s.m_client.DeleteObjectsAllVersions(s.m_bucket, "b", nullptr).get();
                 }),
        row("CompatibleDeleteObject", [](SStage& s) { s.m_client.CompatibleDeleteObject(s.m_bucket, "a", "").get(); }),
        row("CompatibleDeleteObjects of keys",
            [](SStage& s) {
                s.m_client.CompatibleDeleteObjects(s.m_bucket, std::vector<std::string>{"none", "a"}, nullptr).get();
            }),
        row("CompatibleDeleteObjects",
            [](SStage& s)
            {
                SMultiObjectDeleteRequest const request{{{"a", ""}, {"none", ""}}};
                s.m_client.CompatibleDeleteObjects(s.m_bucket, request, nullptr).get();
            }),
        row("CompatibleDeleteObjects of a prefix",
            [](SStage& s) { s.m_client.CompatibleDeleteObjects(s.m_bucket, "a", nullptr).get(); }),
        versions("CompatibleDeleteObjectsAllVersions",
                 [](SStage& s)
                 {
                     s.m_client.CompatibleDeleteObjectsAllVersions(s.m_bucket, "a", nullptr).get();
                     s.m_client.CompatibleDeleteObjectsAllVersions(s.m_bucket, "b", nullptr).get();
                 }),
    };
}

struct SKind
{
    char const* m_name;
    SFault m_fault;
    bool m_passes;             ///< whether it goes away when the request is sent again
    unsigned m_status = 0;     ///< of the failure; 0 if no usable answer came
    bool m_isStanding = false; ///< holds for every request
};

constexpr char const* Here = "the store itself";

std::vector<SKind> Kinds()
{
    using enum EFaultAction;
    return {
        {"503 SlowDown", {.m_action = Status, .m_status = 503, .m_code = "SlowDown"}, true, 503},
        {"500 InternalError", {.m_action = Status, .m_status = 500, .m_code = "InternalError"}, true, 500},
        {"429 without a body", {.m_action = Status, .m_status = 429}, true, 429},
        {"403 AccessDenied", {.m_action = Status, .m_status = 403, .m_code = "AccessDenied"}, false, 403},
        {"error in a 200", {.m_action = ErrorIn200, .m_code = "InternalError"}, false, 500},
        {"empty 200", {.m_action = Empty200}, false, 500},
        {"lost answer", {.m_action = LostAnswer}, true},
        {"cut before the body", {.m_action = CutBeforeBody}, true},
        {"cut in the body", {.m_action = CutInBody}, true},
        {"cut after the body", {.m_action = CutAfterBody}, true},
        {"truncated answer", {.m_action = TruncateAnswer}, true},
        {"length too great", {.m_action = WrongLength, .m_amount = 7}, true},
        {"duplicate delivery", {.m_action = Duplicate}, true},
        {"close behind the answer", {.m_action = Close}, true},
        {"redirect 307", {.m_action = Redirect, .m_status = 307, .m_endpoint = Here}, false, 307},
        {"redirect 301", {.m_action = Redirect, .m_status = 301, .m_endpoint = "localhost"}, false, 301},
        {"wrong region", {.m_action = WrongRegion, .m_region = "eu-west-1"}, false, 400},
        {"expired token", {.m_action = ExpiredToken}, false, 400},
        {"skewed clock", {.m_action = ClockSkew, .m_amount = 7200}, true, 403, true},
    };
}

/// Operations whose answer is a bare status: any other success is as good.
bool AnswersWithStatusOnly(std::string const& operation)
{
    static std::set<std::string> const all = {"PutObjectRetention", "DeleteObject", "AbortMultipartUpload",
                                              "RestoreObject"};
    return all.contains(operation);
}

/// What became of the tries of one operation.
struct STally
{
    unsigned m_tried = 0;
    unsigned m_uploadsLeft = 0;
    unsigned m_uploadsUnknown = 0; ///< whose id never reached the client, since the answer that names it was lost
    std::vector<std::string> m_wrong;
};

class FaultAtEveryRequest : public ::testing::TestWithParam<SOperation>
{
protected:
    /// Tries it with the fault at the n-th request. False if there was no such request.
    bool Try(SKind const& kind, unsigned nth, unsigned attempts);
    std::string Judge(SStage& stage, SKind const& kind, unsigned attempts);
    std::string Outcome(SStage& stage, SKind const& kind, unsigned attempts);
    void CountUploads(SStage const& stage, SKind const& kind, unsigned attempts);

    STally m_tally;
    std::string m_hit;       ///< the store's operation that the fault has hit
    bool m_isUnseen = false; ///< the answer lies, and nothing in it could tell
};

/// What is wrong with what the call gives or throws; empty if nothing is.
std::string FaultAtEveryRequest::Outcome(SStage& stage, SKind const& kind, unsigned attempts)
{
    bool const mayFail = attempts == 1 || !kind.m_passes;
    try
    {
        return GetParam().m_call(stage) ? "" : "gives what the store does not have";
    }
    catch (CS3WireException const& error)
    {
        return error.GetStatusCode() == kind.m_status && mayFail ? "failed" : error.what();
    }
    catch (web::http::http_exception const& error)
    {
        return (kind.m_status == 0 || kind.m_status == 500) && mayFail ? "failed" : error.what();
    }
}

std::string FaultAtEveryRequest::Judge(SStage& stage, SKind const& kind, unsigned attempts)
{
    std::string const outcome = Outcome(stage, kind, attempts);
    stage.m_store.ClearFaults();
    auto const log = stage.m_store.Log();
    auto const hit = std::find_if(log.begin(), log.end(), [](auto const& request) { return !request.m_fault.empty(); });
    m_hit = hit == log.end() ? "" : hit->m_operation;
    m_isUnseen = kind.m_fault.m_action == EFaultAction::Empty200 && AnswersWithStatusOnly(m_hit);
    if (outcome == "failed")
    {
        return GetParam().m_isUnharmed(stage) ? "" : "fails and does harm";
    }
    return !outcome.empty() || m_isUnseen || GetParam().m_isDone(stage) ? outcome
                                                                        : "succeeds, but the work is not done";
}

void FaultAtEveryRequest::CountUploads(SStage const& stage, SKind const& kind, unsigned attempts)
{
    auto const left = static_cast<unsigned>(stage.m_store.PendingUploads(stage.m_bucket));
    bool const isUnknown = m_hit == "CreateMultipartUpload";
    bool const isAbortLost = m_hit == "AbortMultipartUpload" && (attempts == 1 || m_isUnseen || !kind.m_passes);
    (isUnknown ? m_tally.m_uploadsUnknown : m_tally.m_uploadsLeft) += isAbortLost ? 0 : left;
}

bool FaultAtEveryRequest::Try(SKind const& kind, unsigned nth, unsigned attempts)
{
    simulator::CSimulator store({.m_profile = GetParam().m_profile});
    store.CreateBucket("bucket", {.m_versioning = GetParam().m_locks, .m_objectLock = GetParam().m_locks});
    SClientWish wish;
    wish.m_attempts = attempts;
    CS3WireClient client = ClientOf(store, wish);
    CS3WireClient const quiet = ClientOf(store);
    SStage stage{store, client, quiet};
    GetParam().m_prepare(stage);
    store.ClearLog();
    SFault fault = kind.m_fault;
    fault.m_nth = kind.m_isStanding ? 0 : nth;
    if (fault.m_endpoint == Here)
    {
        fault.m_endpoint = "127.0.0.1:" + std::to_string(store.Port());
    }
    store.AddFault(fault);
    ++m_tally.m_tried;
    std::string const wrong = Judge(stage, kind, attempts);
    if (!wrong.empty())
    {
        m_tally.m_wrong.push_back(
            util::str_format("%1 at request %2 (%3), %4 attempts: %5", kind.m_name, nth, m_hit, attempts, wrong));
    }
    CountUploads(stage, kind, attempts);
    return store.FaultsFired() != 0 && !kind.m_isStanding;
}

TEST_P(FaultAtEveryRequest, EndsInTheRightStateOrInItsOwnFailure)
{
    bool const tellsGone = GetParam().m_profile == simulator::EProfile::Google &&
        std::string_view(GetParam().m_name).starts_with("DeleteObject");
    for (SKind const& kind : Kinds())
    {
        if (tellsGone && kind.m_fault.m_action == EFaultAction::Duplicate)
        {
            continue; // the answer to the second one says rightly that nothing is there
        }
        for (unsigned const attempts : {1u, 4u})
        {
            for (unsigned nth = 1; Try(kind, nth, attempts); ++nth)
            {
            }
        }
    }
    std::cout << GetParam().m_name << ": " << m_tally.m_tried << " tries, " << m_tally.m_wrong.size() << " wrong, "
              << m_tally.m_uploadsLeft << " uploads left, " << m_tally.m_uploadsUnknown
              << " that the client could not know\n";
    EXPECT_EQ(m_tally.m_uploadsLeft, 0u);
    EXPECT_THAT(m_tally.m_wrong, ::testing::IsEmpty());
}

/// What Google's store has of all this: no batches, no archive, no delete markers to list. Parts are as on S3, and large.
std::vector<SOperation> OnGoogle()
{
    std::set<std::string_view> const missing = {"GetAccountId",
                                                "DescribeJob",
                                                "PostObjectRestore",
                                                "CreateBatchJob",
                                                "GetBucketObjectVersions",
                                                "a write stream of parts",
                                                "a dropped write stream"};
    std::vector<SOperation> all;
    for (std::vector<SOperation> const& operations : {Reads(), Writes(), Deletes()})
    {
        for (SOperation operation : operations)
        {
            operation.m_profile = simulator::EProfile::Google;
            if (!missing.contains(operation.m_name) && !std::string_view(operation.m_name).starts_with("DeleteObjects"))
            {
                all.push_back(operation);
            }
        }
    }
    return all;
}

std::string NameOf(::testing::TestParamInfo<SOperation> const& info)
{
    std::string name;
    for (char const* at = info.param.m_name; *at != '\0'; ++at)
    {
        name += *at == ' ' ? '_' : *at;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Reads, FaultAtEveryRequest, ::testing::ValuesIn(Reads()), NameOf);
INSTANTIATE_TEST_SUITE_P(Writes, FaultAtEveryRequest, ::testing::ValuesIn(Writes()), NameOf);
INSTANTIATE_TEST_SUITE_P(Deletes, FaultAtEveryRequest, ::testing::ValuesIn(Deletes()), NameOf);
INSTANTIATE_TEST_SUITE_P(Google, FaultAtEveryRequest, ::testing::ValuesIn(OnGoogle()), NameOf);

} // namespace
} // namespace bucketry::s3wire::tests
