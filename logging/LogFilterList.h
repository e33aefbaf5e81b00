// Internal: LogFilterList, the log viewer's filter words, bounded in count and bytes, toggled in constant time.
#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

class LogFilterList
{
public:
    // A viewer types its words; these bounds are far above that and keep a flooding viewer from making the
    // hub hold more than a few dozen kilobytes, or scan long lists for each message.
    static constexpr size_t kMaxWords = 256;
    static constexpr size_t kMaxBytes = 64 * 1024;

    enum class Toggled { Added, Removed, Refused };

    // Switches `word` off when it is in the list, else appends it; a word that would take the list past
    // either bound, or that memory cannot hold, is refused and the list stays as it was.
    Toggled Toggle(std::string_view word);
    // Whether `message` passes: the list is empty, or the message contains one of the words (bytewise; the
    // empty word is in every message).
    bool Passes(std::string_view message) const;
    void Clear();
    size_t Count() const { return m_words.size(); }
    size_t Bytes() const { return m_bytes; }

private:
    // Words in order of arrival; the index finds a word's place without a scan. Its keys view the words in
    // the list, whose nodes never move.
    std::list<std::string> m_words;
    std::unordered_map<std::string_view, std::list<std::string>::iterator> m_index;
    size_t m_bytes = 0;
};
