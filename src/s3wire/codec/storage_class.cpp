// SPDX-License-Identifier: Apache-2.0
#include "bucketry/s3wire/storage_class.h"

#include "bucketry/base/exceptions.h"

#include <algorithm>
#include <iterator>

namespace bucketry::s3wire::s3
{
namespace
{

struct SNamedClass
{
    boost::variant<EObjectStorageClass, EAmazonS3StorageClass, EGoogleCSStorageClass> m_class;
    char const* m_text;
    char const* m_description;
};

SNamedClass const Classes[] = {
    {EObjectStorageClass::Default, "DEFAULT", "default"},
    {EAmazonS3StorageClass::Standard, "STANDARD", "Amazon S3 STANDARD"},
    {EAmazonS3StorageClass::ReducedRedundancy, "REDUCED_REDUNDANCY", "Amazon S3 REDUCED_REDUNDANCY"},
    {EAmazonS3StorageClass::StandardIA, "STANDARD_IA", "Amazon S3 STANDARD_IA"},
    {EAmazonS3StorageClass::OneZoneIA, "ONEZONE_IA", "Amazon S3 ONEZONE_IA"},
    {EAmazonS3StorageClass::IntelligentTiering, "INTELLIGENT_TIERING", "Amazon S3 INTELLIGENT_TIERING"},
    {EAmazonS3StorageClass::Glacier, "GLACIER", "Amazon S3 GLACIER"},
    {EAmazonS3StorageClass::DeepArchive, "DEEP_ARCHIVE", "Amazon S3 DEEP_ARCHIVE"},
    {EAmazonS3StorageClass::Outposts, "OUTPOSTS", "Amazon S3 OUTPOSTS"},
    {EAmazonS3StorageClass::GlacierIR, "GLACIER_IR", "Amazon S3 GLACIER_IR"},
    {EGoogleCSStorageClass::Standard, "GCS_STANDARD", "Google Cloud Storage STANDARD"},
    {EGoogleCSStorageClass::Nearline, "GCS_NEARLINE", "Google Cloud Storage NEARLINE"},
    {EGoogleCSStorageClass::Coldline, "GCS_COLDLINE", "Google Cloud Storage COLDLINE"},
    {EGoogleCSStorageClass::Archive, "GCS_ARCHIVE", "Google Cloud Storage ARCHIVE"},
};

template <class TValue>
SNamedClass const& RowOf(TValue const& value)
{
    auto const row =
        std::find_if(std::begin(Classes), std::end(Classes), [&](SNamedClass const& c) { return c.m_class == value; });
    if (row == std::end(Classes))
    {
        throw exc::CRuntimeExc("Unknown storage class");
    }
    return *row;
}

} // namespace

CObjectStorageClass::CObjectStorageClass(EAmazonS3StorageClass value) : m_class(value)
{
    RowOf(m_class);
}

CObjectStorageClass::CObjectStorageClass(EGoogleCSStorageClass value) : m_class(value)
{
    RowOf(m_class);
}

CObjectStorageClass CObjectStorageClass::FromString(std::string const& text)
{
    auto const row =
        std::find_if(std::begin(Classes), std::end(Classes), [&](SNamedClass const& c) { return c.m_text == text; });
    if (row == std::end(Classes))
    {
        throw exc::CRuntimeExc("Unknown storage class: %1", text);
    }
    CObjectStorageClass result;
    result.m_class = row->m_class;
    return result;
}

std::string CObjectStorageClass::ToString() const
{
    return RowOf(m_class).m_text;
}

std::string CObjectStorageClass::Description() const
{
    return RowOf(m_class).m_description;
}

bool CObjectStorageClass::Is(EObjectStorageClass value) const
{
    auto const* const own = boost::get<EObjectStorageClass>(&m_class);
    return own != nullptr && *own == value;
}

bool CObjectStorageClass::IsAmazonS3() const
{
    return boost::get<EGoogleCSStorageClass>(&m_class) == nullptr;
}

bool CObjectStorageClass::IsGoogleCS() const
{
    return boost::get<EAmazonS3StorageClass>(&m_class) == nullptr;
}

} // namespace bucketry::s3wire::s3
