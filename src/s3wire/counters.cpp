#include "s3wire/counters.h"

#include "bucketry/s3wire/statistics.h"

#include <array>
#include <atomic>

namespace bucketry::s3wire
{

namespace
{

using counter_t = std::atomic<std::uint64_t>;

std::array<counter_t, 5> requests; ///< by EHttpMethod
counter_t repeats;
counter_t failures;
counter_t connections;
counter_t sentBytes;
counter_t receivedBytes;

void Add(counter_t& counter, std::uint64_t count)
{
    if (count != 0)
    {
        counter.fetch_add(count, std::memory_order_relaxed);
    }
}

} // namespace

void CountRequest(transport::EHttpMethod method)
{
    Add(requests[static_cast<std::size_t>(method)], 1);
}

void CountAnswer(transport::SHttpRequest const& request, transport::SHttpResponse const& answer)
{
    Add(connections, answer.m_connections);
    Add(sentBytes, request.m_body.m_size);
    Add(receivedBytes, answer.m_receivedBytes);
}

void CountRepeat()
{
    Add(repeats, 1);
}

void CountFailure()
{
    Add(failures, 1);
}

s3::SS3Stats s3::CS3StatsAccumulator::GetStats()
{
    auto const of = [](transport::EHttpMethod method) -> std::uint64_t
    { return requests[static_cast<std::size_t>(method)]; };
    using enum transport::EHttpMethod;
    return {of(Get), of(Head), of(Put), of(Post), of(Delete), repeats, failures, connections, sentBytes, receivedBytes};
}

} // namespace bucketry::s3wire
