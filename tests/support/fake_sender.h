// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "s3wire/client_over.h"
#include "support/wire_messages.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace bucketry::s3wire::tests
{

/// A sender without a network: the handler makes the answers, and refusals become exceptions as the real one raises
///                             them.
class CFakeSender final : public wire::IWireSender
{
public:
    using handler_t = std::function<transport::SHttpResponse(wire::SWireRequest const& request)>;

    explicit CFakeSender(handler_t handler) : m_handler(std::move(handler)) {}
    /// Gives these answers, one after the other; a request beyond them fails.
    static std::shared_ptr<CFakeSender> Script(std::vector<transport::SHttpResponse> answers);

    transport::SHttpResponse Send(wire::SWireRequest const& request) override;
    /// The first line of each request so far.
    std::vector<std::string> Lines() const;

private:
    handler_t const m_handler;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines; ///< guarded by m_mutex
};

/// The operations of a store behind a sender.
inline std::shared_ptr<COperations> Over(std::shared_ptr<wire::IWireSender> sender, SStoreTraits const& traits = {})
{
    return std::make_shared<COperations>(std::move(sender), std::make_shared<CStoreRecord>(SStoreAddress{}, traits));
}

} // namespace bucketry::s3wire::tests
