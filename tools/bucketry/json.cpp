// SPDX-License-Identifier: Apache-2.0
#include "json.h"

#include "backup/names.h"
#include "text.h"

#include <array>
#include <cstdio>

namespace bucketry::tool
{

namespace
{

std::string Quoted(std::string_view utf8)
{
    std::string json = "\"";
    for (char const c : utf8)
    {
        if (c == '"' || c == '\\')
        {
            json += '\\';
            json += c;
        }
        else if (static_cast<unsigned char>(c) < 0x20)
        {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
            json += escape.data();
        }
        else
        {
            json += c;
        }
    }
    return json + '"';
}

} // namespace

CJsonObject& CJsonObject::AddJson(std::string_view key, std::string_view json)
{
    if (!m_members.empty())
    {
        m_members += ',';
    }
    m_members += Quoted(key);
    m_members += ':';
    m_members += json;
    return *this;
}

CJsonObject& CJsonObject::Add(std::string_view key, std::string_view text)
{
    std::string const utf8 = ReplaceNonUtf8(text);
    AddJson(key, Quoted(utf8));
    return utf8 == text ? *this : AddJson(std::string(key) + "_bytes", Quoted(EscapeName(text)));
}

CJsonObject& CJsonObject::Add(std::string_view key, std::uint64_t number)
{
    return AddJson(key, std::to_string(number));
}

CJsonObject& CJsonObject::Add(std::string_view key, double number)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.3f", number);
    return AddJson(key, text.data());
}

CJsonObject& CJsonObject::Add(std::string_view key, std::vector<CJsonObject> const& items)
{
    std::string json = "[";
    for (CJsonObject const& item : items)
    {
        if (json.size() > 1)
        {
            json += ',';
        }
        json += item.Text();
    }
    return AddJson(key, json + "]");
}

CJsonObject& CJsonObject::Merge(CJsonObject const& other)
{
    if (!m_members.empty() && !other.m_members.empty())
    {
        m_members += ',';
    }
    m_members += other.m_members;
    return *this;
}

} // namespace bucketry::tool
