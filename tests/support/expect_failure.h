// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"

#include <gmock/gmock.h>

#include <string>

namespace bucketry::testing
{

/// The call throws a TFailure, of that class exactly, whose text matches.
template <class TFailure, class TCall>
void ExpectFailure(::testing::Matcher<std::string> const& text, TCall&& call)
{
    try
    {
        call();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (TFailure const& error)
    {
        EXPECT_EQ(typeid(error), typeid(TFailure));
        EXPECT_THAT(error.what(), text);
    }
}

/// The call throws a CObjectStorageException with that status, whose text matches.
template <class TCall>
void ExpectStorageFailure(unsigned short status, ::testing::Matcher<std::string> const& text, TCall&& call)
{
    try
    {
        call();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (CObjectStorageException const& error)
    {
        EXPECT_EQ(error.m_statusCode, status);
        EXPECT_THAT(error.what(), text);
    }
}

} // namespace bucketry::testing
