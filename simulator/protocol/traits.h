#pragma once

#include "bucketry/simulator.h"

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
    bool m_takesUnsignedPayloadOverHttp = true;
    std::chrono::seconds m_maxSkew = std::chrono::minutes(15);
    bool m_knowsChecksumHeaders = true;
    bool m_demandsChecksums = true;       ///< Content-MD5 or a checksum where object lock or a list is at stake
    bool m_demandsLengthAlways = false;   ///< 411 also for a POST without a body and without Content-Length
    bool m_refusesChunkedWith411 = false; ///< S3 answers 501

    // Buckets and listings
    bool m_namesBucketRegion = true;
    bool m_emptyLocationIsDefault = false; ///< GetBucketLocation says "default", never nothing
    bool m_nextMarkerAlways = false;
    bool m_tokenIsPlainKey = false;
    bool m_listEncodesAsPercent = false; ///< space as %20 and slash as %2F
    bool m_dropsUnknownSubresources = false;
    bool m_creatingTwiceIsFine = false;

    // Objects and versions
    bool m_keyTooLongIsInvalidName = false;
    bool m_limitsMetadata = true;
    bool m_knowsAllStorageClasses = true;
    bool m_hasArchive = true;
    bool m_hasBatchJobs = true;
    bool m_tellsMissingVersions = true; ///< NoSuchVersion, 405 for markers, x-amz-delete-marker on 404
    bool m_deleteListMayBeEmpty = false;
    bool m_refusesDeleteListsBare = false; ///< 400 without a body
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
    char const* m_noLockCode = "NoSuchObjectLockConfiguration";
};

/// The ways of that profile.
STraits TraitsOf(EProfile profile);

} // namespace bucketry::simulator
