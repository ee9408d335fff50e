// SPDX-License-Identifier: Apache-2.0
#include "protocol/traits.h"

namespace bucketry::simulator
{

namespace
{

STraits GatewayTraits()
{
    STraits traits;
    traits.m_checksSignedRegion = false;
    traits.m_canonicalPathIsDecodedFirst = false;
    traits.m_knowsChecksumHeaders = false;
    traits.m_demandsChecksums = false;
    traits.m_refusesChunkedWith411 = true;
    traits.m_namesBucketRegion = false;
    traits.m_emptyLocationIsDefault = true;
    traits.m_nextMarkerAlways = true;
    traits.m_tokenIsPlainKey = true;
    traits.m_listEncodesAsPercent = true;
    traits.m_dropsUnknownSubresources = true;
    traits.m_creatingTwiceIsFine = true;
    traits.m_keyTooLongIsInvalidName = true;
    traits.m_maxMetadataSize = 0;
    traits.m_storageClasses.clear();
    traits.m_hasArchive = false;
    traits.m_hasBatchJobs = false;
    traits.m_tellsMissingVersions = false;
    traits.m_deleteListMayBeEmpty = true;
    traits.m_refusesDeleteListsBare = true;
    traits.m_copyTellsVersions = false;
    traits.m_copyKnowsConditions = false;
    traits.m_copyTakesLockHeaders = false;
    traits.m_copyQuotesETag = false;
    traits.m_uploadTakesLockHeaders = false;
    traits.m_checksPartOrder = false;
    traits.m_completeTellsETag = false;
    traits.m_readsParts = false;
    traits.m_removesRetention = false;
    traits.m_noLockCode = "ObjectLockConfigurationNotFoundError";
    return traits;
}

STraits StrictTraits()
{
    STraits traits;
    traits.m_canonicalPathIsDecodedFirst = false;
    traits.m_demandsCanonicalPath = true;
    traits.m_demandsContentHeadersSigned = true;
    traits.m_takesUnsignedPayloadOverHttp = false;
    traits.m_demandsLengthAlways = true;
    traits.m_completeTwiceIsFine = false;
    return traits;
}

/// As Google describes its XML API for requests that are signed for S3, and as users report it. No line of this was
/// tried on the store itself. Sources: https://docs.cloud.google.com/storage/docs/xml-api/overview and the pages below
/// it, and https://docs.cloud.google.com/storage/docs/aws-simple-migration.
STraits GoogleTraits(SGoogleOptions const& options)
{
    STraits traits;
    traits.m_checksSignedRegion = false;
    traits.m_canonicalPathIsDecodedFirst = false;
    traits.m_changesAcceptEncoding = true; // reported
    traits.m_knowsChecksumHeaders = false;
    traits.m_refusesChecksumHeaders = true; // reported
    traits.m_demandsChecksums = false;

    traits.m_headerPrefix = "x-goog-";
    traits.m_xmlNamespace = "http://doc.s3.amazonaws.com/2006-03-01";
    traits.m_errorsAreGoogles = true;
    traits.m_hasOtherServices = false;
    traits.m_missingOperations = {"UploadPartCopy", "RestoreObject", "GetObjectLegalHold", "PutObjectLegalHold",
                                  "PutObjectLockConfiguration"};
    if (!options.m_hasMultiDelete)
    {
        traits.m_missingOperations.emplace_back("DeleteObjects");
    }
    if (!options.m_hasNewerListing)
    {
        traits.m_missingOperations.emplace_back("ListObjectsV2");
    }
    // The first is reported. The second may be ignored by the store, which no client can want: it is refused so that
    // nobody overlooks it.
    traits.m_wrongParameters = {"x-id", "versionId"};

    traits.m_namesBucketRegion = false;
    traits.m_nextMarkerAlways = true;
    traits.m_listsOldestFirst = !options.m_listsNewestFirst; // reported

    traits.m_maxMetadataSize = 8192;
    traits.m_storageClasses = {"STANDARD", "NEARLINE", "COLDLINE", "ARCHIVE"};
    traits.m_hasArchive = false;
    traits.m_hasBatchJobs = false;
    traits.m_hasGenerations = true;
    traits.m_tellsMissingVersions = false;
    traits.m_deletesWhatIsNot = false;
    traits.m_copySourceParameter = options.m_copySourceTakesGeneration ? "generation" : "";
    traits.m_copiesOntoItself = true;
    traits.m_limitsCopies = false;
    traits.m_completeTwiceIsFine = false;
    traits.m_readsParts = false;
    traits.m_hasLegalHold = false;
    traits.m_lockNeedsVersions = false;
    traits.m_lockedCode = "RetentionPolicyNotMet";
    return traits;
}

} // namespace

STraits TraitsOf(SSimulatorOptions const& options)
{
    switch (options.m_profile)
    {
    case EProfile::Gateway:
        return GatewayTraits();
    case EProfile::Strict:
        return StrictTraits();
    case EProfile::Google:
        return GoogleTraits(options.m_google);
    case EProfile::S3:
        break;
    }
    return {};
}

} // namespace bucketry::simulator
