// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/simulator.h"

#include <string_view>
#include <vector>

namespace bucketry::simulator
{

/// Where stores differ, one name each; the values here are S3's.
struct STraits
{
    // Signatures and integrity
    bool m_checksSignedRegion = true;
    bool m_canonicalPathIsDecodedFirst = true; ///< the path is encoded anew before it is hashed, not taken as sent
    bool m_demandsCanonicalPath = false;       ///< a path that isn't encoded as it is signed never fits
    bool m_demandsContentHeadersSigned = false;
    bool m_changesAcceptEncoding = false; ///< before it looks at the signature, so that it must not be signed
    bool m_takesUnsignedPayloadOverHttp = true;
    std::chrono::seconds m_maxSkew = std::chrono::minutes(15);
    bool m_knowsChecksumHeaders = true;
    bool m_refusesChecksumHeaders = false;
    bool m_demandsChecksums = true;       ///< Content-MD5 or a checksum where object lock or a list is at stake
    bool m_demandsLengthAlways = false;   ///< 411 also for a POST without a body and without Content-Length
    bool m_refusesChunkedWith411 = false; ///< S3 answers 501

    // What there is, and how it is told
    char const* m_headerPrefix = "x-amz-"; ///< of what answers tell, and of the header that bypasses governance
    std::string_view m_xmlNamespace = "http://s3.amazonaws.com/doc/2006-03-01/";
    bool m_errorsAreGoogles = false; ///< Google's codes and messages, in a document with little else
    bool m_hasOtherServices = true;  ///< the caller's identity and the keys of a machine's role
    std::vector<std::string_view> m_missingOperations{}; ///< 501
    std::vector<std::string_view> m_wrongParameters{};   ///< of a query: 400

    // Buckets and listings
    bool m_namesBucketRegion = true;
    bool m_emptyLocationIsDefault = false; ///< GetBucketLocation says "default", never nothing
    bool m_nextMarkerAlways = false;
    bool m_tokenIsPlainKey = false;
    bool m_listEncodesAsPercent = false; ///< space as %20 and slash as %2F
    bool m_dropsUnknownSubresources = false;
    bool m_creatingTwiceIsFine = false;
    bool m_listsOldestFirst = false; ///< the versions of one key

    // Objects and versions
    bool m_keyTooLongIsInvalidName = false;
    std::size_t m_maxMetadataSize = 2048; ///< 0: no limit
    /// Empty: those that the options name.
    std::vector<std::string_view> m_storageClasses = {
        "STANDARD",   "REDUCED_REDUNDANCY", "STANDARD_IA", "ONEZONE_IA", "INTELLIGENT_TIERING", "GLACIER",
        "GLACIER_IR", "DEEP_ARCHIVE",       "OUTPOSTS",    "SNOW",       "EXPRESS_ONEZONE"};
    bool m_hasArchive = true;
    bool m_hasBatchJobs = true;
    bool m_hasGenerations = false;      ///< numbers instead of version ids, and no delete markers
    bool m_tellsMissingVersions = true; ///< NoSuchVersion, 405 for markers, x-amz-delete-marker on 404
    bool m_deletesWhatIsNot = true;     ///< else 404
    bool m_deleteListMayBeEmpty = false;
    bool m_refusesDeleteListsBare = false;           ///< 400 without a body
    char const* m_copySourceParameter = "versionId"; ///< behind the source of a copy; empty: none is heeded
    bool m_copiesOntoItself = false;                 ///< also if nothing changes
    bool m_limitsCopies = true;                      ///< to the size of an upload
    bool m_copyTellsVersions = true;
    bool m_copyKnowsConditions = true;
    bool m_copyTakesLockHeaders = true; ///< else the copy inherits the source's retention
    bool m_copyQuotesETag = true;

    // Uploads and locks
    bool m_uploadTakesLockHeaders = true;
    bool m_checksPartOrder = true;
    bool m_completeTellsETag = true;
    bool m_completeTwiceIsFine = true;
    bool m_readsParts = true;       ///< GET with partNumber
    bool m_removesRetention = true; ///< by an empty Retention element
    bool m_hasLegalHold = true;
    bool m_lockNeedsVersions = true; ///< on the bucket
    char const* m_lockedCode = "AccessDenied";
    char const* m_noLockCode = "NoSuchObjectLockConfiguration";
};

/// The ways of the profile that the options name.
STraits TraitsOf(SSimulatorOptions const& options);

} // namespace bucketry::simulator
