// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/client.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// One table of all operations, which drives every decorator: one row per operation, overloads included.
namespace bucketry::testing
{

/// How the recorded operations end.
enum class EOutcome
{
    Succeed,
    ThrowFromCall, ///< a CObjectStorageException with status 503
    FailTask       ///< the same, from the task
};

/// Keeps every call with its arguments as a text. Any thread.
class CRecorder
{
public:
    EOutcome m_outcome = EOutcome::Succeed;

    std::vector<std::string> Seen() const;
    void Note(std::string const& call);

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_seen;
};

/// A client, and the versioning operations, that only record, and answer with fixed results. The recorder must outlive
/// them. Streams record, too.
std::shared_ptr<ICloudClient> RecordingClient(CRecorder& recorder);
std::shared_ptr<ICloudVersioningUtils> RecordingVersioning(CRecorder& recorder);

/// One operation, called with fixed arguments; gives a text of its result, for a task after waiting for it.
template <class TInterface>
struct SOperation
{
    std::string m_name;
    std::function<std::string(TInterface&)> m_call;
};

/// One row per operation, in slot order.
std::vector<SOperation<ICloudClient>> const& ClientOperations();
std::vector<SOperation<ICloudVersioningUtils>> const& VersioningOperations();

} // namespace bucketry::testing
