#pragma once

#include "bucketry/base/text.h"
#include "bucketry/tasks.h"

#include <memory>
#include <string>

namespace bucketry::s3::detail
{

/// The adaption below, with its text filled.
std::shared_ptr<task::IAsyncTask> AdaptTask(web::Task<void> const& task, std::string text);

/// Turns a task of the REST layer into one of the library: a refused request fails as CObjectStorageException with the
/// store's message and status, any other failure stays what it is. `format`, filled with the arguments, is logged when the task fails,
/// except for status 404, which callers probe for.
template <class... TArgs>
std::shared_ptr<task::IAsyncTask> AdaptPplxTaskS3(web::Task<void> task, std::string const& format,
                                                  TArgs const&... arguments)
{
    return AdaptTask(task, util::str_format(format, arguments...));
}

} // namespace bucketry::s3::detail
