// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/parallel.h"

#include "support/expect_failure.h"
#include "support/log_capture.h"
#include "support/memory_client.h"

#include <atomic>
#include <future>
#include <thread>

namespace bucketry::testing
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using task_t = std::shared_ptr<task::IAsyncTask>;

inline task_t Make(std::function<void()> body)
{
    return CPplxTaskUtils().CreateTask(std::move(body));
}

[[noreturn]] inline void Refuse()
{
    throw CObjectStorageException(exc::CRuntimeExc("refused"), 503);
}

inline std::shared_ptr<CMemoryClient> MemoryClient(std::uint32_t limit)
{
    return std::make_shared<CMemoryClient>(std::make_shared<CMemoryStore>(false), limit);
}

inline void Repeat(int times, std::function<void(int)> const& call)
{
    for (int n = 0; n < times; ++n)
    {
        call(n);
    }
}

inline void InThreads(int count, std::function<void(int)> const& body)
{
    std::vector<std::future<void>> threads;
    Repeat(count, [&](int n) { threads.push_back(std::async(std::launch::async, body, n)); });
    Repeat(count, [&](int n) { threads[static_cast<std::size_t>(n)].get(); });
}

/// Holds up whoever passes until it is opened.
class CGate
{
public:
    void Pass() const { m_isOpen.wait(); }
    void Open() { m_open.set_value(); }

private:
    std::promise<void> m_open;
    std::shared_future<void> const m_isOpen = m_open.get_future().share();
};

} // namespace bucketry::testing
