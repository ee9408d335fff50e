// SPDX-License-Identifier: Apache-2.0
#include "faults/faults.h"
#include "protocol/text.h"

#include <charconv>
#include <limits>
#include <sstream>

namespace bucketry::simulator
{

namespace
{

using words_t = std::vector<std::string>;

/// The actions by the word that a script has for them; those of `cut` with their second word.
struct SActionName
{
    std::string_view m_name;
    EFaultAction m_action;
};
constexpr SActionName Actions[] = {
    {"status", EFaultAction::Status},
    {"error-in-200", EFaultAction::ErrorIn200},
    {"empty-200", EFaultAction::Empty200},
    {"delay", EFaultAction::Delay},
    {"lost-answer", EFaultAction::LostAnswer},
    {"cut before-body", EFaultAction::CutBeforeBody},
    {"cut in-body", EFaultAction::CutInBody},
    {"cut after-body", EFaultAction::CutAfterBody},
    {"truncate", EFaultAction::TruncateAnswer},
    {"wrong-length", EFaultAction::WrongLength},
    {"duplicate", EFaultAction::Duplicate},
    {"redirect", EFaultAction::Redirect},
    {"wrong-region", EFaultAction::WrongRegion},
    {"expired-token", EFaultAction::ExpiredToken},
    {"clock-skew", EFaultAction::ClockSkew},
    {"stall", EFaultAction::Stall},
    {"close", EFaultAction::Close},
};

/// What is wrong with a line; its number is added further up.
class CReason : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

std::string Quoted(std::string const& word)
{
    return std::string(1, '"').append(word).append(1, '"');
}

/// Words between blanks; blanks inside double quotes don't count, and "#" ends the line.
words_t SplitWords(std::string const& line)
{
    words_t words;
    bool isQuoted = false, isInWord = false;
    for (char const c : line)
    {
        if (c == '#' && !isQuoted && !isInWord)
        {
            break;
        }
        if (c == '"')
        {
            isQuoted = !isQuoted;
        }
        bool const isBlank = !isQuoted && (c == ' ' || c == '\t' || c == '\r');
        if (!isBlank && !isInWord)
        {
            words.emplace_back();
        }
        isInWord = !isBlank;
        if (!isBlank && c != '"')
        {
            words.back() += c;
        }
    }
    if (isQuoted)
    {
        throw CReason("a quote is not closed");
    }
    return words;
}

template <class TNumber>
TNumber Number(std::string const& what, std::string const& text, TNumber least, TNumber greatest)
{
    TNumber number{};
    std::string_view digits = text;
    if (digits.starts_with('+'))
    {
        digits.remove_prefix(1);
    }
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    bool const isWhole = error == std::errc() && end == digits.data() + digits.size() && !digits.empty();
    if (!isWhole || number < least || number > greatest)
    {
        std::ostringstream reason;
        reason << what << " has to be a number from " << least << " to " << greatest << ", not \"" << text << "\"";
        throw CReason(reason.str());
    }
    return number;
}

unsigned Count(std::string const& what, std::string const& text)
{
    return Number<unsigned>(what, text, 1, std::numeric_limits<int>::max());
}

/// N/s, with or without a fraction.
double ReadRate(std::string const& text)
{
    if (!text.ends_with("/s"))
    {
        throw CReason("a rate has the form N/s, not " + Quoted(text));
    }
    return Number<double>("rate", text.substr(0, text.size() - 2), 0.001, 1e6);
}

ERateScope ReadRateScope(std::string const& text)
{
    if (text != "key" && text != "prefix")
    {
        throw CReason("a rate is per=key or per=prefix, not " + Quoted(text));
    }
    return text == "key" ? ERateScope::Key : ERateScope::Prefix;
}

/// Sets what NAME=VALUE says about which requests the rule hits. False if there is no such name.
bool ReadSelector(SFault& fault, std::string const& name, std::string const& value)
{
    if (name == "key")
    {
        fault.m_key = value;
    }
    else if (name == "bucket")
    {
        fault.m_bucket = value;
    }
    else if (name == "nth")
    {
        fault.m_nth = Count(name, value);
    }
    else if (name == "every")
    {
        fault.m_every = Count(name, value);
    }
    else if (name == "times")
    {
        fault.m_times = Count(name, value);
    }
    else if (name == "chance")
    {
        fault.m_chance = Number<double>(name, value, 0, 1);
    }
    else if (name == "seed")
    {
        fault.m_seed = Number<std::uint64_t>(name, value, 0, std::numeric_limits<std::uint64_t>::max());
    }
    else if (name == "rate")
    {
        fault.m_rate = ReadRate(value);
    }
    else if (name == "burst")
    {
        fault.m_burst = Count(name, value);
    }
    else if (name == "per")
    {
        fault.m_rateScope = ReadRateScope(value);
    }
    else
    {
        return false;
    }
    return true;
}

/// Takes NAME=VALUE out of the words; empty if it isn't there.
std::string TakeNamed(words_t& words, std::string const& name)
{
    for (auto word = words.begin(); word != words.end(); ++word)
    {
        if (word->starts_with(name + "="))
        {
            std::string value = word->substr(name.size() + 1);
            words.erase(word);
            return value;
        }
    }
    return {};
}

std::string TakeFirst(words_t& words, std::string const& what, bool isOptional = false)
{
    if (words.empty() && isOptional)
    {
        return {};
    }
    if (words.empty())
    {
        throw CReason(what + " is missing");
    }
    std::string word = words.front();
    words.erase(words.begin());
    return word;
}

EFaultAction ReadAction(words_t& words)
{
    std::string name = TakeFirst(words, "the action");
    if (name == "cut")
    {
        name += " " + TakeFirst(words, "where to cut");
    }
    for (auto const& known : Actions)
    {
        if (known.m_name == name)
        {
            return known.m_action;
        }
    }
    throw CReason("there is no action " + Quoted(name));
}

constexpr std::int64_t MaxAmount = std::numeric_limits<int>::max();

void ReadStatus(SFault& fault, words_t& words)
{
    fault.m_status = Number<unsigned>("the status", TakeFirst(words, "the status"), 200, 599);
    fault.m_message = TakeNamed(words, "message");
    if (std::string const seconds = TakeNamed(words, "retry-after"); !seconds.empty())
    {
        fault.m_retryAfter = Number<unsigned>("retry-after", seconds, 0, 86400);
    }
    fault.m_code = TakeFirst(words, "the code", true);
}

void ReadRedirect(SFault& fault, words_t& words)
{
    fault.m_status = Number<unsigned>("the status", TakeFirst(words, "the status"), 301, 307);
    if (fault.m_status != 301 && fault.m_status != 307)
    {
        throw CReason("a redirect has the status 301 or 307");
    }
    fault.m_region = TakeNamed(words, "region");
    fault.m_endpoint = TakeFirst(words, "the endpoint");
}

void ReadArguments(SFault& fault, words_t& words)
{
    auto const amount = [&](std::string const& what, std::int64_t least, bool isOptional)
    {
        std::string const text = TakeFirst(words, what, isOptional);
        return text.empty() ? 0 : Number<std::int64_t>(what, text, least, MaxAmount);
    };
    switch (fault.m_action)
    {
    case EFaultAction::Status:
        return ReadStatus(fault, words);
    case EFaultAction::Redirect:
        return ReadRedirect(fault, words);
    case EFaultAction::ErrorIn200:
        fault.m_message = TakeNamed(words, "message");
        fault.m_code = TakeFirst(words, "the code");
        break;
    case EFaultAction::WrongRegion:
        fault.m_region = TakeFirst(words, "the region");
        break;
    case EFaultAction::Delay:
        fault.m_amount = amount("the delay", 0, false);
        break;
    case EFaultAction::TruncateAnswer:
    case EFaultAction::Stall:
        fault.m_amount = amount("the count of bytes", 0, true);
        break;
    case EFaultAction::WrongLength:
        fault.m_amount = amount("the difference in bytes", -MaxAmount, false);
        break;
    case EFaultAction::ClockSkew:
        fault.m_amount = amount("the skew", -MaxAmount, false);
        break;
    default:
        break;
    }
}

SFault ReadRule(words_t words)
{
    if (words.front() != "on")
    {
        throw CReason("a rule begins with \"on\", not with " + Quoted(words.front()));
    }
    words.erase(words.begin());
    SFault fault;
    fault.m_operation = TakeFirst(words, "the operation");
    for (std::string word = TakeFirst(words, "\"do\""); word != "do"; word = TakeFirst(words, "\"do\""))
    {
        auto const equals = word.find('=');
        std::string const name = word.substr(0, equals);
        if (equals == std::string::npos || !ReadSelector(fault, name, word.substr(equals + 1)))
        {
            throw CReason(Quoted(word) + " doesn't tell which requests are meant");
        }
    }
    if (fault.m_rate == 0 && (fault.m_burst != 1 || fault.m_rateScope != ERateScope::Rule))
    {
        throw CReason("burst and per belong to a rate");
    }
    fault.m_action = ReadAction(words);
    ReadArguments(fault, words);
    if (!words.empty())
    {
        throw CReason(Quoted(words.front()) + " is too much");
    }
    return fault;
}

} // namespace

std::string ActionName(EFaultAction action)
{
    for (auto const& known : Actions)
    {
        if (known.m_action == action)
        {
            return std::string(known.m_name);
        }
    }
    return {};
}

CFaultScriptError::CFaultScriptError(unsigned line, std::string const& reason)
    : std::runtime_error("Fault script, line " + std::to_string(line) + ": " + reason + "."), m_line(line)
{
}

std::vector<SFault> ParseFaults(std::string const& script)
{
    std::vector<SFault> faults;
    std::istringstream lines(script);
    unsigned number = 0;
    for (std::string line; std::getline(lines, line);)
    {
        ++number;
        try
        {
            if (auto words = SplitWords(line); !words.empty())
            {
                faults.push_back(ReadRule(std::move(words)));
            }
        }
        catch (CReason const& reason)
        {
            throw CFaultScriptError(number, reason.what());
        }
    }
    return faults;
}

} // namespace bucketry::simulator
