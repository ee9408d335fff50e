// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/base/exceptions.h"
#include "bucketry/base/text.h"
#include "bucketry/tasks.h"

#include <exception>
#include <memory>
#include <string>
#include <string_view>

namespace bucketry::s3::detail
{

/// The adaption below, with its text filled.
std::shared_ptr<task::IAsyncTask> AdaptTask(web::Task<void> const& task, std::string text);

/// Turns a task of the REST layer into one of the library: a refused request fails as CObjectStorageException with the
/// store's message and status, any other failure stays what it is. `format`, filled with the arguments, is logged when
/// the task fails, except for status 404, which callers probe for.
template <class... TArgs>
std::shared_ptr<task::IAsyncTask> AdaptPplxTaskS3(web::Task<void> task, std::string const& format,
                                                  TArgs const&... arguments)
{
    return AdaptTask(task, util::str_format(format, arguments...));
}

/// Runs what starts or does an operation; a std::exception goes on with one more line, the filled format.
template <class TAction, class... TArgs>
auto Start(TAction const& action, std::string_view format, TArgs const&... arguments) -> decltype(action())
{
    try
    {
        return action();
    }
    catch (std::exception const& error)
    {
        exc::RegenExc(format, arguments..., error);
    }
}

} // namespace bucketry::s3::detail
