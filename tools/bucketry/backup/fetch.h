// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "backup/manifest.h"
#include "host.h"
#include "task_window.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace bucketry::tool
{

/// How the stored content of a file turned out. `m_kind` is empty if it is what the manifest says; else it is the word
/// for COutput::Problem, with a text and the object at fault.
struct SFetchOutcome
{
    std::string m_kind;
    std::string m_text;
    std::string m_object;

    bool IsWhole() const noexcept { return m_kind.empty(); }
};

/// Takes the content of one file.
class IContentReceiver
{
public:
    virtual ~IContentReceiver() = default;
    /// The next bytes. Not called any more once a piece has failed.
    virtual void OnData(unsigned char const* data, std::size_t size) = 0;
    /// Once, behind all data.
    virtual void OnEnd(SFetchOutcome const& outcome) = 0;
};

/// Fetches the objects of a file through the window and compares size and hash with the entry. The receiver is called
/// on the window's thread, the last time in CTaskWindow::Drain at the latest. The client and the entry must live until
/// then.
void FetchContent(CHost& host, CTaskWindow& window, std::string_view runFolder, SEntry const& entry,
                  std::shared_ptr<IContentReceiver> receiver);

} // namespace bucketry::tool
