// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"
#include "bucketry/s3wire/client.h"
#include "bucketry/s3wire/storage_class.h"

#include <map>
#include <memory>
#include <string>

namespace bucketry::s3
{

/// What a client and its versioning operations share. Set up by the factory; nothing changes it afterwards.
struct BUCKETRY_API SS3Context
{
    s3wire::s3::CS3WireClient m_client;
    std::shared_ptr<ICloudVersioningUtils> m_versioningUtils; ///< null before the factory sets it
    std::string m_cloudName;                                  ///< "S3" or "Google", for messages
    std::string m_container;                                  ///< a bucket's name, or the ARN of an access point
    s3wire::s3::CObjectStorageClass m_storageClass;           ///< of new objects
    std::map<std::string, std::string> m_objectMetadata;      ///< put on new objects
    bool m_objectLockEnabled = false;                         ///< the bucket keeps versions
};

} // namespace bucketry::s3
