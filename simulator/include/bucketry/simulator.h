// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// An S3 store in memory behind a real HTTP socket on loopback, for tests of programs that talk to such stores.
namespace bucketry::simulator
{

using time_point_t = std::chrono::system_clock::time_point;

/// Whose ways the store has where stores differ.
enum class EProfile
{
    S3,      ///< Amazon's service
    Gateway, ///< the Ceph object gateway: no archive, no batch jobs, lock headers ignored on copies and uploads
    Strict,  ///< S3, refusing also what only the strictest stores refuse
    Google   ///< Google Cloud Storage, as a client that signs for S3 sees its XML API
};

enum class EConditionalWrites
{
    Honour, ///< If-Match and If-None-Match decide, as on S3
    Ignore, ///< the write happens all the same
    Refuse  ///< 501 NotImplemented
};

/// One pair of keys that the store knows. Without a session token they are permanent.
struct SAccessKey
{
    std::string m_id = "AKIDEXAMPLE";
    std::string m_secret = "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY";
    std::string m_sessionToken = {};
    std::optional<time_point_t> m_expires = {}; ///< by the simulator's clock; only with a session token
};

/// Where the google profile may be one store or another.
struct SGoogleOptions
{
    bool m_hasMultiDelete = false;   ///< POST ?delete, which older stores refuse
    bool m_hasNewerListing = false;  ///< list-type=2
    bool m_listsNewestFirst = false; ///< the generations of one name in a list of versions
    /// Whether a copy's source may end in `?generation=`. Else what follows the "?" is ignored, so that the live object
    /// is copied; x-goog-copy-source-generation names a generation either way.
    bool m_copySourceTakesGeneration = true;
};

struct SSimulatorOptions
{
    EProfile m_profile = EProfile::S3;
    std::string m_address = "127.0.0.1";
    std::uint16_t m_port = 0;           ///< 0: the system chooses
    std::string m_certificateFile = {}; ///< PEM; set both files for TLS
    std::string m_privateKeyFile = {};
    bool m_alsoPlain = false;           ///< with TLS: the same store answers without it, too, on a port of its own
    std::string m_region = "us-east-1"; ///< of buckets that name none, and of requests without a bucket
    std::string m_accountId = "123456789012";
    std::vector<SAccessKey> m_accessKeys = {SAccessKey{}};
    std::vector<std::string> m_hostNames = {"localhost"};     ///< NAME.HOST is the bucket NAME, besides Amazon's hosts
    std::vector<std::string> m_storageClasses = {"STANDARD"}; ///< what the gateway profile takes
    std::uint64_t m_minPartSize = 5ull * 1024 * 1024;
    std::uint64_t m_maxPutSize = 5ull * 1024 * 1024 * 1024;
    EConditionalWrites m_conditionalWrites = EConditionalWrites::Honour;
    std::chrono::seconds m_maxSkew = std::chrono::minutes(15); ///< between the clock and a request's time of signing
    std::optional<bool> m_unsignedPayloadOverHttp = {};        ///< not set: refused by the strict profile only
    std::string m_roleName = "backup-role"; ///< of the metadata service; empty: the machine has no role
    bool m_metadataTokenRequired = true;
    std::chrono::seconds m_roleKeysLifetime = std::chrono::hours(6);
    std::optional<std::chrono::seconds> m_restoreTime = {}; ///< of every tier; not set: as on S3, 5 minutes to 48 hours
    SGoogleOptions m_google = {};
    std::size_t m_logLimit = 100000; ///< the oldest requests are forgotten beyond it
};

enum class ERedirect
{
    None,
    Permanent, ///< 301 PermanentRedirect
    Temporary  ///< 307 TemporaryRedirect
};

struct SBucketOptions
{
    bool m_versioning = false;
    bool m_objectLock = false;               ///< switches versioning on
    std::string m_defaultRetentionMode = {}; ///< GOVERNANCE or COMPLIANCE, with a number of days
    unsigned m_defaultRetentionDays = 0;
    std::string m_region = {}; ///< empty: the simulator's
    ERedirect m_redirect = ERedirect::None;
    std::string m_redirectEndpoint = {}; ///< host[:port] that the redirect names
};

/// Makes NAME-ACCOUNT.HOST, or with an outpost NAME-ACCOUNT.OUTPOST.HOST, lead to a bucket.
struct SAccessPoint
{
    std::string m_name = {};
    std::string m_outpostId = {};
    std::string m_bucket = {};
};

struct SLoggedRequest
{
    std::string m_method = {};
    std::string m_target = {}; ///< as sent
    std::string m_operation = {};
    std::string m_bucket = {};
    std::string m_key = {};
    std::vector<std::pair<std::string, std::string>> m_headers = {}; ///< names in lower case
    std::uint64_t m_bodySize = 0;
    unsigned m_status = 0; ///< 0: no answer was sent
    std::string m_errorCode = {};
    std::string m_fault = {}; ///< the action that hit it, as a script writes it

    /// Empty if there is no such header. `name` in lower case.
    BUCKETRY_API std::string Header(std::string const& name) const;
};

enum class EFaultAction
{
    Status,         ///< m_status and m_code instead of the work
    ErrorIn200,     ///< 200 with an error document of m_code instead of the work
    Empty200,       ///< 200 without a body instead of the work
    Delay,          ///< waits m_amount milliseconds, then goes on with the rules below
    LostAnswer,     ///< the work is done, no answer is sent
    CutBeforeBody,  ///< closes the connection after the request's headers
    CutInBody,      ///< closes it after half of the request's body
    CutAfterBody,   ///< closes it after the request's body, nothing is done
    TruncateAnswer, ///< sends m_amount bytes of the answer's body (0: half of it), then closes
    WrongLength,    ///< announces m_amount bytes more (or less) than the body has, then closes
    Duplicate,      ///< the request arrives twice; the second answer is sent
    Redirect,       ///< m_status 301 or 307 to m_endpoint, with m_region
    WrongRegion,    ///< 400 AuthorizationHeaderMalformed that asks for m_region
    ExpiredToken,   ///< 400 ExpiredToken
    ClockSkew,      ///< the store's clock is m_amount seconds ahead for this request
    Stall,          ///< sends m_amount bytes of the answer's body, then nothing for ever
    Close           ///< the whole answer, then an unannounced close
};

/// What a rule's rate is for.
enum class ERateScope
{
    Rule,   ///< all requests that fit the rule
    Prefix, ///< those whose keys are the same up to the last "/"
    Key     ///< those of one key
};

/// One rule of a fault script. A request that fits operation, bucket and key is counted by the rule, and the count
/// decides. With a rate, only requests beyond it are counted. The first rule that fires ends the search, but delays add
/// up.
struct SFault
{
    std::string m_operation = "*"; ///< S3's name of the operation, or several with `|`; `*` and `?` as in file names
    std::string m_bucket = "*";
    std::string m_key = "*";
    unsigned m_nth = 0;   ///< only the n-th request, counted from 1
    unsigned m_every = 0; ///< every n-th
    unsigned m_times = 0; ///< at most so often; 0: no limit
    double m_chance = 1;  ///< probability, drawn from m_seed
    std::uint64_t m_seed = 0;
    double m_rate = 0;    ///< requests that pass in a second of the simulator's clock; 0: no rate
    unsigned m_burst = 1; ///< how many pass at once after a rest
    ERateScope m_rateScope = ERateScope::Rule;

    EFaultAction m_action = EFaultAction::Status;
    unsigned m_status = 503;
    std::string m_code = {};
    std::string m_message = {};
    std::int64_t m_amount = 0;
    std::string m_region = {};
    std::string m_endpoint = {};
    std::optional<unsigned> m_retryAfter = {}; ///< seconds
};

/// A fault script that can't be read. `what()` names line and reason.
class BUCKETRY_API CFaultScriptError : public std::runtime_error
{
public:
    CFaultScriptError(unsigned line, std::string const& reason);
    unsigned Line() const { return m_line; }

private:
    unsigned m_line;
};

/// Reads a script: one rule a line, `on OPERATION[|OPERATION...] [key=GLOB] [bucket=GLOB] [nth=N] [every=N] [times=N]
/// [chance=P] [seed=N] [rate=N/s [burst=N] [per=key|prefix]] do ACTION`, `#` begins a comment, a value with blanks
/// stands in double quotes. Actions: `status N [CODE] [message=TEXT] [retry-after=SECONDS]`, `error-in-200 CODE`,
/// `empty-200`, `delay MILLISECONDS`, `lost-answer`, `cut before-body|in-body|after-body`, `truncate [BYTES]`,
/// `wrong-length BYTES`, `duplicate`, `redirect 301|307 ENDPOINT [region=REGION]`, `wrong-region REGION`,
/// `expired-token`, `clock-skew SECONDS`, `stall [BYTES]`, `close`. Throws CFaultScriptError.
BUCKETRY_API std::vector<SFault> ParseFaults(std::string const& script);

/// The store. It answers from construction to destruction; every operation may be called from any thread, also while
/// requests are served. Operations that name a bucket throw std::invalid_argument if there is none.
class BUCKETRY_API CSimulator
{
public:
    /// Listens at once. Throws std::runtime_error if it can't.
    explicit CSimulator(SSimulatorOptions options = {});
    /// Closes all connections, those in a delay or stall too.
    ~CSimulator();
    CSimulator(CSimulator const&) = delete;
    CSimulator& operator=(CSimulator const&) = delete;

    std::uint16_t Port() const;
    /// scheme://address:port; of the google profile scheme://storage.googleapis.com.localhost:port, which libcurl takes
    /// for loopback, so that clients which know that store by its name take it for one.
    std::string Endpoint() const;
    /// The same without TLS; empty if there is none beside TLS.
    std::string PlainEndpoint() const;

    void CreateBucket(std::string const& name, SBucketOptions const& options = {});
    void AddAccessPoint(SAccessPoint const& accessPoint);
    void AddAccessKey(SAccessKey const& key);

    /// Stops the clock at that time; only AdvanceClock moves it from there. Before the first call it follows the
    /// system's.
    void SetClock(time_point_t now);
    void AdvanceClock(std::chrono::milliseconds by);
    time_point_t Now() const;

    std::vector<SLoggedRequest> Log() const;
    void ClearLog();

    void AddFault(SFault const& fault);
    /// Adds the rules of a script; none if it can't be read (CFaultScriptError).
    void LoadFaults(std::string const& script);
    void ClearFaults();
    /// How often a rule fired since construction.
    std::uint64_t FaultsFired() const;

    /// Keys that a plain listing has.
    std::size_t ObjectCount(std::string const& bucket) const;
    /// Versions and delete markers.
    std::size_t VersionCount(std::string const& bucket) const;
    /// Multipart uploads that were neither completed nor aborted.
    std::size_t PendingUploads(std::string const& bucket) const;
    /// Empty if there is no such object. Without a version id (or generation) the newest version.
    std::optional<std::string> ObjectContent(std::string const& bucket, std::string const& key,
                                             std::string const& versionId = {}) const;
    /// Puts the newest version into an archive tier of intelligent tiering: ARCHIVE_ACCESS or DEEP_ARCHIVE_ACCESS.
    void SetArchiveTier(std::string const& bucket, std::string const& key, std::string const& tier);

    /// The states that new batch jobs go through; the last one stays. Each lasts so long by the simulator's clock, or
    /// with 0 until the next question. By default New, Preparing, Active, Complete. The manifest is read when New is
    /// over: one that cannot be used makes the job Failed. With Complete the restores are asked for, and the report is
    /// written.
    void SetJobScript(std::vector<std::string> statuses, std::chrono::milliseconds each = {});

private:
    struct SState;
    std::unique_ptr<SState> m_state;
};

} // namespace bucketry::simulator
