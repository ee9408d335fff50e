// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/exceptions.h"

namespace bucketry::exc
{

namespace
{

constexpr std::string_view SerializedHeader = "bucketry-failure 1\n";

// A line ends at LF, so the LFs inside it are escaped, and with them the escape character.
std::string EscapeLine(std::string const& line)
{
    return util::str_replace(util::str_replace(line, "\\", "\\\\"), "\n", "\\n");
}

[[noreturn]] void RefuseText()
{
    throw CRuntimeExc("The text is not a serialized failure.");
}

// Reads one escaped line off the front of `rest`, with its LF.
std::string TakeLine(std::string_view& rest)
{
    std::string line;
    for (std::size_t at = 0; at < rest.size(); ++at)
    {
        char const symbol = rest[at];
        if (symbol == '\n')
        {
            rest.remove_prefix(at + 1);
            return line;
        }
        if (symbol != '\\')
        {
            line += symbol;
            continue;
        }
        ++at;
        if (at == rest.size() || (rest[at] != '\\' && rest[at] != 'n'))
        {
            RefuseText();
        }
        line += rest[at] == 'n' ? '\n' : '\\';
    }
    RefuseText();
}

} // namespace

exc_base_t::exc_base_t(std::string const& message) : m_messages{message}, m_what(message) {}

exc_base_t::~exc_base_t() = default;

char const* exc_base_t::what() const noexcept
{
    return m_what.c_str();
}

std::shared_ptr<exc_base_t> exc_base_t::Clone() const
{
    return std::make_shared<exc_base_t>(*this);
}

void exc_base_t::Generate() const
{
    throw exc_base_t(*this);
}

void exc_base_t::Unserialize(std::string const& text)
{
    std::string_view rest = text;
    if (!rest.starts_with(SerializedHeader))
    {
        RefuseText();
    }
    rest.remove_prefix(SerializedHeader.size());
    std::vector<std::string> messages;
    while (!rest.empty())
    {
        messages.push_back(TakeLine(rest));
    }
    m_messages = std::move(messages);
    Join();
}

std::string exc_base_t::Serialize() const
{
    std::string text(SerializedHeader);
    for (std::string const& line : m_messages)
    {
        text += EscapeLine(line);
        text += '\n';
    }
    return text;
}

void exc_base_t::FilterMessages(std::function<bool(std::string const& line)> const& keep)
{
    std::erase_if(m_messages, [&keep](std::string const& line) { return !keep(line); });
    Join();
}

void exc_base_t::AddMessage(std::string const& line)
{
    m_messages.insert(m_messages.begin(), line);
    Join();
}

void exc_base_t::Join()
{
    std::string text;
    for (std::string const& line : m_messages)
    {
        text += &line == &m_messages.front() ? "" : "\n";
        text += line;
    }
    m_what = std::move(text);
}

CRuntimeExc::~CRuntimeExc() = default;

std::shared_ptr<exc_base_t> CRuntimeExc::Clone() const
{
    return std::make_shared<CRuntimeExc>(*this);
}

void CRuntimeExc::Generate() const
{
    throw CRuntimeExc(*this);
}

CNotImplExc::CNotImplExc(std::string const& operation) : exc_base_t(operation) {}

CNotImplExc::CNotImplExc(std::string const& owner, std::string const& operation) : exc_base_t(owner + "::" + operation)
{
}

CNotImplExc::~CNotImplExc() = default;

std::shared_ptr<exc_base_t> CNotImplExc::Clone() const
{
    return std::make_shared<CNotImplExc>(*this);
}

void CNotImplExc::Generate() const
{
    throw CNotImplExc(*this);
}

std::shared_ptr<exc_base_t> CloneExc(std::exception const& error)
{
    if (auto const* const ours = dynamic_cast<exc_base_t const*>(&error))
    {
        return ours->Clone();
    }
    return std::make_shared<CRuntimeExc>("%1", error.what());
}

void details::RegenWithLine(std::string const& line, std::exception const& error)
{
    std::shared_ptr<exc_base_t> const copy = CloneExc(error);
    copy->AddMessage(line);
    copy->Generate();
    std::terminate(); // no Generate returns, but through a virtual call GCC does not see that
}

} // namespace bucketry::exc
