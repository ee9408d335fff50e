// SPDX-License-Identifier: Apache-2.0
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

/// The method's word in a request line.
std::string_view ToText(EHttpMethod method);

/// Header lines in the order they were added; names compare case-insensitively. All of them share one block of text, so
/// views that were handed out end with the next change.
class CHeaders
{
public:
    using line_t = std::pair<std::string_view, std::string_view>;

    void Add(std::string_view name, std::string_view value);
    /// Replaces every line of that name.
    void Set(std::string_view name, std::string_view value);
    void Remove(std::string_view name);
    std::optional<std::string_view> Find(std::string_view name) const;
    /// The value of the first line of that name, or an empty text.
    std::string_view Get(std::string_view name) const { return Find(name).value_or(std::string_view()); }

    std::size_t size() const { return m_lines.size(); }
    bool empty() const { return m_lines.empty(); }
    line_t operator[](std::size_t index) const;

    class const_iterator
    {
    public:
        const_iterator(CHeaders const& headers, std::size_t index) : m_headers(&headers), m_index(index) {}
        line_t operator*() const { return (*m_headers)[m_index]; }
        const_iterator& operator++()
        {
            ++m_index;
            return *this;
        }
        bool operator==(const_iterator const& other) const { return m_index == other.m_index; }

    private:
        CHeaders const* m_headers;
        std::size_t m_index;
    };
    const_iterator begin() const { return {*this, 0}; }
    const_iterator end() const { return {*this, m_lines.size()}; }

private:
    struct SLine
    {
        std::uint32_t m_at;
        std::uint32_t m_nameSize;
        std::uint32_t m_valueSize;
    };

    std::string m_text; ///< name, value, name, value ...
    std::vector<SLine> m_lines;
};

/// A request body: one contiguous block, never copied on its way to the socket.
struct SBody
{
    unsigned char const* m_data = nullptr;
    std::uint64_t m_size = 0;
    std::shared_ptr<void const> m_owner; ///< keeps `m_data` alive; null if the caller does
};

/// Takes a success body as it arrives. `Prepare` is called once per attempt, before the first byte, with the
/// announced length (none for a chunked answer) and the status; it may throw to refuse the answer. What the sink throws
/// comes out of the exchange unchanged.
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
    std::string m_url;  ///< scheme://host[:port]/encoded-path[?encoded-query]
    CHeaders m_headers; ///< a "Host" among them replaces the one of the URL
    SBody m_body;
    IBodySink* m_sink = nullptr;      ///< takes a 2xx body; any other body lands in `m_text`
    std::uint64_t m_expectedSize = 0; ///< bytes that the answer will bring, if known: small ones get small buffers
    /// May go out a second time where a kept connection closes without a byte: the store may have done the work the first time.
    /// GET and HEAD always may.
    bool m_isRepeatable = false;
};

struct SHttpResponse
{
    unsigned m_status = 0;
    CHeaders m_headers;
    std::string m_text;                ///< body that no sink took; one above 64 MiB is a failure
    std::uint64_t m_receivedBytes = 0; ///< of the body
    unsigned m_connections = 0;        ///< opened for this exchange; 0 if one was there
};

/// The seam for tests: one blocking exchange. Any number of threads at once.
/// Throws web::http::http_exception (CTransportFailure says more) when no whole answer came.
class IHttpTransport
{
public:
    virtual ~IHttpTransport() = default;
    virtual SHttpResponse Exchange(SHttpRequest const& request) = 0;
};

} // namespace bucketry::s3wire::transport
