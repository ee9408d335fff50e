// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3.h"
#include "s3wire/auth/auth.h"
#include "s3wire/context.h"

#include <bucketry/simulator.h>

/// Clients as the factory makes them before it wraps them.
namespace bucketry::s3::tests
{

inline std::shared_ptr<SS3Context> ContextFor(std::string const& endpoint, std::string const& container,
                                              s3wire::s3::CObjectStorageClass const& storageClass = {})
{
    simulator::SAccessKey const key;
    s3wire::CS3WireAuthFactory const factory(s3wire::s3::CS3WireContext::Instance().GetTempKeyStore());
    s3wire::s3::CS3WireClient const wire(endpoint, "us-east-1", {},
                                         factory.CreateForS3(key.m_id, key.m_secret, "", endpoint, "", "", "", 0),
                                         std::nullopt, nullptr, false);
    return std::make_shared<SS3Context>(SS3Context{wire, nullptr, "S3", container, storageClass, {}, false});
}

inline std::shared_ptr<CS3CloudClient> ClientFor(std::string const& endpoint, std::string const& container,
                                                 s3wire::s3::CObjectStorageClass const& storageClass = {})
{
    return std::make_shared<CS3CloudClient>(ContextFor(endpoint, container, storageClass), "");
}

} // namespace bucketry::s3::tests
