// LogFilterList: the viewer's filter words in order of arrival, with an index for the toggle.
#include "logging/LogFilterList.h"

#include <iterator>
#include <new>

LogFilterList::Toggled LogFilterList::Toggle(std::string_view word)
{
    auto found = m_index.find(word);
    if (found != m_index.end()) {
        m_bytes -= word.size();
        std::list<std::string>::iterator place = found->second;
        m_index.erase(found);
        m_words.erase(place);
        return Toggled::Removed;
    }
    if (m_words.size() >= kMaxWords || word.size() > kMaxBytes - m_bytes)
        return Toggled::Refused;
    // The receiver thread that toggles must not end on an exception: a word that memory cannot hold is
    // refused like one past the bounds.
    try {
        m_words.emplace_back(word);
    } catch (const std::bad_alloc&) {
        return Toggled::Refused;
    }
    try {
        m_index.emplace(std::string_view(m_words.back()), std::prev(m_words.end()));
    } catch (const std::bad_alloc&) {
        m_words.pop_back();
        return Toggled::Refused;
    }
    m_bytes += word.size();
    return Toggled::Added;
}

bool LogFilterList::Passes(std::string_view message) const
{
    if (m_words.empty())
        return true;
    for (const std::string& word : m_words) {
        if (message.find(word) != std::string_view::npos)
            return true;
    }
    return false;
}

void LogFilterList::Clear()
{
    // Swapped out rather than cleared, so that the memory of a long list goes too.
    std::unordered_map<std::string_view, std::list<std::string>::iterator>().swap(m_index);
    std::list<std::string>().swap(m_words);
    m_bytes = 0;
}
