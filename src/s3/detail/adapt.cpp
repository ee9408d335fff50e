// SPDX-License-Identifier: Apache-2.0
#include "s3/detail/adapt.h"

#include "bucketry/base/exceptions.h"
#include "bucketry/base/logging.h"
#include "bucketry/client.h"
#include "bucketry/s3wire/exception.h"

#include <exception>
#include <utility>

namespace bucketry::s3::detail
{
namespace
{

constexpr std::uint16_t NotFound = 404;

bool IsNotFound(std::exception const& error)
{
    auto const* const storage = dynamic_cast<CObjectStorageException const*>(&error);
    return storage != nullptr && storage->m_statusCode == NotFound;
}

void WaitAdapted(web::Task<void> const& task)
{
    try
    {
        task.get();
    }
    catch (s3wire::CS3WireException& refusal)
    {
        throw CObjectStorageException(exc::CRuntimeExc(refusal.what()), refusal.GetStatusCode());
    }
}

} // namespace

std::shared_ptr<task::IAsyncTask> AdaptTask(web::Task<void> const& task, std::string text)
{
    return std::make_shared<CPplxTask>(task.then<void>(
        [text = std::move(text)](web::Task<void> const& finished)
        {
            try
            {
                WaitAdapted(finished);
            }
            catch (std::exception const& error)
            {
                if (!IsNotFound(error))
                {
                    stg_log.info("%1", text);
                }
                throw;
            }
        }));
}

} // namespace bucketry::s3::detail
