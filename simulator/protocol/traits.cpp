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
    traits.m_limitsMetadata = false;
    traits.m_knowsAllStorageClasses = false;
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

} // namespace

STraits TraitsOf(EProfile profile)
{
    switch (profile)
    {
    case EProfile::Gateway:
        return GatewayTraits();
    case EProfile::Strict:
        return StrictTraits();
    case EProfile::S3:
        break;
    }
    return {};
}

} // namespace bucketry::simulator
