// SPDX-License-Identifier: Apache-2.0
// A request from anybody, and the same bytes as a fault script. The request is a first line, header lines, an empty
// line and a body. Nobody asks for its signature, so that it comes as far as it can: it is answered, and never because
// of a failure of the simulator itself. A script is read, or refused with the line that is at fault.

#include "faults/faults.h"
#include "server/service.h"

#include <cstdlib>
#include <sstream>

using namespace bucketry::simulator;

namespace
{

SRequest Read(std::string const& text)
{
    SRequest request;
    std::istringstream input(text);
    input >> request.m_method >> request.m_target;
    std::string line;
    std::getline(input, line);
    while (std::getline(input, line) && !line.empty())
    {
        std::size_t const colon = std::min(line.find(':'), line.size());
        request.m_headers.emplace_back(line.substr(0, colon), line.substr(std::min(colon + 1, line.size())));
    }
    request.m_body.assign(std::istreambuf_iterator<char>(input), {});
    return request;
}

void Answer(SRequest request)
{
    static CClock clock;
    CService service(SSimulatorOptions{}, clock);
    service.AddBucket("b", {.m_objectLock = true});
    SRoute route = service.Route(request);
    route.m_isSigned = false;
    auto const serve = [&](std::string const& method, std::string const& target, std::string const& body)
    {
        SRequest other{.m_method = method, .m_target = target, .m_body = body};
        other.m_headers.emplace_back("content-length", std::to_string(body.size()));
        SRoute way = service.Route(other);
        way.m_isSigned = false;
        service.Handle(std::move(other), way);
    };
    serve("PUT", "/b/key", "some text");
    serve("POST", "/b/upload?uploads=", "");
    SResponse const answer = service.Handle(std::move(request), route);
    if (answer.m_status < 200 || answer.m_status >= 600 || answer.m_status == 500)
    {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size)
{
    std::string const text(data, data + size);
    Answer(Read(text));
    try
    {
        ParseFaults(text);
    }
    catch (CFaultScriptError const& error)
    {
        if (error.Line() == 0)
        {
            std::abort();
        }
    }
    return 0;
}
