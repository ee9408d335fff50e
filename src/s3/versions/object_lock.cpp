// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/options.h"
#include "bucketry/s3/paths.h"
#include "bucketry/s3wire/exception.h"
#include "bucketry/versions.h"
#include "s3/detail/adapt.h"
#include "s3/versions/versioning_utils.h"

namespace bucketry::s3::detail
{
namespace
{

using datetime::CDateTime;
using s3wire::s3::CS3WireClient;
using s3wire::s3::EObjectLockMode;
using task_t = ICloudVersioningUtils::task_t;

EObjectLockMode LockMode()
{
    return options_t::GetInst().GetUseS3ComplianceObjectLockMode() ? EObjectLockMode::Compliance
                                                                   : EObjectLockMode::Governance;
}

/// As it is shown, whatever its zone.
std::string RetainUntilText(CDateTime const& date)
{
    return date.toStdString("%Y-%m-%dT%H:%M:%S.000Z");
}

/// ISO 8601 in UTC. Stores differ in the digits of a second that they tell; a part of a second is dropped.
CDateTime ReadRetainUntil(std::string const& text)
{
    std::size_t const dot = text.find('.');
    std::size_t const zone = text.find_first_not_of("0123456789", dot + 1);
    bool const hasFraction = dot != std::string::npos && zone != std::string::npos && zone > dot + 1;
    return CDateTime::fromString(hasFraction ? text.substr(0, dot) + text.substr(zone) : text, "%Y-%m-%dT%H:%M:%SZ",
                                 true);
}

/// One version of one object, and the client that reaches it. A plain value, for continuations.
struct SVersion
{
    std::shared_ptr<CS3WireClient> m_client;
    std::string m_bucket;
    std::string m_path;
    std::string m_version;

    web::Task<std::optional<CDateTime>> ImmutableTill() const
    {
        return CreateGetFileVersionImmutabilityAsyncTask(m_path, m_version, m_bucket, m_client);
    }
    web::Task<void> Retain(CDateTime const& date) const
    {
        return m_client->PutObjectRetention(m_bucket, ConvertObjectPath(m_path), LockMode(), RetainUntilText(date),
                                            m_version);
    }
    /// The store has refused the date: well, if the version lasts longer.
    void CheckLastsLonger(CDateTime const& date) const
    {
        auto const standing = ImmutableTill().get();
        if (standing && *standing <= date)
        {
            throw exc::CRuntimeExc("Failed to update object [%1] version [%2] immutability. Initial date: [%3]. "
                                   "Current date: [%4]",
                                   m_path, m_version, date.toStdString(), standing->toStdString());
        }
    }
};

} // namespace

web::Task<std::optional<CDateTime>> CreateGetFileVersionImmutabilityAsyncTask(std::string const& path,
                                                                              std::string const& version,
                                                                              std::string const& bucket,
                                                                              std::shared_ptr<CS3WireClient> client)
{
    return client->GetObjectHead(bucket, ConvertObjectPath(path), version)
        .then<std::optional<CDateTime>>(
            [](s3wire::s3::SObjectData const& head) -> std::optional<CDateTime>
            {
                if (!head.m_objectLock || !head.m_objectLock->m_enabled)
                {
                    return std::nullopt;
                }
                return ReadRetainUntil(head.m_objectLock->m_retainUntil);
            });
}

std::optional<CDateTime> CS3VersioningUtils::GetEffectiveImmutableTillUtc(std::optional<CDateTime> const& requested)
{
    if (!requested)
    {
        return std::nullopt;
    }
    auto const effective =
        CImmutabilityUtils::CheckImmutabilityPeriod(*requested, m_immutabilityWarned.load(std::memory_order_relaxed));
    if (!effective)
    {
        m_immutabilityWarned = true;
    }
    return effective;
}

std::optional<CDateTime> CS3VersioningUtils::FillObjectLockAndEffectiveImmutableTill(
    std::optional<CDateTime> const& requested, s3wire::s3::SObjectLockConfig& lock)
{
    auto const effective = GetEffectiveImmutableTillUtc(requested);
    if (effective)
    {
        lock = {true, LockMode(), RetainUntilText(effective->toUtcTime()), false};
    }
    return effective;
}

task_t CS3VersioningUtils::GetFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                                           std::shared_ptr<std::optional<CDateTime>> immutableTill)
{
    SVersion const object{GetPtrClient(), m_bucket, path, version};
    return AdaptPplxTaskS3(
        object.ImmutableTill().then<void>([immutableTill](std::optional<CDateTime> const& date)
                                          { *immutableTill = date; }),
        "CS3VersioningUtils::GetFileVersionImmutabilityAsync async task has failed, path [%1], version [%2]", path,
        version);
}

task_t CS3VersioningUtils::UpdateFileVersionImmutabilityAsync(std::string const& path, std::string const& version,
                                                              CDateTime immutableTill)
{
    if (!GetEffectiveImmutableTillUtc(immutableTill))
    {
        return CPplxTaskUtils().CreateCompletedTask();
    }
    SVersion const object{GetPtrClient(), m_bucket, path, version};
    return AdaptPplxTaskS3(object.Retain(immutableTill),
                           "CS3VersioningUtils::UpdateFileVersionImmutabilityAsync async task has failed, path [%1], "
                           "version [%2], immutableTill [%3]",
                           path, version, immutableTill.toStdString());
}

task_t CS3VersioningUtils::CheckAndUpdateImmutabilityAsync(std::string const& path, std::string const& version,
                                                           CDateTime const& immutableTill)
{
    if (!GetEffectiveImmutableTillUtc(immutableTill))
    {
        return CPplxTaskUtils().CreateCompletedTask();
    }
    SVersion const object{GetPtrClient(), m_bucket, path, version};
    auto const judge = [object, immutableTill](web::Task<void> const& asked)
    {
        try
        {
            asked.get();
        }
        catch (s3wire::CS3WireException const& refusal)
        {
            if (refusal.GetStatusCode() != 403)
            {
                throw;
            }
            object.CheckLastsLonger(immutableTill);
        }
    };
    auto const update = [object, immutableTill, judge](std::optional<CDateTime> const& standing) -> web::Task<void>
    {
        if (standing && *standing >= immutableTill)
        {
            return web::TaskFromResult();
        }
        return object.Retain(immutableTill).then<void>(judge);
    };
    return AdaptPplxTaskS3(object.ImmutableTill().then<void>(update),
                           "CS3VersioningUtils::CheckAndUpdateImmutabilityAsync async task has failed, path [%1], "
                           "version [%2], immutableTill [%3]",
                           path, version, immutableTill.toStdString());
}

} // namespace bucketry::s3::detail
