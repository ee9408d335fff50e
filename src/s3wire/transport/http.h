#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bucketry::s3wire::transport
{

enum class EHttpMethod
{
    Get,
    Head,
    Put,
    Post,
    Delete
};

/// Header lines in the order they were added; names compare case-insensitively.
class CHeaders
{
public:
    void Add(std::string name, std::string value);
    /// Replaces every line of that name.
    void Set(std::string name, std::string value);
    std::optional<std::string_view> Find(std::string_view name) const;

    auto begin() const { return m_lines.begin(); }
    auto end() const { return m_lines.end(); }
    bool empty() const { return m_lines.empty(); }

private:
    std::vector<std::pair<std::string, std::string>> m_lines;
};

/// A request body: one contiguous block, never copied on its way to the socket.
struct SBody
{
    unsigned char const* m_data = nullptr;
    std::uint64_t m_size = 0;
    std::shared_ptr<void const> m_owner; ///< keeps `m_data` alive; null if the caller does
};

/// Takes a success body as it arrives. `Prepare` is called once per attempt, before the first byte, with the
/// announced length (none for a chunked answer) and the status; it may throw to refuse the answer.
class IBodySink
{
public:
    virtual ~IBodySink() = default;
    virtual void Prepare(unsigned status, std::optional<std::uint64_t> contentLength) = 0;
    virtual void Write(unsigned char const* data, std::size_t size) = 0;
};

/// One exchange as it goes over the wire: everything is encoded and signed already.
struct SHttpRequest
{
    EHttpMethod m_method = EHttpMethod::Get;
    std::string m_url; ///< scheme://host[:port]/encoded-path[?encoded-query]
    CHeaders m_headers;
    SBody m_body;
    IBodySink* m_sink =
        nullptr; ///< takes a 2xx body; without one, and for every other status, the body lands in `m_text`
};

struct SHttpResponse
{
    unsigned m_status = 0;
    CHeaders m_headers;
    std::string m_text; ///< body that no sink took, cut at 64 MiB
};

/// The seam for tests: one blocking exchange. Any number of threads at once.
/// Throws web::http::http_exception when no whole answer came.
class IHttpTransport
{
public:
    virtual ~IHttpTransport() = default;
    virtual SHttpResponse Exchange(SHttpRequest const& request) = 0;
};

} // namespace bucketry::s3wire::transport
