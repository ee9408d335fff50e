// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3_bare.h"

#include "bucketry/client.h"
#include "bucketry/s3wire/client.h"

#include <string>

/// The parts of the comparison of the REST layer with bare libcurl, each in processes of its own.
namespace bench
{

struct SS3Plan
{
    SBareStore m_plain;
    SBareStore m_tls;
    int m_operations; ///< of 4 KiB, in each round
    int m_rounds;
    int m_largeRounds;
    std::size_t m_largeSize;
};

inline std::string const Bucket = "bucket";

bucketry::s3wire::s3::CS3WireClient MakeClient(SBareStore const& store);
std::shared_ptr<bucketry::ICloudClient> MakeStack(SBareStore const& store);

void SmallObjects(SS3Plan const& plan);
void Connections(SS3Plan const& plan);
void LargeObject(SS3Plan const& plan);
void Listing(SS3Plan const& plan);
void Deletes(SS3Plan const& plan);

} // namespace bench
