#include "s3wire/operations/exchange.h"

namespace bucketry::s3wire
{

CExchange::CExchange(std::shared_ptr<wire::IWireSender> sender, std::shared_ptr<CStoreRecord> store)
    : m_sender(std::move(sender)), m_store(std::move(store))
{
}

s3::SObjectData CExchange::HeadObject(wire::SObjectRef const& object) const
{
    return Exchange(wire::MakeHeadObject(object),
                    [](transport::SHttpResponse const& answer) { return wire::ReadObjectData(answer, std::nullopt); });
}

} // namespace bucketry::s3wire
