// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace bucketry::s3wire
{

/// Where the text of a child element goes.
struct SXmlField
{
    std::string_view m_name;
    std::string* m_target;
};

/// Reads an XML document (XML 1.0, without DTD) front to back, in one pass and without a tree: listings are long. Names
/// are local names. What is malformed, cut off or followed by more throws web::http::http_exception that says where.
///
/// The text must outlive the reader.
class CXmlReader
{
public:
    /// Stands on the root element afterwards.
    explicit CXmlReader(std::string_view text);

    /// Of the element that the reader stands on.
    std::string_view Name() const { return m_open.back(); }

    /// Calls `onChild(name)` for each child element of the one that the reader stands on, and leaves that one. The call
    /// may read the child with Text or ForEachChild, or not at all.
    template <class TOnChild>
    void ForEachChild(TOnChild&& onChild)
    {
        std::size_t const depth = m_open.size();
        while (NextTag(nullptr))
        {
            onChild(Name());
            LeaveTo(depth);
        }
    }

    /// The character data of the element, which is left. White space counts.
    std::string Text();

    /// Takes the text of the element if it is one of the fields; else the element stays unread.
    void ReadInto(std::initializer_list<SXmlField> fields);
    /// The same with each child of the element, which is left.
    void ReadFields(std::initializer_list<SXmlField> fields);

    /// To be called once the root has been left: nothing may follow.
    void Finish();

private:
    bool NextTag(std::string* text);
    void LeaveTo(std::size_t depth);
    bool ReadMarkup(std::string* text, bool& opened);
    void OpenTag();
    void CloseTag();
    std::string_view TakeName();
    std::string_view TakeThrough(std::string_view end);
    void AppendText(std::string_view raw, std::string* text);
    std::string_view AppendReference(std::string_view raw, std::string& text);
    void SkipAttributes();
    [[noreturn]] void Fail(char const* what) const;

    std::string_view const m_text;
    std::size_t m_position = 0;
    std::vector<std::string_view> m_open; ///< local names, the root first
    bool m_emptyElement = false;          ///< the last tag was <name/>: its end comes next
};

} // namespace bucketry::s3wire
