// SPDX-License-Identifier: Apache-2.0
#include "s3wire/transport/http.h"

#include <algorithm>

namespace bucketry::s3wire::transport
{

namespace
{

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool SameName(std::string_view left, std::string_view right)
{
    return left.size() == right.size() &&
        std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) { return Lower(a) == Lower(b); });
}

} // namespace

std::string_view ToText(EHttpMethod method)
{
    switch (method)
    {
    case EHttpMethod::Get:
        return "GET";
    case EHttpMethod::Head:
        return "HEAD";
    case EHttpMethod::Put:
        return "PUT";
    case EHttpMethod::Post:
        return "POST";
    case EHttpMethod::Delete:
        break;
    }
    return "DELETE";
}

void CHeaders::Add(std::string_view name, std::string_view value)
{
    if (m_lines.empty())
    {
        m_lines.reserve(12);
        m_text.reserve(512);
    }
    m_lines.push_back({static_cast<std::uint32_t>(m_text.size()), static_cast<std::uint32_t>(name.size()),
                       static_cast<std::uint32_t>(value.size())});
    m_text.append(name).append(value);
}

void CHeaders::Set(std::string_view name, std::string_view value)
{
    Remove(name);
    Add(name, value);
}

void CHeaders::Remove(std::string_view name)
{
    std::erase_if(m_lines,
                  [&](SLine const& line)
                  { return SameName(std::string_view(m_text).substr(line.m_at, line.m_nameSize), name); });
}

std::optional<std::string_view> CHeaders::Find(std::string_view name) const
{
    for (auto const [lineName, value] : *this)
    {
        if (SameName(lineName, name))
        {
            return value;
        }
    }
    return std::nullopt;
}

CHeaders::line_t CHeaders::operator[](std::size_t index) const
{
    SLine const& line = m_lines[index];
    std::string_view const text = m_text;
    return {text.substr(line.m_at, line.m_nameSize), text.substr(line.m_at + line.m_nameSize, line.m_valueSize)};
}

} // namespace bucketry::s3wire::transport
