// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/export.h"

#include <boost/variant.hpp>

#include <string>

namespace bucketry::s3wire::s3
{

/// Classes that every store has.
enum class EObjectStorageClass
{
    Default ///< the store's own choice: no class is sent
};

/// The classes of Amazon S3.
enum class EAmazonS3StorageClass
{
    Standard = 1,
    ReducedRedundancy,
    StandardIA,
    OneZoneIA,
    IntelligentTiering,
    Glacier, ///< Flexible Retrieval
    DeepArchive,
    Outposts = 8, ///< the one class of buckets on Outposts
    GlacierIR
};

/// The classes of Google Cloud Storage.
enum class EGoogleCSStorageClass
{
    Standard = 1,
    Nearline,
    Coldline,
    Archive
};

/// The storage class of an object. A plain value.
class BUCKETRY_API CObjectStorageClass
{
public:
    /// The default class.
    CObjectStorageClass() = default;
    CObjectStorageClass(EObjectStorageClass value) : m_class(value) {}
    /// Throws exc::CRuntimeExc for a value outside the enumeration.
    CObjectStorageClass(EAmazonS3StorageClass value);
    CObjectStorageClass(EGoogleCSStorageClass value);

    /// Reads what ToString gives. Throws exc::CRuntimeExc that quotes any other text.
    static CObjectStorageClass FromString(std::string const& text);
    /// "DEFAULT", the word of S3, or the word of Google with the prefix "GCS_".
    std::string ToString() const;
    /// A text for messages: the store and its word.
    std::string Description() const;

    /// Whether this is that class of the generic kind.
    bool Is(EObjectStorageClass value) const;
    /// True for a class of Amazon S3 and for the default class.
    bool IsAmazonS3() const;
    /// True for a class of Google and for the default class.
    bool IsGoogleCS() const;

    friend bool operator==(CObjectStorageClass const& left, CObjectStorageClass const& right)
    {
        return left.m_class == right.m_class;
    }

private:
    boost::variant<EObjectStorageClass, EAmazonS3StorageClass, EGoogleCSStorageClass> m_class =
        EObjectStorageClass::Default;
};

} // namespace bucketry::s3wire::s3
