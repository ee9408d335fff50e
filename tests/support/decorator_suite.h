// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/recording_client.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bucketry::testing
{

/// The calls that an operation makes, and its result, with and without a decorator around the recording object.
template <class TInterface>
struct SRun
{
    std::vector<std::string> m_seen;
    std::string m_result;
    unsigned m_status = 0; ///< of the failure, if it failed

    SRun(SOperation<TInterface> const& operation, EOutcome outcome,
         std::function<std::shared_ptr<TInterface>(CRecorder&)> const& make)
    {
        CRecorder recorder;
        std::shared_ptr<TInterface> const object = make(recorder);
        std::size_t const before = recorder.Seen().size(); // what wrapping itself has called
        recorder.m_outcome = outcome;
        try
        {
            m_result = operation.m_call(*object);
        }
        catch (CObjectStorageException const& failure)
        {
            m_status = failure.m_statusCode;
        }
        m_seen = recorder.Seen();
        m_seen.erase(m_seen.begin(), m_seen.begin() + static_cast<std::ptrdiff_t>(before));
    }
};

/// The decorator passes each operation on once, with its arguments, gives its result, and lets a failure through with
/// class and status. Leaves out the operations named in `changed`, which the decorator alters on purpose.
template <class TInterface>
void ExpectPassesEverythingOn(std::vector<SOperation<TInterface>> const& operations,
                              std::function<std::shared_ptr<TInterface>(CRecorder&)> const& bare,
                              std::function<std::shared_ptr<TInterface>(CRecorder&)> const& decorated,
                              std::vector<std::string> const& changed = {})
{
    for (SOperation<TInterface> const& operation : operations)
    {
        if (std::find(changed.begin(), changed.end(), operation.m_name) != changed.end())
        {
            continue;
        }
        for (EOutcome const outcome : {EOutcome::Succeed, EOutcome::ThrowFromCall, EOutcome::FailTask})
        {
            SRun<TInterface> const expected(operation, outcome, bare);
            SRun<TInterface> const got(operation, outcome, decorated);
            EXPECT_EQ(got.m_seen, expected.m_seen) << operation.m_name;
            EXPECT_EQ(got.m_result, expected.m_result) << operation.m_name;
            EXPECT_EQ(got.m_status, expected.m_status) << operation.m_name;
        }
    }
}

} // namespace bucketry::testing
